// The stream parser as one would write it at first: every step walks the buffer from its front again, and what is cut
// off is moved away at once. It keeps the storage behind the live bytes as it was, so that the byte that decides on
// the footer is really read from where the ending command stood. Slow on purpose; the fast parser has to agree.
//
// Shares no code with src/stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sc3xxmon::fuzz {

struct NaiveCommand {
  std::size_t offset = 0;
  std::uint64_t length = 0;
  std::uint8_t letter = 0;
};

// The command at `offset`, or none; a place where no command can be is told to `log`.
std::optional<NaiveCommand> NaiveCommandAt(std::span<const std::uint8_t> bytes, std::size_t offset,
                                           std::vector<std::string>& log);

struct NaiveLabel {
  std::vector<std::uint8_t> data;
  std::uint32_t iphLength = 0;
  std::uint32_t labelIndex = 0;
  std::optional<NaiveCommand> raster;  // the last one
  std::uint32_t compressedSize = 0;
  std::uint32_t retries = 0;
  bool sent = false;

  std::size_t DescriptorOffset() const { return raster->offset + (raster->letter == 'D' ? 2 : 7); }
  std::uint32_t LineBytes() const;
  std::uint32_t LineCount() const;
  std::uint32_t RasterSize() const { return raster ? LineBytes() * LineCount() : 0; }
};

class NaiveParser {
 public:
  explicit NaiveParser(bool keepEmptyLabels) : keepEmptyLabels_(keepEmptyLabels) {}

  void ProcessData(std::span<const std::uint8_t> span);
  // One step alone, with the real parser's number for how it went.
  int TryParseJobHeader();
  int TryParseLabel();
  int TryParseJobFooter();

  void SendFirstUnsent();
  std::uint32_t AckFirstLabel();
  void RevertSentLabels();
  void Reset();

  std::span<const std::uint8_t> Buffer() const { return {storage_.data(), size_}; }

  std::vector<std::uint8_t> jobHeader;
  std::vector<std::uint8_t> jobFooter;
  std::vector<NaiveLabel> labels;
  std::int32_t state = 0;
  std::uint8_t qParameter = '1';
  bool openLengthLabels = false;
  std::uint32_t labelsParsed = 0;
  std::uint32_t labelsAcked = 0;
  std::vector<std::string> log;

 private:
  void Append(std::span<const std::uint8_t> span);
  void RemoveFront(std::size_t count);
  void TakeLabel(std::size_t end, std::size_t endCommand, std::uint32_t betweenLabels);

  bool keepEmptyLabels_;
  std::vector<std::uint8_t> storage_;  // never shorter than it ever was
  std::size_t size_ = 0;               // of its live bytes
};

}  // namespace sc3xxmon::fuzz
