// Where a printer on the network is, looked up as the monitor does it: the first IPv4 address, else the first IPv6 one,
// and never 127.0.0.1 or ::1. The monitor itself only says that it found nothing; the words for why are made here.
//
// Blocking: a look-up takes as long as the system's name service does. Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace sc3xx {

// In both address families.
inline constexpr std::uint16_t kPrinterTcpPort = 9100;

struct NetworkHost {
  std::string address;  // numeric; empty if there is none to connect to
  bool isIPv4 = true;
  bool isThisComputer = false;  // it has no address but the loopback ones
};

NetworkHost FindNetworkHost(const std::string& hostName);

// Why there is no address, and what to do about it.
std::string WordsForMissingAddress(const std::string& hostName, const NetworkHost& found);

// What a failed connection means, and what to do about it: `code` is the last error. It tells
// nothing if the monitor found no address for the host, since then it made no socket call.
std::string WordsForFailedConnection(const std::string& hostName, std::uint32_t code);

}  // namespace sc3xx
