// The printer's own walk over its input: takes the stream in pieces of any size and gives whole commands.
//
// Every byte is looked at once, however the stream is cut. Memory grows with the bytes that really came, never with
// what a head promises: a raster beyond the limit is counted off and not kept. Bytes that are no command are reported once and skipped up to the next ESC with a known letter.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace simulator {

inline constexpr std::uint8_t kEscape = 0x1B;

// The ten bytes that describe a raster, in ESC D and ESC Z alike.
struct RasterHead {
  std::uint8_t bitsPerDot = 0;
  std::uint8_t flags = 0;
  std::uint32_t lines = 0;
  std::uint32_t dotsPerLine = 0;

  std::uint64_t LineBytes() const { return (std::uint64_t{bitsPerDot} * dotsPerLine + 7) / 8; }
};

class KplReader {
 public:
  enum class Step { kNeedMore, kCommand, kMalformed };

  explicit KplReader(std::size_t maxBodyBytes);

  // Consumes from the front of `input` up to the end of one command, or all of it.
  // kCommand: Letter, Head, Body, Raster and Offset hold until the next call. kMalformed: MalformedOffset and Reason do.
  Step Next(std::span<const std::uint8_t>& input);

  std::uint8_t Letter() const { return headSize_ > 1 ? head_[1] : std::uint8_t{0}; }
  std::span<const std::uint8_t> Head() const { return {head_.data(), headSize_}; }
  std::vector<std::uint8_t>& Body() { return body_; }  // raster bytes of ESC D, compressed bytes of ESC Z
  RasterHead Raster() const;                           // of ESC D and ESC Z
  std::uint16_t Operand() const;                       // bytes 2 and 3
  std::uint64_t Offset() const { return offset_; }     // of the command's ESC, in the whole stream
  std::uint64_t MalformedOffset() const { return malformedOffset_; }
  const std::string& Reason() const { return reason_; }
  // What was malformed is a raster beyond the limit, and it is over: the label that it belongs to lacks it.
  bool RasterWasTooLarge() const { return rasterWasTooLarge_; }

  bool Incomplete() const { return !complete_ && headSize_ > 0; }
  bool InRaster() const { return Incomplete() && (Letter() == 'D' || Letter() == 'Z'); }
  std::size_t HeldBytes() const { return Incomplete() ? headSize_ + body_.size() : 0; }

  // Forgets the incomplete command, as after a power cut. Offsets go on.
  void Drop();

 private:
  Step TakeHeadByte(std::uint8_t byte);
  Step SkipByte(std::uint8_t byte);
  Step EndHead();
  Step EndTooLargeRaster();
  Step Malformed(std::uint64_t offset, std::string reason);
  void TakeBody(std::span<const std::uint8_t>& input);
  void StartAnew();

  std::size_t maxBodyBytes_;
  std::array<std::uint8_t, 17> head_{};
  std::size_t headSize_ = 0;
  std::vector<std::uint8_t> body_;
  std::uint64_t bodySize_ = 0;
  std::uint64_t bodyNeeded_ = 0;
  std::uint64_t position_ = 0;
  std::uint64_t offset_ = 0;
  std::uint64_t malformedOffset_ = 0;
  std::string reason_;
  bool complete_ = false;
  bool skipping_ = false;
  bool rasterIsTooLarge_ = false;
  bool rasterWasTooLarge_ = false;
};

}  // namespace simulator
