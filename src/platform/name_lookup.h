// From a host's name to numeric addresses, through the system's name service.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/tcp_socket.h"

namespace sc3xxmon::platform {

struct FoundAddress {
  AddressFamily family = AddressFamily::kIPv4;
  bool isLoopback = false;  // 127.0.0.1 or ::1 exactly; the rest of 127.0.0.0/8 isn't meant
  std::wstring text;        // numeric; empty if it couldn't be written out
};

enum class LookupFamily : std::uint8_t { kAny, kIPv4 };

// The stream addresses of a host, in the service's order, other families left out. Empty on any failure. Blocks for as
// long as the name service takes. Sockets need not have been started.
std::vector<FoundAddress> LookUpHost(const std::wstring& hostName, LookupFamily family);

}  // namespace sc3xxmon::platform
