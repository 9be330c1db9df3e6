#include "platform/clock.h"

#include <chrono>
#include <thread>

#include "platform/posix/host_table.h"

namespace sc3xxmon::platform {

std::uint64_t TickCountMs() {
  if (Host().TickCount != nullptr) {
    return Host().TickCount(Host().context);
  }
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void SleepMs(std::uint32_t milliseconds) {
  if (Host().Sleep != nullptr) {
    Host().Sleep(Host().context, milliseconds);
    return;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace sc3xxmon::platform
