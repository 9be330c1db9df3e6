#include "simulation/real_monitor.h"

#include <memory>

#include "support/printer_names.h"

namespace sc3xxmon::simulation {
namespace {

std::string& PrinterTag() {
  static std::string tag = "simulation";
  return tag;
}

std::wstring PrinterName() {
  return test::PrinterNameFor(PrinterTag());
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

void NamePrinterAfter(const std::string& tag) {
  PrinterTag() = "simulation " + tag;
}

MonitorCalls CallRealMonitor(World& world) {
  const auto monitor = std::make_shared<OpenMonitor>();
  return {[&world, monitor] { return Open(world, *monitor); },
          [monitor](const JobPlan& job) { return Start(*monitor, job); },
          [monitor](const ByteString& bytes, std::uint32_t& written) { return Write(*monitor, bytes, written); },
          [monitor] { monitor->table->pfnEndDocPort(monitor->key); },
          [monitor] { monitor->table->pfnClosePort(monitor->key); }};
}

}  // namespace sc3xxmon::simulation
