#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "bench/monitor_library.h"

namespace sc3xxmon::bench {
namespace {

wchar_t portName[] = L"USB001";
wchar_t printerName[] = L"Bench";

template <class Function>
Function* Symbol(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

}  // namespace

MonitorLibrary::MonitorLibrary(const char* path) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw std::runtime_error(std::string(path) + " can't be loaded");
  }
  const Sc3xxHost host = QuietHost::Table();
  Symbol<decltype(Sc3xxSetHost)>(library, "Sc3xxSetHost")(&host);
  MONITORINIT init{};
  init.cbSize = sizeof(init);
  init.bLocal = TRUE;
  HANDLE monitor = nullptr;
  table_ = Symbol<decltype(InitializePrintMonitor2)>(library, "InitializePrintMonitor2")(&init, &monitor);
  if (table_ == nullptr) {
    throw std::runtime_error(std::string(path) + " refuses to start");
  }
}

HANDLE MonitorLibrary::Start() {
  MONITOR2 below = CountingPort::Table();
  HANDLE port = nullptr;
  DOC_INFO_1W document{};
  const bool started = table_->pfnOpenPortEx(nullptr, &port_, portName, printerName, &port, &below) != 0 &&
                       table_->pfnStartDocPort(port, printerName, 1, 1, reinterpret_cast<LPBYTE>(&document)) != 0;
  return started ? port : nullptr;
}

bool MonitorLibrary::Write(HANDLE port, Bytes piece) {
  DWORD written = 0;
  return table_->pfnWritePort(port, const_cast<LPBYTE>(piece.data()), static_cast<DWORD>(piece.size()), &written) != 0;
}

bool MonitorLibrary::End(HANDLE port) {
  return port != nullptr && table_->pfnEndDocPort(port) != 0 && table_->pfnClosePort(port) != 0;
}

}  // namespace sc3xxmon::bench
