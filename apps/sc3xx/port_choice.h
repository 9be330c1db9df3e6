// The option --port, as `sc3xx print` and `sc3xx status` take it: virtual, usb:PATH, lan:HOST or lan:PRINTER.
#pragma once

#include <string>

#include "platform/posix/settings_file.h"

namespace sc3xx {

enum class PortKind { kVirtual, kDevice, kLan };

struct PortChoice {
  PortKind kind = PortKind::kVirtual;
  std::string target;  // the device's path, or the host or printer
};

// Throws UsageError.
PortChoice ParsePortChoice(const std::string& text);

// A printer on the network under the names that lead the monitor to it: from the printer to its port to its host.
struct LanTarget {
  std::string printerName;
  std::string portName;
  std::string hostName;
};

// A printer of the settings file, or else a host under names of its own. Throws UsageError for a printer whose entries
// lead nowhere and for what can't be a host. Looks nothing up.
LanTarget FindLanTarget(const std::string& target, const sc3xxmon::platform::SettingsFile& settings);

// Makes the entries by which the monitor finds the target.
void EnterLanTarget(const LanTarget& target, sc3xxmon::platform::SettingsFile& settings);

}  // namespace sc3xx
