// The spooler's side of the door, with a look at what stands behind it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "diag/debug_settings.h"
#include "monitor/langmon.h"
#include "monitor/library_load.h"
#include "monitor/module_handle.h"
#include "monitor/options.h"
#include "platform/named_event.h"
#include "support/child_process.h"
#include "support/log_lines.h"
#include "support/scripted_port.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::Joined;
using test::LogLines;
using test::TestHost;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

PortKey KeyOf(HANDLE handle) {
  return static_cast<PortKey>(reinterpret_cast<std::uintptr_t>(handle));
}

// Every function of two tables is the same.
bool SameFunctions(const MONITOR2& a, const MONITOR2& b) {
  constexpr std::size_t kFirst = offsetof(MONITOR2, pfnEnumPorts);
  const auto functions = [](const MONITOR2& table) { return reinterpret_cast<const unsigned char*>(&table) + kFirst; };
  return std::memcmp(functions(a), functions(b), sizeof(MONITOR2) - kFirst) == 0;
}

class EntryPointsTest : public ::testing::Test {
 protected:
  EntryPointsTest() {
    port.setLastError = [this](DWORD code) { host.lastError = code; };
    table = Initialize();
    TestHost::SetDebugLevel(1);
    host.log.clear();
  }
  ~EntryPointsTest() override {
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

  const test::UniqueWord word;
  const std::wstring printer = word.Text() + L"Labels";
  test::Story story;
  TestHost host{&story};
  test::ScriptedPort port{&story};
  MONITOR2 portTable = port.Table();
  MONITOR2* table = nullptr;
  HANDLE monitorHandle = nullptr;
  std::vector<HANDLE> handles;
  BYTE docInfo[sizeof(DOC_INFO_1W)] = {};
};

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
              ElementsAre(MatchesRegex("InitializePrintMonitor2: Initialized SC3xx Language Monitor "
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
  int module = 0;
  LibraryLoad(&module, 1);
  EXPECT_EQ(ModuleHandle(), &module);
  LibraryLoad(nullptr, 1);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(EntryPointsTest, TheLoaderTakingTheModuleOutIsLogged) {
  LibraryLoad(nullptr, 0);
  EXPECT_THAT(LogLines(host), ElementsAre(MatchesRegex("DllMain: Date\\[.+\\] Time\\[[0-9:]+\\] Detach SC SC3xx "
                                                       "Language Monitor ")));
}

TEST_F(EntryPointsTest, ThreadsThatComeAndGoMeanNothingToTheLibrary) {
  int module = 0;
  LibraryLoad(&module, 2);
  LibraryLoad(&module, 3);
  EXPECT_EQ(ModuleHandle(), nullptr);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(EntryPointsTest, OfTheLoadersReasonOnlyTheLowHalfCounts) {
  int module = 0;
  LibraryLoad(&module, 0xABCD0001);
  EXPECT_EQ(ModuleHandle(), &module);
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

// --------------------------------------------------------------------------------------------- starting a document

TEST_F(EntryPointsTest, StartingADocumentPutsItsJobOnThePort) {
  HANDLE handle = Open();
  host.now = 123456;
  EXPECT_TRUE(Start(handle));
  EXPECT_THAT(Behind(handle).Jobs, SizeIs(1));
  EXPECT_EQ(Behind(handle).CurrentJob()->JobId, 7U);
  EXPECT_EQ(Behind(handle).CurrentJob()->PrinterName, printer);
  EXPECT_EQ(Behind(handle).LastIoTick, 123456U);
  EXPECT_EQ(port.startedDocuments, 1U);
  EXPECT_FALSE(SyncIsFree());
  EXPECT_THAT(LogLines(host), Contains("SCMon_StartDocPort: printer=" + std::string(printer.begin(), printer.end()) +
                                       "; dwJobId=7; dwLevel=1"));
}

TEST_F(EntryPointsTest, TheArgumentsOfADocumentAreTestedBeforeItsLevel) {
  HANDLE handle = Open();
  wchar_t name[] = L"Labels";
  wchar_t empty[] = L"";
  struct {
    LPWSTR name;
    DWORD level;
    LPBYTE info;
    DWORD error;
  } const cases[] = {{name, 2, docInfo, 124}, {name, 0, docInfo, 124},   {name, 2, nullptr, 87},
                     {name, 1, nullptr, 87},  {nullptr, 1, docInfo, 87}, {empty, 1, docInfo, 87}};
  for (const auto& c : cases) {
    host.lastError = 0;
    EXPECT_FALSE(table->pfnStartDocPort(handle, c.name, 7, c.level, c.info));
    EXPECT_EQ(host.lastError, c.error);
  }
  EXPECT_EQ(host.LogCount("Error"), 2U);
  EXPECT_EQ(Behind(handle).DocBusy, 0U);
}

TEST_F(EntryPointsTest, TheArgumentsAreTestedBeforeThePortIsLookedUp) {
  EXPECT_FALSE(Start(nullptr, 2));
  EXPECT_EQ(host.lastError, 124U);
}

TEST_F(EntryPointsTest, ASecondDocumentIsBusyAtOnceAndTheFirstGoesOn) {
  HANDLE handle = Open();
  Start(handle);
  const auto first = Behind(handle).CurrentJob();
  EXPECT_FALSE(Start(handle));
  EXPECT_EQ(host.lastError, 170U);
  EXPECT_THAT(LogLines(host), Contains("SCMon_StartDocPort: StartDocPort is busy - canst start new doc"));
  EXPECT_THAT(host.sleeps, IsEmpty());
  EXPECT_EQ(Behind(handle).CurrentJob(), first);
  EXPECT_FALSE(SyncIsFree());
  DWORD written = 0;
  EXPECT_TRUE(Write(handle, Joined({test::JobStart(), test::Label(1), test::EndOfJob()}), &written));
}

TEST_F(EntryPointsTest, APrinterThatAnotherPortHoldsIsWaitedForFiveSeconds) {
  HANDLE first = Open(L"USB001");
  HANDLE second = Open(L"USB002");
  Start(first);
  const auto before = host.now;
  EXPECT_FALSE(Start(second));
  EXPECT_EQ(host.now, before + 5000);
  EXPECT_EQ(host.lastError, 170U);
  EXPECT_TRUE(host.Logged("StartDocPort is busy - canst start new doc"));
  EXPECT_THAT(Behind(second).Jobs, IsEmpty());
  EXPECT_EQ(Behind(second).DocBusy, 0U);
  EXPECT_EQ(port.startedDocuments, 1U);
  table->pfnEndDocPort(first);
  EXPECT_TRUE(Start(second));
}

TEST_F(EntryPointsTest, APrinterThatAnotherProcessHoldsIsBusyUntilThatDies) {
  test::ChildProcess child([this](test::ProcessChannel& parent) {
    HANDLE event = platform::CreateNamedEvent(L"Global\\KOVA.Sc3xxSync." + printer);
    parent.Tell(platform::WaitForNamedEvent(event, 0) ? 'T' : 'F');
    parent.Hear();
  });
  ASSERT_EQ(child.Channel().Hear(), 'T');
  HANDLE handle = Open();
  EXPECT_FALSE(Start(handle));
  EXPECT_EQ(host.lastError, 170U);
  child.Kill();
  EXPECT_TRUE(Start(handle));
}

class FailedStartTest : public EntryPointsTest {
 protected:
  // What holds after each failed start past the guard: the next attempt starts from scratch.
  void ExpectAsIfNeverAsked() {
    EXPECT_THAT(Behind(handle).Jobs, IsEmpty());
    EXPECT_EQ(Behind(handle).DocBusy, 0U);
    EXPECT_EQ(Behind(handle).SyncEvent, nullptr);
    EXPECT_TRUE(SyncIsFree());
  }

  HANDLE handle = Open();
};

TEST_F(FailedStartTest, APrinterThatCantBeOpenedNeverReachesThePort) {
  host.failOpenPrinter = true;
  EXPECT_FALSE(Start(handle));
  EXPECT_THAT(LogLines(host), Contains("SCMon_StartDocPort: OpenPrinter failed"));
  EXPECT_EQ(host.lastError, 1801U);
  EXPECT_EQ(port.startedDocuments, 0U);
  ExpectAsIfNeverAsked();
  host.failOpenPrinter = false;
  EXPECT_TRUE(Start(handle));
}

TEST_F(FailedStartTest, AJobThatCantBeReadNeverReachesThePort) {
  host.failGetJob = true;
  EXPECT_FALSE(Start(handle));
  EXPECT_THAT(LogLines(host), Contains("SCMon_StartDocPort: Failed to get driver info"));
  EXPECT_EQ(port.startedDocuments, 0U);
  ExpectAsIfNeverAsked();
}

TEST_F(FailedStartTest, APortThatRefusesTheDocumentLeavesItsErrorAndNoJob) {
  port.failStartDocument = true;
  port.failureCode = 1234;
  EXPECT_FALSE(Start(handle));
  EXPECT_THAT(LogLines(host), Contains("SCMon_StartDocPort: StartDocPort failed"));
  EXPECT_EQ(host.lastError, 1234U);
  EXPECT_EQ(Behind(handle).LastIoTick, 0U);
  EXPECT_EQ(host.openHandles, 0U);  // the job is gone, and its printer closed
  ExpectAsIfNeverAsked();
  port.failStartDocument = false;
  EXPECT_TRUE(Start(handle));
}

// ------------------------------------------------------------------------------------------------ writing, reading

TEST_F(EntryPointsTest, AWriteTellsItsResultInTheLog) {
  HANDLE handle = Open();
  Start(handle);
  host.log.clear();
  DWORD written = 0;
  EXPECT_TRUE(Write(handle, test::JobStart(), &written));
  EXPECT_EQ(written, 6U);
  const auto lines = LogLines(host);
  EXPECT_EQ(lines.front(), "SCMon_WritePort: ");
  EXPECT_EQ(lines.back(), "SCMon_WritePort: SC_WritePort2 returned 1, written 6 bytes");
}

TEST_F(EntryPointsTest, AWriteWithoutADocumentIsAnInvalidParameter) {
  HANDLE handle = Open();
  DWORD written = 3;
  EXPECT_FALSE(Write(handle, test::JobStart(), &written));
  EXPECT_EQ(host.lastError, 87U);
  EXPECT_EQ(written, 3U);
}

TEST_F(EntryPointsTest, AReadIsPassedToThePort) {
  HANDLE handle = Open();
  port.Answers(Bytes("01 02 03"));
  BYTE buffer[8] = {};
  DWORD read = 0;
  host.now = 5555;
  EXPECT_TRUE(table->pfnReadPort(handle, buffer, 8, &read));
  EXPECT_EQ(read, 3U);
  EXPECT_EQ(ByteString(buffer, buffer + 4), Bytes("01 02 03 00"));
  EXPECT_EQ(Behind(handle).LastIoTick, 5555U);
  EXPECT_EQ(LogLines(host).back(), "SCMon_ReadPort: ReadPort returned 1, read 3 bytes");
}

TEST_F(EntryPointsTest, AFailedReadIsNoActivity) {
  HANDLE handle = Open();
  port.FailsRead();
  BYTE buffer[8] = {};
  DWORD read = 2;
  EXPECT_FALSE(table->pfnReadPort(handle, buffer, 8, &read));
  EXPECT_EQ(host.lastError, port.failureCode);
  EXPECT_EQ(Behind(handle).LastIoTick, 0U);
  EXPECT_EQ(LogLines(host).back(), "SCMon_ReadPort: ReadPort returned 0, read 2 bytes");
}

TEST_F(EntryPointsTest, WithoutDeviceIoAReadReportsAllBytesAndLeavesTheBuffer) {
  HANDLE handle = Open();
  diag::flagWord = diag::kNoDeviceIO;
  BYTE buffer[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  DWORD read = 0;
  host.now = 4444;
  EXPECT_TRUE(table->pfnReadPort(handle, buffer, 8, &read));
  EXPECT_EQ(read, 8U);
  EXPECT_EQ(ByteString(buffer, buffer + 8), ByteString(8, 9));
  EXPECT_EQ(port.readCalls, 0U);
  EXPECT_EQ(Behind(handle).LastIoTick, 4444U);
}

TEST_F(EntryPointsTest, WithoutDeviceIoTheMonitorRunsWithoutTouchingThePrinter) {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 1);
  host.SetNumber(TestHost::kDebug, L"NoDeviceIO", 1);
  Initialize();
  HANDLE handle = Open();
  EXPECT_TRUE(Start(handle));
  DWORD written = 0;
  EXPECT_TRUE(Write(handle, Joined({test::JobStart(), test::Label(1), test::Label(2), test::EndOfJob()}), &written));
  EXPECT_EQ(Behind(handle).CurrentJob()->LabelsAcked, 2U);
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_EQ(port.writeCalls + port.readCalls, 0U);
  EXPECT_EQ(port.opens, 1U);  // the port itself is used as ever
  EXPECT_EQ(port.startedDocuments, 1U);
  EXPECT_EQ(port.endedDocuments, 1U);
  EXPECT_THAT(port.timeouts, SizeIs(1));
}

// ----------------------------------------------------------------------------------------------- ending a document

const ByteString kEndJob = Bytes("1B 51");
const ByteString kLongFormFeed = Bytes("1B 45");

struct EndCase {
  const char* phrase;
  std::uint32_t headerSent;
  std::uint32_t footerSent;
  DWORD status;
  std::uint32_t abortState;
  std::vector<ByteString> sent;
};

class EndDocumentTest : public EntryPointsTest, public ::testing::WithParamInterface<EndCase> {};

TEST_P(EndDocumentTest, SendsTheEndCommandsThatTheJobNeeds) {
  const EndCase& c = GetParam();
  for (const std::uint32_t model : {1U, 4U, 5U, 8U, 9U}) {
    HANDLE handle = Open();
    Start(handle);
    const auto job = Behind(handle).CurrentJob();
    job->Model = model;
    job->HeaderSent = c.headerSent;
    job->FooterSent = c.footerSent;
    job->AbortState = c.abortState;
    host.jobs.at(7).status = c.status;
    host.statusQueries = 0;
    port.writes.clear();
    EXPECT_TRUE(table->pfnEndDocPort(handle));
    EXPECT_EQ(port.writes, c.sent) << c.phrase << ", model " << model;
    const bool asks = c.headerSent != 0 && c.footerSent == 0;
    EXPECT_EQ(host.statusQueries, asks ? 1U : 0U) << c.phrase;
    table->pfnClosePort(handle);
  }
}

INSTANTIATE_TEST_SUITE_P(States, EndDocumentTest,
                         ::testing::Values(EndCase{"never reached the printer", 0, 0, 0, 0, {}},
                                           EndCase{"never reached the printer, deleted", 0, 0, 0x104, 2, {}},
                                           EndCase{"footer went out", 1, 1, 0, 0, {}},
                                           EndCase{"footer went out, deleted", 1, 1, 0x4, 2, {}},
                                           EndCase{"still inside the job", 1, 0, 0, 0, {kEndJob}},
                                           EndCase{"given up", 1, 0, 0x10, 1, {kEndJob}},
                                           EndCase{"cancelled at the printer", 1, 0, 0, 3, {kEndJob}},
                                           EndCase{"aborted by the spooler", 1, 0, 0, 2, {kLongFormFeed, kEndJob}},
                                           EndCase{"being deleted", 1, 0, 0x4, 0, {kLongFormFeed, kEndJob}},
                                           EndCase{"deleted", 1, 0, 0x100, 1, {kLongFormFeed, kEndJob}}));

TEST_F(EntryPointsTest, AFailedFormFeedAtTheEndKeepsTheEndCommandBack) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).CurrentJob()->HeaderSent = 1;
  Behind(handle).CurrentJob()->AbortState = 2;
  port.FailWrite();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(port.writes, IsEmpty());
}

TEST_F(EntryPointsTest, AJobWhoseStatusCantBeReadCountsAsNotDeleted) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).CurrentJob()->HeaderSent = 1;
  host.jobs.at(7).status = 0x104;
  host.failGetJob = true;
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(port.writes, ElementsAre(kEndJob));
}

TEST_F(EntryPointsTest, AJobOnUsbIsMarkedAsEjected) {
  HANDLE handle = Open();
  Start(handle);
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_LAST_PAGE_EJECTED));
  EXPECT_THAT(LogLines(host), Contains("SCMon_EndDocPort: Last page ejected"));
}

TEST_F(EntryPointsTest, AJobOnLanIsMarkedAsSentAndThenAsEjected) {
  HANDLE handle = Open();
  Behind(handle).isUsb = 0;
  Start(handle);
  host.log.clear();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_LAST_PAGE_EJECTED));
  EXPECT_THAT(LogLines(host), ElementsAre("SCMon_EndDocPort: ", "CPrintJob::MarkSentToPrinter: ",
                                          "CPrintJob::MarkLastPageEjected: ", "SCMon_EndDocPort: Last page ejected"));
}

TEST_F(EntryPointsTest, TheEndOfADocumentHasItsOrder) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).CurrentJob()->HeaderSent = 1;
  Behind(handle).EndDocDelay = 2000;
  bool freeDuringDelay = true;
  std::uint32_t delayDuringDelay = 1;
  host.onSleep = [&](std::uint32_t) {
    freeDuringDelay = SyncIsFree();
    delayDuringDelay = Behind(handle).EndDocDelay;
  };
  story.clear();
  table->pfnEndDocPort(handle);
  EXPECT_THAT(story, ElementsAre("write 1B 51", "job command 7", "end document", "sleep 2000"));
  EXPECT_FALSE(freeDuringDelay);  // the printer stays taken for that long
  EXPECT_EQ(delayDuringDelay, 0U);
  EXPECT_TRUE(SyncIsFree());
  EXPECT_THAT(LogLines(host), Contains("SCMon_EndDocPort: Delay for 2000 ms"));
}

TEST_F(EntryPointsTest, ADelayIsSleptOnce) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).EndDocDelay = 500;
  table->pfnEndDocPort(handle);
  Start(handle);
  table->pfnEndDocPort(handle);
  EXPECT_THAT(host.sleeps, ElementsAre(500));
}

TEST_F(EntryPointsTest, AfterItsEndThePortIsOpenForTheNextDocument) {
  HANDLE handle = Open();
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(Start(handle));
    EXPECT_TRUE(table->pfnEndDocPort(handle));
    EXPECT_THAT(Behind(handle).Jobs, IsEmpty());
    EXPECT_EQ(Behind(handle).DocBusy, 0U);
    EXPECT_EQ(host.openHandles, 0U);
  }
}

TEST_F(EntryPointsTest, TheEndOfAPortWithoutAJobStillRunsItsLaterSteps) {
  HANDLE handle = Open();
  Behind(handle).EndDocDelay = 500;
  host.log.clear();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(LogLines(host), ElementsAre("SCMon_EndDocPort: ", "SCMon_EndDocPort: ERROR: No jobs to remove",
                                          "SCMon_EndDocPort: Delay for 500 ms"));
  EXPECT_THAT(host.commands, IsEmpty());
  EXPECT_THAT(port.writes, IsEmpty());
  EXPECT_THAT(host.sleeps, ElementsAre(500));
  EXPECT_EQ(port.endedDocuments, 1U);
}

TEST_F(EntryPointsTest, TheEndOfAPortWithoutAJobReleasesTheSyncToo) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).PopJob();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_EQ(Behind(handle).DocBusy, 0U);
  EXPECT_TRUE(SyncIsFree());
}

TEST_F(EntryPointsTest, TheFirstEndOfAJobIdOnlyStoresTheId) {
  HANDLE handle = Open();
  for (std::uint32_t end = 0; end < 3; ++end) {
    Start(handle);
    table->pfnEndDocPort(handle);
    EXPECT_EQ(Behind(handle).LastJobId, 7U);
    EXPECT_EQ(Behind(handle).RestartCount, end);
    EXPECT_EQ(Behind(handle).NoProgressCount, end);
  }
}

TEST_F(EntryPointsTest, ARefusedJobCommandStopsNothing) {
  HANDLE handle = Open();
  Start(handle);
  host.failSetJob = true;
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(LogLines(host), Contains("CPrintJob::SetJobCmd: SetJob(7) failed: 87"));
  EXPECT_EQ(port.endedDocuments, 1U);
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
