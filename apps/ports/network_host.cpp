#include "apps/ports/network_host.h"

#include <string_view>

#include "apps/spooler/last_error.h"
#include "platform/name_lookup.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

struct CodeWords {
  std::uint32_t code;
  std::string_view words;
};

constexpr std::string_view kCheckRoute = "; check the address and this computer's network";

constexpr CodeWords kConnectWords[] = {
    {kErrorConnectionRefused,
     "nobody takes connections there; check that the printer is switched on, and that this is its address"},
    {kErrorConnectionTimedOut,
     "nobody answers there; check that the printer is switched on and connected, and that this is its address"},
    {kErrorNoAddressToConnect, "this is no address that a connection can be made to"},
    {kErrorInvalidArgument,
     "this is no address that a connection can be made to (one of an IPv6 link alone, fe80::..., "
     "can't be used)"},
};

std::string PlaceOf(const std::string& hostName, const NetworkHost& found) {
  const std::string where =
      found.address.empty() || found.address == hostName ? hostName : hostName + " (" + found.address + ")";
  return where + ", TCP port " + std::to_string(kPrinterTcpPort);
}

}  // namespace

NetworkHost FindNetworkHost(const std::string& hostName) {
  NetworkHost host;
  const auto found = platform::LookUpHost(platform::FromUtf8(hostName), platform::LookupFamily::kAny);
  for (const platform::FoundAddress& each : found) {
    const bool isIPv4 = each.family == platform::AddressFamily::kIPv4;
    host.isThisComputer = host.isThisComputer || each.isLoopback;
    if (!each.isLoopback && !each.text.empty() && (host.address.empty() || (isIPv4 && !host.isIPv4))) {
      host.address = platform::ToUtf8(each.text);
      host.isIPv4 = isIPv4;
    }
  }
  host.isThisComputer = host.isThisComputer && host.address.empty();
  return host;
}

std::string WordsForMissingAddress(const std::string& hostName, const NetworkHost& found) {
  if (found.isThisComputer) {
    return hostName +
           " is this computer itself (127.0.0.1 or ::1), where no printer is looked for; a printer that a program "
           "plays "
           "here needs another address of this computer, such as 127.0.0.2";
  }
  return "the host \"" + hostName +
         "\" can't be found; check the name and this computer's network, or give the printer's numeric address";
}

std::string WordsForFailedConnection(const std::string& hostName, std::uint32_t code) {
  const NetworkHost found = FindNetworkHost(hostName);
  if (found.address.empty()) {
    return WordsForMissingAddress(hostName, found);
  }
  std::string words = PlaceOf(hostName, found) + ": ";
  for (const CodeWords& entry : kConnectWords) {
    if (entry.code == code) {
      return words.append(entry.words) + " (error " + std::to_string(code) + ")";
    }
  }
  // Without an address the monitor sets no code, so that an older one still stands: the address came up only since.
  const bool isOfSocket = code >= kFirstSocketCode && code <= kLastSocketCode;
  return words + (isOfSocket ? DescribeErrorCode(code) + std::string(kCheckRoute)
                             : "the host couldn't be found at first; print again");
}

}  // namespace sc3xx
