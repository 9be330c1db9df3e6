// The program `sc3xx`: reads the arguments, runs one command, gives the exit code.
#pragma once

#include <string>
#include <vector>

#include "apps/sc3xx/console.h"
#include "apps/sc3xx/monitor_door.h"

namespace sc3xx {

// `arguments` without the program's name. Throws nothing but for lack of memory; errors are told on
// console.err. Blocks for as long as the command takes.
int RunCommandLine(const std::vector<std::string>& arguments, Console& console, const MonitorDoor& door);

}  // namespace sc3xx
