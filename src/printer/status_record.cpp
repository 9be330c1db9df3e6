#include "printer/status_record.h"

#include "monitor/printer_models.h"
#include "stream/kpl_command.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kBatteryLowBit = 0x800;       // ESC S form
constexpr std::uint32_t kCommErrorBitEscS = 0x08;     // ESC S form
constexpr std::uint32_t kCommErrorBitPlain = 0x1000;  // plain form

bool MediaIsGood(std::uint8_t bay) {
  return bay >= 6 && bay <= 8;
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
                      (errors.Cutter == 4 ? kCutterError : 0) | (batteryLow ? kBatteryError : 0);
  return errors;
}

StatusRecord FabricatedStatus(std::uint32_t model) {
  StatusRecord record;
  if (PrinterModelRow(model).tape) {
    record.Bytes[0] = 0x1B;
    record.Bytes[1] = 0x53;
    record.Bytes[2] = 0x1D;
    record.Bytes[11] = 0x08;
    record.Bytes[28] = 0xE7;
    record.Bytes[29] = 0x03;
    record.Bytes[30] = 0x01;
    record.Bytes[31] = 0x04;
  } else {
    record.Bytes[10] = 0x08;
    record.Bytes[27] = 0xE7;
    record.Bytes[28] = 0x03;
    record.Bytes[29] = 0x01;
    record.Bytes[30] = 0x11;
    record.Bytes[31] = 0x04;
  }
  return record;
}

}  // namespace sc3xxmon
