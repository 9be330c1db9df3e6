#include "simulation/real_monitor.h"

#include <memory>
#include <random>
#include <string>

namespace sc3xxmon::simulation {
namespace {

// The printer's sync is shared by all processes of the machine, and several simulations may run at once.
std::wstring PrinterName() {
  static const std::wstring name = L"Simulation " + std::to_wstring(std::random_device{}());
  return name;
}

struct OpenMonitor {
  MONITOR2* table = nullptr;
  HANDLE key = nullptr;
};

bool Open(World& world, OpenMonitor& monitor) {
  MONITORINIT init{};
  init.cbSize = sizeof(init);
  init.bLocal = TRUE;
  HANDLE handle = nullptr;
  monitor.table = InitializePrintMonitor2(&init, &handle);
  MONITOR2 below = PortBetween::Table();
  std::wstring portName = World::kPortName;
  std::wstring printer = PrinterName();
  return monitor.table->pfnOpenPortEx(nullptr, &world.port, portName.data(), printer.data(), &monitor.key, &below) != 0;
}

bool Start(const OpenMonitor& monitor, const JobPlan& job) {
  std::wstring printer = PrinterName();
  DOC_INFO_1W info{};
  return monitor.table->pfnStartDocPort(monitor.key, printer.data(), job.id, 1, reinterpret_cast<LPBYTE>(&info)) != 0;
}

bool Write(const OpenMonitor& monitor, const ByteString& bytes, std::uint32_t& written) {
  ByteString buffer = bytes;
  DWORD count = written;
  const BOOL result =
      monitor.table->pfnWritePort(monitor.key, buffer.data(), static_cast<DWORD>(buffer.size()), &count);
  written = count;
  return result != 0;
}

}  // namespace

MonitorCalls CallRealMonitor(World& world) {
  const auto monitor = std::make_shared<OpenMonitor>();
  return {[&world, monitor] { return Open(world, *monitor); },
          [monitor](const JobPlan& job) { return Start(*monitor, job); },
          [monitor](const ByteString& bytes, std::uint32_t& written) { return Write(*monitor, bytes, written); },
          [monitor] { monitor->table->pfnEndDocPort(monitor->key); },
          [monitor] { monitor->table->pfnClosePort(monitor->key); }};
}

}  // namespace sc3xxmon::simulation
