// The clock that the host lends to the monitor and uses for its own pauses. A test hands in one that only
// counts, so that a thousand restarts take no time and the same run twice is the same run.
//
// Units: milliseconds. `ticks` never goes back. Both functions are called on whichever thread prints.
#pragma once

#include <cstdint>
#include <functional>

namespace sc3xx {

struct HostClock {
  std::function<std::uint64_t()> ticks;
  std::function<void(std::uint32_t milliseconds)> sleep;
};

// The machine's own steady clock, counted from this call.
HostClock SteadyHostClock();

}  // namespace sc3xx
