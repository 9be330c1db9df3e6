// The system's socket errors in Windows Sockets numbers.
#pragma once

#include <cstdint>

namespace sc3xxmon::platform {

inline constexpr std::uint32_t kWsaIoPending = 997;

// The number for an errno value; 10022 (invalid argument) for one that has no counterpart.
std::uint32_t ToSocketError(int systemError);

// Stores the number for the present errno as the thread's last-error value.
void StoreSocketError();

}  // namespace sc3xxmon::platform
