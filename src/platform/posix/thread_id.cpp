#include "platform/thread_id.h"

#include <unistd.h>

namespace sc3xxmon::platform {

std::uint32_t CurrentThreadId() {
  return static_cast<std::uint32_t>(gettid());
}

}  // namespace sc3xxmon::platform
