// The plain way to cut a stream, to compare the real parser with. Every call starts again from the front of the buffer;
// cut bytes leave by moving the rest down in the same storage, and the byte that decides whether a footer follows is
// really read from the place where the ending command stood. Slow on purpose, and shares no code with src/stream.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sc3xxmon::test {

struct ReferenceLabel {
  std::vector<std::uint8_t> data;
  std::uint32_t iphLength = 0;
  std::uint32_t index = 0;
  std::uint32_t compressedSize = 0;
  std::uint32_t rasterSize = 0;
  std::uint64_t commandOffset = 0;  // of the raster command in data, where there is one
  std::uint64_t paramsOffset = 0;
  bool hasRaster = false;
  std::vector<std::uint8_t> head;  // of the raster command
  std::uint32_t retries = 0;
  bool sent = false;
};

class ReferenceParser {
 public:
  explicit ReferenceParser(bool keepEmptyLabels) : keepEmptyLabels_(keepEmptyLabels) {}

  std::int32_t ProcessData(const std::vector<std::uint8_t>& span);
  int TryParseJobHeader();
  int TryParseLabel();
  int TryParseJobFooter();

  bool SendFirstUnsent();
  void RevertSentLabels();
  std::uint32_t AckFirstLabel();
  void Reset();

  std::vector<std::uint8_t> Buffer() const;

  std::vector<std::uint8_t> jobHeader;
  std::vector<std::uint8_t> jobFooter;
  std::vector<ReferenceLabel> labels;
  std::int32_t state = 0;
  std::uint8_t qParameter = '1';
  bool openLengthLabels = false;
  std::uint32_t parsed = 0;
  std::uint32_t acked = 0;
  std::vector<std::string> log;  // as LogLines gives it

 private:
  struct Command {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint8_t letter = 0;
  };

  // False at the end, which is logged as the walker does.
  bool Read(std::uint64_t offset, Command& command);
  void RemoveFront(std::uint64_t count);
  void Append(const std::vector<std::uint8_t>& span);
  void Log(const std::string& function, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void KeepLabel(std::uint64_t size, std::uint32_t iphLength);
  void FindCommands(ReferenceLabel& label);

  bool keepEmptyLabels_;
  std::vector<std::uint8_t> storage_;  // never shrinks; what lies behind size_ is what was there before
  std::uint64_t size_ = 0;
};

}  // namespace sc3xxmon::test
