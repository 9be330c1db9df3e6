#include "platform/local_time.h"

#include <unistd.h>

#include <ctime>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

namespace sc3xxmon::platform {
namespace {

LocalTime From(time_t seconds, long nanoseconds) {
  std::tm time{};
  if (localtime_r(&seconds, &time) == nullptr) {
    return {};
  }
  const auto number = [](int value) { return static_cast<std::uint16_t>(value); };
  return {number(time.tm_year + 1900),
          number(time.tm_mon + 1),
          number(time.tm_mday),
          number(time.tm_hour),
          number(time.tm_min),
          number(time.tm_sec),
          number(static_cast<int>(nanoseconds / 1'000'000))};
}

// The machine's start, whole seconds since 1970, as the kernel tells everybody alike; 0 if it doesn't.
std::uint64_t BootSeconds() {
  std::ifstream file("/proc/stat");
  std::string word;
  std::uint64_t seconds = 0;
  while (file >> word) {
    if (word == "btime" && file >> seconds) {
      return seconds;
    }
    file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  return 0;
}

// Clock ticks from the machine's start to the process's own; 0 if they can't be had. The program's name stands before
// them in parentheses and may hold any character.
std::uint64_t StartTicks() {
  constexpr int kFieldsBetween = 19;
  std::ifstream file("/proc/self/stat");
  std::stringstream text;
  text << file.rdbuf();
  std::istringstream fields(text.str().substr(text.str().rfind(')') + 1));
  std::string skipped;
  for (int i = 0; i < kFieldsBetween; ++i) {
    fields >> skipped;
  }
  std::uint64_t ticks = 0;
  fields >> ticks;
  return fields ? ticks : 0;
}

}  // namespace

LocalTime CurrentLocalTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return From(now.tv_sec, now.tv_nsec);
}

// Without /proc the moment of the first question has to do.
LocalTime ProcessStartLocalTime() {
  const std::uint64_t boot = BootSeconds();
  const std::uint64_t ticks = StartTicks();
  const long perSecond = sysconf(_SC_CLK_TCK);
  if (boot == 0 || ticks == 0 || perSecond <= 0) {
    static const LocalTime asked = CurrentLocalTime();
    return asked;
  }
  return From(static_cast<time_t>(boot + ticks / static_cast<std::uint64_t>(perSecond)), 0);
}

}  // namespace sc3xxmon::platform
