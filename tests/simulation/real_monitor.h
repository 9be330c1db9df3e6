// The library at its door.
#pragma once

#include <string>

#include "simulation/monitor_calls.h"
#include "simulation/world.h"

namespace sc3xxmon::simulation {

// Names the printer of this process for simulations that may run at the same time; to be called before any run.
void NamePrinterAfter(const std::string& tag);

// Loads the monitor with the world's options; the world must outlive the calls.
MonitorCalls CallRealMonitor(World& world);

}  // namespace sc3xxmon::simulation
