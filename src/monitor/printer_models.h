// The nine printers and what differs between them. A difference between models is a column here, so that the engine
// asks for the property and not for row numbers. A leaf but for the tape offsets' registry read.
#pragma once

#include <cstdint>
#include <string_view>

namespace sc3xxmon {

enum class LabelCompression : std::uint8_t {
  kNever,
  kByFirmware,  // only with firmware information that allows it
  kAlways,
};

struct PrinterModel {
  const wchar_t* driverName;
  const wchar_t* shortName;
  std::uint16_t hardwareId;   // as the printer's firmware information gives it
  bool dualRoll;              // answers a status request with 70 bytes, and its stream's `ESC q` is noted
  bool tape;                  // chunked labels, no form feeds of the monitor's own
  bool asksForLockFirst;      // takes the printer's lock with the first status request
  bool releasesLockOnErrors;  // gives the lock back while errors stand, whatever the option says
  LabelCompression compression;
};

// The row of a model: 1 to 9; any other number gives the row of an unknown printer, which has no property at all.
const PrinterModel& PrinterModelRow(std::uint32_t model);

// The row number for a driver's name; 0 for null, empty or unknown. Every character counts, case included.
std::uint32_t ModelFromDriverName(const wchar_t* driverName);

// The row number for the hardware id of a printer's firmware information; 0 for an unknown one.
std::uint32_t HardwareIdToModel(std::uint16_t hardwareId);

// The raster offset set for a tape model (rows 8 and 9) and a tape size code, -1 if there is none. Kept ready for
// drivers that ask; no routine of the monitor applies an offset.
std::int32_t TapeLabelOffset(std::int32_t model, std::uint8_t tapeSizeCode) noexcept;

}  // namespace sc3xxmon
