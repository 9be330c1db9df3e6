// Where a printer is to be reached: a numeric address and a TCP port, as a person types them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "apps/ports/network_host.h"

namespace sc3xx {

struct ListenAddress {
  std::string host;  // numeric, without brackets
  std::uint16_t port = kPrinterTcpPort;

  bool operator==(const ListenAddress&) const = default;
};

// "127.0.0.2", "127.0.0.2:9101", "::1", "[::1]:9101"; port 0 takes any that is free. The host's form is left to whoever
// listens. Nothing: the text has another form.
std::optional<ListenAddress> ParseListenAddress(std::string_view text);

// As ParseListenAddress reads it, always with the port.
std::string Format(const ListenAddress& address);

// The two addresses that the monitor's name look-up skips: nothing that prints through it gets there.
bool IsSkippedByMonitor(const ListenAddress& address);

}  // namespace sc3xx
