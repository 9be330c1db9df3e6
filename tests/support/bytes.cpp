#include "support/bytes.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace sc3xxmon::test {
namespace {

void AppendLittle32(ByteString& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

void StoreLittle32(ByteString& out, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    out[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
}

void CopyText(ByteString& out, std::size_t at, std::string_view text) {
  std::copy(text.begin(), text.end(), out.begin() + static_cast<std::ptrdiff_t>(at));
}

}  // namespace

ByteString Bytes(std::string_view hex) {
  std::string digits;
  std::copy_if(hex.begin(), hex.end(), std::back_inserter(digits),
               [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
  ByteString out;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    out.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return out;
}

std::string Hex(const ByteString& bytes) {
  std::string out;
  for (const std::uint8_t byte : bytes) {
    char text[4];
    std::snprintf(text, sizeof(text), "%02X ", byte);
    out += text;
  }
  if (!out.empty()) {
    out.pop_back();
  }
  return out;
}

std::string Brief(const ByteString& bytes) {
  constexpr std::size_t kShown = 8;
  if (bytes.size() <= kShown) {
    return Hex(bytes);
  }
  return Hex({bytes.begin(), bytes.begin() + kShown}) + " .. (" + std::to_string(bytes.size()) + ")";
}

ByteString Joined(std::initializer_list<ByteString> parts) {
  ByteString out;
  for (const ByteString& part : parts) {
    out.insert(out.end(), part.begin(), part.end());
  }
  return out;
}

ByteString JobStart() {
  return Bytes("1B 73 01 00 00 00");
}

ByteString LabelIndex(std::uint16_t index) {
  return {0x1B, 'n', static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(index >> 8)};
}

ByteString Raster(std::uint32_t lines, std::uint32_t dotsPerLine, std::uint8_t seed, std::uint8_t bitsPerDot) {
  ByteString out{0x1B, 'D', bitsPerDot, 0};
  AppendLittle32(out, lines);
  AppendLittle32(out, dotsPerLine);
  const std::size_t lineBytes = (static_cast<std::size_t>(bitsPerDot) * dotsPerLine + 7) / 8;
  for (std::size_t i = 0; i < lineBytes * lines; ++i) {
    out.push_back(static_cast<std::uint8_t>(seed + i));
  }
  return out;
}

ByteString Label(std::uint16_t index, std::uint32_t lines, std::uint32_t dotsPerLine) {
  return Joined({LabelIndex(index), Raster(lines, dotsPerLine, static_cast<std::uint8_t>(index)), Bytes("1B 47")});
}

ByteString EndOfJob() {
  return Bytes("1B 51");
}

ByteString PlainStatus(const StatusFields& fields) {
  ByteString record(32, 0);
  record[0] = fields.status;
  record[8] = fields.head;
  record[10] = fields.bay;
  StoreLittle32(record, 23, fields.err);
  return record;
}

ByteString EscSStatus(const StatusFields& fields) {
  ByteString record(32, 0);
  record[0] = 0x1B;
  record[1] = 0x53;
  record[3] = fields.status;
  record[10] = fields.cutter;
  record[11] = fields.bay;
  StoreLittle32(record, 24, fields.err);
  return record;
}

ByteString DualRollStatus(const StatusFields& fields) {
  return Joined({Bytes("1B 53 00 00 00 00"), PlainStatus(fields), ByteString(32, 0xEE)});
}

ByteString Firmware(std::string_view type, std::string_view number1, std::string_view number2, std::string_view id) {
  ByteString response(34, 0);
  CopyText(response, 0, "Main");
  CopyText(response, 16, type);
  CopyText(response, 20, number1);
  CopyText(response, 24, number2);
  CopyText(response, 28, "0102");
  CopyText(response, 32, id);
  return response;
}

}  // namespace sc3xxmon::test
