#include "platform/name_lookup.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <memory>

#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

std::wstring TextOf(int family, const void* address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(family, address, text.data(), text.size()) != nullptr ? FromUtf8(text.data()) : std::wstring();
}

FoundAddress FromIPv4(const sockaddr_in& record) {
  return {AddressFamily::kIPv4, record.sin_addr.s_addr == htonl(INADDR_LOOPBACK), TextOf(AF_INET, &record.sin_addr)};
}

FoundAddress FromIPv6(const sockaddr_in6& record) {
  return {AddressFamily::kIPv6, IN6_IS_ADDR_LOOPBACK(&record.sin6_addr) != 0, TextOf(AF_INET6, &record.sin6_addr)};
}

}  // namespace

std::vector<FoundAddress> LookUpHost(const std::wstring& hostName, LookupFamily family) {
  addrinfo hints{};
  hints.ai_family = family == LookupFamily::kAny ? AF_UNSPEC : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* list = nullptr;
  if (getaddrinfo(ToUtf8(hostName).c_str(), nullptr, &hints, &list) != 0) {
    return {};
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);
  std::vector<FoundAddress> found;
  for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
    if (entry->ai_family == AF_INET) {
      found.push_back(FromIPv4(*reinterpret_cast<const sockaddr_in*>(entry->ai_addr)));
    } else if (entry->ai_family == AF_INET6) {
      found.push_back(FromIPv6(*reinterpret_cast<const sockaddr_in6*>(entry->ai_addr)));
    }
  }
  return found;
}

}  // namespace sc3xxmon::platform
