// The spooler's side of the door over a scripted port, with a look at what stands behind it.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "monitor/langmon.h"
#include "platform/named_event.h"
#include "support/child_process.h"
#include "support/scripted_port.h"
#include "support/test_host.h"

namespace sc3xxmon::test {

inline PortKey KeyOf(HANDLE handle) {
  return static_cast<PortKey>(reinterpret_cast<std::uintptr_t>(handle));
}

class EntryPointsFixture : public ::testing::Test {
 protected:
  EntryPointsFixture() {
    port.setLastError = [this](DWORD code) { host.lastError = code; };
    table = Initialize();
    TestHost::SetDebugLevel(1);
    host.log.clear();
  }
  ~EntryPointsFixture() override {
    for (HANDLE handle : handles) {
      CLangMon::RemoveLangMon(KeyOf(handle));
    }
  }

  MONITOR2* Initialize(BOOL local = TRUE) {
    MONITORINIT init{};
    init.cbSize = sizeof(init);
    init.bLocal = local;
    return InitializePrintMonitor2(&init, &monitorHandle);
  }

  BOOL Open(const std::wstring& portName, HANDLE* handle) {
    std::wstring name = portName;
    std::wstring printerName = printer;
    const BOOL result = table->pfnOpenPortEx(nullptr, &port, name.data(), printerName.data(), handle, &portTable);
    if (result != 0) {
      handles.push_back(*handle);
    }
    return result;
  }
  HANDLE Open(const std::wstring& portName = L"USB001") {
    HANDLE handle = nullptr;
    EXPECT_TRUE(Open(portName, &handle));
    return handle;
  }
  BOOL Start(HANDLE handle, DWORD level = 1) {
    std::wstring name = printer;
    return table->pfnStartDocPort(handle, name.data(), 7, level, docInfo);
  }
  BOOL Write(HANDLE handle, const ByteString& bytes, DWORD* written) {
    ByteString copy = bytes;
    return table->pfnWritePort(handle, copy.data(), static_cast<DWORD>(copy.size()), written);
  }
  static CLangMon& Behind(HANDLE handle) { return *CLangMon::FindLangMon(KeyOf(handle)); }

  // The event of this test's printer is free in the machine.
  bool SyncIsFree() const {
    HANDLE event = platform::CreateNamedEvent(L"Global\\KOVA.Sc3xxSync." + printer);
    const bool taken = platform::WaitForNamedEvent(event, 0);
    if (taken) {
      platform::SignalNamedEvent(event);
    }
    platform::CloseNamedEvent(event);
    return taken;
  }

  const UniqueWord word;
  const std::wstring printer = word.Text() + L"Labels";
  Story story;
  TestHost host{&story};
  ScriptedPort port{&story};
  MONITOR2 portTable = port.Table();
  MONITOR2* table = nullptr;
  HANDLE monitorHandle = nullptr;
  std::vector<HANDLE> handles;
  BYTE docInfo[sizeof(DOC_INFO_1W)] = {};
};

}  // namespace sc3xxmon::test
