// The library at its door.
#pragma once

#include "simulation/monitor_calls.h"
#include "simulation/world.h"

namespace sc3xxmon::simulation {

// Loads the monitor with the world's options; the world must outlive the calls.
MonitorCalls CallRealMonitor(World& world);

}  // namespace sc3xxmon::simulation
