// `sc3xx simulate`: virtual printers on the network, for the monitor and for whoever else speaks to a printer's port.
#pragma once

#include "apps/sc3xx/console.h"
#include "apps/sc3xx/simulate_plan.h"

namespace CLI {
class App;
}

namespace sc3xx {

// `request` outlives the parsing.
void AddSimulateCommand(CLI::App& program, SimulateRequest& request);

// Gives the exit code. Throws UsageError, ListenError or InputError. Blocks until Ctrl-C or a request to terminate, or
// until what the request limits it to is over.
int RunSimulate(const SimulateRequest& request, Console& console);

}  // namespace sc3xx
