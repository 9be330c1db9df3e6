#include "apps/spooler/host_clock.h"

#include <chrono>
#include <thread>

namespace sc3xx {

HostClock SteadyHostClock() {
  const auto ticks = [start = std::chrono::steady_clock::now()] {
    const auto sinceStart = std::chrono::steady_clock::now() - start;
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
  };
  const auto sleep = [](std::uint32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  };
  return {ticks, sleep};
}

}  // namespace sc3xx
