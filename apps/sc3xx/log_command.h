// `sc3xx log`: what the monitor's log tells, one job at a time.
#pragma once

#include <string>

#include "apps/sc3xx/console.h"

namespace CLI {
class App;
}

namespace sc3xx {

struct LogRequest {
  std::string file;
  bool json = false;
};

// `request` outlives the parsing.
void AddLogCommand(CLI::App& program, LogRequest& request);

// Gives the exit code. Throws InputError for a file that can't be read or isn't a log.
int RunLog(const LogRequest& request, Console& console);

}  // namespace sc3xx
