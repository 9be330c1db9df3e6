#include "apps/server/listen_address.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace sc3xx {
namespace {

std::optional<std::uint16_t> ParsePort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return port;
}

std::optional<ListenAddress> Joined(std::string_view host, std::string_view portText) {
  const std::optional<std::uint16_t> port = ParsePort(portText);
  if (host.empty() || !port) {
    return std::nullopt;
  }
  return ListenAddress{std::string(host), *port};
}

}  // namespace

std::optional<ListenAddress> ParseListenAddress(std::string_view text) {
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos || end == 1) {
      return std::nullopt;
    }
    const std::string_view host = text.substr(1, end - 1);
    const std::string_view rest = text.substr(end + 1);
    if (rest.empty()) {
      return ListenAddress{std::string(host)};
    }
    return rest.front() == ':' ? Joined(host, rest.substr(1)) : std::nullopt;
  }
  const auto colons = std::count(text.begin(), text.end(), ':');
  if (text.empty() || text.find(']') != std::string_view::npos) {
    return std::nullopt;
  }
  if (colons != 1) {  // none, or an IPv6 address
    return ListenAddress{std::string(text)};
  }
  const std::size_t colon = text.find(':');
  return Joined(text.substr(0, colon), text.substr(colon + 1));
}

std::string Format(const ListenAddress& address) {
  const bool brackets = address.host.find(':') != std::string::npos;
  return (brackets ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

bool IsSkippedByMonitor(const ListenAddress& address) {
  return address.host == "127.0.0.1" || address.host == "::1";
}

}  // namespace sc3xx
