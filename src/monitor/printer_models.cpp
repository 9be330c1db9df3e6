#include "monitor/printer_models.h"

#include <iterator>
#include <new>
#include <string>

#include "monitor/options.h"
#include "monitor/registry_key.h"

namespace sc3xxmon {
namespace {

using enum LabelCompression;

constexpr PrinterModel kModels[] = {
    // driver name                     short name  id      dual   tape   asks   releases compression
    {L"", L"", 0, false, false, false, false, kNever},
    {L"KOVA Scrivelo 310", L"SC310", 0x28, false, false, true, false, kByFirmware},
    {L"KOVA Scrivelo 310 Swift", L"SC310S", 0x29, false, false, false, false, kByFirmware},
    {L"KOVA Scrivelo 3WD", L"SC3WD", 0x2A, false, false, false, false, kByFirmware},
    {L"KOVA Scrivelo 310 Dual Swift", L"SC310DS", 0x2B, true, false, false, false, kAlways},
    {L"KOVA Scrivelo 310 Plus", L"SC310P", 0x2C, false, false, false, false, kAlways},
    {L"KOVA Scrivelo 310 Dual Plus", L"SC310DP", 0x2D, true, false, false, false, kAlways},
    {L"KOVA Scrivelo 3WD Plus", L"SC3WDP", 0x2E, false, false, false, false, kAlways},
    {L"KOVA Ribbonet Office 410", L"RB410", 0x100A, false, true, false, false, kNever},
    {L"KOVA Ribbonet Office 430", L"RB430", 0x1010, false, true, false, true, kNever},
};
constexpr std::uint32_t kModelCount = std::size(kModels);

constexpr const wchar_t* kTapeSizes[] = {L"", L"6mm", L"9mm", L"12mm", L"19mm", L"24mm"};

}  // namespace

const PrinterModel& PrinterModelRow(std::uint32_t model) {
  return kModels[model < kModelCount ? model : 0];
}

std::uint32_t ModelFromDriverName(const wchar_t* driverName) {
  if (driverName == nullptr) {
    return 0;
  }
  const std::wstring_view name = driverName;
  for (std::uint32_t row = 1; row < kModelCount; ++row) {
    if (name == kModels[row].driverName) {
      return row;
    }
  }
  return 0;
}

std::uint32_t HardwareIdToModel(std::uint16_t hardwareId) {
  for (std::uint32_t row = 1; row < kModelCount; ++row) {
    if (hardwareId == kModels[row].hardwareId) {
      return row;
    }
  }
  return 0;
}

std::int32_t TapeLabelOffset(std::int32_t model, std::uint8_t tapeSizeCode) noexcept try {
  const PrinterModel& row = PrinterModelRow(static_cast<std::uint32_t>(model));
  if (!row.tape) {
    return -1;
  }
  const std::wstring size = tapeSizeCode < std::size(kTapeSizes) ? kTapeSizes[tapeSizeCode] : L"";
  const std::wstring name = std::wstring(row.shortName) + L"_" + size + L"_offset";
  return static_cast<std::int32_t>(ReadDwordOnce(kOptionsKey, name.c_str(), static_cast<std::uint32_t>(-1)));
} catch (const std::bad_alloc&) {
  return -1;
}

}  // namespace sc3xxmon
