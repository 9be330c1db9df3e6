// The printers' language, as far as the monitor knows it: where each command begins and ends.
//
// A stream is commands with nothing between them. Each begins with ESC and a letter that alone decides the length;
// operands may hold any byte, ESC too, so that a boundary is found only by counting from the one before. Numbers are
// little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace sc3xxmon {

inline constexpr std::uint8_t kEsc = 0x1B;

inline std::uint16_t ReadLittle16(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8));
}
inline std::uint32_t ReadLittle32(const std::uint8_t* bytes) {
  return bytes[0] | (std::uint32_t{bytes[1]} << 8) | (std::uint32_t{bytes[2]} << 16) | (std::uint32_t{bytes[3]} << 24);
}
inline void WriteLittle32(std::uint8_t* bytes, std::uint32_t value) {
  bytes[0] = static_cast<std::uint8_t>(value);
  bytes[1] = static_cast<std::uint8_t>(value >> 8);
  bytes[2] = static_cast<std::uint8_t>(value >> 16);
  bytes[3] = static_cast<std::uint8_t>(value >> 24);
}

// One command in a span: a pointer to its ESC byte and its whole length. Empty (null) where there is none.
struct KplCommand {
  const std::uint8_t* Data = nullptr;
  std::uint64_t Length = 0;

  std::uint8_t Letter() const { return Data[1]; }
  std::uint16_t Operand16() const { return ReadLittle16(Data + 2); }

  friend bool operator==(const KplCommand&, const KplCommand&) = default;
};

// Heads of the two raster commands, ESC and letter included.
inline constexpr std::size_t kRasterHeadSize = 12;            // ESC D
inline constexpr std::size_t kCompressedRasterHeadSize = 17;  // ESC Z
// Where the raster descriptor stands in each, and its size. The raster's bytes follow it at once in both.
inline constexpr std::size_t kRasterDescriptorOffset = 2;
inline constexpr std::size_t kCompressedRasterDescriptorOffset = 7;
inline constexpr std::size_t kRasterDescriptorSize = 10;
// Where the compressed size stands in an ESC Z head.
inline constexpr std::size_t kCompressedSizeOffset = 3;

// The ten bytes that describe a raster in either command.
struct RasterDescriptor {
  std::uint8_t BitsPerDot = 0;
  std::uint8_t RasterFlags = 0;  // opaque: copied into the heads that the monitor builds
  std::uint32_t LineCount = 0;
  std::uint32_t DotsPerLine = 0;

  static RasterDescriptor At(const std::uint8_t* bytes) {
    return {bytes[0], bytes[1], ReadLittle32(bytes + 2), ReadLittle32(bytes + 6)};
  }

  // Both products wrap at 32 bits, as absurd numbers in a stream do: the wrapped length is what counts.
  std::uint32_t LineBytes() const {
    const std::uint32_t bits = BitsPerDot * DotsPerLine;
    return bits / 8 + (bits % 8 != 0 ? 1 : 0);
  }
  std::uint32_t RasterSize() const { return LineBytes() * LineCount; }
};

namespace kpl {

struct FixedLengthRow {
  char letter;
  std::uint8_t length;
};

// Every command there is; ESC D and ESC Z with the length of their heads.
inline constexpr FixedLengthRow kCommands[] = {
    {'#', 3}, {'*', 2}, {'@', 2}, {'A', 3}, {'C', 3},  {'D', kRasterHeadSize},
    {'E', 2}, {'G', 2}, {'H', 4}, {'L', 4}, {'M', 10}, {'P', 2},
    {'Q', 2}, {'T', 3}, {'U', 2}, {'V', 2}, {'X', 7},  {'Z', kCompressedRasterHeadSize},
    {'b', 4}, {'c', 2}, {'d', 2}, {'e', 2}, {'g', 2},  {'h', 2},
    {'i', 2}, {'l', 6}, {'m', 4}, {'n', 4}, {'p', 3},  {'q', 3},
    {'s', 6}, {'t', 6}, {'x', 2},
};

inline constexpr std::string_view kBetweenLabels = "CHLTcdeghilqt";

constexpr std::array<std::uint8_t, 256> FixedLengths() {
  std::array<std::uint8_t, 256> lengths{};
  for (const FixedLengthRow& row : kCommands) {
    lengths[static_cast<unsigned char>(row.letter)] = row.length;
  }
  return lengths;
}
inline constexpr std::array<std::uint8_t, 256> kFixedLengths = FixedLengths();

// Length of a command without its raster bytes; 0 for a letter that isn't in the table.
inline std::uint8_t FixedLength(std::uint8_t letter) {
  return kFixedLengths[letter];
}

// Length of what follows the fixed part. `command` holds the whole fixed part.
inline std::uint32_t TrailingBytes(const std::uint8_t* command) {
  switch (command[1]) {
    case 'D':
      return RasterDescriptor::At(command + kRasterDescriptorOffset).RasterSize();
    case 'Z':
      return ReadLittle32(command + kCompressedSizeOffset);
    default:
      return 0;
  }
}

// The whole length of the command at the front of `bytes`, as far as it can be told: 0 where no command stands or its
// fixed part isn't complete.
inline std::uint64_t AnnouncedLength(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 2 || bytes[0] != kEsc) {
    return 0;
  }
  const std::uint8_t fixedLength = FixedLength(bytes[1]);
  const bool known = fixedLength != 0 && bytes.size() >= fixedLength;
  return known ? std::uint64_t{fixedLength} + TrailingBytes(bytes.data()) : 0;
}

// Commands that may stand between the end of one label and the index of the next: the label's inter-page header.
inline bool IsBetweenLabels(std::uint8_t letter) {
  return kBetweenLabels.find(static_cast<char>(letter)) != std::string_view::npos;
}

}  // namespace kpl
}  // namespace sc3xxmon
