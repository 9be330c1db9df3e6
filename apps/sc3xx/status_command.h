// `sc3xx status`: asks a printer once how it is and what it is, and says it in words.
//
// It asks with ESC A 0 and ESC V alone. Neither takes the printer's lock nor changes anything in it, so that a job of
// somebody else goes on undisturbed. The monitor takes no part: its door prints documents, and a document would lock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/sc3xx/console.h"

namespace CLI {
class App;
}

namespace sc3xx {

struct StatusRequest {
  std::string port = "virtual";
  std::string configFile;  // empty: SC3XXMON_CONFIG, else the one in /etc
  std::uint32_t timeoutSeconds = 5;
  bool json = false;
  std::string model;                // of the virtual printer; empty: row 5
  std::vector<std::string> faults;  // of the virtual printer
};

// `request` outlives the parsing.
void AddStatusCommand(CLI::App& program, StatusRequest& request);

// Gives the exit code. Throws UsageError or SettingsFileError. Blocks for a few times the time-out at most.
int RunStatus(const StatusRequest& request, Console& console);

}  // namespace sc3xx
