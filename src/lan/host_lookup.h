// From a printer's name to the host behind it, and from the host's name to numeric addresses. Nothing here connects,
// nothing is kept between calls, and no failure is logged or raised: what can't be found is empty. Any thread.
#pragma once

#include <string>

#include "platform/name_lookup.h"

namespace sc3xxmon {

struct HostAddresses {
  std::wstring ipv4;  // numeric; empty if none
  std::wstring ipv6;
};

// The "HostName" of the port that the spooler names for the printer.
std::wstring GetPrinterHostName(const std::wstring& printerName);

// The first usable address of each family, in the name service's order. A host that is only this machine's 127.0.0.1
// or ::1 has none. Blocks for as long as the name service takes.
HostAddresses ResolveHostAddresses(const std::wstring& hostName);

// Fills what is still empty. True if at least one field is filled afterwards.
bool ResolveWithFamily(HostAddresses& addresses, const std::wstring& hostName, platform::LookupFamily family);

}  // namespace sc3xxmon
