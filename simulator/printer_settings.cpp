#include "simulator/printer_settings.h"

#include <cmath>

#include "simulator/fault_script.h"

namespace simulator {
namespace {

std::string CheckFirmware(const Firmware& firmware, const PrinterModel& model) {
  if (firmware.rawAnswer) return {};
  if (firmware.name.size() > 16) return "firmware name \"" + firmware.name + "\" is longer than 16 characters";
  if (firmware.type.size() != 4) return "firmware type \"" + firmware.type + "\" must have four characters, as FWAP";
  if (firmware.number1 > 9999 || firmware.number2 > 9999) return "firmware numbers 1 and 2 go up to 9999";
  if (firmware.number3 > 99 || firmware.number4 > 99) return "firmware numbers 3 and 4 go up to 99";
  const HardwareIdForm form = firmware.hardwareIdForm.value_or(model.hardwareIdForm);
  if (form == HardwareIdForm::kAsciiHex && model.hardwareId > 0xFF) {
    return "the hardware id of " + std::string(model.shortName) + " needs the binary form: two hex digits are too few";
  }
  return {};
}

// The form decides which parts a record can speak of at all.
std::string CheckVisible(StatusForm form, const Fault& fault) {
  const bool plain = form == StatusForm::kPlain;
  if (fault.kind == FaultKind::kHead && !plain) return "a status record in ESC S form has no print head byte";
  if (fault.kind == FaultKind::kCutter && plain) return "a plain status record has no cutter byte";
  if (fault.kind == FaultKind::kBattery && plain) return "a plain status record has no battery bit";
  return {};
}

std::string CheckValue(const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::kBay:
    case FaultKind::kCutter:
    case FaultKind::kStatus:
      return fault.value > 255 ? "its value is one byte, 0 to 255" : "";
    case FaultKind::kHead:
      return fault.value < 1 || fault.value > 255 ? "its value is one byte, 1 to 255" : "";
    case FaultKind::kErrorBits:
      return fault.value == 0 ? "it needs at least one error bit" : "";
    default:
      return {};
  }
}

}  // namespace

PrinterSettings& PrinterSettings::UseModelSpeed() {
  if (const PrinterModel* row = FindModel(model)) millimetresPerSecond = row->millimetresPerSecond;
  return *this;
}

std::string CheckFault(const PrinterSettings& settings, const Fault& fault) {
  const PrinterModel* model = FindModel(settings.model);
  if (model == nullptr) return "no model " + std::to_string(settings.model) + "; there are " + ModelChoices();
  std::string problem = CheckValue(fault);
  if (problem.empty()) problem = CheckVisible(settings.statusForm.value_or(model->statusForm), fault);
  if (problem.empty() && fault.trigger != FaultTrigger::kTime && fault.at == 0) {
    problem = "labels, calls and exchanges are counted from 1";
  }
  if (problem.empty() && fault.count && *fault.count == 0) problem = "count:0 would never happen";
  if (problem.empty()) return {};
  return "fault \"" + FormatFault(fault) + "\" on " + std::string(model->shortName) + ": " + problem;
}

std::string CheckSettings(const PrinterSettings& settings) {
  const PrinterModel* model = FindModel(settings.model);
  if (model == nullptr) {
    return "no printer model " + std::to_string(settings.model) + "; there are " + ModelChoices();
  }
  if (settings.millimetresPerSecond) {
    const double speed = *settings.millimetresPerSecond;
    if (!std::isfinite(speed) || speed <= 0.0) return "the speed must be more than 0 mm/s";
  }
  if (settings.receiveBufferBytes && *settings.receiveBufferBytes == 0) {
    return "a receive buffer of 0 bytes could take nothing; give at least 1, or none for no limit";
  }
  if (settings.goodBay < 6 || settings.goodBay > 8) return "the good Bay value is 6, 7 or 8";
  if (settings.maxLabelBytes == 0) return "the limit of a label must be at least 1 byte";
  for (const Fault& fault : settings.faults) {
    std::string problem = CheckFault(settings, fault);
    if (!problem.empty()) return problem;
  }
  return CheckFirmware(settings.firmware, *model);
}

}  // namespace simulator
