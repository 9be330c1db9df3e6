#include "lan/host_lookup.h"

#include "monitor/registry_key.h"

namespace sc3xxmon {
namespace {

constexpr wchar_t kPrintersKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\";
constexpr wchar_t kPortsKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\";

}  // namespace

std::wstring GetPrinterHostName(const std::wstring& printerName) {
  if (printerName.empty()) {
    return {};
  }
  const std::wstring port = ReadStringOnce(kPrintersKey + printerName, L"Port");
  return port.empty() ? std::wstring() : ReadStringOnce(kPortsKey + port, L"HostName");
}

HostAddresses ResolveHostAddresses(const std::wstring& hostName) {
  HostAddresses addresses;
  if (!ResolveWithFamily(addresses, hostName, platform::LookupFamily::kAny)) {
    ResolveWithFamily(addresses, hostName, platform::LookupFamily::kIPv4);
  }
  return addresses;
}

bool ResolveWithFamily(HostAddresses& addresses, const std::wstring& hostName, platform::LookupFamily family) {
  if (hostName.empty()) {
    return false;
  }
  for (const platform::FoundAddress& found : platform::LookUpHost(hostName, family)) {
    std::wstring& field = found.family == platform::AddressFamily::kIPv4 ? addresses.ipv4 : addresses.ipv6;
    if (!found.isLoopback && field.empty()) {
      field = found.text;
    }
  }
  return !addresses.ipv4.empty() || !addresses.ipv6.empty();
}

}  // namespace sc3xxmon
