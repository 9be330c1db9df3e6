#include "platform/name_lookup.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <array>
#include <memory>

namespace sc3xxmon::platform {
namespace {

constexpr WORD kSocketsVersion = MAKEWORD(2, 2);

class StartedSockets {
 public:
  StartedSockets() = default;
  ~StartedSockets() {
    if (Started()) {
      WSACleanup();
    }
  }
  StartedSockets(const StartedSockets&) = delete;
  StartedSockets& operator=(const StartedSockets&) = delete;

  bool Started() const { return result_ == 0; }

 private:
  WSADATA data_{};
  int result_ = WSAStartup(kSocketsVersion, &data_);
};

std::wstring TextOf(const ADDRINFOW& entry) {
  std::array<wchar_t, 64> text{};
  DWORD length = static_cast<DWORD>(text.size());
  const int result =
      WSAAddressToStringW(entry.ai_addr, static_cast<DWORD>(entry.ai_addrlen), nullptr, text.data(), &length);
  return result == 0 && length > 0 ? std::wstring(text.data()) : std::wstring();
}

bool IsLoopback(const ADDRINFOW& entry) {
  if (entry.ai_family == AF_INET) {
    return reinterpret_cast<const sockaddr_in*>(entry.ai_addr)->sin_addr.s_addr == htonl(INADDR_LOOPBACK);
  }
  return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(entry.ai_addr)->sin6_addr) != 0;
}

std::vector<FoundAddress> Walk(const ADDRINFOW* list) {
  std::vector<FoundAddress> found;
  for (const ADDRINFOW* entry = list; entry != nullptr; entry = entry->ai_next) {
    if (entry->ai_family == AF_INET || entry->ai_family == AF_INET6) {
      const auto family = entry->ai_family == AF_INET ? AddressFamily::kIPv4 : AddressFamily::kIPv6;
      found.push_back({family, IsLoopback(*entry), TextOf(*entry)});
    }
  }
  return found;
}

}  // namespace

std::vector<FoundAddress> LookUpHost(const std::wstring& hostName, LookupFamily family) {
  const StartedSockets sockets;
  if (!sockets.Started()) {
    return {};
  }
  ADDRINFOW hints{};
  hints.ai_family = family == LookupFamily::kAny ? AF_UNSPEC : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  ADDRINFOW* list = nullptr;
  if (GetAddrInfoW(hostName.c_str(), nullptr, &hints, &list) != 0) {
    return {};
  }
  const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> owner(list, FreeAddrInfoW);
  return Walk(list);
}

}  // namespace sc3xxmon::platform
