// The wall clock, as people read it. It names files and stamps lines of the log and decides nothing, so that it is the
// system's own even where the host has a clock for waiting.
#pragma once

#include <cstdint>

namespace sc3xxmon::platform {

struct LocalTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;  // from 1
  std::uint16_t day = 0;
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t millisecond = 0;
};

// Any thread. Never fails: a time that can't be had is all zero.
LocalTime CurrentLocalTime();

// The moment at which this process was made: the same for every copy of the monitor in it. Milliseconds are 0 where the
// system doesn't know them.
LocalTime ProcessStartLocalTime();

}  // namespace sc3xxmon::platform
