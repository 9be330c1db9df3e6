#include "diag/debug_log.h"
#include "lan/tcp_port.h"
#include "monitor/langmon.h"
#include "platform/last_error.h"
#include "platform/module.h"
#include "platform/text.h"

namespace sc3xxmon {
namespace {

bool HasMandatoryFunctions(const MONITOR2& table) {
  return table.pfnOpenPort != nullptr && table.pfnStartDocPort != nullptr && table.pfnWritePort != nullptr &&
         table.pfnReadPort != nullptr && table.pfnEndDocPort != nullptr && table.pfnClosePort != nullptr;
}

// The file name of the module that provides the port's functions; the port's own name where there is no such module.
std::wstring MonitorModule(const wchar_t* portName, const MONITOR2& nextMonitor) {
  constexpr std::size_t kLongest = 259;
  std::wstring name = platform::ModuleFileNameOf(reinterpret_cast<const void*>(nextMonitor.pfnWritePort));
  if (name.empty() && portName != nullptr) {
    name = portName;
  }
  return name.substr(0, kLongest);
}

// The word has to stand at the very front: a port called MYUSB is no USB port by its name.
bool PortNameSaysUsb(const wchar_t* portName) {
  const std::wstring_view name = portName != nullptr ? portName : L"";
  return platform::FindIgnoringCase(name, L"USB") == 0 || platform::FindIgnoringCase(name, L"CLIENT:") == 0;
}

// The module's name decides if it holds one of the words; with both or neither the port's name does.
bool DecideUsb(const wchar_t* portName, const MONITOR2& nextMonitor) {
  const std::wstring module = MonitorModule(portName, nextMonitor);
  const bool usb = platform::FindIgnoringCase(module, L"USB") != std::wstring::npos;
  const bool tcp = platform::FindIgnoringCase(module, L"TCP") != std::wstring::npos;
  return usb != tcp ? usb : PortNameSaysUsb(portName);
}

}  // namespace

bool CLangMon::ValidateMonitor(const wchar_t* portName, const MONITOR2* nextMonitor, MONITOR2* table,
                               std::uint32_t* isUsb) {
  if (nextMonitor != nullptr && HasMandatoryFunctions(*nextMonitor)) {
    *isUsb = DecideUsb(portName, *nextMonitor) ? 1 : 0;
    // A LAN port doesn't use the next monitor at all from here on, not even for opening.
    *table = *isUsb != 0 ? *nextMonitor : LanPortTable();
    if (HasMandatoryFunctions(*table)) {
      return true;
    }
  }
  KovaDebugPrint(At("CLangMon::ValidateMonitor"), "Mandatory MONITOR2 entries are empty");
  platform::SetLastErrorCode(ERROR_INVALID_PRINT_MONITOR);
  return false;
}

bool CLangMon::ValidateDocInfo(const wchar_t* printerName, DWORD level, const void* docInfo) {
  if (docInfo == nullptr || printerName == nullptr || *printerName == L'\0') {
    platform::SetLastErrorCode(ERROR_INVALID_PARAMETER);
    return false;
  }
  if (level != 1) {
    platform::SetLastErrorCode(ERROR_INVALID_LEVEL);
    KovaDebugPrint(At("CLangMon::ValidateDocInfo"), "Error");
    return false;
  }
  return true;
}

}  // namespace sc3xxmon
