#include "lan/support/lan_door.h"

#include <algorithm>
#include <stdexcept>

#include "monitor/options.h"

namespace sc3xxmon::test {

const wchar_t* DriverOfRow(int row) {
  static const wchar_t* const kDrivers[] = {L"KOVA Scrivelo 310",       L"KOVA Scrivelo 310 Swift",
                                            L"KOVA Scrivelo 3WD",       L"KOVA Scrivelo 310 Dual Swift",
                                            L"KOVA Scrivelo 310 Plus",  L"KOVA Scrivelo 310 Dual Plus",
                                            L"KOVA Scrivelo 3WD Plus",  L"KOVA Ribbonet Office 410",
                                            L"KOVA Ribbonet Office 430"};
  return kDrivers[row - 1];
}

simulator::PrinterSettings PrinterOfRow(int row) {
  simulator::PrinterSettings settings;
  settings.model = row;
  settings.transcript = false;
  return settings;
}

ByteString DocumentOf(std::uint16_t labels) {
  ByteString stream = JobStart();
  for (std::uint16_t index = 1; index <= labels; ++index) {
    stream = Joined({stream, Label(index)});
  }
  return Joined({stream, EndOfJob()});
}

LanDoor::LanDoor() {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 1);
  UseModel(5);
  Load();
}

void LanDoor::Load() {
  MONITORINIT init{};
  init.cbSize = sizeof(init);
  init.bLocal = TRUE;
  HANDLE handle = nullptr;
  monitor = InitializePrintMonitor2(&init, &handle);
}

void LanDoor::SetOption(const std::wstring& name, std::uint32_t value) {
  host.SetNumber(TestHost::kOptions, name, value);
  Load();
}

void LanDoor::SetReadTimeout(std::uint32_t milliseconds) {
  PortReadTimeout = milliseconds;
}

void LanDoor::PrinterIsAt(const std::wstring& address) {
  EnterPrinter(host, printerName, kHost);
  names.Set(kHost, {address});
}

HANDLE LanDoor::Open(std::wstring portName) {
  MONITOR2 table = nextMonitor.Table();
  HANDLE port = nullptr;
  monitor->pfnOpenPortEx(nullptr, &nextMonitor, portName.data(), printerName.data(), &port, &table);
  return port;
}

BOOL LanDoor::Start(HANDLE port) {
  std::wstring name = printerName;
  DOC_INFO_1W info{};
  return monitor->pfnStartDocPort(port, name.data(), kJobId, 1, reinterpret_cast<LPBYTE>(&info));
}

BOOL LanDoor::Write(HANDLE port, ByteString bytes) {
  return monitor->pfnWritePort(port, bytes.data(), static_cast<DWORD>(bytes.size()), &written);
}

bool LanDoor::Did(DWORD command) const {
  return std::find(host.commands.begin(), host.commands.end(), command) != host.commands.end();
}

std::size_t LanDoor::Print(HANDLE port, const ByteString& stream) {
  constexpr std::size_t kMostStarts = 50;
  for (std::size_t starts = 1; starts <= kMostStarts; ++starts) {
    const std::size_t commandsBefore = host.commands.size();
    if (Start(port) == FALSE) {
      continue;
    }
    const BOOL result = Write(port, stream);
    const bool restarts = std::find(host.commands.begin() + static_cast<std::ptrdiff_t>(commandsBefore),
                                    host.commands.end(), JOB_CONTROL_RESTART) != host.commands.end();
    End(port);
    if (result != FALSE || !restarts) {
      return starts;
    }
  }
  throw std::runtime_error("a document starts over and over");
}

}  // namespace sc3xxmon::test
