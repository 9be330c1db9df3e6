#include "simulator/status_answer.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace simulator {
namespace {

using Record = std::array<std::uint8_t, 32>;

void PutWord(std::uint8_t* at, std::uint32_t word) {
  for (unsigned byte = 0; byte < 4; ++byte) at[byte] = static_cast<std::uint8_t>(word >> (8 * byte));
}

// The last bytes of a record are what the firmware puts there in good order; nothing is known to read them.
Record PlainRecord(const StatusReport& report) {
  Record record{};
  record[0] = report.status;
  record[8] = report.head;
  record[10] = report.bay;
  PutWord(&record[23], report.errorBits);
  constexpr std::array<std::uint8_t, 5> kTail{0xE7, 0x03, 0x01, 0x11, 0x04};
  std::copy(kTail.begin(), kTail.end(), record.begin() + 27);
  return record;
}

Record EscapeSRecord(const StatusReport& report) {
  Record record{0x1B, 0x53, 0x1D, report.status};
  record[10] = report.cutter;
  record[11] = report.bay;
  PutWord(&record[24], report.errorBits);
  constexpr std::array<std::uint8_t, 4> kTail{0xE7, 0x03, 0x01, 0x04};
  std::copy(kTail.begin(), kTail.end(), record.begin() + 28);
  return record;
}

Record MakeRecord(StatusForm form, const StatusReport& report) {
  return form == StatusForm::kPlain ? PlainRecord(report) : EscapeSRecord(report);
}

void PutDigits(std::vector<std::uint8_t>& answer, std::size_t at, std::size_t width, std::uint16_t number) {
  std::string digits = std::to_string(number);
  digits.insert(0, width - std::min(width, digits.size()), '0');
  std::copy(digits.begin(), digits.end(), answer.begin() + static_cast<std::ptrdiff_t>(at));
}

void PutHardwareId(std::vector<std::uint8_t>& answer, const Firmware& firmware, const PrinterModel& model) {
  switch (firmware.hardwareIdForm.value_or(model.hardwareIdForm)) {
    case HardwareIdForm::kAsciiHex: {
      std::array<char, 3> digits{};
      std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned>(model.hardwareId) & 0xFFu);
      answer[32] = static_cast<std::uint8_t>(digits[0]);
      answer[33] = static_cast<std::uint8_t>(digits[1]);
      return;
    }
    case HardwareIdForm::kBinary:
      answer[32] = static_cast<std::uint8_t>(model.hardwareId & 0xFF);
      answer[33] = static_cast<std::uint8_t>(model.hardwareId >> 8);
      return;
    case HardwareIdForm::kRaw:
      std::copy_n(firmware.rawHardwareId.begin(), 2, answer.begin() + 32);
      return;
  }
}

std::string DescribeStatus(std::uint8_t status) {
  switch (status) {
    case 0:
      return "ready";
    case 1:
      return "ready (1)";
    case 2:
      return "printer error";
    case 3:
      return "cancelled at the printer";
    case 4:
      return "taken by somebody else";
    case 5:
      return "refused, taken by somebody else";
    default:
      return "status " + std::to_string(status);
  }
}

}  // namespace

std::uint32_t CommunicationBit(StatusForm form) {
  return form == StatusForm::kPlain ? 0x1000u : 0x08u;
}

std::uint32_t BatteryBit() {
  return 0x800u;
}

std::vector<std::uint8_t> BuildStatusAnswer(StatusForm form, const StatusReport& report, std::size_t size) {
  const Record record = MakeRecord(form, report);
  if (size <= record.size()) return {record.begin(), record.end()};
  // Two rolls: a head with the length of the whole, the record, and the same of the second roll, which is never used.
  std::vector<std::uint8_t> answer{0x1B, 0x53, static_cast<std::uint8_t>(size), 0x00, 0x02, 0x00};
  StatusReport secondRoll;
  secondRoll.status = report.status;
  const Record second = MakeRecord(form, secondRoll);
  answer.insert(answer.end(), record.begin(), record.end());
  answer.insert(answer.end(), second.begin(), second.end());
  return answer;
}

std::vector<std::uint8_t> BuildFirmwareAnswer(const Firmware& firmware, const PrinterModel& model) {
  if (firmware.rawAnswer) return {firmware.rawAnswer->begin(), firmware.rawAnswer->end()};
  std::vector<std::uint8_t> answer(34, 0);
  std::copy(firmware.name.begin(), firmware.name.end(), answer.begin());
  std::copy(firmware.type.begin(), firmware.type.end(), answer.begin() + 16);
  PutDigits(answer, 20, 4, firmware.number1);
  PutDigits(answer, 24, 4, firmware.number2);
  PutDigits(answer, 28, 2, firmware.number3);
  PutDigits(answer, 30, 2, firmware.number4);
  PutHardwareId(answer, firmware, model);
  return answer;
}

std::string DescribeBay(std::uint8_t bay) {
  switch (bay) {
    case 1:
      return "bay open";
    case 3:
      return "wrong media";
    case 6:
    case 7:
    case 8:
      return "media good";
    case 9:
      return "label jam";
    case 10:
      return "unknown label";
    default:
      return bay <= 5 ? "out of labels" : "media error";
  }
}

std::string DescribeReport(const StatusReport& report, StatusForm form) {
  std::string text = DescribeStatus(report.status);
  if (!IsGoodBay(report.bay)) text += ", " + DescribeBay(report.bay) + " (bay " + std::to_string(report.bay) + ")";
  if (report.head != 0) text += ", print head " + std::to_string(report.head);
  if (report.cutter == 4) text += ", cutter jam";
  if ((report.errorBits & CommunicationBit(form)) != 0) text += ", communication error";
  if (form == StatusForm::kEscapeS && (report.errorBits & BatteryBit()) != 0) text += ", battery low";
  return text;
}

}  // namespace simulator
