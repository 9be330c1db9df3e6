// Bytes for tests: written as hexadecimal text, and put together as a driver would.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace sc3xxmon::test {

using ByteString = std::vector<std::uint8_t>;

// "1B 41 00" to bytes; spaces don't matter.
ByteString Bytes(std::string_view hex);
// Bytes to "1B 41 00".
std::string Hex(const ByteString& bytes);
// "1B 41 00" for short bytes, else the first few and the length: for stories that a person reads.
std::string Brief(const ByteString& bytes);
ByteString Joined(std::initializer_list<ByteString> parts);

// Commands of a stream.
ByteString JobStart();                       // ESC s
ByteString LabelIndex(std::uint16_t index);  // ESC n
// ESC D with the given raster geometry; raster bytes count up from `seed`.
ByteString Raster(std::uint32_t lines, std::uint32_t dotsPerLine, std::uint8_t seed = 1, std::uint8_t bitsPerDot = 1);
// ESC n, ESC D, ESC G.
ByteString Label(std::uint16_t index, std::uint32_t lines = 4, std::uint32_t dotsPerLine = 16);
ByteString EndOfJob();  // ESC Q

// Status records of 32 bytes and the 70 bytes that dual-roll models wrap them in.
struct StatusFields {
  std::uint8_t status = 0;
  std::uint8_t bay = 8;
  std::uint8_t head = 0;    // plain form only
  std::uint8_t cutter = 0;  // ESC S form only
  std::uint32_t err = 0;
};
ByteString PlainStatus(const StatusFields& fields = {});
ByteString EscSStatus(const StatusFields& fields = {});
ByteString DualRollStatus(const StatusFields& fields = {});
// The 34-byte answer to ESC V.
ByteString Firmware(std::string_view type, std::string_view number1, std::string_view number2, std::string_view id);

}  // namespace sc3xxmon::test
