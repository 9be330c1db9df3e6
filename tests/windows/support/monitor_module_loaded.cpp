#include "support/loaded_library.h"
#include "support/monitor_module.h"

namespace sc3xxmon::test {
namespace {

const LoadedLibrary& Library() {
  static const LoadedLibrary library;
  return library;
}

}  // namespace

HMODULE MonitorModule() {
  return Library().Module();
}

}  // namespace sc3xxmon::test

// What tests call as the monitor's door is the loaded library's.
MONITOR2* WINAPI InitializePrintMonitor2(PMONITORINIT monitorInit, HANDLE* monitor) {
  using Door = MONITOR2*(WINAPI*)(PMONITORINIT, HANDLE*);
  static const auto door = reinterpret_cast<Door>(
      reinterpret_cast<void*>(GetProcAddress(sc3xxmon::test::MonitorModule(), "InitializePrintMonitor2")));
  return door(monitorInit, monitor);
}
