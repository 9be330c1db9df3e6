// The options of a virtual printer that `print` and `simulate` share, from their text. All throw UsageError.
#pragma once

#include <optional>
#include <string>

#include "simulator/fault.h"
#include "simulator/models.h"

namespace sc3xx {

// A row of the constant table, by row number, name or short name.
const simulator::PrinterModel& ModelFrom(const std::string& text);

// Millimetres a second: "instant" (or "infinite") is none, "model" the model's own.
std::optional<double> SpeedFrom(const std::string& text, const simulator::PrinterModel& model);

simulator::Fault FaultFrom(const std::string& text);

}  // namespace sc3xx
