#include "printer/port_timeouts.h"

namespace sc3xxmon {

std::uint32_t LabelPrintTimeoutMs(std::uint32_t lineCount) {
  constexpr float kDotsPerMillimetre = 11.811024F;
  constexpr float kMillimetresPerSecond = 40.0F;
  // Single precision in this order: the values that a port has been given since the first release.
  float time = static_cast<float>(lineCount);
  time /= kDotsPerMillimetre;
  time /= kMillimetresPerSecond;
  time += 3.0F;
  time *= 1000.0F;
  // The float can pass 2^32, where a direct conversion would be undefined.
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(time));
}

COMMTIMEOUTS PortTimeouts(std::uint32_t readTimeoutMs, std::uint32_t writeTimeoutMs) {
  COMMTIMEOUTS timeouts{};
  timeouts.ReadIntervalTimeout = 0;
  timeouts.ReadTotalTimeoutMultiplier = 1;
  timeouts.ReadTotalTimeoutConstant = readTimeoutMs;
  timeouts.WriteTotalTimeoutMultiplier = 1;
  timeouts.WriteTotalTimeoutConstant = writeTimeoutMs;
  return timeouts;
}

}  // namespace sc3xxmon
