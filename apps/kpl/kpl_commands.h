// The commands of KPL: their names, their lengths, and what they say in words. Nothing is ever searched for: a command
// begins where the one before it ends.
//
// Threads: constant data and pure functions. Errors: none; what is no command is a result like any other.
#ifndef SC3XX_APPS_KPL_KPL_COMMANDS_H
#define SC3XX_APPS_KPL_KPL_COMMANDS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace sc3xx {

inline constexpr std::uint8_t kEscape = 0x1B;

// Heads of the two raster commands, ESC and letter included.
inline constexpr std::size_t kRasterHeadBytes = 12;            // ESC D
inline constexpr std::size_t kCompressedRasterHeadBytes = 17;  // ESC Z

enum class StepResult {
  kCommand,
  kEndOfStream,    // nothing left
  kNoEscape,       // another byte stands where a command must begin
  kUnknownLetter,  // ESC and a letter that KPL doesn't have
  kIncomplete,     // the stream ends inside the command
};

struct Step {
  StepResult result = StepResult::kEndOfStream;
  std::uint64_t length = 0;  // of the whole command; for kIncomplete what it would need, as far as its head tells
  std::uint8_t letter = 0;   // for kNoEscape the byte that stands there; 0 if there is none
};

// The command at `offset`, which is not beyond the stream's size.
Step StepAt(std::span<const std::uint8_t> stream, std::uint64_t offset);

// Commands that may stand between the end of one label and the ESC n of the next.
bool IsBetweenLabelsLetter(std::uint8_t letter);

// "ESC D". A byte that is no visible character is written as a number: "ESC 0x07".
std::string CommandName(std::uint8_t letter);

// What the command is for: "label index", "uncompressed raster", ... Empty for a letter that KPL doesn't have.
std::string CommandMeaning(std::uint8_t letter);

// The operands of the whole command at the front of `command` in words, empty if it has none.
std::string OperandsInWords(std::span<const std::uint8_t> command);

// The ten bytes that describe a raster, and what follows from them.
struct RasterGeometry {
  std::uint8_t bitsPerDot = 0;
  std::uint8_t rasterFlags = 0;
  std::uint32_t lineCount = 0;
  std::uint32_t dotsPerLine = 0;

  // Both products are 32 bits wide and wrap; the wrapped length is the one that counts in the stream.
  std::uint32_t LineBytes() const;
  std::uint32_t RasterBytes() const { return LineBytes() * lineCount; }
  // True if the products don't fit into 32 bits, so that the stream holds fewer bytes than the lines need.
  bool Wraps() const;
};

// `descriptor` has ten bytes: from byte 2 of an ESC D, or from byte 7 of an ESC Z.
RasterGeometry ReadGeometry(std::span<const std::uint8_t> descriptor);

std::uint16_t Read16(std::span<const std::uint8_t> bytes, std::size_t offset);
std::uint32_t Read32(std::span<const std::uint8_t> bytes, std::size_t offset);

// "1B 44 01", at most `most` bytes of it, with "..." where more follow.
std::string HexBytes(std::span<const std::uint8_t> bytes, std::size_t most);

// "1 byte", "2 bytes".
std::string Counted(std::uint64_t number, const std::string& noun);

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_KPL_COMMANDS_H
