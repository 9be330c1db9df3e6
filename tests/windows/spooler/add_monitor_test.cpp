// The system's own spooler takes the monitor in, as the installer asks it to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/debugger_lines.h"
#include "support/loaded_library.h"
#include "support/registry_values.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Contains;
using ::testing::StartsWith;

constexpr wchar_t kName[] = L"KOVA SC3xx Language Monitor";
constexpr wchar_t kEnvironment[] = L"Windows x64";
constexpr wchar_t kFile[] = L"sc3xxmon.dll";

class AddMonitorTest : public ::testing::Test {
 protected:
  AddMonitorTest() {
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    installed = std::wstring(folder) + L"\\" + kFile;
    CopyFileW(LibraryPath().c_str(), installed.c_str(), FALSE);
    registry.SetNumber(RegistryValues::kDebug, L"DebugLevel", 1);
  }
  ~AddMonitorTest() override {
    Remove();
    DeleteFileW(installed.c_str());
  }

  BOOL Add() const {
    std::wstring name = kName;
    std::wstring environment = kEnvironment;
    std::wstring file = kFile;
    MONITOR_INFO_2W info{name.data(), environment.data(), file.data()};
    return AddMonitorW(nullptr, 2, reinterpret_cast<LPBYTE>(&info));
  }
  BOOL Remove() const {
    std::wstring name = kName;
    std::wstring environment = kEnvironment;
    return DeleteMonitorW(nullptr, environment.data(), name.data());
  }
  // The file that the spooler has registered; empty if it knows no such monitor.
  std::wstring Registered() const {
    const std::wstring key = std::wstring(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\") + kName;
    wchar_t file[MAX_PATH] = {};
    DWORD size = sizeof(file);
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"Driver", RRF_RT_REG_SZ, nullptr, file, &size);
    return file;
  }

  RegistryValues registry;
  DebuggerLines debugger;
  std::wstring installed;
};

TEST_F(AddMonitorTest, TheSpoolerInitializesAndRegistersIt) {
  ASSERT_TRUE(Add()) << GetLastError();
  EXPECT_THAT(debugger.Records(),
              Contains(StartsWith("InitializePrintMonitor2: Initialized SC3xx Language Monitor v1.1.0.218")));
  EXPECT_EQ(Registered(), kFile);
  EXPECT_TRUE(Remove());
  EXPECT_EQ(Registered(), L"");
}

TEST_F(AddMonitorTest, ASecondTimeItIsThereAlready) {
  ASSERT_TRUE(Add());
  EXPECT_FALSE(Add());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PRINT_MONITOR_ALREADY_INSTALLED));
}

}  // namespace
}  // namespace sc3xxmon::test
