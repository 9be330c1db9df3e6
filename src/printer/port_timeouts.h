// The time-outs of a port. Pure.
#pragma once

#include <cstdint>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

// How long a printer may need for a label of `lineCount` raster lines, in milliseconds: 300 lines an inch at 40 mm/s,
// and three seconds over. Modulo 2^32 for an absurd count.
std::uint32_t LabelPrintTimeoutMs(std::uint32_t lineCount);

// The record that a port gets, for a read and a write time-out in milliseconds.
COMMTIMEOUTS PortTimeouts(std::uint32_t readTimeoutMs, std::uint32_t writeTimeoutMs);

}  // namespace sc3xxmon
