#include "platform/local_time.h"

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {
namespace {

LocalTime From(const SYSTEMTIME& time) {
  return {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds};
}

}  // namespace

LocalTime CurrentLocalTime() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  return From(now);
}

LocalTime ProcessStartLocalTime() {
  FILETIME created{};
  FILETIME ended{};
  FILETIME kernel{};
  FILETIME user{};
  FILETIME local{};
  SYSTEMTIME time{};
  if (GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user) == FALSE ||
      FileTimeToLocalFileTime(&created, &local) == FALSE || FileTimeToSystemTime(&local, &time) == FALSE) {
    return {};
  }
  return From(time);
}

}  // namespace sc3xxmon::platform
