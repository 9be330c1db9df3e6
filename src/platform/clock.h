// The one clock of the monitor: ticks and sleeps. Off Windows both come from the host, so that a test runs on virtual
// time and the same run twice is the same run.
#pragma once

#include <cstdint>

namespace sc3xxmon::platform {

// Milliseconds of a clock that never goes back. Any thread.
std::uint64_t TickCountMs();

// Blocks the calling thread for `milliseconds` of that clock.
void SleepMs(std::uint32_t milliseconds);

}  // namespace sc3xxmon::platform
