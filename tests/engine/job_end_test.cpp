#include <array>

#include "support/printing_fixture.h"
#include "support/unique_printer.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// ---------------------------------------------------------------------------------------------- CheckLastLabelStatus

// Model 2 sends its labels as they are as long as its firmware isn't known.
class LastLabelTest : public PrintingFixture {
 protected:
  // A job whose footer is there and whose last label is on its way.
  void LastLabelOnItsWay(std::uint32_t model = 2, const ByteString& header = JobStart()) {
    StartPrinting(model, Joined({header, Label(1), EndOfJob()}));
    job->MarkSent(job->Labels.front());
  }
  bool Check() { return CheckLastLabelStatus(monitor); }
};

TEST_F(LastLabelTest, TheLastLabelIsAskedForPlainlyAndCompletesTheJob) {
  LastLabelOnItsWay();
  EXPECT_TRUE(Check());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job status 0x1000 pages 1"));
  EXPECT_EQ(job->LabelsAcked, 1u);
  EXPECT_EQ(monitor.LastJobId, 7u);
  EXPECT_EQ(monitor.LastAckedCount, 1u);
  EXPECT_TRUE(LoggedBy("CheckLastLabelStatus", "Footer received. Checking last label status"));
  EXPECT_TRUE(LoggedBy("CheckLastLabelStatus",
                       "Status for label #1 acknowledged(1 attempts). Total in job: 1; ACK: 1; NAK: 0; UNSENT: 0"));
}

TEST_F(LastLabelTest, TheFooterIsNotItsBusiness) {
  LastLabelOnItsWay();
  EXPECT_TRUE(Check());
  EXPECT_EQ(job->FooterSent, 0u);
  EXPECT_FALSE(port.HasWrite(EndOfJob()));
}

TEST_F(LastLabelTest, AJobWithoutALabelIsAskedForOnceAndNothingChanges) {
  StartPrinting(2, Joined({JobStart(), LabelIndex(1), EndOfJob()}));  // its only label was empty
  EXPECT_TRUE(Check());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job status 0x1000 pages 0"));
  EXPECT_TRUE(host.Logged("Status for label #0 acknowledged(0 attempts). Total in job: 1; ACK: 0; NAK: 0; UNSENT: 0"));
}

TEST_F(LastLabelTest, OnTheChunkedPathEveryLabelHasItsAnswerAlready) {
  for (const std::uint32_t model : {8u, 9u}) {
    StartPrinting(model, Joined({JobStart(), Label(1), EndOfJob()}));
    DispatchLabels(monitor);
    ForgetStory();
    EXPECT_TRUE(Check());
    EXPECT_THAT(story, ElementsAre("job status 0x1000 pages 1")) << model;
    EXPECT_THAT(host.log, IsEmpty());
    ForgetStory();
  }
}

TEST_F(LastLabelTest, ATapeModelWithoutChunksIsAskedLikeADesktopModel) {
  SetOption(L"PdChunkSize", 0);
  LastLabelOnItsWay(8);
  EXPECT_TRUE(Check());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job status 0x1000 pages 1"));
}

TEST_F(LastLabelTest, Status4IsAnAcknowledgementAndTheOthersAreNot) {
  LastLabelOnItsWay();
  printer.Answers({.status = 4});
  EXPECT_TRUE(Check());
  EXPECT_EQ(port.readCalls, 1u);

  for (const auto status : std::to_array<std::uint8_t>({2, 5, 6})) {
    LastLabelOnItsWay();
    printer.Answers({.status = status});
    EXPECT_TRUE(Check());
    EXPECT_TRUE(LoggedBy("CheckLastLabelStatus", "BAD PrintStatus(" + std::to_string(status) + ")"));
  }
}

TEST_F(LastLabelTest, AnExchangeThatFailsOnceSendsTheLabelAgainWithoutTheHeader) {
  LastLabelOnItsWay();
  port.FailsRead();
  EXPECT_TRUE(Check());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, "read fails",                    // the label's answer is lost
                                 kAsksStatus, kReadsStatus,                    // the printer is ready, the lock is kept
                                 Writes(Label(1)), kAsksStatus, kReadsStatus,  //
                                 "job status 0x1000 pages 1"));
  EXPECT_TRUE(LoggedBy("CheckLastLabelStatus", "Receiving ESCA0 response failed (0 bytes read)"));
  EXPECT_TRUE(host.Logged("Status for label #1 acknowledged(2 attempts). Total in job: 1; ACK: 1; NAK: 0; UNSENT: 0"));
}

TEST_F(LastLabelTest, AnExchangeThatFailsWithTheLockSendsTheHeaderAgainToo) {
  LastLabelOnItsWay();
  port.FailsRead();
  printer.AnswersTwice({.status = 2, .err = 0x1000});  // the lock is lost
  EXPECT_TRUE(Check());
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 41 00"), Bytes("1B 41 00"), Bytes("1B 41 00"), Bytes("1B 41 01"),
                                       JobStart(), Label(1), Bytes("1B 41 00")));
  EXPECT_EQ(job->HeaderSent, 1u);
}

TEST_F(LastLabelTest, TheLabelThatGoesOutAgainRaisesTheTimeOutsBeforeItsAnswerIsRead) {
  LastLabelOnItsWay(2, Joined({JobStart(), Bytes("1B 4C FF FF")}));
  port.FailsRead();
  std::vector<std::size_t> raised;
  port.onRead = [&] { raised.push_back(port.timeouts.size()); };
  EXPECT_TRUE(Check());
  EXPECT_THAT(raised, ElementsAre(0, 0, 1));
}

TEST_F(LastLabelTest, WithNoUnsentLabelAFailedExchangeGoesOnToTheFooter) {
  StartPrinting(2, Joined({JobStart(), LabelIndex(1), EndOfJob()}));
  port.FailsRead();
  EXPECT_TRUE(Check());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, "read fails", kAsksStatus, kReadsStatus))
      << "the job isn't even marked as complete";
}

TEST_F(LastLabelTest, AHeaderThatFailsOnTheWayIsTriedAgain) {
  LastLabelOnItsWay();
  port.FailsRead();
  printer.AnswersTwice({.status = 2, .err = 0x1000});
  port.FailWrite(5);  // three requests, the lock request, the header
  EXPECT_TRUE(Check());
  EXPECT_TRUE(LoggedBy("CheckLastLabelStatus", "Failed to sent job headers"));
  EXPECT_EQ(job->LabelsAcked, 1u);
}

TEST_F(LastLabelTest, ALabelThatFailsOnTheWayIsTriedAgainAndCountsOnlyWhenItWasOut) {
  LastLabelOnItsWay();
  port.FailsRead();
  port.FailWrite(3);  // two requests, the label
  EXPECT_TRUE(Check());
  EXPECT_TRUE(LoggedBy("CheckLastLabelStatus", "SendLabel failed"));
  EXPECT_TRUE(host.Logged("Status for label #1 acknowledged(2 attempts). Total in job: 1; ACK: 1; NAK: 0; UNSENT: 0"));
}

TEST_F(LastLabelTest, ThereIsNoLimitToTheAttempts) {
  LastLabelOnItsWay();
  for (int attempt = 0; attempt < 2000; ++attempt) {
    printer.Answers({.status = 6}).Answers({});  // a bad answer for the label, a ready printer
  }
  EXPECT_TRUE(Check());
  EXPECT_TRUE(
      host.Logged("Status for label #1 acknowledged(2001 attempts). Total in job: 1; ACK: 1; NAK: 0; UNSENT: 0"));
}

TEST_F(LastLabelTest, ItStopsWhereTheWaitForThePrinterStops) {
  LastLabelOnItsWay();
  port.FailsRead();
  printer.IsAway();  // the job restarts
  EXPECT_FALSE(Check());
  EXPECT_EQ(job->AbortState, kJobGivenUp);

  LastLabelOnItsWay();
  port.FailsRead();
  printer.Answers({.status = 3});  // cancelled at the printer
  EXPECT_FALSE(Check());
  EXPECT_EQ(job->AbortState, kJobCancelledAtPrinter);

  LastLabelOnItsWay();
  printer.AnswersTwice({.status = 2}).Answers({.status = 2});  // a status error
  EXPECT_FALSE(Check());
  EXPECT_EQ(job->AbortState, kJobRunning);
}

TEST_F(LastLabelTest, ACancelAtThePrinterTakesTheFootersPlace) {
  LastLabelOnItsWay();
  printer.Answers({.status = 3});
  EXPECT_FALSE(Check());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job command 5", kEndsJob));
  EXPECT_TRUE(LoggedBy("CheckLastLabelStatus", "Print job cancelled by the printer"));
  EXPECT_EQ(job->FooterSent, 1u);
  EXPECT_EQ(job->AbortState, kJobCancelledAtPrinter);
  EXPECT_EQ(monitor.EndDocDelay, 500u);
}

// ----------------------------------------------------------------------------------------------------- HandleCancel

class HandleCancelTest : public PrintingFixture {};

TEST_F(HandleCancelTest, AnAbortBySpoolerSendsTheCancelSequence) {
  StartJob(5);
  HandleCancel(monitor, true);
  EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob));
  EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
  EXPECT_EQ(job->FooterSent, 1u);
  EXPECT_EQ(monitor.EndDocDelay, 0u);
}

TEST_F(HandleCancelTest, AnAbortBySpoolerOnATapeModelSendsTheEndOfJobAlone) {
  StartJob(9);
  HandleCancel(monitor, true);
  EXPECT_THAT(story, ElementsAre(kEndsJob));
}

TEST_F(HandleCancelTest, AnAbortBehindTheFooterSendsNothing) {
  StartJob(5);
  job->FooterSent = 1;
  HandleCancel(monitor, true);
  EXPECT_THAT(story, IsEmpty());
  EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
}

TEST_F(HandleCancelTest, ACancelSequenceThatFailedLeavesTheFooterToTheDocumentsEnd) {
  for (const std::size_t failing : {1u, 2u}) {
    StartJob(5);
    port.FailWrite(failing);
    HandleCancel(monitor, true);
    EXPECT_EQ(job->FooterSent, 0u);
    EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
  }
}

TEST_F(HandleCancelTest, ACancelAtThePrinterDeletesTheJobAndEndsIt) {
  StartJob(5);
  HandleCancel(monitor, false);
  EXPECT_THAT(story, ElementsAre("job command 5", kEndsJob));
  EXPECT_EQ(job->AbortState, kJobCancelledAtPrinter);
  EXPECT_EQ(job->FooterSent, 1u);
  EXPECT_EQ(monitor.EndDocDelay, 500u);
}

TEST_F(HandleCancelTest, ACancelAtThePrinterIsDoneEvenIfNothingOfItWorks) {
  StartJob(5);
  host.failSetJob = true;
  port.FailWrite();
  HandleCancel(monitor, false);
  EXPECT_TRUE(host.Logged("SetJob(5) failed: 87"));
  EXPECT_EQ(job->FooterSent, 1u);
  EXPECT_EQ(monitor.EndDocDelay, 500u);
}

// ------------------------------------------------------------------------- the document's end, as the spooler sees it

// A port opened through the public door, on model 2.
class DocumentEndTest : public ::testing::Test {
 protected:
  DocumentEndTest() {
    host.SetNumber(TestHost::kDebug, L"DebugLevel", 1);
    host.jobs[7].driverName = L"KOVA Scrivelo 310 Swift";
    MONITORINIT init{};
    init.bLocal = TRUE;
    HANDLE monitorHandle = nullptr;
    door = InitializePrintMonitor2(&init, &monitorHandle);
    MONITOR2 below = port.Table();
    EXPECT_TRUE(door->pfnOpenPortEx(nullptr, &port, portName.data(), printerName.data(), &handle, &below));
  }
  ~DocumentEndTest() override { door->pfnClosePort(handle); }

  void StartDocument() {
    DOC_INFO_1W info{};
    ASSERT_TRUE(door->pfnStartDocPort(handle, printerName.data(), 7, 1, reinterpret_cast<LPBYTE>(&info)));
  }
  BOOL Write(ByteString bytes) {
    DWORD written = 0;
    return door->pfnWritePort(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written);
  }
  void EndDocument() {
    story.clear();
    EXPECT_TRUE(door->pfnEndDocPort(handle));
  }

  std::shared_ptr<CLangMon> LangMon() const {
    return CLangMon::FindLangMon(static_cast<PortKey>(reinterpret_cast<std::uintptr_t>(handle)));
  }

  const ByteString headerAndLabel = Joined({JobStart(), Label(1)});
  Story story;
  TestHost host{&story};
  ScriptedPort port{&story};
  UniquePrinter unique;
  std::wstring printerName = unique.Name();
  std::wstring portName = L"USB001";
  MONITOR2* door = nullptr;
  HANDLE handle = nullptr;
};

TEST_F(DocumentEndTest, AFinishedJobGetsNoEndFromTheMonitor) {
  StartDocument();
  EXPECT_TRUE(Write(Joined({headerAndLabel, EndOfJob()})));
  EndDocument();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DocumentEndTest, AJobWithoutItsFooterIsEndedAtThePrinter) {
  StartDocument();
  EXPECT_TRUE(Write(headerAndLabel));
  EndDocument();
  EXPECT_THAT(story, ElementsAre(kEndsJob, "job command 7", "end document"));
}

TEST_F(DocumentEndTest, AJobWhoseHeaderNeverWentOutNeedsNoEnd) {
  StartDocument();
  EXPECT_TRUE(Write(JobStart()));
  EndDocument();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DocumentEndTest, TheFormFeedOfADeletedJobGoesToTheTapeModelsToo) {
  for (const wchar_t* model : {L"KOVA Ribbonet Office 410", L"KOVA Ribbonet Office 430"}) {
    host.jobs[7] = {};
    host.jobs[7].driverName = model;
    StartDocument();
    EXPECT_TRUE(Write(headerAndLabel));
    host.jobs[7].status = JOB_STATUS_DELETING;
    EndDocument();
    EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob, "job command 7", "end document"));
  }
}

TEST_F(DocumentEndTest, ACancelSequenceThatFailedOnADeletedJobIsSentAgain) {
  StartDocument();
  EXPECT_TRUE(Write(headerAndLabel));
  host.jobs[7].status = JOB_STATUS_DELETED;
  port.FailWrite();
  EXPECT_FALSE(Write(Label(2)));
  EXPECT_EQ(LangMon()->CurrentJob()->FooterSent, 0u);
  EndDocument();
  EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob, "job command 7", "end document"));
}

TEST_F(DocumentEndTest, ACancelSequenceThatFailedIsSentAgainEvenIfTheSpoolerHasForgottenTheDeletion) {
  StartDocument();
  EXPECT_TRUE(Write(headerAndLabel));
  host.jobs[7].status = JOB_STATUS_DELETED;
  port.FailWrite();
  EXPECT_FALSE(Write(Label(2)));
  host.jobs[7].status = 0;
  EndDocument();
  EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob, "job command 7", "end document"));
}

TEST_F(DocumentEndTest, ACancelSequenceThatWentOutIsNotSentAgain) {
  StartDocument();
  EXPECT_TRUE(Write(headerAndLabel));
  host.jobs[7].status = JOB_STATUS_DELETED;
  EXPECT_FALSE(Write(Label(2)));
  EXPECT_FALSE(Write(Label(3))) << "every later write is refused";
  EndDocument();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DocumentEndTest, ACancelAtThePrinterDuringTheLastLabelSleepsHalfASecondAndEndsNothingTwice) {
  StartDocument();
  EXPECT_TRUE(Write(headerAndLabel));
  port.Answers(PlainStatus({.status = 3}));
  EXPECT_FALSE(Write(EndOfJob()));
  EXPECT_EQ(port.writes.back(), Bytes("1B 51"));
  EndDocument();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document", "sleep 500"));
}

TEST_F(DocumentEndTest, ALostConnectionRestartsTheJobAndSleepsTwoSeconds) {
  StartDocument();
  port.FailsRead().FailsRead();
  EXPECT_FALSE(Write(headerAndLabel));
  EXPECT_THAT(host.commands, ElementsAre(static_cast<DWORD>(JOB_CONTROL_RESTART)));
  EndDocument();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document", "sleep 2000"));
}

TEST_F(DocumentEndTest, TheDelayIsClearedThenSleptBehindThePortsEndAndBeforeTheSyncIsReleased) {
  StartDocument();
  port.FailsRead().FailsRead();
  EXPECT_FALSE(Write(headerAndLabel));
  const auto langMon = LangMon();
  EXPECT_EQ(langMon->EndDocDelay, 2000u);
  bool slept = false;
  host.onSleep = [&](std::uint32_t) {
    slept = true;
    EXPECT_EQ(langMon->EndDocDelay, 0u) << "cleared first";
    EXPECT_EQ(port.endedDocuments, 1u) << "the port's end came before";
    EXPECT_EQ(langMon->DocBusy, 1u) << "other documents still stay out";
    EXPECT_NE(langMon->SyncEvent, nullptr);
  };
  EndDocument();
  EXPECT_TRUE(slept);
  EXPECT_EQ(langMon->DocBusy, 0u);
  EXPECT_EQ(langMon->SyncEvent, nullptr);
  EXPECT_TRUE(host.Logged("Delay for 2000 ms"));
}

TEST_F(DocumentEndTest, TheDelayIsSleptOnce) {
  StartDocument();
  port.FailsRead().FailsRead();
  EXPECT_FALSE(Write(headerAndLabel));
  EndDocument();
  StartDocument();
  EndDocument();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DocumentEndTest, AJobThatNeverGetsALabelThroughIsGivenUpInIts1002ndRun) {
  port.responder = [](std::size_t) { return ScriptedPort::Answer{{}, true}; };  // nobody answers
  int restarts = 0;
  while (restarts < 2000) {
    StartDocument();
    EXPECT_FALSE(Write(headerAndLabel));
    const bool restarted = host.commands.back() == JOB_CONTROL_RESTART;
    EndDocument();
    if (!restarted) {
      break;
    }
    ++restarts;
  }
  EXPECT_EQ(restarts, 1001);
  EXPECT_TRUE(host.Logged("Job appears to be stuck - no labels sent in 1000 retries. Aborting."));
}

TEST_F(DocumentEndTest, ARestartedJobSendsItsLabelsFromTheFirst) {
  StartDocument();
  EXPECT_TRUE(Write(Joined({headerAndLabel, Label(2)})));
  port.FailsRead().FailsRead().FailsRead();  // label 2's response, then both looks at the printer
  EXPECT_FALSE(Write(Label(3)));
  EndDocument();
  port.writes.clear();
  StartDocument();
  EXPECT_TRUE(Write(Joined({headerAndLabel, Label(2), Label(3), EndOfJob()})));
  EXPECT_TRUE(port.HasWrite(Label(1))) << "although it had been acknowledged: the stream comes to a new job";
  EXPECT_EQ(port.writes.back(), EndOfJob());
}

TEST_F(DocumentEndTest, AnEndWithoutADocumentEndsThePortAllTheSame) {
  EndDocument();
  EXPECT_THAT(story, ElementsAre("end document"));
  EXPECT_TRUE(host.Logged("ERROR: No jobs to remove"));
  EXPECT_THAT(host.commands, SizeIs(0));
}

}  // namespace
}  // namespace sc3xxmon::test
