#include "apps/kpl/kpl_commands.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace sc3xx {
namespace {

struct CommandRow {
  char letter;
  std::uint8_t length;  // of the whole command; of the head where a raster follows
  std::string_view meaning;
};

constexpr std::string_view kBetween = "between-labels command";
constexpr std::string_view kPassedOn = "passed on unread";

constexpr std::array kCommands = {
    CommandRow{'#', 3, kPassedOn},        CommandRow{'*', 2, kPassedOn},
    CommandRow{'@', 2, kPassedOn},        CommandRow{'A', 3, "status request"},
    CommandRow{'C', 3, kBetween},         CommandRow{'D', kRasterHeadBytes, "uncompressed raster"},
    CommandRow{'E', 2, "long form feed"}, CommandRow{'G', 2, "short form feed, ends the label"},
    CommandRow{'H', 4, kBetween},         CommandRow{'L', 4, "label length, between-labels command"},
    CommandRow{'M', 10, kPassedOn},       CommandRow{'P', 2, kPassedOn},
    CommandRow{'Q', 2, "end of job"},     CommandRow{'T', 3, kBetween},
    CommandRow{'U', 2, kPassedOn},        CommandRow{'V', 2, "firmware request"},
    CommandRow{'X', 7, kPassedOn},        CommandRow{'Z', kCompressedRasterHeadBytes, "compressed raster"},
    CommandRow{'b', 4, kPassedOn},        CommandRow{'c', 2, kBetween},
    CommandRow{'d', 2, kBetween},         CommandRow{'e', 2, kBetween},
    CommandRow{'g', 2, kBetween},         CommandRow{'h', 2, kBetween},
    CommandRow{'i', 2, kBetween},         CommandRow{'l', 6, kBetween},
    CommandRow{'m', 4, kPassedOn},        CommandRow{'n', 4, "label index"},
    CommandRow{'p', 3, "ends the label"}, CommandRow{'q', 3, "parameter, between-labels command"},
    CommandRow{'s', 6, "start of job"},   CommandRow{'t', 6, kBetween},
    CommandRow{'x', 2, kPassedOn},
};

const CommandRow* FindRow(std::uint8_t letter) {
  const auto* row = std::find_if(kCommands.begin(), kCommands.end(), [letter](const CommandRow& candidate) {
    return static_cast<std::uint8_t>(candidate.letter) == letter;
  });
  return row == kCommands.end() ? nullptr : row;
}

std::uint64_t LengthOf(const CommandRow& row, std::span<const std::uint8_t> head) {
  switch (row.letter) {
    case 'D':
      return std::uint64_t{kRasterHeadBytes} + ReadGeometry(head.subspan(2)).RasterBytes();
    case 'Z':
      return std::uint64_t{kCompressedRasterHeadBytes} + Read32(head, 3);
    default:
      return row.length;
  }
}

bool IsVisible(std::uint8_t byte) {
  return byte > 0x20 && byte < 0x7F;
}

std::string HexByte(std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  return {kDigits[byte >> 4], kDigits[byte & 0x0F]};
}

std::string ByteInWords(std::uint8_t byte) {
  const std::string hex = "0x" + HexByte(byte);
  return IsVisible(byte) ? hex + " ('" + std::string(1, static_cast<char>(byte)) + "')" : hex;
}

std::string GeometryInWords(const RasterGeometry& geometry) {
  return Counted(geometry.bitsPerDot, "bit") + " a dot, " + Counted(geometry.lineCount, "line") + " of " +
         Counted(geometry.dotsPerLine, "dot") + ", flags 0x" + HexByte(geometry.rasterFlags) + ", " +
         Counted(geometry.RasterBytes(), "byte");
}

std::string CompressedInWords(std::span<const std::uint8_t> command) {
  const std::uint8_t method = command[2];
  return (method == 3 ? "LZ4" : "method " + std::to_string(method)) + ", " + Counted(Read32(command, 3), "byte") +
         " for " + GeometryInWords(ReadGeometry(command.subspan(7)));
}

std::string LengthInWords(std::uint16_t lines) {
  return lines == 0xFFFF ? "open length" : std::to_string(lines);
}

}  // namespace

std::uint16_t Read16(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

std::uint32_t Read32(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return Read16(bytes, offset) | std::uint32_t{Read16(bytes, offset + 2)} << 16;
}

std::uint32_t RasterGeometry::LineBytes() const {
  const std::uint32_t bits = bitsPerDot * dotsPerLine;
  return bits / 8 + (bits % 8 == 0 ? 0 : 1);
}

bool RasterGeometry::Wraps() const {
  const std::uint64_t lineBytes = (std::uint64_t{bitsPerDot} * dotsPerLine + 7) / 8;
  return std::uint64_t{bitsPerDot} * dotsPerLine > UINT32_MAX || lineBytes * lineCount > UINT32_MAX;
}

RasterGeometry ReadGeometry(std::span<const std::uint8_t> descriptor) {
  return RasterGeometry{descriptor[0], descriptor[1], Read32(descriptor, 2), Read32(descriptor, 6)};
}

Step StepAt(std::span<const std::uint8_t> stream, std::uint64_t offset) {
  const auto rest = stream.subspan(static_cast<std::size_t>(offset));
  if (rest.empty()) {
    return {StepResult::kEndOfStream, 0, 0};
  }
  // A lone last byte is judged too: if it isn't ESC, no further byte can make a command of it.
  if (rest[0] != kEscape) {
    return {StepResult::kNoEscape, 0, rest[0]};
  }
  if (rest.size() < 2) {
    return {StepResult::kIncomplete, 2, 0};
  }
  const std::uint8_t letter = rest[1];
  const CommandRow* row = FindRow(letter);
  if (row == nullptr) {
    return {StepResult::kUnknownLetter, 0, letter};
  }
  const std::uint64_t length = rest.size() < row->length ? row->length : LengthOf(*row, rest);
  return {rest.size() < length ? StepResult::kIncomplete : StepResult::kCommand, length, letter};
}

bool IsBetweenLabelsLetter(std::uint8_t letter) {
  constexpr std::string_view kLetters = "CHLTcdeghilqt";
  return kLetters.find(static_cast<char>(letter)) != std::string_view::npos;
}

std::string CommandName(std::uint8_t letter) {
  return IsVisible(letter) ? std::string("ESC ") + static_cast<char>(letter) : "ESC 0x" + HexByte(letter);
}

std::string CommandMeaning(std::uint8_t letter) {
  const CommandRow* row = FindRow(letter);
  return row == nullptr ? std::string() : std::string(row->meaning);
}

std::string OperandsInWords(std::span<const std::uint8_t> command) {
  if (command.size() <= 2) {
    return {};
  }
  switch (static_cast<char>(command[1])) {
    case 'D':
      return GeometryInWords(ReadGeometry(command.subspan(2)));
    case 'Z':
      return CompressedInWords(command);
    case 'L':
      return LengthInWords(Read16(command, 2));
    case 'n':
      return std::to_string(Read16(command, 2));
    case 's':
      return "job id " + std::to_string(Read32(command, 2));
    case 'A':
    case 'p':
    case 'q':
      return ByteInWords(command[2]);
    default:
      return HexBytes(command.subspan(2), 8);
  }
}

std::string HexBytes(std::span<const std::uint8_t> bytes, std::size_t most) {
  std::string text;
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), most))) {
    text += (text.empty() ? "" : " ") + HexByte(byte);
  }
  return bytes.size() > most ? text + " ..." : text;
}

std::string Counted(std::uint64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace sc3xx
