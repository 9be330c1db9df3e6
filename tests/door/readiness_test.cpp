// Waiting for the printer: what each state of it does to the job, in calls that a host can see.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kPlainCommErrorBit = 0x1000;
constexpr std::uint32_t kEscSCommErrorBit = 0x08;
constexpr std::uint32_t kEscSBatteryBit = 0x800;
constexpr DWORD kError = JOB_STATUS_ERROR | JOB_STATUS_USER_INTERVENTION;
constexpr DWORD kPaperOut = JOB_STATUS_PAPEROUT | JOB_STATUS_USER_INTERVENTION;

class Readiness : public DoorTest {
 protected:
  void StartOn(std::uint32_t row) {
    UseModel(row);
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    story.clear();
  }
  // A buffer that only makes the printer ready.
  BOOL AskForReadiness() { return Write(JobStart()); }
  const std::vector<std::wstring>& Texts() { return host.jobs[kJobId].texts; }
};

TEST_F(Readiness, RowOneAsksForTheLockAtOnce) {
  StartOn(1);
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 01", "read 32", "write 1B 56", "read 34"));
  EXPECT_TRUE(host.Logged("Lock acquired"));
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 0"));
}

TEST_F(Readiness, OtherRowsAreContentWithAPrinterThatIsFree) {
  StartOn(5);
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "write 1B 56", "read 34"));
  EXPECT_TRUE(host.Logged("Lock kept"));
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 1"));
}

TEST_F(Readiness, PrinterThatIsNotOursIsAskedForTheLock) {
  StartOn(5);
  NextStatus({.status = 4}).NextStatus({.status = 5});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "sleep 1000", "write 1B 41 00", "read 32",  //
                                 "write 1B 41 01", "read 32", "write 1B 56", "read 34"));
  EXPECT_TRUE(host.Logged("Lock acquired"));
}

TEST_F(Readiness, LockHeldElsewhereIsAskedForUntilItIsFree) {
  StartOn(1);
  NextStatus({.status = 4}).NextStatus({.status = 4}).NextStatus({.status = 5}).NextStatus({.status = 5});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 01", "read 32", "sleep 1000", "write 1B 41 01", "read 32", "sleep 500",
                                 "write 1B 41 01", "read 32", "sleep 1000", "write 1B 41 01", "read 32", "sleep 500",
                                 "write 1B 41 01", "read 32", "write 1B 56", "read 34"));
  EXPECT_EQ(host.LogCount("Printer lock failed (taken by someone else)"), 2u);
  EXPECT_THAT(Texts(), IsEmpty());
}

TEST_F(Readiness, DeletionEndsTheWaitForALock) {
  StartOn(1);
  for (int i = 0; i < 10; ++i) {
    NextStatus({.status = 4});
  }
  host.onStatusQuery = [this](std::size_t query) {
    if (query == 3) {
      host.jobs[kJobId].status = JOB_STATUS_DELETING;
    }
  };
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_TRUE(host.Logged("Print job aborted by the spooler"));
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 2"));
  EXPECT_EQ(Writes().back(), "1B 51");
}

TEST_F(Readiness, TransientTroubleIsNoTrouble) {
  StartOn(5);
  NextStatus({.status = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "sleep 1000", "write 1B 41 00", "read 32",  //
                                 "write 1B 56", "read 34"));
}

TEST_F(Readiness, LostAnswerIsAskedForAgainAtOnce) {
  StartOn(5);
  NextStatusFails();
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read fails", "write 1B 41 00", "read 32",  //
                                 "write 1B 56", "read 34"));
  EXPECT_THAT(host.commands, IsEmpty());
}

TEST_F(Readiness, UnknownStatusPassesAsReady) {
  for (const std::uint8_t status : Bytes("01 06 80 FF")) {
    StartOn(5);
    NextStatus({.status = status});
    EXPECT_EQ(AskForReadiness(), TRUE) << int{status};
    End();
    Close(key);
  }
}

// --- states that a person can mend

struct MediaCase {
  std::uint8_t bay;
  DWORD statusWord;
  const wchar_t* text;
};

class MediaError : public DoorTest, public ::testing::WithParamInterface<MediaCase> {};

TEST_P(MediaError, IsShownOnceAndTakenBackWhenMended) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  DWORD shown = 0;
  NextStatus({.bay = GetParam().bay}).NextStatus({.bay = GetParam().bay}).NextStatus({.bay = GetParam().bay});
  host.onSleep = [this, &shown](std::uint32_t) { shown |= host.jobs[kJobId].status; };
  EXPECT_EQ(Write(JobStart()), TRUE);
  EXPECT_EQ(shown & ~DWORD{JOB_STATUS_PRINTING}, GetParam().statusWord);
  if (GetParam().text != nullptr) {
    EXPECT_THAT(host.jobs[kJobId].texts, ElementsAre(std::wstring(GetParam().text)));
  } else {
    EXPECT_THAT(host.jobs[kJobId].texts, IsEmpty());
  }
  EXPECT_TRUE(host.Logged("Media status has become BAD: " + std::to_string(GetParam().bay)));
  EXPECT_TRUE(host.Logged("Media status GOOD"));
  EXPECT_EQ(host.jobs[kJobId].text, L"");
  EXPECT_EQ(host.jobs[kJobId].status, JOB_STATUS_PRINTING);
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_RESUME));
  EXPECT_THAT(host.sleeps, ElementsAre(1000u, 1000u, 1000u, 1000u));
}

INSTANTIATE_TEST_SUITE_P(
    Readiness, MediaError,
    ::testing::Values(MediaCase{0, kError, L"Out of labels"}, MediaCase{1, kError, L"Bay Open"},
                      MediaCase{2, kPaperOut, L"Out of labels"}, MediaCase{3, kError, L"Wrong Media Inserted"},
                      MediaCase{4, kError, L"Out of labels"}, MediaCase{5, kPaperOut, L"Out of labels"},
                      MediaCase{9, kError, L"Label jam"}, MediaCase{10, kError, L"Unknown label detected"},
                      MediaCase{11, 0, nullptr}, MediaCase{255, 0, nullptr}),
    [](const auto& media) { return "Bay" + std::to_string(media.param.bay); });

TEST_F(Readiness, GoodBaysAreThree) {
  for (const std::uint8_t bay : Bytes("06 07 08")) {
    StartOn(5);
    NextStatus({.bay = bay});
    EXPECT_EQ(AskForReadiness(), TRUE);
    EXPECT_THAT(host.sleeps, IsEmpty());
    End();
    Close(key);
  }
}

// The round that sees the recovery goes on with the record that showed it: no further request.
TEST_F(Readiness, RecoveryFeedsResumesAndGoesOnWithTheSameRecord) {
  StartOn(5);
  NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "job status 0x440 pages 0 'Out of labels'", "sleep 1000",
                                 "write 1B 41 00", "read 32", "write 1B 47", "job status 0x10 pages 0", "job command 2",
                                 "sleep 1000", "write 1B 56", "read 34"));
}

TEST_F(Readiness, TapeRecoversWithoutAFormFeed) {
  StartOn(8);
  NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "job status 0x440 pages 0 'Out of labels'", "sleep 1000",
                                 "write 1B 41 00", "read 32", "job status 0x10 pages 0", "job command 2", "sleep 1000",
                                 "write 1B 56", "read 34"));
}

TEST_F(Readiness, OverheatedHeadIsShown) {
  StartOn(5);
  NextStatus({.head = 1});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), ElementsAre(L"Print head is overheated"));
  EXPECT_TRUE(host.Logged("PH status has become BAD"));
  EXPECT_TRUE(host.Logged("PH status has become GOOD"));
}

TEST_F(Readiness, CutterJamIsShown) {
  StartOn(8);
  NextStatus({.cutter = 4});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), ElementsAre(L"Cutter jam"));
  EXPECT_TRUE(host.Logged("Cutter status has become BAD"));
  EXPECT_TRUE(host.Logged("Cutter status has become GOOD"));
}

TEST_F(Readiness, CutterValuesOtherThanFourAreGood) {
  StartOn(8);
  NextStatus({.cutter = 3});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(host.sleeps, IsEmpty());
}

TEST_F(Readiness, LowBatteryIsShown) {
  StartOn(8);
  NextStatus({.status = 2, .err = kEscSBatteryBit}).NextStatus({.status = 2, .err = kEscSBatteryBit});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), ElementsAre(L"Battery level too low"));
  EXPECT_TRUE(host.Logged("Battery level became too low"));
  EXPECT_TRUE(host.Logged("Battery level GOOD"));
}

TEST_F(Readiness, BatteryBitWithoutStatusTwoMeansNothing) {
  StartOn(8);
  NextStatus({.status = 0, .err = kEscSBatteryBit});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(host.sleeps, IsEmpty());
}

TEST_F(Readiness, FirstOfTwoErrorsIsTheOneThatIsShown) {
  StartOn(5);
  NextStatus({.bay = 2, .head = 1}).NextStatus({.bay = 2}).NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), ElementsAre(L"Print head is overheated"));
  EXPECT_EQ(host.LogCount("PH status has become GOOD"), 1u);
  EXPECT_FALSE(host.Logged("Media status has become BAD: 2"));
  EXPECT_TRUE(host.Logged("Media status GOOD"));
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_RESUME));
}

// One error goes while another comes: no recovery yet, and the text that stands stays.
TEST_F(Readiness, ErrorThatComesWhileAnotherGoesIsReportedWithoutResuming) {
  StartOn(5);
  NextStatus({.head = 1}).NextStatus({.bay = 1});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_TRUE(host.Logged("Media status has become BAD: 1"));
  EXPECT_EQ(host.LogCount("PH status has become GOOD"), 1u);
  EXPECT_THAT(Texts(), ElementsAre(L"Print head is overheated"));
  EXPECT_EQ(CountOf("job command 2"), 1u);
  EXPECT_EQ(CountOf("write 1B 47"), 1u);
}

TEST_F(Readiness, OneMediaErrorAfterAnotherIsOneMessage) {
  StartOn(5);
  NextStatus({.bay = 5}).NextStatus({.bay = 1}).NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), ElementsAre(L"Out of labels"));
  EXPECT_FALSE(host.Logged("Media status has become BAD: 1"));
}

TEST_F(Readiness, TextIsNotSetOnAJobThatShowsTroubleAlready) {
  StartOn(5);
  host.jobs[kJobId].status = JOB_STATUS_ERROR;
  NextStatus({.bay = 9});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), IsEmpty());
}

TEST_F(Readiness, PaperOutGoesThroughOnAJobThatShowsAnErrorOnly) {
  StartOn(5);
  host.jobs[kJobId].status = JOB_STATUS_ERROR;
  NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), ElementsAre(L"Out of labels"));
}

TEST_F(Readiness, JobThatCannotBeReadWaitsWithoutAText) {
  StartOn(5);
  host.failGetJob = true;
  NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(Texts(), IsEmpty());
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_RESUME));
}

TEST_F(Readiness, DeletionIsNoticedWithinOneRoundOfAnError) {
  StartOn(5);
  for (int i = 0; i < 100; ++i) {
    NextStatus({.bay = 2});
  }
  host.onSleep = [this](std::uint32_t) {
    if (host.sleeps.size() == 5) {
      host.jobs[kJobId].status |= JOB_STATUS_DELETING;
    }
  };
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_EQ(host.sleeps.size(), 5u);
  EXPECT_THAT(host.jobs[kJobId].text, L"Out of labels");
}

// --- the lock goes back while errors stand

TEST_F(Readiness, RowNineGivesTheLockBackOnEachRoundOfAnError) {
  StartOn(9);
  NextStatus({.bay = 2}).NextStatus({.bay = 2}).NextStatus({.bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_EQ(CountOf("write 1B 51"), 3u);
  EXPECT_EQ(host.LogCount("Printer errors found. Releasing the lock"), 3u);
}

TEST_F(Readiness, RowNineKeepsItsHandsOffAPrinterThatIsNotOurs) {
  StartOn(9);
  NextStatus({.status = 4, .bay = 2}).NextStatus({.status = 4, .bay = 2});
  NextStatus({.status = 5, .bay = 2}).NextStatus({.status = 5, .bay = 2});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_EQ(CountOf("write 1B 51"), 0u);
}

TEST_F(Readiness, OtherRowsKeepTheLockUnlessTheOptionSaysOtherwise) {
  StartOn(8);
  NextStatus({.bay = 2});
  AskForReadiness();
  EXPECT_EQ(CountOf("write 1B 51"), 0u);
  End();
  Close(key);
  SetOption(L"UnlockOnError", 1);
  StartOn(8);
  NextStatus({.bay = 2});
  AskForReadiness();
  EXPECT_EQ(CountOf("write 1B 51"), 1u);
}

TEST_F(Readiness, LockGivenBackInMidJobBringsHeaderAndOpenLabelsAgain) {
  StartOn(9);
  SetOption(L"PdChunkSize", 0);
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatus({.status = 2, .bay = 2}).NextStatus({.status = 2, .bay = 2}).NextStatus({.status = 2, .bay = 2});
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 02", Wrote(Label(2)), "read 32",                  // the bad answer
                                  "write 1B 41 00", "read 32", "write 1B 41 00", "read 32",      // it stays bad
                                  "write 1B 51",                                                 // the lock goes back
                                  "write 1B 41 00", "read 32",                                   // mended
                                  "write 1B 73 01 00 00 00", Wrote(Label(1)), "write 1B 41 02",  // all over again
                                  Wrote(Label(2)), "read 32"));
}

TEST_F(Readiness, LockRequestIsForgottenOverAnErrorExceptOnRowOne) {
  StartOn(5);
  NextStatus({.status = 4}).NextStatus({.status = 4}).NextStatus({.bay = 2});
  AskForReadiness();
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read 32", "write 1B 41 00", "read 32", "write 1B 41 01", "read 32",
                                  "write 1B 41 00", "read 32", "write 1B 47", "write 1B 56", "read 34"));
  End();
  Close(key);
  StartOn(1);
  NextStatus({.bay = 2});
  AskForReadiness();
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 01", "read 32", "write 1B 41 01", "read 32", "write 1B 47",
                                  "write 1B 56", "read 34"));
}

// --- states that end the write

TEST_F(Readiness, StatusTwoWithoutAReasonEndsTheWriteAndLeavesTheJobOpen) {
  StartOn(5);
  NextStatus({.status = 2}).NextStatus({.status = 2});
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_TRUE(host.Logged("Printer status error!"));
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 4"));
  EXPECT_THAT(host.commands, IsEmpty());
  EXPECT_EQ(AskForReadiness(), TRUE);
}

TEST_F(Readiness, StatusTwoWithErrorBitsEndsTheWriteToo) {
  for (const std::uint32_t row : {5u, 8u}) {
    StartOn(row);
    NextStatus({.status = 2, .err = 1}).NextStatus({.status = 2, .err = 1});
    EXPECT_EQ(AskForReadiness(), FALSE);
    End();
    Close(key);
  }
  EXPECT_EQ(host.LogCount("Printer status error!"), 2u);
}

TEST_F(Readiness, PrintersOwnCommunicationErrorIsAnsweredWithTheLockRequest) {
  StartOn(5);
  const StatusFields commError{.status = 2, .err = kPlainCommErrorBit};
  NextStatus(commError).NextStatus(commError).NextStatus(commError).NextStatus(commError);
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "sleep 1000", "write 1B 41 00", "read 32",  //
                                 "write 1B 41 01", "read 32", "sleep 1000", "write 1B 41 01", "read 32", "sleep 100",
                                 "write 1B 41 01", "read 32", "write 1B 56", "read 34"));
  EXPECT_EQ(host.LogCount("Comm Error"), 2u);
}

TEST_F(Readiness, CommunicationErrorHasABitOfItsOwnInEachForm) {
  StartOn(8);
  NextStatus({.status = 2, .err = kEscSCommErrorBit}).NextStatus({.status = 2, .err = kEscSCommErrorBit});
  EXPECT_EQ(AskForReadiness(), TRUE);
  EXPECT_EQ(host.LogCount("Comm Error"), 1u);
  End();
  Close(key);
  StartOn(8);
  NextStatus({.status = 2, .err = kPlainCommErrorBit}).NextStatus({.status = 2, .err = kPlainCommErrorBit});
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_EQ(host.LogCount("Comm Error"), 1u);
}

TEST_F(Readiness, LostConnectionRestartsTheJob) {
  StartOn(5);
  Disconnect();
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read fails", "write 1B 41 00", "read fails", "job command 4"));
  EXPECT_TRUE(host.Logged("Communication issues. Restarting print job."));
}

TEST_F(Readiness, RequestThatCannotBeWrittenIsALostConnectionToo) {
  StartOn(5);
  port.FailWrite(1);
  port.FailWrite(2);
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_THAT(story, ElementsAre("write fails", "write fails", "job command 4"));
  EXPECT_EQ(host.LogCount("WritePort failed. written=0; err=31"), 2u);
}

TEST_F(Readiness, CancelAtThePrinterDeletesTheJob) {
  StartOn(5);
  NextStatus({.status = 3});
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "job command 5", "write 1B 51"));
  EXPECT_TRUE(host.Logged("Print job cancelled by the printer"));
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 3"));
}

TEST_F(Readiness, DeletedJobIsCancelledBeforeThePrinterIsAsked) {
  StartOn(5);
  host.jobs[kJobId].status = JOB_STATUS_DELETED;
  EXPECT_EQ(AskForReadiness(), FALSE);
  EXPECT_THAT(story, ElementsAre("write 1B 45", "write 1B 51"));
}

// --- a job that never gets anywhere

class StuckJob : public DoorTest {
 protected:
  void SetUp() override {
    key = Open();
    host.jobs[8] = host.jobs[kJobId];
    Disconnect();
  }
  // One run of a job against a printer that doesn't answer.
  void Run(DWORD jobId = kJobId) {
    ASSERT_EQ(Start(key, jobId), TRUE);
    ASSERT_EQ(Write(Document(1)), FALSE);
    ASSERT_EQ(End(), TRUE);
  }
  static constexpr char kStuck[] = "Job appears to be stuck - no labels sent in 1000 retries. Aborting.";
};

TEST_F(StuckJob, GivesUpInItsRunNumberOneThousandAndTwo) {
  for (int run = 1; run <= 1001; ++run) {
    Run();
  }
  EXPECT_EQ(host.commands.back(), JOB_CONTROL_LAST_PAGE_EJECTED);
  EXPECT_EQ(CountOf("job command 4"), 1001u);
  EXPECT_FALSE(host.Logged(kStuck));
  Run();
  EXPECT_TRUE(host.Logged(kStuck));
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 4"));
  EXPECT_EQ(CountOf("job command 4"), 1001u);
}

TEST_F(StuckJob, AnotherJobBetweenStartsTheCountAnew) {
  for (int run = 1; run <= 1001; ++run) {
    Run();
  }
  Run(8);
  Run();
  EXPECT_FALSE(host.Logged(kStuck));
}

TEST_F(StuckJob, AcknowledgedLabelStartsTheCountAnew) {
  for (int run = 1; run <= 1000; ++run) {
    Run();
  }
  Reconnect();
  ASSERT_EQ(Start(key), TRUE);
  ASSERT_EQ(Write(Document(1)), TRUE);
  ASSERT_EQ(End(), TRUE);
  Disconnect();
  for (int run = 1; run <= 3; ++run) {
    Run();
  }
  EXPECT_FALSE(host.Logged(kStuck));
}

}  // namespace
}  // namespace sc3xxmon::test
