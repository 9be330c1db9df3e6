// What the monitor reads out of a printer's answers, against the tables written down once more.

#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz/fuzz_target.h"
#include "fuzz/input_reader.h"
#include "monitor/printer_models.h"
#include "printer/firmware_info.h"
#include "printer/status_record.h"

namespace sc3xxmon::fuzz {
namespace {

std::uint32_t Word(const std::uint8_t* bytes) {
  return bytes[0] + 0x100u * bytes[1] + 0x10000u * bytes[2] + 0x1000000u * bytes[3];
}

struct ExpectedRecord {
  std::uint32_t status = 0, bay = 0, head = 0, cutter = 0, err = 0;
  bool escS = false;
};

ExpectedRecord Read(const std::uint8_t* bytes) {
  if (bytes[0] == 0x1B && bytes[1] == 0x53) {
    return {bytes[3], bytes[11], 0, bytes[10], Word(bytes + 24), true};
  }
  return {bytes[0], bytes[10], bytes[8], 0, Word(bytes + 23), false};
}

void CheckErrors(const StatusRecord& record, const ExpectedRecord& expected) {
  const bool printerError = expected.status == 2;
  const bool media = expected.bay < 6 || expected.bay > 8;
  const bool battery = expected.escS && printerError && (expected.err & 0x800) != 0;
  const std::uint32_t flags =
      (media ? 1u : 0u) + (expected.head != 0 ? 2u : 0u) + (expected.cutter == 4 ? 4u : 0u) + (battery ? 8u : 0u);
  const PrinterErrors errors = DecodePrinterErrors(record);
  FUZZ_CHECK(errors.Bay == expected.bay && errors.Head == expected.head && errors.Cutter == expected.cutter);
  FUZZ_CHECK(errors.BatteryGood == (battery ? 0u : 1u));
  FUZZ_CHECK(errors.ErrorFlags == flags);
  const std::uint32_t commBit = expected.escS ? 0x08 : 0x1000;
  FUZZ_CHECK(record.HasCommError() == (printerError && (expected.err & commBit) != 0));
  FUZZ_CHECK(record.HasStatusErrorBits() == (expected.err != 0 && (printerError || !expected.escS)));
}

void CheckRecord(InputReader& input) {
  StatusRecord record;
  const auto bytes = input.Take(record.Bytes.size());
  std::copy(bytes.begin(), bytes.end(), record.Bytes.begin());
  const ExpectedRecord expected = Read(record.Bytes.data());
  FUZZ_CHECK(record.IsEscS() == expected.escS);
  FUZZ_CHECK(record.Status() == expected.status);
  FUZZ_CHECK(record.Bay() == expected.bay);
  FUZZ_CHECK(record.Head() == expected.head);
  FUZZ_CHECK(record.Cutter() == expected.cutter);
  FUZZ_CHECK(record.Err() == expected.err);
  FUZZ_CHECK(record.PassesStatusCheck() == (expected.status == 0 || expected.status == 1 || expected.status == 4));
  CheckErrors(record, expected);
}

std::uint32_t Decimal(const char* text, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < size && text[i] >= '0' && text[i] <= '9'; ++i) {
    number = number * 10 + static_cast<std::uint32_t>(text[i] - '0');
  }
  return number;
}

std::uint32_t ModelOfId(std::uint32_t id) {
  if (id >= 0x28 && id <= 0x2E) {
    return id - 0x27;
  }
  return id == 0x100A ? 8 : id == 0x1010 ? 9 : 0;
}

std::uint32_t ModelOfBytes(const char* id) {
  const std::string digits = "0123456789abcdef0123456789ABCDEF";
  const auto digit = [&](char c) { return c != '\0' ? digits.find(c) : std::string::npos; };
  if (digit(id[0]) != std::string::npos && digit(id[1]) != std::string::npos) {
    const std::uint32_t model = ModelOfId(static_cast<std::uint32_t>(digit(id[0]) % 16 * 16 + digit(id[1]) % 16));
    if (model != 0) {
      return model;
    }
  }
  return ModelOfId(static_cast<std::uint8_t>(id[0]) + 0x100u * static_cast<std::uint8_t>(id[1]));
}

void CheckFirmware(InputReader& input) {
  std::array<std::uint8_t, kFirmwareResponseSize> response{};
  const auto bytes = input.Take(response.size());
  std::copy(bytes.begin(), bytes.end(), response.begin());
  char text[kFirmwareResponseSize];
  std::memcpy(text, response.data(), sizeof(text));

  const FwInfo info = ParseFwInfo(response);
  std::string name(text, 16);
  while (!name.empty() && name.back() == '\0') {
    name.pop_back();
  }
  FUZZ_CHECK(info.FwName == name);
  const std::string type(text + 16, 4);
  FUZZ_CHECK(info.FwType == (type == "FWBL" ? 1 : type == "FWAP" ? 2 : 0));
  FUZZ_CHECK(info.FwNumber1 == Decimal(text + 20, 4));
  FUZZ_CHECK(info.FwNumber2 == Decimal(text + 24, 4));
  FUZZ_CHECK(info.FwNumber3 == Decimal(text + 28, 2));
  FUZZ_CHECK(info.FwNumber4 == Decimal(text + 30, 2));
  FUZZ_CHECK(info.FwModel == ModelOfBytes(text + 32));
}

}  // namespace
}  // namespace sc3xxmon::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sc3xxmon::fuzz;
  InputReader input(data, size);
  CheckRecord(input);
  CheckFirmware(input);
  const std::uint16_t id = input.Number16();
  FUZZ_CHECK(sc3xxmon::HardwareIdToModel(id) == ModelOfId(id));
  return 0;
}
