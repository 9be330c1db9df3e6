// What the spooler gets when it loads the monitor, and which settings count from then on.
#include <ostream>
#include <string>

#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAreArray;
using ::testing::StartsWith;

class Initialisation : public DoorTest {
 protected:
  // The options as the start-up line tells them.
  std::string OptionsLine() {
    host.log.clear();
    LoadMonitor();
    for (const std::string& text : host.LogTexts()) {
      if (text.starts_with("Options: ")) {
        return text;
      }
    }
    return "no options line";
  }
};

TEST_F(Initialisation, TableHasSevenFunctionsAndNothingElse) {
  EXPECT_EQ(monitor->cbSize, 184u);
  EXPECT_NE(monitor->pfnOpenPortEx, nullptr);
  EXPECT_NE(monitor->pfnStartDocPort, nullptr);
  EXPECT_NE(monitor->pfnWritePort, nullptr);
  EXPECT_NE(monitor->pfnReadPort, nullptr);
  EXPECT_NE(monitor->pfnEndDocPort, nullptr);
  EXPECT_NE(monitor->pfnClosePort, nullptr);
  EXPECT_NE(monitor->pfnShutdown, nullptr);

  EXPECT_EQ(monitor->pfnEnumPorts, nullptr);
  EXPECT_EQ(monitor->pfnOpenPort, nullptr);
  EXPECT_EQ(monitor->pfnAddPort, nullptr);
  EXPECT_EQ(monitor->pfnAddPortEx, nullptr);
  EXPECT_EQ(monitor->pfnConfigurePort, nullptr);
  EXPECT_EQ(monitor->pfnDeletePort, nullptr);
  EXPECT_EQ(monitor->pfnGetPrinterDataFromPort, nullptr);
  EXPECT_EQ(monitor->pfnSetPortTimeOuts, nullptr);
  EXPECT_EQ(monitor->pfnXcvOpenPort, nullptr);
  EXPECT_EQ(monitor->pfnXcvDataPort, nullptr);
  EXPECT_EQ(monitor->pfnXcvClosePort, nullptr);
  EXPECT_EQ(monitor->pfnSendRecvBidiDataFromPort, nullptr);
  EXPECT_EQ(monitor->pfnNotifyUsedPorts, nullptr);
  EXPECT_EQ(monitor->pfnNotifyUnusedPorts, nullptr);
  EXPECT_EQ(monitor->pfnPowerEvent, nullptr);
}

TEST_F(Initialisation, MonitorHasNoInstanceHandle) {
  MONITORINIT init{};
  init.bLocal = TRUE;
  HANDLE handle = &init;
  InitializePrintMonitor2(&init, &handle);
  EXPECT_EQ(handle, nullptr);
}

TEST_F(Initialisation, ServesTheLocalSpoolerOnly) {
  MONITORINIT init{};
  HANDLE handle = &init;
  host.lastError = 1;
  EXPECT_EQ(InitializePrintMonitor2(&init, &handle), nullptr);
  EXPECT_EQ(host.lastError, ERROR_NOT_SUPPORTED);
  EXPECT_EQ(handle, nullptr);
}

TEST_F(Initialisation, ReadsNothingOfTheBlockButTheLocalFlag) {
  MONITORINIT init{};
  init.cbSize = 1;
  init.hSpooler = &init;
  init.hckRegistryRoot = &init;
  init.pMonitorReg = &init;
  init.pszServerName = L"elsewhere";
  init.bLocal = 2;
  HANDLE handle = nullptr;
  EXPECT_EQ(InitializePrintMonitor2(&init, &handle), monitor);
}

TEST_F(Initialisation, ShutdownTearsNothingDown) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  monitor->pfnShutdown(nullptr);
  EXPECT_EQ(Write(Document(1)), TRUE);
}

TEST_F(Initialisation, SaysWhatItIsAndHowItIsSet) {
  host.log.clear();
  LoadMonitor();
  const auto texts = host.LogTexts();
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_THAT(texts[0], StartsWith("Initialized SC3xx Language Monitor v1.1.0.218-Win10 Release built on "));
  EXPECT_EQ(texts[1], "Debug: 1; Trace: 1; Test: 0;");
  EXPECT_EQ(texts[2],
            "Options: DispatchMode=0; CompressMode=3; ReadTimeout=15000; WriteTimeout=15000; Chunk=200; HOffset=0; "
            "TTrim:=0");
}

TEST_F(Initialisation, SaysNothingAtDebugLevelZero) {
  host.SetNumber(RecordingHost::kDebug, L"DebugLevel", 0);
  host.log.clear();
  LoadMonitor();
  Print(Document(2));
  EXPECT_TRUE(host.log.empty());
}

TEST_F(Initialisation, ReadsSettingsAndOptionsInTheirOrder) {
  host.SetNumber(RecordingHost::kOptions, L"PdChunkSize", 100);
  host.queriedValues.clear();
  LoadMonitor();
  std::vector<std::wstring> names;
  for (const auto& [path, name] : host.queriedValues) {
    names.push_back(name);
  }
  const std::vector<std::wstring> expected{
      L"DebugLevel",      L"TraceDetail",        L"NoDeviceIO",        L"BypassMode",      L"DontLock",
      L"NoMediaCheck",    L"LabelDispatchMode",  L"LabelCompressMode", L"PortReadTimeout", L"PortWriteTimeout",
      L"MinBatteryLevel", L"CheckLockedPrinter", L"SendIPHs",          L"PrintEmptyLabel", L"UnlockOnError",
      L"RecoverLanComm",  L"TrimTapeLabel",      L"HorzLabelOffset",   L"PdChunkSize"};
  EXPECT_THAT(names, ElementsAreArray(expected));
}

TEST_F(Initialisation, OptionsAreReadAgainEachTime) {
  host.SetNumber(RecordingHost::kOptions, L"PdChunkSize", 17);
  EXPECT_NE(OptionsLine().find("Chunk=17;"), std::string::npos);
  host.ForgetValues();
  host.SetNumber(RecordingHost::kDebug, L"DebugLevel", 1);
  EXPECT_NE(OptionsLine().find("Chunk=200;"), std::string::npos);
}

struct OptionCase {
  const wchar_t* name;
  std::uint32_t number;
  const char* shown;
};
void PrintTo(const OptionCase& each, std::ostream* out) {
  *out << ::testing::PrintToString(std::wstring(each.name)) << " = " << each.number;
}

class OptionRange : public DoorTest, public ::testing::WithParamInterface<OptionCase> {};

TEST_P(OptionRange, IsKept) {
  host.log.clear();
  SetOption(GetParam().name, GetParam().number);
  const auto texts = host.LogTexts();
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_NE(texts[2].find(GetParam().shown), std::string::npos) << texts[2];
}

INSTANTIATE_TEST_SUITE_P(Initialisation, OptionRange,
                         ::testing::Values(OptionCase{L"PortReadTimeout", 999, "ReadTimeout=1000;"},
                                           OptionCase{L"PortReadTimeout", 1000, "ReadTimeout=1000;"},
                                           OptionCase{L"PortReadTimeout", 60000, "ReadTimeout=60000;"},
                                           OptionCase{L"PortReadTimeout", 60001, "ReadTimeout=60000;"},
                                           OptionCase{L"PortReadTimeout", 0xFFFFFFFF, "ReadTimeout=60000;"},
                                           OptionCase{L"PortWriteTimeout", 0, "WriteTimeout=1000;"},
                                           OptionCase{L"PortWriteTimeout", 999, "WriteTimeout=1000;"},
                                           OptionCase{L"PortWriteTimeout", 60001, "WriteTimeout=60000;"},
                                           OptionCase{L"LabelDispatchMode", 1, "DispatchMode=1;"},
                                           OptionCase{L"LabelDispatchMode", 2, "DispatchMode=0;"},
                                           OptionCase{L"LabelDispatchMode", 0xFFFFFFFF, "DispatchMode=-1;"},
                                           OptionCase{L"LabelCompressMode", 0, "CompressMode=0;"},
                                           OptionCase{L"HorzLabelOffset", 12, "HOffset=12;"},
                                           OptionCase{L"TrimTapeLabel", 1, "TTrim:=1"},
                                           OptionCase{L"PdChunkSize", 0, "Chunk=0;"}));

TEST_F(Initialisation, ValueOfMoreThanFourBytesCountsAsMissing) {
  host.SetBytes(RecordingHost::kOptions, L"PdChunkSize", Bytes("11 00 00 00 00"));
  EXPECT_NE(OptionsLine().find("Chunk=200;"), std::string::npos);
}

TEST_F(Initialisation, ShortValueLandsInTheLowBytesOfTheDefault) {
  // 15000 is 0x3A98; one byte 0x10 leaves 0x3A10.
  host.SetBytes(RecordingHost::kOptions, L"PortReadTimeout", Bytes("10"));
  EXPECT_NE(OptionsLine().find("ReadTimeout=14864;"), std::string::npos);
}

TEST_F(Initialisation, DebugLevelAboveTwoIsOff) {
  host.SetNumber(RecordingHost::kDebug, L"DebugLevel", 3);
  host.log.clear();
  LoadMonitor();
  EXPECT_TRUE(host.log.empty());
}

TEST_F(Initialisation, TraceWordAlwaysHasItsLowestBit) {
  host.SetNumber(RecordingHost::kDebug, L"TraceDetail", 12);
  host.log.clear();
  LoadMonitor();
  EXPECT_THAT(host.LogTexts(), Contains("Debug: 1; Trace: 13; Test: 0;"));
}

}  // namespace
}  // namespace sc3xxmon::test
