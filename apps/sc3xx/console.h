// Where a command speaks to: results, everything else, and whether a person watches a terminal that can
// redraw a line.
#pragma once

#include <ostream>

namespace sc3xx {

struct Console {
  std::ostream& out;      // what the command was asked for
  std::ostream& err;      // errors and warnings
  bool liveOut = false;   // `out` is a terminal
  bool liveErr = false;   // `err` is a terminal
  unsigned columns = 80;  // of the terminal
};

// Exit codes, an interface like any other.
enum ExitCode : int {
  kExitPrinted = 0,  // or done, for commands that don't print
  kExitFailed = 1,   // bad input, a device or printer that failed, an incomplete job
  kExitUsage = 2,    // the command line or the settings file is wrong
  kExitDeleted = 3,  // deleted with Ctrl-C or cancelled at the printer
};

}  // namespace sc3xx
