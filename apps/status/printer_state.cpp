#include "apps/status/printer_state.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace sc3xx {
namespace {

using Span = std::span<const std::uint8_t>;

constexpr std::size_t kTwoRollHead = 6;
constexpr std::uint8_t kStatusError = 2;
constexpr std::uint8_t kStatusCancelled = 3;
constexpr std::uint8_t kStatusTaken = 4;
constexpr std::uint8_t kStatusRefused = 5;
constexpr std::uint8_t kCutterJam = 4;
constexpr std::uint32_t kBatteryLow = 0x800;         // ESC S form
constexpr std::uint32_t kBadTransferEscapeS = 0x08;  // ESC S form
constexpr std::uint32_t kBadTransferPlain = 0x1000;

constexpr std::string_view kBayWords[] = {
    "out of labels", "bay open",      "out of labels",         "wrong media inserted",
    "out of labels", "out of labels", "labels are in",         "labels are in",
    "labels are in", "label jam",     "unknown label detected"};
constexpr std::uint8_t kFirstGoodBay = 6;
constexpr std::uint8_t kLastGoodBay = 8;

std::uint32_t Word(Span bytes, std::size_t at) {
  return bytes[at] | std::uint32_t{bytes[at + 1]} << 8 | std::uint32_t{bytes[at + 2]} << 16 |
         std::uint32_t{bytes[at + 3]} << 24;
}

PrinterState FieldsOf(Span record) {
  PrinterState state;
  state.isEscapeS = record[0] == 0x1B && record[1] == 0x53;
  state.status = record[state.isEscapeS ? 3 : 0];
  state.bay = record[state.isEscapeS ? 11 : 10];
  state.head = state.isEscapeS ? std::uint8_t{0} : record[8];
  state.cutter = state.isEscapeS ? record[10] : std::uint8_t{0};
  state.err = Word(record, state.isEscapeS ? 24 : 23);
  state.media = state.bay < std::size(kBayWords) ? std::string(kBayWords[state.bay])
                                                 : "unknown state " + std::to_string(state.bay) + " of the labels";
  return state;
}

std::vector<std::string> TroublesOf(const PrinterState& state) {
  std::vector<std::string> troubles;
  if (state.bay < kFirstGoodBay || state.bay > kLastGoodBay) {
    troubles.push_back(state.media);
  }
  if (state.head != 0) {
    troubles.emplace_back("print head is overheated");
  }
  if (state.cutter == kCutterJam) {
    troubles.emplace_back("cutter jam");
  }
  const bool isError = state.status == kStatusError;
  if (isError && state.isEscapeS && (state.err & kBatteryLow) != 0) {
    troubles.emplace_back("battery level too low");
  }
  if (isError && (state.err & (state.isEscapeS ? kBadTransferEscapeS : kBadTransferPlain)) != 0) {
    troubles.emplace_back("the printer complains of the transfer");
  }
  if (isError && troubles.empty()) {
    troubles.emplace_back("printer error");
  }
  if (state.status == kStatusCancelled) {
    troubles.emplace_back("the job was cancelled at the printer");
  }
  if (state.status > kStatusRefused) {
    troubles.push_back("unknown status " + std::to_string(state.status));
  }
  return troubles;
}

std::string TextAt(Span answer, std::size_t at, std::size_t length) {
  std::string text(answer.begin() + static_cast<std::ptrdiff_t>(at),
                   answer.begin() + static_cast<std::ptrdiff_t>(at + length));
  // It goes to a terminal: nothing but letters that can be seen.
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c != '\0' && (c < ' ' || c > '~'); }, '?');
  return text.substr(0, text.find_last_not_of('\0') + 1);
}

std::string NumberAt(Span answer, std::size_t at, std::size_t length) {
  const std::string digits = TextAt(answer, at, length);
  unsigned number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return std::to_string(number);
}

const simulator::PrinterModel* ModelOf(std::uint32_t hardwareId) {
  const auto models = simulator::Models();
  const auto found = std::find_if(models.begin(), models.end(), [hardwareId](const simulator::PrinterModel& model) {
    return model.hardwareId == hardwareId;
  });
  return found == models.end() ? nullptr : &*found;
}

// Two hexadecimal digits where these name a model, else binary.
void ReadHardwareId(FirmwareState& firmware, Span answer) {
  const std::string digits = TextAt(answer, 32, 2);
  std::uint16_t id = 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), id, 16);
  const bool isText = parsed.ec == std::errc() && parsed.ptr == digits.data() + 2 && ModelOf(id) != nullptr;
  firmware.hardwareId = isText ? id : static_cast<std::uint16_t>(answer[32] | answer[33] << 8);
  firmware.model = ModelOf(firmware.hardwareId);
}

}  // namespace

std::optional<PrinterState> DecodeState(Span answer) {
  if (answer.size() != kRecordBytes && answer.size() != kTwoRollAnswerBytes) {
    return std::nullopt;
  }
  PrinterState state = FieldsOf(answer.subspan(answer.size() == kRecordBytes ? 0 : kTwoRollHead, kRecordBytes));
  state.troubles = TroublesOf(state);
  const bool isTaken = state.status == kStatusTaken || state.status == kStatusRefused;
  state.readiness = !state.troubles.empty() ? PrinterReadiness::kError
                    : isTaken               ? PrinterReadiness::kInUse
                                            : PrinterReadiness::kReady;
  return state;
}

std::optional<FirmwareState> DecodeFirmware(Span answer) {
  if (answer.size() != kFirmwareBytes) {
    return std::nullopt;
  }
  FirmwareState firmware;
  firmware.name = TextAt(answer, 0, 16);
  const std::string type = TextAt(answer, 16, 4);
  firmware.type = type == "FWAP" ? "application" : type == "FWBL" ? "boot loader" : type;
  firmware.version = NumberAt(answer, 20, 4) + "." + NumberAt(answer, 24, 4) + "." + NumberAt(answer, 28, 2) + "." +
                     NumberAt(answer, 30, 2);
  ReadHardwareId(firmware, answer);
  return firmware;
}

}  // namespace sc3xx
