#include "platform/name_lookup.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <array>
#include <cstring>

namespace sc3xxmon::platform {
namespace {

constexpr WORD kSocketsVersion = MAKEWORD(2, 2);

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
  WSADATA data;
  if (WSAStartup(kSocketsVersion, &data) != 0) {
    return {};
  }
  ADDRINFOW hints{};
  hints.ai_family = family == LookupFamily::kAny ? AF_UNSPEC : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  ADDRINFOW* list = nullptr;
  std::vector<FoundAddress> found;
  if (GetAddrInfoW(hostName.c_str(), nullptr, &hints, &list) == 0) {
    found = Walk(list);
    FreeAddrInfoW(list);
  }
  WSACleanup();
  return found;
}

}  // namespace sc3xxmon::platform
