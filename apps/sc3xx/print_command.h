// `sc3xx print`: pictures and KPL streams to a printer or to the virtual printer, through the monitor.
#pragma once

#include "apps/sc3xx/console.h"
#include "apps/sc3xx/monitor_door.h"
#include "apps/sc3xx/print_plan.h"

namespace CLI {
class App;
}

namespace sc3xx {

// `request` outlives the parsing.
void AddPrintCommand(CLI::App& program, PrintRequest& request);

// Gives the exit code. Throws UsageError, InputError, PortError or SettingsFileError for what stops it before it
// prints. Blocks until everything is printed, failed or deleted.
int RunPrint(const PrintRequest& request, Console& console, const MonitorDoor& door);

}  // namespace sc3xx
