#include "simulator/transcript.h"

#include <nlohmann/json.hpp>

namespace simulator {
namespace {

const char* ShortName(Direction direction) {
  switch (direction) {
    case Direction::kToPrinter:
      return "in";
    case Direction::kFromPrinter:
      return "out";
    case Direction::kAtPrinter:
      return "printer";
  }
  return "?";
}

std::string InHex(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15u];
  }
  return text;
}

}  // namespace

std::string ToJson(const Exchange& exchange, std::string_view printerName) {
  nlohmann::ordered_json line;
  line["t"] = exchange.timeMs;
  if (!printerName.empty()) line["printer"] = printerName;
  if (exchange.client == kSomebodyElse) line["client"] = "somebody else";
  if (exchange.client != kSomebodyElse && exchange.client != kNobody) line["client"] = exchange.client;
  line["dir"] = ShortName(exchange.direction);
  line["kind"] = exchange.kind;
  if (exchange.length > 0) line["length"] = exchange.length;
  if (!exchange.bytes.empty()) line["bytes"] = InHex(exchange.bytes);
  if (!exchange.meaning.empty()) line["meaning"] = exchange.meaning;
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string ToJsonLines(std::span<const Exchange> exchanges, std::string_view printerName) {
  std::string lines;
  for (const Exchange& exchange : exchanges) lines += ToJson(exchange, printerName) + "\n";
  return lines;
}

}  // namespace simulator
