#include "apps/ports/lan_port.h"

#include <utility>

#include "apps/ports/network_host.h"
#include "apps/spooler/last_error.h"

namespace sc3xx {
namespace {

LanPort& PortOf(HANDLE handle) {
  return *static_cast<LanPort*>(handle);
}

}  // namespace

LanPort::LanPort(std::string hostName, std::wstring portName)
    : hostName_(std::move(hostName)), portName_(std::move(portName)) {}

PortBelow LanPort::Below() {
  return {Table(), this, portName_, [this](DWORD code) { return WordsForFailedConnection(hostName_, code); }};
}

BOOL LanPort::Refuse(HANDLE) {
  SetLastErrorCode(ERROR_NOT_SUPPORTED);
  return FALSE;
}

MONITOR2* LanPort::Table() {
  static MONITOR2 table = [] {
    MONITOR2 filled{};
    filled.cbSize = sizeof(filled);
    filled.pfnOpenPort = [](HANDLE monitorPort, LPWSTR, HANDLE*) -> BOOL {
      LanPort& port = PortOf(monitorPort);
      port.misuse_ =
          port.hostName_ +
          ": the monitor took a port on the network for a USB port, by the name of this program's file; the name "
          "must not hold \"USB\"";
      return Refuse(monitorPort);
    };
    filled.pfnStartDocPort = [](HANDLE port, LPWSTR, DWORD, DWORD, LPBYTE) -> BOOL { return Refuse(port); };
    filled.pfnWritePort = [](HANDLE port, LPBYTE, DWORD, LPDWORD) -> BOOL { return Refuse(port); };
    filled.pfnReadPort = [](HANDLE port, LPBYTE, DWORD, LPDWORD) -> BOOL { return Refuse(port); };
    filled.pfnEndDocPort = [](HANDLE port) -> BOOL { return Refuse(port); };
    filled.pfnClosePort = [](HANDLE port) -> BOOL { return Refuse(port); };
    return filled;
  }();
  return &table;
}

void LanPort::NoteErrorCode(DWORD code) {
  if (code >= kFirstSocketCode && code <= kLastSocketCode) {
    notedCode_ = code;
  }
}

// A host that can't be looked up leaves no code. So when the codes end, either the printer is back or its host's name has
// gone as well.
std::string LanPort::Trouble() {
  const DWORD code = std::exchange(notedCode_, 0);
  if (code != 0) {
    inTrouble_ = true;
    return DescribeErrorCode(code);
  }
  if (!inTrouble_) {
    return {};
  }
  const NetworkHost found = FindNetworkHost(hostName_);
  inTrouble_ = found.address.empty();
  return inTrouble_ ? WordsForMissingAddress(hostName_, found) : std::string();
}

}  // namespace sc3xx
