// What `sc3xx status` found out, for a person and for a program.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "apps/status/printer_state.h"

namespace sc3xx {

struct StatusReport {
  std::string port;     // as it was given
  std::string address;  // where a name on the network led to
  std::optional<PrinterState> state;
  std::optional<FirmwareState> firmware;
  std::string unreachable;  // why there is no state
};

// "ready", "in use", "error" or "unreachable".
std::string_view Name(const StatusReport& report);

void WriteText(const StatusReport& report, std::ostream& stream);
void WriteJson(const StatusReport& report, std::ostream& stream);

}  // namespace sc3xx
