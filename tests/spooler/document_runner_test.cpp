#include "apps/spooler/document_runner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>

#include "apps/spooler/last_error.h"
#include "spooler/scripted_monitor.h"

namespace sc3xx::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

JobTicket TicketSeven() {
  JobTicket ticket;
  ticket.jobId = 7;
  ticket.printerName = L"Labels";
  ticket.driverName = L"KOVA Scrivelo 310";
  return ticket;
}

Bytes TenBytes() {
  Bytes bytes(10);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

class DocumentRunnerTest : public ::testing::Test {
 protected:
  DocumentRunnerTest() : host({}, clock.Clock()), monitor(&host.Table()), job(TicketSeven()) {
    host.AddJob(job);
    options.bufferBytes = 4;
    expected.labels = 2;
    monitor.onWrite = [this](std::span<const std::uint8_t> bytes) { return TakeAndFinish(bytes); };
  }

  // A monitor without troubles: two labels, acknowledged with the last byte.
  Answer TakeAndFinish(std::span<const std::uint8_t> bytes) {
    if (monitor.documents.back().size() + bytes.size() == stream.Size()) {
      monitor.ShowPages(2, JOB_STATUS_COMPLETE);
    }
    return {};
  }

  DocumentResult Print() {
    MonitorPort port(monitor.table, {nullptr, monitor.AsMonitorPort(), L"USB:test"}, L"Labels");
    return DocumentRunner(port, host, job, options, events).Print(stream, expected);
  }

  CountingClock clock;
  SpoolerHost host;
  ScriptedMonitor monitor;
  JobRecord job;
  ByteStream stream{TenBytes()};
  RunnerOptions options;
  RunnerEvents events;
  StreamExpectation expected;
};

TEST_F(DocumentRunnerTest, FeedsTheStreamInBuffersOfTheChosenSize) {
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(result.labelsAcknowledged, 2u);
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "start 7", "write 4", "write 4", "write 2", "end", "close"));
  EXPECT_THAT(monitor.documents, ElementsAre(TenBytes()));
  EXPECT_THAT(clock.sleeps, IsEmpty());
}

TEST_F(DocumentRunnerTest, FeedsTheStreamAgainFromItsFirstByteWhenARestartIsAskedFor) {
  monitor.onWrite = [this](std::span<const std::uint8_t> bytes) -> Answer {
    if (monitor.documents.size() == 1 && monitor.documents.back().size() == 4) {
      monitor.ShowPages(1, JOB_STATUS_PRINTING);
      monitor.Command(JOB_CONTROL_RESTART);
      return {false, 0xFFFFFFFF, ERROR_GEN_FAILURE};
    }
    return TakeAndFinish(bytes);
  };
  std::vector<std::uint32_t> restarts;
  events.restarted = [&](std::uint32_t count) { restarts.push_back(count); };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(result.restarts, 1u);
  EXPECT_EQ(result.labelsRepeated, 1u);
  EXPECT_THAT(restarts, ElementsAre(1u));
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "start 7", "write 4", "write 4", "end", "start 7", "write 4",
                                         "write 4", "write 2", "end", "close"));
  EXPECT_EQ(monitor.documents[1], TenBytes());
}

TEST_F(DocumentRunnerTest, StartsARestartedJobWithoutTheTracesOfTheRunBefore) {
  DWORD statusInSecondRun = 0xFFFFFFFF;
  monitor.onWrite = [&](std::span<const std::uint8_t> bytes) -> Answer {
    if (monitor.documents.size() == 1) {
      monitor.ShowMessage(L"Out of labels");
      monitor.Command(JOB_CONTROL_RESTART);
      return {false, 0};
    }
    statusInSecondRun = statusInSecondRun == 0xFFFFFFFF ? monitor.JobStatus() : statusInSecondRun;
    return TakeAndFinish(bytes);
  };
  EXPECT_EQ(Print().outcome, JobOutcome::kPrinted);
  EXPECT_EQ(statusInSecondRun, JOB_STATUS_PRINTING);
}

TEST_F(DocumentRunnerTest, EndsTheDocumentWhenAPersonDeletesTheJob) {
  monitor.onWrite = [this](std::span<const std::uint8_t>) -> Answer {
    job.RequestDelete();
    EXPECT_EQ(monitor.JobStatus() & JOB_STATUS_DELETING, JOB_STATUS_DELETING);
    return {false, 0};
  };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kDeleted);
  EXPECT_EQ(result.reason, "the job was deleted");
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "start 7", "write 4", "end", "close"));
}

TEST_F(DocumentRunnerTest, StopsFeedingADeletedJobAlsoAfterAWriteThatWasAccepted) {
  monitor.onWrite = [this](std::span<const std::uint8_t>) -> Answer {
    job.RequestDelete();
    return {};
  };
  EXPECT_EQ(Print().outcome, JobOutcome::kDeleted);
  EXPECT_EQ(monitor.documents[0].size(), 4u);
}

TEST_F(DocumentRunnerTest, TellsACancelAtThePrinterFromADeletion) {
  monitor.onWrite = [this](std::span<const std::uint8_t>) -> Answer {
    monitor.Command(JOB_CONTROL_DELETE);
    return {false, 0};
  };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kDeleted);
  EXPECT_EQ(result.reason, "the job was cancelled at the printer");
}

TEST_F(DocumentRunnerTest, ADeletionWhenEverythingIsPrintedComesTooLate) {
  monitor.onWrite = [this](std::span<const std::uint8_t> bytes) -> Answer {
    const Answer answer = TakeAndFinish(bytes);
    if (monitor.documents.back().size() == 8) {
      job.RequestDelete();
    }
    return answer;
  };
  EXPECT_EQ(Print().outcome, JobOutcome::kPrinted);
}

TEST_F(DocumentRunnerTest, NeverStartsAJobThatWasDeletedBefore) {
  job.RequestDelete();
  EXPECT_EQ(Print().outcome, JobOutcome::kDeleted);
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "close"));
}

TEST_F(DocumentRunnerTest, OffersTheRestOfARefusedWriteAgainAfterAPause) {
  int calls = 0;
  monitor.onWrite = [&](std::span<const std::uint8_t> bytes) -> Answer {
    monitor.JobStatus();
    ++calls;
    return calls == 2   ? Answer{false, 0, ERROR_TIMEOUT}
           : calls == 3 ? Answer{false, 3, ERROR_TIMEOUT}
                        : TakeAndFinish(bytes);
  };
  std::vector<DWORD> codes;
  events.refused = [&](DWORD code) { codes.push_back(code); };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "start 7", "write 4", "write 4", "write 4", "write 1",
                                         "write 2", "end", "close"));
  EXPECT_THAT(monitor.documents, ElementsAre(TenBytes()));
  EXPECT_THAT(clock.sleeps, ElementsAre(1000u, 1000u));
  EXPECT_EQ(result.refusedWrites, 2u);
  EXPECT_THAT(codes, ElementsAre(ERROR_TIMEOUT, ERROR_TIMEOUT));
}

TEST_F(DocumentRunnerTest, OffersAnEmptyRestWhenTheMonitorHoldsAllBytesAndStillRefuses) {
  int calls = 0;
  monitor.onWrite = [&](std::span<const std::uint8_t> bytes) -> Answer {
    if (++calls == 3) {
      monitor.JobStatus();
      return {false, 0xFFFFFFFF};  // parsed, but the printer is in trouble
    }
    return TakeAndFinish(bytes);
  };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_THAT(monitor.calls,
              ElementsAre("open USB:test", "start 7", "write 4", "write 4", "write 2", "write 0", "end", "close"));
}

TEST_F(DocumentRunnerTest, OffersTheRestOfAShortWriteAtOnce) {
  monitor.onWrite = [this](std::span<const std::uint8_t> bytes) -> Answer {
    if (monitor.documents.back().size() + bytes.size() == 10) {
      monitor.ShowPages(2, JOB_STATUS_COMPLETE);
    }
    return {true, 3};
  };
  EXPECT_EQ(Print().outcome, JobOutcome::kPrinted);
  EXPECT_THAT(monitor.documents, ElementsAre(TenBytes()));
  EXPECT_THAT(clock.sleeps, IsEmpty());
}

TEST_F(DocumentRunnerTest, GivesUpOnAMonitorThatRefusesWithoutLookingAtTheJob) {
  monitor.onWrite = [](std::span<const std::uint8_t>) -> Answer { return {false, 0}; };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("given the job up"));
  EXPECT_EQ(result.refusedWrites, options.closedRefusals);
  EXPECT_EQ(monitor.calls[monitor.calls.size() - 2], "end");
}

TEST_F(DocumentRunnerTest, GivesUpOnARefusingPrinterWhenPatienceIsOver) {
  options.patienceMs = 10'000;
  monitor.onWrite = [this](std::span<const std::uint8_t>) -> Answer {
    monitor.JobStatus();
    return {false, 0};
  };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("refused data for 10 s"));
  EXPECT_EQ(clock.sleeps.size(), 10u);
}

TEST_F(DocumentRunnerTest, PatienceBeginsAnewWithEveryAcknowledgedLabel) {
  options.patienceMs = 3000;
  expected.labels = 5;
  DWORD pages = 0;
  monitor.onWrite = [&](std::span<const std::uint8_t>) -> Answer {
    ++pages;
    monitor.ShowPages(pages, pages == 5 ? JOB_STATUS_COMPLETE : JOB_STATUS_PRINTING);
    return pages < 5 ? Answer{false, 0} : Answer{};
  };
  const DocumentResult result = Print();
  EXPECT_EQ(result.refusedWrites, 4u);
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
}

TEST_F(DocumentRunnerTest, TriesABusyPortAgain) {
  int refusals = 2;
  monitor.onStart = [&]() -> Answer { return refusals-- > 0 ? Answer{false, 0, ERROR_BUSY} : Answer{}; };
  EXPECT_EQ(Print().outcome, JobOutcome::kPrinted);
  EXPECT_THAT(clock.sleeps, ElementsAre(1000u, 1000u));
}

TEST_F(DocumentRunnerTest, TellsThatThePortStayedBusy) {
  options.busyRetries = 3;
  monitor.onStart = [] { return Answer{false, 0, ERROR_BUSY}; };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("busy for 3 s"));
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "start 7", "start 7", "start 7", "start 7", "close"));
}

TEST_F(DocumentRunnerTest, ADeletionEndsTheWaitForABusyPort) {
  monitor.onStart = [] { return Answer{false, 0, ERROR_BUSY}; };
  clock.onSleep = [this] { job.RequestDelete(); };
  EXPECT_EQ(Print().outcome, JobOutcome::kDeleted);
}

TEST_F(DocumentRunnerTest, AFirstStartThatFailsForAnotherReasonIsNotRepeated) {
  monitor.onStart = [] { return Answer{false, 0, kErrorDeviceNotConnected}; };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("isn't connected"));
  EXPECT_THAT(clock.sleeps, IsEmpty());
}

TEST_F(DocumentRunnerTest, WaitsForAPortThatWentAwayBeforeARestart) {
  int starts = 0;
  monitor.onStart = [&]() -> Answer {
    ++starts;
    return starts == 2 || starts == 3 ? Answer{false, 0, kErrorDeviceNotConnected} : Answer{};
  };
  monitor.onWrite = [this](std::span<const std::uint8_t> bytes) -> Answer {
    if (monitor.documents.size() == 1) {
      monitor.Command(JOB_CONTROL_RESTART);
      return {false, 0};
    }
    return TakeAndFinish(bytes);
  };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(starts, 4);
}

TEST_F(DocumentRunnerTest, APortThatStaysAwayAfterARestartEndsTheJobWhenPatienceIsOver) {
  options.patienceMs = 5000;
  monitor.onStart = [this]() -> Answer {
    return monitor.documents.empty() ? Answer{} : Answer{false, 0, kErrorDeviceNotConnected};
  };
  monitor.onWrite = [this](std::span<const std::uint8_t>) -> Answer {
    monitor.Command(JOB_CONTROL_RESTART);
    return {false, 0};
  };
  EXPECT_EQ(Print().outcome, JobOutcome::kFailed);
  EXPECT_EQ(clock.sleeps.size(), 5u);
}

TEST_F(DocumentRunnerTest, EndsTheDocumentWhenTheMonitorFails) {
  monitor.onWrite = [](std::span<const std::uint8_t>) -> Answer { throw std::runtime_error("no memory"); };
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("no memory"));
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test", "start 7", "write 4", "end", "close"));
}

TEST_F(DocumentRunnerTest, MeasuresTheTimeOnTheHostsClock) {
  int refusals = 3;
  monitor.onStart = [&]() -> Answer { return refusals-- > 0 ? Answer{false, 0, ERROR_BUSY} : Answer{}; };
  EXPECT_EQ(Print().elapsedMs, 3000u);
}

TEST_F(DocumentRunnerTest, SaysWhyAPortCannotBeOpened) {
  monitor.onOpen = [] { return Answer{false, 0, ERROR_INVALID_PRINT_MONITOR}; };
  try {
    Print();
    FAIL() << "the port was opened";
  } catch (const PortError& error) {
    EXPECT_THAT(error.what(), HasSubstr("USB:test"));
    EXPECT_THAT(error.what(), HasSubstr("error 3007"));
  }
  EXPECT_THAT(monitor.calls, ElementsAre("open USB:test"));
}

struct Unprinted {
  const char* what;
  DWORD pages;
  DWORD status;
  StreamExpectation expected;
  const char* reason;
};

class UnprintedJobTest : public DocumentRunnerTest, public ::testing::WithParamInterface<Unprinted> {};

TEST_P(UnprintedJobTest, IsNotSoldAsPrinted) {
  monitor.onWrite = [this](std::span<const std::uint8_t>) -> Answer {
    monitor.ShowPages(GetParam().pages, GetParam().status);
    return {};
  };
  expected = GetParam().expected;
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Spooler, UnprintedJobTest,
    ::testing::Values(Unprinted{"FooterNeverFound", 2, JOB_STATUS_PRINTING, {2, "", true}, "no end of the job"},
                      Unprinted{"LabelsMissing", 2, JOB_STATUS_COMPLETE, {3, "", true}, "only 2 of 3 labels"},
                      Unprinted{"StreamBroken", 2, JOB_STATUS_COMPLETE, {2, "byte 9: no command", true}, "byte 9"},
                      Unprinted{"NoLabels", 0, JOB_STATUS_COMPLETE, {0, "", true}, "nothing was printed"}),
    [](const auto& tested) { return tested.param.what; });

TEST_F(DocumentRunnerTest, AStreamThatIsPassedOnUnreadNeedsNoAcknowledgement) {
  expected.acknowledgements = false;
  monitor.onWrite = nullptr;
  EXPECT_EQ(Print().outcome, JobOutcome::kPrinted);
}

TEST(ByteStreamTest, GivesPiecesUntilItsEndAndAllOfThemAgain) {
  ByteStream stream(TenBytes());
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(stream.Next(6).size(), 6u);
    EXPECT_FALSE(stream.AtEnd());
    const auto last = stream.Next(6);
    EXPECT_EQ(Bytes(last.begin(), last.end()), (Bytes{7, 8, 9, 10}));
    EXPECT_TRUE(stream.AtEnd());
    EXPECT_TRUE(stream.Next(6).empty());
    stream.Rewind();
  }
}

}  // namespace
}  // namespace sc3xx::test
