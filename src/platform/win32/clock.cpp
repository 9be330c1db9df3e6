#include "platform/clock.h"

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

std::uint64_t TickCountMs() {
  return GetTickCount64();
}

void SleepMs(std::uint32_t milliseconds) {
  Sleep(milliseconds);
}

}  // namespace sc3xxmon::platform
