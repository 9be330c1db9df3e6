// The spooler's side of the door, with a look at what stands behind it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "diag/debug_settings.h"
#include "monitor/entry_points_fixture.h"
#include "monitor/langmon.h"
#include "monitor/library_load.h"
#include "monitor/module_handle.h"
#include "monitor/options.h"
#include "support/log_lines.h"
#include "support/matches_pattern.h"
#include "support/scripted_port.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::KeyOf;
using test::LogLines;
using test::TestHost;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// Every function of two tables is the same.
bool SameFunctions(const MONITOR2& a, const MONITOR2& b) {
  constexpr std::size_t kFirst = offsetof(MONITOR2, pfnEnumPorts);
  const auto functions = [](const MONITOR2& table) { return reinterpret_cast<const unsigned char*>(&table) + kFirst; };
  return std::memcmp(functions(a), functions(b), sizeof(MONITOR2) - kFirst) == 0;
}

class EntryPointsTest : public test::EntryPointsFixture {};

// ------------------------------------------------------------------------------------------------ library and table

TEST_F(EntryPointsTest, TheTableHasSevenFunctionsAndNothingElse) {
  EXPECT_EQ(table->cbSize, 184U);
  MONITOR2 rest = *table;
  EXPECT_NE(rest.pfnOpenPortEx, nullptr);
  EXPECT_NE(rest.pfnStartDocPort, nullptr);
  EXPECT_NE(rest.pfnWritePort, nullptr);
  EXPECT_NE(rest.pfnReadPort, nullptr);
  EXPECT_NE(rest.pfnEndDocPort, nullptr);
  EXPECT_NE(rest.pfnClosePort, nullptr);
  EXPECT_NE(rest.pfnShutdown, nullptr);
  rest.pfnOpenPortEx = nullptr;
  rest.pfnStartDocPort = nullptr;
  rest.pfnWritePort = nullptr;
  rest.pfnReadPort = nullptr;
  rest.pfnEndDocPort = nullptr;
  rest.pfnClosePort = nullptr;
  rest.pfnShutdown = nullptr;
  EXPECT_TRUE(SameFunctions(rest, MONITOR2{}));
}

TEST_F(EntryPointsTest, EveryInitialisationGivesTheSameTable) {
  EXPECT_EQ(Initialize(), table);
}

TEST_F(EntryPointsTest, TheMonitorHasNoInstanceHandle) {
  monitorHandle = this;
  Initialize();
  EXPECT_EQ(monitorHandle, nullptr);
}

TEST_F(EntryPointsTest, AMonitorThatIsntLocalIsNotSupported) {
  host.SetNumber(TestHost::kOptions, L"PdChunkSize", 77);
  monitorHandle = this;
  EXPECT_EQ(Initialize(FALSE), nullptr);
  EXPECT_EQ(host.lastError, 50U);
  EXPECT_EQ(monitorHandle, nullptr);
  EXPECT_EQ(PdChunkSize, 77U);  // settings and options were read all the same
}

TEST_F(EntryPointsTest, StartUpTellsVersionSettingsAndOptions) {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 1);
  host.SetNumber(TestHost::kDebug, L"TraceDetail", 12);
  host.SetNumber(TestHost::kDebug, L"NoMediaCheck", 1);
  host.SetNumber(TestHost::kOptions, L"LabelDispatchMode", 0xFFFFFFFF);
  host.SetNumber(TestHost::kOptions, L"PortWriteTimeout", 2500);
  host.SetNumber(TestHost::kOptions, L"HorzLabelOffset", 9);
  host.SetNumber(TestHost::kOptions, L"TrimTapeLabel", 1);
  Initialize();
  EXPECT_THAT(LogLines(host),
              ElementsAre(test::MatchesPattern("InitializePrintMonitor2: Initialized SC3xx Language Monitor "
                                               "v1.1.0.218-Win10 Release built on [A-Z][a-z][a-z] [ 0-9][0-9] "
                                               "[0-9]+ [0-9][0-9]:[0-9][0-9]:[0-9][0-9]"),
                          "InitializePrintMonitor2: Debug: 1; Trace: 13; Test: 8;",
                          "InitializePrintMonitor2: Options: DispatchMode=-1; CompressMode=3; ReadTimeout=15000; "
                          "WriteTimeout=2500; Chunk=200; HOffset=9; TTrim:=1"));
}

TEST_F(EntryPointsTest, StartUpAtLevel0IsSilent) {
  host.SetNumber(TestHost::kDebug, L"NoMediaCheck", 1);
  Initialize();
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(EntryPointsTest, SettingsAreReadAtInitialisationOnly) {
  host.SetNumber(TestHost::kOptions, L"PdChunkSize", 7);
  host.SetNumber(TestHost::kDebug, L"NoDeviceIO", 1);
  HANDLE handle = Open();
  Start(handle);
  table->pfnEndDocPort(handle);
  EXPECT_EQ(PdChunkSize, 200U);
  EXPECT_FALSE(IsNoDeviceIO());
}

TEST_F(EntryPointsTest, ShutdownTearsNothingDown) {
  HANDLE handle = Open();
  table->pfnShutdown(nullptr);
  EXPECT_TRUE(Start(handle));
  EXPECT_TRUE(table->pfnEndDocPort(handle));
}

TEST_F(EntryPointsTest, TheLoaderBringsTheModuleInSilently) {
  int place = 0;
  const auto module = reinterpret_cast<HINSTANCE>(&place);
  LibraryLoad(module, 1);
  EXPECT_EQ(ModuleHandle(), module);
  LibraryLoad(nullptr, 1);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(EntryPointsTest, TheLoaderTakingTheModuleOutIsLogged) {
  LibraryLoad(nullptr, 0);
  EXPECT_THAT(LogLines(host),
              ElementsAre(test::MatchesPattern("DllMain: Date\\[.+\\] Time\\[[0-9:]+\\] Detach SC SC3xx "
                                               "Language Monitor ")));
}

TEST_F(EntryPointsTest, ThreadsThatComeAndGoMeanNothingToTheLibrary) {
  int place = 0;
  const auto module = reinterpret_cast<HINSTANCE>(&place);
  LibraryLoad(module, 2);
  LibraryLoad(module, 3);
  EXPECT_EQ(ModuleHandle(), nullptr);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(EntryPointsTest, OfTheLoadersReasonOnlyTheLowHalfCounts) {
  int place = 0;
  const auto module = reinterpret_cast<HINSTANCE>(&place);
  LibraryLoad(module, 0xABCD0001);
  EXPECT_EQ(ModuleHandle(), module);
  LibraryLoad(nullptr, 1);
  LibraryLoad(nullptr, 0x10000);
  EXPECT_THAT(host.log, SizeIs(1));
}

// ------------------------------------------------------------------------------------------------- opening a port

TEST_F(EntryPointsTest, OpeningAPortOpensTheOneBelow) {
  HANDLE handle = Open();
  EXPECT_EQ(port.opens, 1U);
  EXPECT_EQ(Behind(handle).hPort, &port);
  EXPECT_EQ(Behind(handle).Name, L"USB001");
  EXPECT_EQ(Behind(handle).isUsb, 1U);
  EXPECT_TRUE(SameFunctions(Behind(handle).Monitor, portTable));
  EXPECT_TRUE(host.Logged("port=USB001; printer=" + std::string(printer.begin(), printer.end()) + ", isUsb=1"));
}

TEST_F(EntryPointsTest, TheTableBelowIsCopied) {
  HANDLE handle = Open();
  portTable = MONITOR2{};
  EXPECT_TRUE(Start(handle));
  EXPECT_EQ(port.startedDocuments, 1U);
}

TEST_F(EntryPointsTest, OpeningSetsThePortsTimeOutsFromTheOptions) {
  PortReadTimeout = 12000;
  PortWriteTimeout = 34000;
  Open();
  EXPECT_THAT(port.timeouts, ElementsAre(AllOf(Field(&COMMTIMEOUTS::ReadIntervalTimeout, 0U),
                                               Field(&COMMTIMEOUTS::ReadTotalTimeoutMultiplier, 1U),
                                               Field(&COMMTIMEOUTS::ReadTotalTimeoutConstant, 12000U),
                                               Field(&COMMTIMEOUTS::WriteTotalTimeoutMultiplier, 1U),
                                               Field(&COMMTIMEOUTS::WriteTotalTimeoutConstant, 34000U))));
}

TEST_F(EntryPointsTest, APortWithoutTimeOutsIsOpenedAllTheSame) {
  portTable.pfnSetPortTimeOuts = nullptr;
  Open();
  EXPECT_EQ(host.LogCount("SetTimeouts failed"), 0U);
}

TEST_F(EntryPointsTest, TimeOutsThatFailAreLoggedAndThePortStaysOpen) {
  port.failTimeouts = true;
  HANDLE handle = Open();
  EXPECT_THAT(LogLines(host), Contains("SCMon_OpenPortEx: SetTimeouts failed"));
  EXPECT_EQ(host.lastError, port.failureCode);
  EXPECT_TRUE(Start(handle));
}

TEST_F(EntryPointsTest, ATableWithoutAMandatoryFunctionIsRefused) {
  portTable.pfnReadPort = nullptr;
  HANDLE handle = this;
  EXPECT_FALSE(Open(L"USB001", &handle));
  EXPECT_EQ(handle, this);
  EXPECT_EQ(host.lastError, 3007U);
  EXPECT_EQ(port.opens, 0U);
  EXPECT_THAT(LogLines(host), ElementsAre("CLangMon::ValidateMonitor: Mandatory MONITOR2 entries are empty"));
}

TEST_F(EntryPointsTest, WithoutATableBelowOpeningIsRefused) {
  wchar_t name[] = L"USB001";
  HANDLE handle = nullptr;
  EXPECT_FALSE(table->pfnOpenPortEx(nullptr, &port, name, name, &handle, nullptr));
  EXPECT_EQ(host.lastError, 3007U);
}

TEST_F(EntryPointsTest, APortThatIsOpenIsBusyAndStaysUsable) {
  HANDLE first = Open();
  const auto behind = CLangMon::FindLangMon(KeyOf(first));
  HANDLE second = nullptr;
  EXPECT_FALSE(Open(L"USB001", &second));
  EXPECT_EQ(host.lastError, 170U);
  EXPECT_THAT(LogLines(host), Contains("SCMon_OpenPortEx: CLangMon::AddLangMon failed: entry already exists"));
  EXPECT_EQ(port.opens, 1U);
  EXPECT_EQ(CLangMon::FindLangMon(KeyOf(first)), behind);
  EXPECT_TRUE(Start(first));
}

TEST_F(EntryPointsTest, AFailedOpenLeavesNoEntryAndTheErrorOfThePort) {
  port.failOpen = true;
  port.failureCode = 0x1F;
  HANDLE handle = this;
  EXPECT_FALSE(Open(L"USB001", &handle));
  EXPECT_EQ(handle, this);
  EXPECT_EQ(host.lastError, 0x1FU);
  EXPECT_THAT(LogLines(host), Contains("SCMon_OpenPortEx: OpenPort failed (0x1f)"));
  port.failOpen = false;
  EXPECT_TRUE(Open(L"USB001", &handle));
}

TEST_F(EntryPointsTest, HandlesAreKeysAndNeverReused) {
  HANDLE first = Open();
  table->pfnClosePort(first);
  HANDLE second = Open();
  EXPECT_EQ(KeyOf(second), KeyOf(first) + 1);
}

// ------------------------------------------------------------------------------------------------- closing a port

TEST_F(EntryPointsTest, ClosingAPortClosesTheOneBelow) {
  HANDLE handle = Open();
  host.log.clear();
  EXPECT_TRUE(table->pfnClosePort(handle));
  EXPECT_EQ(port.closes, 1U);
  EXPECT_EQ(CLangMon::FindLangMon(KeyOf(handle)), nullptr);
  EXPECT_THAT(LogLines(host), ElementsAre("SCMon_ClosePort: "));
}

TEST_F(EntryPointsTest, ClosingInTheMiddleOfADocumentEndsTheObjectAndFreesThePrinter) {
  HANDLE handle = Open();
  Start(handle);
  const std::weak_ptr<CLangMon> watch = CLangMon::FindLangMon(KeyOf(handle));
  EXPECT_TRUE(table->pfnClosePort(handle));
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(port.endedDocuments, 0U);
  EXPECT_TRUE(SyncIsFree());
  EXPECT_EQ(host.openHandles, 0U);
}

TEST_F(EntryPointsTest, AClosedKeyGives0AtEveryEntryPointAndLeavesTheLastErrorAlone) {
  HANDLE closed = Open();
  table->pfnClosePort(closed);
  for (HANDLE handle : {closed, HANDLE{nullptr}, HANDLE{this}}) {
    host.lastError = 777;
    host.log.clear();
    BYTE buffer[4] = {};
    DWORD count = 55;
    EXPECT_FALSE(Start(handle));
    EXPECT_FALSE(table->pfnWritePort(handle, buffer, 4, &count));
    EXPECT_FALSE(table->pfnReadPort(handle, buffer, 4, &count));
    EXPECT_FALSE(table->pfnEndDocPort(handle));
    EXPECT_FALSE(table->pfnClosePort(handle));
    EXPECT_EQ(host.lastError, 777U);
    EXPECT_EQ(count, 55U);
    EXPECT_THAT(host.log, SizeIs(5));  // the entry lines
    EXPECT_THAT(LogLines(host).front(), HasSubstr("SCMon_StartDocPort: printer="));
  }
  EXPECT_EQ(port.closes, 1U);
}

}  // namespace
}  // namespace sc3xxmon
