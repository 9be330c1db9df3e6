// Sc3xxSetHost for Windows, where the monitor itself has no such function: it lets a host in memory answer the system
// calls of the monitor's module, so that tests written for the host table run unchanged and on virtual time. What the
// host leaves out stays the system's own.

#include <memory>
#include <string>

#include "sc3xxmon/host.h"

#include "support/import_hooks.h"
#include "support/monitor_module.h"
#include "support/winspool_double.h"

namespace sc3xxmon::test {
namespace {

Sc3xxHost current{};

ULONGLONG WINAPI HostTickCount() {
  return current.TickCount(current.context);
}
void WINAPI HostSleep(DWORD milliseconds) {
  current.Sleep(current.context, milliseconds);
}
// The system's own, whatever stands in the import slot of this program.
DWORD SystemWait(HANDLE object, DWORD milliseconds) {
  using Wait = DWORD(WINAPI*)(HANDLE, DWORD);
  static const auto wait = reinterpret_cast<Wait>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "WaitForSingleObject")));
  return wait(object, milliseconds);
}

// A wait with a limit spends it on the host's clock, step by step, since the host may end it on the way.
DWORD WINAPI HostWait(HANDLE object, DWORD milliseconds) {
  if (milliseconds == INFINITE) {
    return SystemWait(object, INFINITE);
  }
  constexpr DWORD kStep = 10;
  DWORD result = SystemWait(object, 0);
  for (DWORD waited = 0; result == WAIT_TIMEOUT && waited < milliseconds; waited += kStep) {
    current.Sleep(current.context, kStep);
    result = SystemWait(object, 0);
  }
  return result;
}
DWORD WINAPI HostGetLastError() {
  return current.GetLastError(current.context);
}
void WINAPI HostSetLastError(DWORD code) {
  current.SetLastError(current.context, code);
}
void WINAPI HostDebugOutput(LPCSTR text) {
  current.DebugOutput(current.context, text);
}

// An open key is its path.
LONG WINAPI HostOpenKey(HKEY root, LPCWSTR path, DWORD, REGSAM access, PHKEY key) {
  constexpr REGSAM kRead = 0x20019;
  DWORD size = 0;
  if (root != HKEY_LOCAL_MACHINE || access != kRead) {
    return ERROR_ACCESS_DENIED;
  }
  const LONG result = current.QueryValue(current.context, path, nullptr, nullptr, &size);
  if (result == ERROR_SUCCESS) {
    *key = reinterpret_cast<HKEY>(std::make_unique<std::wstring>(path).release());
  }
  return result;
}
LONG WINAPI HostQueryValue(HKEY key, LPCWSTR name, LPDWORD, LPDWORD, LPBYTE data, LPDWORD size) {
  return current.QueryValue(current.context, reinterpret_cast<std::wstring*>(key)->c_str(), name, data, size);
}
LONG WINAPI HostCloseKey(HKEY key) {
  const std::unique_ptr<std::wstring> owner(reinterpret_cast<std::wstring*>(key));
  return ERROR_SUCCESS;
}

struct Hook {
  ImportSlot slot;
  const void* replacement;

  template <class Function>
  Hook(const char* name, Function* function)
      : slot(MonitorModule(), name), replacement(reinterpret_cast<const void*>(function)) {}
  void Engage(bool engaged) const { slot.Replace(engaged ? replacement : nullptr); }
};

// A call goes to the host where the host has a function for it.
void Engage(const Sc3xxHost& host) {
  static const Hook tickCount("GetTickCount64", HostTickCount);
  static const Hook sleep("Sleep", HostSleep);
  static const Hook wait("WaitForSingleObject", HostWait);
  static const Hook getLastError("GetLastError", HostGetLastError);
  static const Hook setLastError("SetLastError", HostSetLastError);
  static const Hook debugOutput("OutputDebugStringA", HostDebugOutput);
  static const Hook openKey("RegOpenKeyExW", HostOpenKey);
  static const Hook queryValue("RegQueryValueExW", HostQueryValue);
  static const Hook closeKey("RegCloseKey", HostCloseKey);
  tickCount.Engage(host.TickCount != nullptr);
  sleep.Engage(host.Sleep != nullptr);
  wait.Engage(host.Sleep != nullptr);
  getLastError.Engage(host.GetLastError != nullptr);
  setLastError.Engage(host.SetLastError != nullptr);
  debugOutput.Engage(host.DebugOutput != nullptr);
  openKey.Engage(host.QueryValue != nullptr);
  queryValue.Engage(host.QueryValue != nullptr);
  closeKey.Engage(host.QueryValue != nullptr);
}

}  // namespace
}  // namespace sc3xxmon::test

int Sc3xxSetHost(const Sc3xxHost* host) {
  using namespace sc3xxmon::test;
  // Every call goes to the system's own while the table changes.
  Engage(Sc3xxHost{});
  current = host != nullptr ? *host : Sc3xxHost{};
  Engage(current);
  Sc3xxSetSpooler(host);
  return 1;
}
