#include "printer/status_record.h"

#include "monitor/printer_models.h"
#include "stream/kpl_command.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kBatteryLowBit = 0x800;       // ESC S form
constexpr std::uint32_t kCommErrorBitEscS = 0x08;     // ESC S form
constexpr std::uint32_t kCommErrorBitPlain = 0x1000;  // plain form

constexpr std::uint8_t kCutterJam = 4;
constexpr std::uint8_t kMediaGoodFirst = 6;
constexpr std::uint8_t kMediaGoodLast = 8;

// A printer that is ready, with labels in it.
constexpr StatusRecord kFabricatedEscS{{0x1B, 0x53, 0x1D, 0, 0, 0, 0, 0, 0, 0, 0, 0x08, 0,    0,    0,    0,
                                        0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0, 0,    0xE7, 0x03, 0x01, 0x04}};
constexpr StatusRecord kFabricatedPlain{
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x08, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE7, 0x03, 0x01, 0x11, 0x04}};

bool MediaIsGood(std::uint8_t bay) {
  return bay >= kMediaGoodFirst && bay <= kMediaGoodLast;
}

}  // namespace

std::uint32_t StatusRecord::Err() const {
  return ReadLittle32(Bytes.data() + (IsEscS() ? 24 : 23));
}

bool StatusRecord::HasCommError() const {
  return Status() == kStatusPrinterError && (Err() & (IsEscS() ? kCommErrorBitEscS : kCommErrorBitPlain)) != 0;
}

bool StatusRecord::HasStatusErrorBits() const {
  return (!IsEscS() || Status() == kStatusPrinterError) && Err() != 0;
}

PrinterErrors DecodePrinterErrors(const StatusRecord& record) {
  const bool batteryLow =
      record.IsEscS() && record.Status() == kStatusPrinterError && (record.Err() & kBatteryLowBit) != 0;
  PrinterErrors errors;
  errors.Bay = record.Bay();
  errors.Head = record.Head();
  errors.Cutter = record.Cutter();
  errors.BatteryGood = batteryLow ? 0 : 1;
  errors.ErrorFlags = (MediaIsGood(errors.Bay) ? 0 : kMediaError) | (errors.Head != 0 ? kHeadError : 0) |
                      (errors.Cutter == kCutterJam ? kCutterError : 0) | (batteryLow ? kBatteryError : 0);
  return errors;
}

StatusRecord FabricatedStatus(std::uint32_t model) {
  return PrinterModelRow(model).tape ? kFabricatedEscS : kFabricatedPlain;
}

}  // namespace sc3xxmon
