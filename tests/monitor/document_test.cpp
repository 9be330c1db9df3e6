// The documents of a port, from the spooler's side of the door.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

#include "diag/debug_settings.h"
#include "monitor/entry_points_fixture.h"
#include "monitor/langmon.h"
#include "monitor/options.h"
#include "platform/named_event.h"
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
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DocumentTest : public test::EntryPointsFixture {};

// --------------------------------------------------------------------------------------------- starting a document

TEST_F(DocumentTest, StartingADocumentPutsItsJobOnThePort) {
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

TEST_F(DocumentTest, TheArgumentsOfADocumentAreTestedBeforeItsLevel) {
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

TEST_F(DocumentTest, TheArgumentsAreTestedBeforeThePortIsLookedUp) {
  EXPECT_FALSE(Start(nullptr, 2));
  EXPECT_EQ(host.lastError, 124U);
}

TEST_F(DocumentTest, ASecondDocumentIsBusyAtOnceAndTheFirstGoesOn) {
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

TEST_F(DocumentTest, APrinterThatAnotherPortHoldsIsWaitedForFiveSeconds) {
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

class FailedStartTest : public DocumentTest {
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

TEST_F(FailedStartTest, ARefusedDocumentIsLoggedAndThePrinterFreedBeforeTheJobClosesIt) {
  port.failStartDocument = true;
  std::vector<std::string> logged;
  bool wasFree = false;
  host.onClosePrinter = [&] {
    logged = LogLines(host);
    wasFree = SyncIsFree();
  };
  EXPECT_FALSE(Start(handle));
  EXPECT_THAT(logged, Contains("SCMon_StartDocPort: StartDocPort failed"));
  EXPECT_TRUE(wasFree);
}

TEST_F(DocumentTest, ThePortIsGivenTheSpoolersOwnArguments) {
  Start(Open());
  ASSERT_THAT(port.documents, SizeIs(1));
  EXPECT_EQ(port.documents[0].printerName, printer);
  EXPECT_EQ(port.documents[0].jobId, 7U);
  EXPECT_EQ(port.documents[0].level, 1U);
  EXPECT_EQ(port.documents[0].docInfo, docInfo);
}

// ------------------------------------------------------------------------------------------------ writing, reading

TEST_F(DocumentTest, AWriteTellsItsResultInTheLog) {
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

TEST_F(DocumentTest, AWriteWithoutADocumentIsAnInvalidParameter) {
  HANDLE handle = Open();
  DWORD written = 3;
  EXPECT_FALSE(Write(handle, test::JobStart(), &written));
  EXPECT_EQ(host.lastError, 87U);
  EXPECT_EQ(written, 3U);
}

TEST_F(DocumentTest, AReadIsPassedToThePort) {
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

TEST_F(DocumentTest, AFailedReadIsNoActivity) {
  HANDLE handle = Open();
  port.FailsRead();
  BYTE buffer[8] = {};
  DWORD read = 2;
  EXPECT_FALSE(table->pfnReadPort(handle, buffer, 8, &read));
  EXPECT_EQ(host.lastError, port.failureCode);
  EXPECT_EQ(Behind(handle).LastIoTick, 0U);
  EXPECT_EQ(LogLines(host).back(), "SCMon_ReadPort: ReadPort returned 0, read 2 bytes");
}

TEST_F(DocumentTest, WithoutDeviceIoAReadReportsAllBytesAndLeavesTheBuffer) {
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

TEST_F(DocumentTest, WithoutDeviceIoTheMonitorRunsWithoutTouchingThePrinter) {
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
void PrintTo(const EndCase& each, std::ostream* out) {
  *out << each.phrase;
}

class EndDocumentTest : public DocumentTest, public ::testing::WithParamInterface<EndCase> {};

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

TEST_F(DocumentTest, AFailedFormFeedAtTheEndKeepsTheEndCommandBack) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).CurrentJob()->HeaderSent = 1;
  Behind(handle).CurrentJob()->AbortState = 2;
  port.FailWrite();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(port.writes, IsEmpty());
}

TEST_F(DocumentTest, AJobWhoseStatusCantBeReadCountsAsNotDeleted) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).CurrentJob()->HeaderSent = 1;
  host.jobs.at(7).status = 0x104;
  host.failGetJob = true;
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(port.writes, ElementsAre(kEndJob));
}

TEST_F(DocumentTest, AJobOnUsbIsMarkedAsEjected) {
  HANDLE handle = Open();
  Start(handle);
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_LAST_PAGE_EJECTED));
  EXPECT_THAT(LogLines(host), Contains("SCMon_EndDocPort: Last page ejected"));
}

TEST_F(DocumentTest, AJobOnLanIsMarkedAsSentAndThenAsEjected) {
  HANDLE handle = Open();
  Behind(handle).isUsb = 0;
  Start(handle);
  host.log.clear();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_LAST_PAGE_EJECTED));
  EXPECT_THAT(LogLines(host), ElementsAre("SCMon_EndDocPort: ", "CPrintJob::MarkSentToPrinter: ",
                                          "CPrintJob::MarkLastPageEjected: ", "SCMon_EndDocPort: Last page ejected"));
}

TEST_F(DocumentTest, TheEndOfADocumentHasItsOrder) {
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

TEST_F(DocumentTest, APortThatRefusesTheEndOfADocumentChangesNothing) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).EndDocDelay = 500;
  port.failEndDocument = true;
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(host.sleeps, ElementsAre(500));
  EXPECT_EQ(Behind(handle).DocBusy, 0U);
  EXPECT_TRUE(SyncIsFree());
}

TEST_F(DocumentTest, ADelayIsSleptOnce) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).EndDocDelay = 500;
  table->pfnEndDocPort(handle);
  Start(handle);
  table->pfnEndDocPort(handle);
  EXPECT_THAT(host.sleeps, ElementsAre(500));
}

TEST_F(DocumentTest, AfterItsEndThePortIsOpenForTheNextDocument) {
  HANDLE handle = Open();
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(Start(handle));
    EXPECT_TRUE(table->pfnEndDocPort(handle));
    EXPECT_THAT(Behind(handle).Jobs, IsEmpty());
    EXPECT_EQ(Behind(handle).DocBusy, 0U);
    EXPECT_EQ(host.openHandles, 0U);
  }
}

TEST_F(DocumentTest, TheEndOfAPortWithoutAJobStillRunsItsLaterSteps) {
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

TEST_F(DocumentTest, TheEndOfAPortWithoutAJobReleasesTheSyncToo) {
  HANDLE handle = Open();
  Start(handle);
  Behind(handle).PopJob();
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_EQ(Behind(handle).DocBusy, 0U);
  EXPECT_TRUE(SyncIsFree());
}

TEST_F(DocumentTest, TheFirstEndOfAJobIdOnlyStoresTheId) {
  HANDLE handle = Open();
  for (std::uint32_t end = 0; end < 3; ++end) {
    Start(handle);
    table->pfnEndDocPort(handle);
    EXPECT_EQ(Behind(handle).LastJobId, 7U);
    EXPECT_EQ(Behind(handle).RestartCount, end);
    EXPECT_EQ(Behind(handle).NoProgressCount, end);
  }
}

TEST_F(DocumentTest, ARefusedJobCommandStopsNothing) {
  HANDLE handle = Open();
  Start(handle);
  host.failSetJob = true;
  EXPECT_TRUE(table->pfnEndDocPort(handle));
  EXPECT_THAT(LogLines(host), Contains("CPrintJob::SetJobCmd: SetJob(7) failed: 87"));
  EXPECT_EQ(port.endedDocuments, 1U);
}

}  // namespace
}  // namespace sc3xxmon
