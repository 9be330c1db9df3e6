#include "platform/thread_id.h"

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

std::uint32_t CurrentThreadId() {
  return GetCurrentThreadId();
}

}  // namespace sc3xxmon::platform
