#include "printer/firmware_info.h"

#include <charconv>
#include <string_view>

#include "monitor/printer_models.h"
#include "stream/kpl_command.h"

namespace sc3xxmon {
namespace {

struct TypeRow {
  std::string_view text;
  std::uint16_t type;
};

constexpr TypeRow kTypes[] = {{"FWBL", 1}, {"FWAP", 2}};

std::uint16_t TypeOf(std::string_view text) {
  for (const TypeRow& row : kTypes) {
    if (text == row.text) {
      return row.type;
    }
  }
  return 0;
}

std::uint16_t DecimalField(std::string_view field) {
  std::uint16_t number = 0;
  const auto parsed = std::from_chars(field.data(), field.data() + field.size(), number, 10);
  return parsed.ec == std::errc() ? number : std::uint16_t{0};
}

// Desktop models may give their hardware id as two hexadecimal digits, every model may give it in binary.
std::uint32_t ModelOf(std::string_view id) {
  std::uint16_t digits = 0;
  const auto parsed = std::from_chars(id.data(), id.data() + id.size(), digits, 16);
  if (parsed.ec == std::errc() && parsed.ptr == id.data() + id.size()) {
    const std::uint32_t model = HardwareIdToModel(digits);
    if (model != 0) {
      return model;
    }
  }
  return HardwareIdToModel(ReadLittle16(reinterpret_cast<const std::uint8_t*>(id.data())));
}

}  // namespace

FwInfo ParseFwInfo(const std::array<std::uint8_t, kFirmwareResponseSize>& response) {
  const std::string_view text(reinterpret_cast<const char*>(response.data()), response.size());
  const std::string_view name = text.substr(0, 16);
  FwInfo info;
  info.FwName = name.substr(0, name.find_last_not_of('\0') + 1);
  info.FwType = TypeOf(text.substr(16, 4));
  info.FwNumber1 = DecimalField(text.substr(20, 4));
  info.FwNumber2 = DecimalField(text.substr(24, 4));
  info.FwNumber3 = DecimalField(text.substr(28, 2));
  info.FwNumber4 = DecimalField(text.substr(30, 2));
  info.FwModel = ModelOf(text.substr(32, 2));
  return info;
}

}  // namespace sc3xxmon
