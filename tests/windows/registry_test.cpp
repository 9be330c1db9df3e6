// Options and debug settings in the real registry, seen in the lines that a load writes and in what the port gets.
#include <memory>

#include "support/library_test.h"

namespace sc3xxmon::test {
namespace {

constexpr char kDefaults[] =
    "InitializePrintMonitor2: Options: DispatchMode=0; CompressMode=3; ReadTimeout=15000; WriteTimeout=15000; "
    "Chunk=200; "
    "HOffset=0; TTrim:=0";

class RegistryTest : public LibraryTest {
 protected:
  void SetOption(const std::wstring& name, std::uint32_t number) {
    registry.SetNumber(RegistryValues::kOptions, name, number);
  }
  // What the registry holds; no value is told apart from every value that it can have.
  static std::optional<std::uint32_t> Number(const wchar_t* key, const wchar_t* name) {
    DWORD number = 0;
    DWORD size = sizeof(number);
    const LONG result = RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &number, &size);
    return result == ERROR_SUCCESS ? std::optional<std::uint32_t>(number) : std::nullopt;
  }
  bool OptionsAre(const std::string& words) const { return debugger.Has("InitializePrintMonitor2: Options: " + words); }
};

TEST_F(RegistryTest, WithoutAKeyEverythingIsAtItsDefault) {
  Load();
  EXPECT_TRUE(debugger.Has(kDefaults));
  EXPECT_TRUE(debugger.Has("InitializePrintMonitor2: Debug: 1; Trace: 1; Test: 0;"));
}

TEST_F(RegistryTest, OptionsAreTakenAsTheyStand) {
  SetOption(L"LabelDispatchMode", 1);
  SetOption(L"LabelCompressMode", 2);
  SetOption(L"PortReadTimeout", 20000);
  SetOption(L"PortWriteTimeout", 1000);
  SetOption(L"PdChunkSize", 0);
  SetOption(L"HorzLabelOffset", 5);
  SetOption(L"TrimTapeLabel", 1);
  Load();
  EXPECT_TRUE(
      OptionsAre("DispatchMode=1; CompressMode=2; ReadTimeout=20000; WriteTimeout=1000; Chunk=0; HOffset=5; TTrim:=1"));
}

TEST_F(RegistryTest, WhatIsOutOfRangeIsClamped) {
  SetOption(L"LabelDispatchMode", 2);
  SetOption(L"PortReadTimeout", 0xFFFFFFFF);
  SetOption(L"PortWriteTimeout", 999);
  Load();
  EXPECT_TRUE(OptionsAre(
      "DispatchMode=0; CompressMode=3; ReadTimeout=60000; WriteTimeout=1000; Chunk=200; HOffset=0; TTrim:=0"));
}

TEST_F(RegistryTest, TimeoutsReachThePort) {
  SetOption(L"PortReadTimeout", 2500);
  Load();
  MONITOR2 table = port.Table();
  ASSERT_NE(Open(&table), nullptr);
  ASSERT_FALSE(port.timeouts.empty());
  EXPECT_EQ(port.timeouts.front().ReadTotalTimeoutConstant, 2500u);
  EXPECT_EQ(port.timeouts.front().WriteTotalTimeoutConstant, 15000u);
}

// The file of settings for administrators, taken in by the system's own tool.
TEST_F(RegistryTest, TheSampleFileHoldsEveryDefault) {
  const std::wstring file = L"Z:" SC3XXMON_SETTINGS_FILE;
  std::wstring command = L"regedit.exe /S \"" + file + L"\"";
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  PROCESS_INFORMATION started{};
  ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &started));
  WaitForSingleObject(started.hProcess, INFINITE);
  CloseHandle(started.hProcess);
  CloseHandle(started.hThread);
  EXPECT_EQ(Number(RegistryValues::kOptions, L"PortReadTimeout"), 15000u);
  EXPECT_EQ(Number(RegistryValues::kOptions, L"MinBatteryLevel"), 20u);
  EXPECT_EQ(Number(RegistryValues::kOptions, L"CheckLockedPrinter"), 1u);
  EXPECT_EQ(Number(RegistryValues::kDebug, L"TraceDetail"), 1u);
  EXPECT_EQ(Number(RegistryValues::kDebug, L"NoMediaCheck"), 0u);
  Load();
  EXPECT_TRUE(debugger.Has(kDefaults));
  EXPECT_TRUE(debugger.Has("InitializePrintMonitor2: Debug: 1; Trace: 1; Test: 0;"));
}

TEST_F(RegistryTest, AValueOfMoreThanFourBytesIsNoValue) {
  registry.SetBytes(RegistryValues::kOptions, L"PortReadTimeout", Bytes("D0 07 00 00 00"));
  registry.SetText(RegistryValues::kOptions, L"PdChunkSize", L"100");
  Load();
  EXPECT_TRUE(debugger.Has(kDefaults));
}

TEST_F(RegistryTest, AShortValueTakesTheLowBytesOfTheDefault) {
  registry.SetBytes(RegistryValues::kOptions, L"PdChunkSize", Bytes("05"));
  registry.SetBytes(RegistryValues::kOptions, L"PortReadTimeout", Bytes("10"));  // 0x3A98 becomes 0x3A10
  Load();
  EXPECT_TRUE(OptionsAre(
      "DispatchMode=0; CompressMode=3; ReadTimeout=14864; WriteTimeout=15000; Chunk=5; HOffset=0; TTrim:=0"));
}

TEST_F(RegistryTest, FourBytesOfAnyTypeAreANumber) {
  registry.SetBytes(RegistryValues::kOptions, L"PdChunkSize", Bytes("2C 01 00 00"));
  registry.SetText(RegistryValues::kOptions, L"LabelCompressMode", L"1");  // a character and its end: 0x31
  Load();
  EXPECT_TRUE(OptionsAre(
      "DispatchMode=0; CompressMode=49; ReadTimeout=15000; WriteTimeout=15000; Chunk=300; HOffset=0; TTrim:=0"));
}

TEST_F(RegistryTest, AChangeCountsFromTheNextLoad) {
  Load();
  SetOption(L"PdChunkSize", 77);
  EXPECT_FALSE(debugger.Has(
      "InitializePrintMonitor2: Options: DispatchMode=0; CompressMode=3; ReadTimeout=15000; WriteTimeout=15000; "
      "Chunk=77; HOffset=0; TTrim:=0"));
  library.reset();
  Load();
  EXPECT_TRUE(OptionsAre(
      "DispatchMode=0; CompressMode=3; ReadTimeout=15000; WriteTimeout=15000; Chunk=77; HOffset=0; TTrim:=0"));
}

TEST_F(RegistryTest, DebugSettingsAreTakenByTheirRules) {
  registry.SetNumber(RegistryValues::kDebug, L"TraceDetail", 12);
  registry.SetNumber(RegistryValues::kDebug, L"NoDeviceIO", 2);  // only exactly 1 switches on
  registry.SetNumber(RegistryValues::kDebug, L"BypassMode", 1);
  registry.SetNumber(RegistryValues::kDebug, L"NoMediaCheck", 1);
  Load();
  EXPECT_TRUE(debugger.Has("InitializePrintMonitor2: Debug: 1; Trace: 13; Test: 10;"));
}

TEST_F(RegistryTest, ADebugLevelThatDoesntExistIsSilence) {
  registry.SetNumber(RegistryValues::kDebug, L"DebugLevel", 3);
  LoadAsItIs();
  EXPECT_TRUE(debugger.Records().empty());
}

TEST_F(RegistryTest, WithoutDeviceIoThePortIsLeftAlone) {
  registry.SetNumber(RegistryValues::kDebug, L"NoDeviceIO", 1);
  Load();
  MONITOR2 table = port.Table();
  HANDLE handle = Open(&table);
  ASSERT_TRUE(Start(handle));
  EXPECT_TRUE(Write(handle, Joined({JobStart(), Label(1), EndOfJob()})));
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  EXPECT_TRUE(port.writes.empty());
}

}  // namespace
}  // namespace sc3xxmon::test
