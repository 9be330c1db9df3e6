#pragma once

#include <cstdint>

namespace sc3xxmon::platform {

// The system's number of the calling thread, for the log.
std::uint32_t CurrentThreadId();

}  // namespace sc3xxmon::platform
