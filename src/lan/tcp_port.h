// The port table for printers on the network. It takes the place of the port monitor's own: from here down the library
// speaks TCP by itself, and from here up the engine doesn't know which table it holds.
#pragma once

#include <cstdint>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

// Functions catch every failure of the standard exception base and give 0. The port handle is a key from a series of
// its own, never the key that the spooler holds.
MONITOR2 LanPortTable();

}  // namespace sc3xxmon
