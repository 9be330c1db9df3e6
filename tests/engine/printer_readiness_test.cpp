#include <algorithm>
#include <array>

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kJobId = 7;

class PrinterReadinessTest : public PrintingFixture {
 protected:
  Readiness Wait() { return WaitForPrinterReady(monitor); }

  // A header and two labels of which one is on its way, so that a lost lock shows.
  void JobOnItsWay(std::uint32_t model) {
    StartPrinting(model, Joined({JobStart(), Label(1), Label(2)}));
    job->MarkSent(job->Labels.front());
    job->StatusInFlight = 1;
  }
  void ExpectLockLost() {
    EXPECT_EQ(job->HeaderSent, 0u);
    EXPECT_EQ(job->StatusInFlight, 0u);
    EXPECT_EQ(job->SentLabelCount(), 0u);
  }
  void ExpectLockKept() {
    EXPECT_EQ(job->LockHeld, 1u);
    EXPECT_EQ(job->HeaderSent, 1u);
    EXPECT_EQ(job->StatusInFlight, 1u);
    EXPECT_EQ(job->SentLabelCount(), 1u);
  }
};

// -------------------------------------------------------------------------------------------- asking for the lock

TEST_F(PrinterReadinessTest, Model1AsksForTheLockFromTheStart) {
  StartJob(1);
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_THAT(story, ElementsAre(kAsksForLock, kReadsStatus));
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Lock acquired"));
  EXPECT_EQ(job->LockHeld, 1u);
}

TEST_F(PrinterReadinessTest, EveryOtherModelFindsAFreePrinterWithoutAskingForTheLock) {
  for (const auto model : std::to_array<std::uint32_t>({0, 2, 3, 4, 5, 6, 7, 8, 9})) {
    StartJob(model);
    EXPECT_EQ(Wait(), Readiness::kLockKept) << model;
    EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 41 00"))) << model;
    EXPECT_TRUE(host.Logged("Lock kept"));
    EXPECT_EQ(job->LockHeld, 1u);
    ForgetStory();
  }
}

TEST_F(PrinterReadinessTest, AnotherModelAsksForTheLockOnceThePrinterIsSeenTaken) {
  for (const auto status : std::to_array<std::uint8_t>({4, 5})) {
    StartJob(5);
    printer.AnswersTwice({.status = status}).Answers({.status = 0});
    EXPECT_EQ(Wait(), Readiness::kLockAcquired);
    EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "sleep 1000", kAsksStatus, kReadsStatus,  // settled
                                   kAsksForLock, kReadsStatus))
        << int{status};
    EXPECT_TRUE(host.Logged("Lock acquired"));
    ForgetStory();
  }
}

TEST_F(PrinterReadinessTest, ALockThatSomeoneElseHoldsIsAskedForAgainEveryHalfSecond) {
  StartJob(1);
  printer.AnswersTwice({.status = 4}).AnswersTwice({.status = 5}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_THAT(story, ElementsAre(kAsksForLock, kReadsStatus, "sleep 1000", kAsksForLock, kReadsStatus, "sleep 500",
                                 kAsksForLock, kReadsStatus, "sleep 1000", kAsksForLock, kReadsStatus, "sleep 500",
                                 kAsksForLock, kReadsStatus));
  EXPECT_EQ(host.LogCount("Printer lock failed (taken by someone else)"), 2u);
  EXPECT_THAT(host.jobs[7].texts, IsEmpty()) << "that the printer is in use is shown to nobody";
}

TEST_F(PrinterReadinessTest, ARefusedLockMeansThatTheHeaderAndTheOpenLabelsGoOutAgain) {
  JobOnItsWay(1);
  printer.AnswersTwice({.status = 4});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  ExpectLockLost();
  EXPECT_EQ(job->LockHeld, 1u);
}

TEST_F(PrinterReadinessTest, AReadyPrinterLeavesHeaderAndLabelsAsTheyAre) {
  JobOnItsWay(5);
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  ExpectLockKept();
}

TEST_F(PrinterReadinessTest, WaitingForTheLockEndsWhenTheJobIsDeleted) {
  StartJob(1);
  for (int round = 0; round < 1000; ++round) {
    printer.AnswersTwice({.status = 4});
  }
  DeleteJobDuringSleep(2000);
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_EQ(host.LogCount("Printer lock failed (taken by someone else)"), 1000u) << "nothing else ends it";
}

TEST_F(PrinterReadinessTest, EveryOtherStatusPassesAsReady) {
  for (const auto status : std::to_array<std::uint8_t>({0, 1, 6, 7, 100, 255})) {
    StartJob(5);
    printer.Answers({.status = status});
    EXPECT_EQ(Wait(), Readiness::kLockKept) << int{status};
  }
}

TEST_F(PrinterReadinessTest, AnEscSRecordIsReadInItsOwnFormOnAnyModel) {
  StartJob(5);
  tape.AnswersTwice({.status = 4}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
}

// ------------------------------------------------------------------------------------------------------- deletion

TEST_F(PrinterReadinessTest, ADeletedJobIsCancelledBeforeThePrinterIsAsked) {
  for (const auto status : std::to_array<DWORD>({JOB_STATUS_DELETING, JOB_STATUS_DELETED})) {
    host.jobs[7].status = status;
    StartJob(5);
    EXPECT_EQ(Wait(), Readiness::kStopped);
    EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob)) << status;
    EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
    EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Print job aborted by the spooler"));
    ForgetStory();
  }
}

TEST_F(PrinterReadinessTest, OtherBitsOfTheJobsStatusAreNoDeletion) {
  host.jobs[7].status = ~DWORD{JOB_STATUS_DELETING | JOB_STATUS_DELETED};
  StartJob(5);
  EXPECT_EQ(Wait(), Readiness::kLockKept);
}

TEST_F(PrinterReadinessTest, AJobThatCantBeReadCountsAsNotDeleted) {
  StartJob(5);
  DeleteJobInSpooler();
  host.failGetJob = true;
  EXPECT_EQ(Wait(), Readiness::kLockKept);
}

TEST_F(PrinterReadinessTest, ADeletionIsNoticedWithinOneRoundOfAPrinterError) {
  StartJob(5);
  printer.Answers({.bay = 1}).Answers({.bay = 1}).Answers({.bay = 1});
  DeleteJobDuringSleep(2);
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_EQ(port.readCalls, 2u);
}

TEST_F(PrinterReadinessTest, ACancelAtThePrinterDeletesTheJob) {
  StartJob(5);
  printer.Answers({.status = 3});
  EXPECT_EQ(Wait(), Readiness::kCancelled);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job command 5", kEndsJob));
  EXPECT_EQ(job->AbortState, kJobCancelledAtPrinter);
  EXPECT_EQ(monitor.EndDocDelay, 500u);
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Print job cancelled by the printer"));
}

TEST_F(PrinterReadinessTest, ACancelInTheSettlingLookCountsLikeAnyOther) {
  StartJob(5);
  printer.Answers({.status = 2}).Answers({.status = 3});
  EXPECT_EQ(Wait(), Readiness::kCancelled);
}

// ------------------------------------------------------------------------------------- errors that a person mends

TEST_F(PrinterReadinessTest, OutOfLabelsIsShownOnceAndTheJobResumesWhenTheRollIsBack) {
  StartJob(5);
  printer.Answers({.bay = 2}).Answers({.bay = 2}).Answers({.bay = 8});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job status 0x440 pages 0 'Out of labels'", "sleep 1000",
                                 kAsksStatus, kReadsStatus, "sleep 1000",  //
                                 kAsksStatus, kReadsStatus, kShortFeed, "job status 0x10 pages 0", "job command 2",
                                 "sleep 1000"));
}

TEST_F(PrinterReadinessTest, EachErrorIsShownAndWaitedForARoundASecond) {
  struct Row {
    ByteString record;
    const char* shown;
    const char* bad;
    const char* good;
  };
  const Row rows[] = {
      {PlainStatus({.bay = 1}), "job status 0x402 pages 0 'Bay Open'", "Media status has become BAD: 1",
       "Media status GOOD"},
      {PlainStatus({.head = 1}), "job status 0x402 pages 0 'Print head is overheated'", "PH status has become BAD",
       "PH status has become GOOD"},
      {EscSStatus({.cutter = 4}), "job status 0x402 pages 0 'Cutter jam'", "Cutter status has become BAD",
       "Cutter status has become GOOD"},
  };
  for (const Row& row : rows) {
    host.jobs[7] = {};
    StartJob(8);
    port.Answers(row.record);
    EXPECT_EQ(Wait(), Readiness::kLockKept);
    EXPECT_THAT(story,
                ElementsAre(kAsksStatus, kReadsStatus, row.shown, "sleep 1000",  //
                            kAsksStatus, kReadsStatus, "job status 0x10 pages 0", "job command 2", "sleep 1000"));
    EXPECT_TRUE(host.Logged(row.bad)) << row.bad;
    EXPECT_TRUE(host.Logged(row.good)) << row.good;
    ForgetStory();
  }
}

TEST_F(PrinterReadinessTest, ALowBatteryIsWaitedForLikeTheOthers) {
  StartJob(8);
  tape.AnswersTwice({.status = 2, .err = 0x800}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "sleep 1000", kAsksStatus, kReadsStatus,
                                 "job status 0x402 pages 0 'Battery level too low'", "sleep 1000",  //
                                 kAsksStatus, kReadsStatus, "job status 0x10 pages 0", "job command 2", "sleep 1000"));
}

TEST_F(PrinterReadinessTest, TheOptionForTheBatteryLevelTakesNoPart) {
  SetOption(L"MinBatteryLevel", 50);
  StartJob(8);
  tape.Answers({.status = 0, .err = 0x800});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
}

TEST_F(PrinterReadinessTest, OnRecoveryTheRoundGoesOnWithTheSameRecord) {
  StartJob(5);
  printer.Answers({.bay = 2}).Answers({.bay = 8});
  port.FailsRead();  // a third request would fail
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_EQ(port.readCalls, 2u);
}

TEST_F(PrinterReadinessTest, OnRecoveryAPrinterThatIsTakenNowIsAskedForItsLockInTheNextRound) {
  StartJob(5);
  printer.Answers({.bay = 2}).AnswersTwice({.status = 4}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "job status 0x440 pages 0 'Out of labels'", "sleep 1000",
                                 kAsksStatus, kReadsStatus, "sleep 1000", kAsksStatus, kReadsStatus,  //
                                 kShortFeed, "job status 0x10 pages 0", "job command 2", "sleep 1000", kAsksForLock,
                                 kReadsStatus));
}

TEST_F(PrinterReadinessTest, ARecoveryIsReportedOnceOnly) {
  StartJob(1);
  printer.Answers({.bay = 2}).AnswersTwice({.status = 4}).AnswersTwice({.status = 4});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_EQ(host.LogCount("Media status GOOD"), 1u);
  EXPECT_THAT(host.commands, ElementsAre(static_cast<DWORD>(JOB_CONTROL_RESUME)));
}

TEST_F(PrinterReadinessTest, TwoErrorsAtOnceShowOneAndTheOneThatStaysGetsNoMessage) {
  StartJob(5);
  printer.Answers({.bay = 2, .head = 1}).Answers({.bay = 2}).Answers({.bay = 8});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(host.jobs[7].texts, ElementsAre(L"Print head is overheated"));
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "PH status has become GOOD")) << "said in passing, without a resume";
  EXPECT_FALSE(LoggedBy("ClearJobErrorState", "PH status has become GOOD"));
  EXPECT_TRUE(LoggedBy("ClearJobErrorState", "Media status GOOD"));
  EXPECT_THAT(host.commands, ElementsAre(static_cast<DWORD>(JOB_CONTROL_RESUME)));
}

TEST_F(PrinterReadinessTest, AnErrorThatClearsWhileAnotherArisesIsLoggedAsGoodWithoutAResume) {
  StartJob(5);
  printer.Answers({.bay = 2}).Answers({.head = 1});
  DeleteJobDuringSleep(2);
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_TRUE(LoggedBy("SetJobErrorState", "PH status has become BAD"));
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Media status GOOD"));
  EXPECT_FALSE(LoggedBy("ClearJobErrorState", "Media status GOOD"));
  EXPECT_THAT(host.commands, IsEmpty());
  EXPECT_FALSE(port.HasWrite(Bytes("1B 47")));
}

TEST_F(PrinterReadinessTest, ErrorsThatGoWhileOthersStayAreLoggedInTheirOrder) {
  StartJob(8);
  // Only the one form of the record knows a cutter, and only the other a head.
  tape.AnswersTwice({.status = 2, .bay = 2, .cutter = 4, .err = 0x800});
  printer.Answers({.head = 1}).Answers({.bay = 2, .head = 1});
  tape.Answers({.cutter = 4});
  DeleteJobDuringSleep(5);
  EXPECT_EQ(Wait(), Readiness::kStopped);
  std::vector<std::string> texts = host.LogTexts();
  std::erase_if(texts, [](const std::string& text) { return !text.ends_with("GOOD"); });
  EXPECT_THAT(texts, ElementsAre("Battery level GOOD", "Cutter status has become GOOD", "Media status GOOD",
                                 "PH status has become GOOD", "Media status GOOD"));
}

TEST_F(PrinterReadinessTest, TheSameErrorsInEveryRoundAreReportedOnce) {
  StartJob(5);
  for (int round = 0; round < 50; ++round) {
    printer.Answers({.bay = 2});
  }
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_EQ(host.LogCount("Media status has become BAD: 2"), 1u);
  EXPECT_EQ(host.LogCount("Printing errors"), 50u) << "what was caught";
  EXPECT_EQ(host.jobs[7].texts.size(), 1u);
}

TEST_F(PrinterReadinessTest, TheErrorsAreTestedBeforeTheStatus) {
  StartJob(5);
  printer.AnswersTwice({.status = 4, .bay = 1}).AnswersTwice({.status = 2, .bay = 1});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_FALSE(host.Logged("Printer status error!"));
  EXPECT_FALSE(port.HasWrite(Bytes("1B 41 01"))) << "a printer that has to be mended isn't asked for its lock";
}

TEST_F(PrinterReadinessTest, AfterErrorsModel1AsksForTheLockAgainAndAnyOtherGoesBackToNotAsking) {
  StartJob(1);
  printer.Answers({.bay = 1});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 41 01"), Bytes("1B 41 01"), Bytes("1B 47")));

  ForgetStory();
  StartJob(5);
  printer.AnswersTwice({.status = 4}).Answers({.bay = 1});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(port.writes,
              ElementsAre(Bytes("1B 41 00"), Bytes("1B 41 00"), Bytes("1B 41 01"), Bytes("1B 41 00"), Bytes("1B 47")));
}

// -------------------------------------------------------------------------------------- giving the lock back

TEST_F(PrinterReadinessTest, WithoutReleaseOnErrorTheLockStaysAsItIs) {
  JobOnItsWay(5);
  printer.Answers({.bay = 1});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  ExpectLockKept();
  EXPECT_FALSE(port.HasWrite(Bytes("1B 51")));
}

TEST_F(PrinterReadinessTest, WithUnlockOnErrorTheLockIsGivenBackInEveryRoundThatShowsErrors) {
  SetOption(L"UnlockOnError", 1);
  JobOnItsWay(5);
  printer.Answers({.bay = 1}).Answers({.bay = 1});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, kEndsJob, "job status 0x402 pages 0 'Bay Open'",
                                 "sleep 1000",                                       //
                                 kAsksStatus, kReadsStatus, kEndsJob, "sleep 1000",  //
                                 kAsksStatus, kReadsStatus, kShortFeed, "job status 0x10 pages 0", "job command 2",
                                 "sleep 1000"));
  EXPECT_EQ(host.LogCount("Printer errors found. Releasing the lock"), 2u);
  ExpectLockLost();
}

TEST_F(PrinterReadinessTest, Model9ReleasesOnErrorWhateverTheOptionSays) {
  JobOnItsWay(9);
  tape.AnswersTwice({.status = 2, .bay = 2}).AnswersTwice({.status = 2, .bay = 2});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_EQ(host.LogCount("Sending end job"), 2u) << "once a round";
  ExpectLockLost();
}

TEST_F(PrinterReadinessTest, Model9WithoutErrorsGivesNothingBack) {
  StartJob(9);
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_FALSE(port.HasWrite(Bytes("1B 51")));
}

TEST_F(PrinterReadinessTest, ALockThatIsntOursIsNotGivenBack) {
  for (const auto status : std::to_array<std::uint8_t>({4, 5})) {
    JobOnItsWay(9);
    tape.AnswersTwice({.status = status, .bay = 2});
    EXPECT_EQ(Wait(), Readiness::kLockKept);
    EXPECT_FALSE(port.HasWrite(Bytes("1B 51"))) << int{status};
    ExpectLockKept();
    ForgetStory();
  }
}

TEST_F(PrinterReadinessTest, AnEndOfJobThatFailsOnTheWayBackIsIgnored) {
  SetOption(L"UnlockOnError", 1);
  StartJob(5);
  printer.Answers({.bay = 1});
  port.FailWrite(2);
  EXPECT_EQ(Wait(), Readiness::kLockKept);
}

// ------------------------------------------------------------------------------------------- the printer's status 2

TEST_F(PrinterReadinessTest, OnUsbStatus2WithoutErrorBitsEndsTheWait) {
  JobOnItsWay(5);
  printer.AnswersTwice({.status = 2});
  EXPECT_EQ(Wait(), Readiness::kGivenUp);
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Printer status error!"));
  EXPECT_EQ(job->AbortState, kJobRunning) << "a further write goes on from here";
  ExpectLockKept();
}

TEST_F(PrinterReadinessTest, OnLanStatus2WithoutErrorBitsIsWaitedOutEveryHalfSecond) {
  monitor.isUsb = 0;
  JobOnItsWay(5);
  printer.AnswersTwice({.status = 2}).AnswersTwice({.status = 2}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(host.sleeps, ElementsAre(1000, 500, 1000, 500));
  EXPECT_EQ(host.LogCount("Bad status: 2"), 2u);
  ExpectLockKept();
}

TEST_F(PrinterReadinessTest, OnLanTheWaitDoesntAskForSendIphs) {
  monitor.isUsb = 0;
  SetOption(L"SendIPHs", 0);
  StartJob(5);
  printer.AnswersTwice({.status = 2});
  EXPECT_EQ(Wait(), Readiness::kLockKept) << "how the port is reached decides alone";
}

TEST_F(PrinterReadinessTest, OnLanStatus2WithErrorBitsEndsTheWait) {
  monitor.isUsb = 0;
  StartJob(5);
  printer.AnswersTwice({.status = 2, .err = 0x00010000});
  EXPECT_EQ(Wait(), Readiness::kGivenUp);
  EXPECT_EQ(job->AbortState, kJobRunning);

  StartJob(8);
  tape.AnswersTwice({.status = 2, .err = 0x00010000});
  EXPECT_EQ(Wait(), Readiness::kGivenUp);
}

TEST_F(PrinterReadinessTest, ATransientStatus2IsForgottenAfterASecond) {
  StartJob(5);
  printer.Answers({.status = 2}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_THAT(host.sleeps, ElementsAre(1000));
}

TEST_F(PrinterReadinessTest, TheLockLineIsLoggedBeforeStatus2IsLookedAt) {
  StartJob(5);
  printer.AnswersTwice({.status = 2});
  EXPECT_EQ(Wait(), Readiness::kGivenUp);
  const auto texts = host.LogTexts();
  ASSERT_GE(texts.size(), 2u);
  EXPECT_EQ(texts[texts.size() - 2], "Lock kept");
}

// ---------------------------------------------------------------------------------- the printer's communication error

TEST_F(PrinterReadinessTest, ACommErrorIsRetriedAtOnceWithTheLockRequest) {
  JobOnItsWay(5);
  printer.AnswersTwice({.status = 2, .err = 0x1000}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, "sleep 1000", kAsksStatus, kReadsStatus,  //
                                 kAsksForLock, kReadsStatus));
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Comm Error"));
  ExpectLockLost();
}

TEST_F(PrinterReadinessTest, ACommErrorAfterAskingForTheLockPausesATenthOfASecond) {
  StartJob(1);
  printer.AnswersTwice({.status = 2, .err = 0x1000}).AnswersTwice({.status = 2, .err = 0x1000});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_THAT(host.sleeps, ElementsAre(1000, 100, 1000, 100));
}

TEST_F(PrinterReadinessTest, TheCommErrorIsAnotherBitInAnEscSRecord) {
  StartJob(8);
  tape.AnswersTwice({.status = 2, .err = 0x8}).Answers({.status = 0});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
  EXPECT_TRUE(host.Logged("Comm Error"));
}

TEST_F(PrinterReadinessTest, ErrBitsAtStatus0AreNeitherCommErrorNorStatusError) {
  StartJob(5);
  printer.Answers({.status = 0, .err = 0xFFFFFFFF});
  EXPECT_EQ(Wait(), Readiness::kLockKept);
}

// ------------------------------------------------------------------------------------------- a lost connection

TEST_F(PrinterReadinessTest, OnUsbALostConnectionRestartsTheJob) {
  JobOnItsWay(5);
  printer.IsAway();
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, "read fails", kAsksStatus, "read fails", "job command 4"));
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Communication issues. Restarting print job."));
  EXPECT_EQ(job->AbortState, kJobGivenUp);
  EXPECT_EQ(monitor.EndDocDelay, 2000u);
  EXPECT_EQ(job->LockHeld, 0u);
  ExpectLockLost();
}

TEST_F(PrinterReadinessTest, ARequestThatCantBeWrittenIsALostConnectionToo) {
  StartJob(5);
  port.FailWrite(1);
  port.FailWrite(2);
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_THAT(story, ElementsAre("write fails", "write fails", "job command 4"));
}

TEST_F(PrinterReadinessTest, ARestartThatTheSpoolerRefusesIsLoggedAndStopsAllTheSame) {
  StartJob(5);
  host.failSetJob = true;
  printer.IsAway();
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_TRUE(host.Logged("SetJob(4) failed: 87"));
  EXPECT_EQ(job->AbortState, kJobGivenUp);
}

TEST_F(PrinterReadinessTest, OnLanALostConnectionIsWaitedOutForAsLongAsItTakes) {
  monitor.isUsb = 0;
  JobOnItsWay(5);
  monitor.LastJobId = kJobId;
  monitor.NoProgressCount = 5000;  // a job can't be stuck where it recovers in place
  for (int round = 0; round < 3000; ++round) {
    printer.IsAway();
  }
  EXPECT_EQ(Wait(), Readiness::kLockKept);
  EXPECT_EQ(host.sleeps, std::vector<std::uint32_t>(3000, 1000));
  EXPECT_EQ(job->AbortState, kJobRunning);
  ExpectLockLost();
  EXPECT_EQ(host.LogCount("Receiving ESCA0 response failed (0 bytes read)"), 3000u);
}

TEST_F(PrinterReadinessTest, OnLanTheWaitForTheConnectionEndsWhenTheJobIsDeleted) {
  monitor.isUsb = 0;
  StartJob(5);
  for (int round = 0; round < 10; ++round) {
    printer.IsAway();
  }
  DeleteJobDuringSleep(4);
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
  EXPECT_EQ(port.readCalls, 8u);
}

TEST_F(PrinterReadinessTest, OnLanWithoutSendIphsALostConnectionRestartsTheJobAsOnUsb) {
  monitor.isUsb = 0;
  SetOption(L"SendIPHs", 0);
  StartJob(5);
  printer.IsAway();
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_THAT(host.commands, ElementsAre(static_cast<DWORD>(JOB_CONTROL_RESTART)));
  EXPECT_EQ(monitor.EndDocDelay, 2000u);
}

TEST_F(PrinterReadinessTest, RecoverLanCommChangesNothing) {
  for (const std::uint32_t value : {0u, 1u}) {
    SetOption(L"RecoverLanComm", value);
    monitor.isUsb = 0;
    EXPECT_TRUE(monitor.CanRecoverInPlace());
    monitor.isUsb = 1;
    EXPECT_FALSE(monitor.CanRecoverInPlace());
  }
}

TEST_F(PrinterReadinessTest, CheckLockedPrinterChangesNothing) {
  SetOption(L"CheckLockedPrinter", 0);
  StartJob(5);
  printer.AnswersTwice({.status = 4});
  EXPECT_EQ(Wait(), Readiness::kLockAcquired);
}

// ------------------------------------------------------------------------------------------------------ stuck jobs

TEST_F(PrinterReadinessTest, AJobThatEnded1000TimesWithoutALabelIsGivenUp) {
  StartJob(5);
  monitor.LastJobId = kJobId;
  monitor.NoProgressCount = 1000;
  monitor.LastIoTick = 17;
  printer.IsAway();
  EXPECT_EQ(Wait(), Readiness::kGivenUp);
  EXPECT_TRUE(LoggedBy("WaitForPrinterReady", "Job appears to be stuck - no labels sent in 1000 retries. Aborting."));
  EXPECT_THAT(host.commands, IsEmpty()) << "no restart any more";
  EXPECT_EQ(job->AbortState, kJobGivenUp);
  EXPECT_EQ(monitor.EndDocDelay, 0u);
  EXPECT_EQ(monitor.LastJobId, 0u);
  EXPECT_EQ(monitor.NoProgressCount, 0u);
}

TEST_F(PrinterReadinessTest, AJobThatEnded999TimesWithoutALabelIsRestartedOnceMore) {
  StartJob(5);
  monitor.LastJobId = kJobId;
  monitor.NoProgressCount = 999;
  printer.IsAway();
  EXPECT_EQ(Wait(), Readiness::kStopped);
  EXPECT_THAT(host.commands, ElementsAre(static_cast<DWORD>(JOB_CONTROL_RESTART)));
}

TEST_F(PrinterReadinessTest, TheCountOfAnotherJobDoesntCount) {
  StartJob(5);
  monitor.LastJobId = kJobId + 1;
  monitor.NoProgressCount = 5000;
  printer.IsAway();
  EXPECT_EQ(Wait(), Readiness::kStopped);
}

}  // namespace
}  // namespace sc3xxmon::test
