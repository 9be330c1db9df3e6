// The library on the system's own calls: the real registry, clock, events and loader. Only the spooler's job side is
// played.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/bytes.h"
#include "support/debugger_lines.h"
#include "support/loaded_library.h"
#include "support/recording_host.h"
#include "support/registry_values.h"
#include "support/scripted_port.h"

namespace sc3xxmon::test {

class LibraryTest : public ::testing::Test {
 protected:
  // Loads the library and has it read the settings; the log goes to the debugger.
  void Load() {
    registry.SetNumber(RegistryValues::kDebug, L"DebugLevel", 1);
    LoadAsItIs();
  }
  // The same with the debug settings that the test has made.
  void LoadAsItIs() {
    library.emplace();
    monitor = library->Initialize();
    ASSERT_NE(monitor, nullptr);
  }

  HANDLE Open(MONITOR2* below, std::wstring portName = L"USB001") {
    HANDLE handle = nullptr;
    monitor->pfnOpenPortEx(nullptr, &port, portName.data(), printer.data(), &handle, below);
    return handle;
  }
  BOOL Start(HANDLE handle) {
    DOC_INFO_1W info{};
    return monitor->pfnStartDocPort(handle, printer.data(), kJobId, 1, reinterpret_cast<LPBYTE>(&info));
  }
  BOOL Write(HANDLE handle, ByteString bytes) {
    DWORD written = 0;
    return monitor->pfnWritePort(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written) != FALSE &&
           written == bytes.size();
  }

  static constexpr DWORD kJobId = 7;
  RegistryValues registry;
  DebuggerLines debugger;
  RecordingHost spooler;
  ScriptedPort port;
  std::optional<LoadedLibrary> library;
  MONITOR2* monitor = nullptr;
  // Its own for each test: a printer's event lives for as long as anybody has it open.
  std::wstring printer = L"Labels " + std::to_wstring(GetCurrentProcessId()) + L"x" + std::to_wstring(GetTickCount64());
};

}  // namespace sc3xxmon::test
