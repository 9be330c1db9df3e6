// The calling thread's last-error value: how port functions and entry points tell the reason of a failure.
#pragma once

#include <cstdint>

namespace sc3xxmon::platform {

std::uint32_t LastError();
void SetLastErrorCode(std::uint32_t code);

}  // namespace sc3xxmon::platform
