#include <algorithm>
#include <array>
#include <new>

#include "job/failure.h"
#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr char kNoFooterYet[] = "Parsed labels sent. No footer yet, exiting.";

// Model 2 sends its labels as they are as long as its firmware isn't known.
class WritePipelineTest : public PrintingFixture {
 protected:
  void ExpectNothingTaken() {
    EXPECT_EQ(written, kUntouched);
    EXPECT_THAT(job->Buffer(), IsEmpty());
    EXPECT_EQ(job->ParserState, kParserNone);
  }
  // A job whose header went out and whose first label is on its way.
  void JobUnderWay(std::uint32_t model = 2) {
    StartJob(model);
    ASSERT_EQ(SpoolerWrites(Joined({JobStart(), Label(1)})), TRUE);
    ForgetStory();
  }

  const ByteString jobOfTwo = Joined({JobStart(), Label(1), Label(2), EndOfJob()});
};

// --------------------------------------------------------------------------------------------- the road of a job

TEST_F(WritePipelineTest, AJobOfTwoLabelsFromTheFirstByteToTheLast) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_EQ(written, jobOfTwo.size());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus,                               // ready
                                 kAsksFirmware, kReadsFirmware,                           //
                                 Writes(JobStart()),                                      // the header
                                 Writes(Label(1)),                                        //
                                 kAsksInFlight, Writes(Label(2)), kReadsStatus,           // acknowledges label 1
                                 "job status 0x10 pages 1",                               //
                                 kAsksStatus, kReadsStatus, "job status 0x1000 pages 2",  // acknowledges label 2
                                 kEndsJob));                                              // the footer
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 41 00"), Bytes("1B 56"), JobStart(), Label(1), Bytes("1B 41 02"),
                                       Label(2), Bytes("1B 41 00"), EndOfJob()));
  EXPECT_EQ(job->FooterSent, 1u);
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "WaitForPrinterReady returned 1"));
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "Sending print job footer (2 bytes)"));
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "SC_WritePort2 done."));
}

TEST_F(WritePipelineTest, AJobOfThreeLabelsFromTheFirstLabelToTheLastAnswer) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1), Label(2), Label(3), EndOfJob()})), TRUE);
  const Story labels(story.begin() + 5, story.end());
  EXPECT_THAT(labels, ElementsAre(Writes(Label(1)),                                                          //
                                  kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1",  //
                                  kAsksInFlight, Writes(Label(3)), kReadsStatus, "job status 0x10 pages 2",  //
                                  kAsksStatus, kReadsStatus, "job status 0x1000 pages 3", kEndsJob));
}

TEST_F(WritePipelineTest, ASingleLabelHasNoInFlightRequestAtAll) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1), EndOfJob()})), TRUE);
  EXPECT_FALSE(port.HasWrite(Bytes("1B 41 02")));
  EXPECT_THAT(port.writes,
              ElementsAre(Bytes("1B 41 00"), Bytes("1B 56"), JobStart(), Label(1), Bytes("1B 41 00"), EndOfJob()));
}

TEST_F(WritePipelineTest, ThePortSeesTheSameBytesWhateverTheBuffersSize) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  const std::vector<ByteString> inOnePiece = port.writes;
  for (std::size_t size = 1; size < jobOfTwo.size(); ++size) {
    port.writes.clear();
    StartJob(2);
    for (std::size_t at = 0; at < jobOfTwo.size(); at += size) {
      const std::size_t end = std::min(at + size, jobOfTwo.size());
      EXPECT_EQ(SpoolerWrites({jobOfTwo.begin() + static_cast<std::ptrdiff_t>(at),
                               jobOfTwo.begin() + static_cast<std::ptrdiff_t>(end)}),
                TRUE);
      EXPECT_EQ(written, end - at);
    }
    EXPECT_EQ(port.writes, inOnePiece) << "buffers of " << size;
  }
}

TEST_F(WritePipelineTest, ALabelStaysOpenBetweenTwoWrites) {
  JobUnderWay();
  EXPECT_EQ(job->SentLabelCount(), 1u);
  EXPECT_EQ(SpoolerWrites(Label(2)), TRUE);
  EXPECT_THAT(story, ElementsAre(kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1"));
  EXPECT_TRUE(LoggedBy("SC_WritePort2", kNoFooterYet));
}

TEST_F(WritePipelineTest, AHeaderInSeveralBuffersReachesThePortOnlyWhenItIsWhole) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Bytes("1B 73 01")), TRUE);
  EXPECT_EQ(written, 3u);
  ForgetStory();
  for (const ByteString& piece : {Bytes("00 00 00"), Bytes("1B 71"), Bytes("31 1B"), Bytes("6E 01")}) {
    EXPECT_EQ(SpoolerWrites(piece), TRUE);
    EXPECT_EQ(written, piece.size());
    EXPECT_THAT(story, IsEmpty());
    EXPECT_EQ(host.LogCount(kNoFooterYet), 1u);
    host.log.clear();
  }
  EXPECT_EQ(SpoolerWrites(Bytes("00")), TRUE);
  EXPECT_THAT(story, ElementsAre(Writes(Bytes("1B 73 01 00 00 00 1B 71 31"))));
}

TEST_F(WritePipelineTest, TheBytesAreTheMonitorsBeforeTheFirstOfThemGoesOut) {
  JobUnderWay();
  DWORD takenAtTheFirstWrite = kUntouched;
  port.onWrite = [&] {
    if (port.writes.empty()) {
      takenAtTheFirstWrite = written;
    }
  };
  EXPECT_EQ(SpoolerWrites(Label(2)), TRUE);
  EXPECT_EQ(takenAtTheFirstWrite, Label(2).size());
}

TEST_F(WritePipelineTest, AStreamWithoutALabelHasOneStatusExchangeAndItsFooter) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), LabelIndex(1), EndOfJob()})), TRUE);  // its label is empty
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, kAsksFirmware, kReadsFirmware, Writes(JobStart()),  //
                                 kAsksStatus, kReadsStatus, "job status 0x1000 pages 0", kEndsJob));
  EXPECT_EQ(job->LabelsAcked, 0u);
}

TEST_F(WritePipelineTest, AStreamWithoutALabelIndexNeverGetsAnywhere) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Bytes("1B 71 31"), EndOfJob()})), TRUE);
  EXPECT_EQ(job->ParserState, kParserNone);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, kAsksFirmware, kReadsFirmware));
  EXPECT_TRUE(host.Logged(kNoFooterYet));
}

// ---------------------------------------------------------------------------------------------- refused buffers

TEST_F(WritePipelineTest, WithoutAJobTheWriteIsAnInvalidParameter) {
  EXPECT_EQ(SpoolerWrites(JobStart()), FALSE);
  EXPECT_EQ(host.lastError, 87u);
  EXPECT_EQ(written, kUntouched);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipelineTest, AClosedJobTakesNothingAndSaysNothing) {
  for (const std::uint32_t abortState : {kJobGivenUp, kJobAbortedBySpooler, kJobCancelledAtPrinter}) {
    StartJob(2);
    job->AbortState = abortState;
    EXPECT_EQ(SpoolerWrites(jobOfTwo), FALSE);
    ExpectNothingTaken();
    EXPECT_THAT(story, IsEmpty());
    EXPECT_THAT(host.log, IsEmpty());
  }
}

TEST_F(WritePipelineTest, ARestartInTheFirstReadinessRoundLeavesTheBufferWithTheSpooler) {
  StartJob(2);
  printer.IsAway();
  EXPECT_EQ(SpoolerWrites(jobOfTwo), FALSE);
  ExpectNothingTaken();
  EXPECT_EQ(job->AbortState, kJobGivenUp);
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "WaitForPrinterReady returned 2"));
  EXPECT_FALSE(port.HasWrite(Bytes("1B 56")));
}

TEST_F(WritePipelineTest, ACancelInTheFirstReadinessRoundLeavesTheBufferWithTheSpooler) {
  StartJob(2);
  printer.Answers({.status = 3});
  EXPECT_EQ(SpoolerWrites(jobOfTwo), FALSE);
  ExpectNothingTaken();
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 3"));
}

TEST_F(WritePipelineTest, AStatusErrorInTheFirstReadinessRoundLeavesTheJobOpenForAnotherWrite) {
  StartJob(2);
  printer.AnswersTwice({.status = 2});
  EXPECT_EQ(SpoolerWrites(jobOfTwo), FALSE);
  ExpectNothingTaken();
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 4"));
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_EQ(job->LabelsAcked, 2u);
}

// ---------------------------------------------------------------------------------------- readiness and firmware

TEST_F(WritePipelineTest, WhileTheLockIsHeldAWriteDoesntAskThePrinter) {
  JobUnderWay();
  EXPECT_EQ(SpoolerWrites(Bytes("1B")), TRUE);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipelineTest, WithTheLockLostAWriteBeginsWithTheReadinessRoundAndSendsAllThatIsOpenAgain) {
  JobUnderWay();
  job->SetLockHeld(false);
  EXPECT_EQ(SpoolerWrites(Bytes("1B")), TRUE);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, kAsksFirmware, kReadsFirmware, Writes(JobStart()),
                                 Writes(Label(1))));
}

TEST_F(WritePipelineTest, TheFirmwareIsAskedOnlyAtTheHeadOfAWrite) {
  JobUnderWay();
  port.FailsRead();
  printer.AnswersTwice({.status = 2, .err = 0x1000});  // the lock is lost in the middle of the call
  EXPECT_EQ(SpoolerWrites(Label(2)), TRUE);
  EXPECT_EQ(host.LogCount("Lock acquired"), 1u);
  EXPECT_FALSE(port.HasWrite(Bytes("1B 56")));
}

TEST_F(WritePipelineTest, AFirmwareThatDoesntAnswerChangesNothing) {
  StartJob(2);
  printer.Answers({});
  port.FailsRead();
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_EQ(job->LabelsAcked, 2u);
}

TEST_F(WritePipelineTest, AFirmwareThatIsKnownIsNotAskedForAgain) {
  StartJob(2);
  printer.Answers({});
  port.Answers(Firmware("FWAP", "0001", "0900", "29"));
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1)})), TRUE);
  job->SetLockHeld(false);
  ForgetStory();
  EXPECT_EQ(SpoolerWrites(Bytes("1B")), TRUE);
  EXPECT_FALSE(port.HasWrite(Bytes("1B 56")));
}

TEST_F(WritePipelineTest, TheModelThatTheFirmwareNamesHoldsFromTheNextExchangeOn) {
  StartJob(1);
  printer.Answers({});
  port.Answers(Firmware("FWAP", "0001", "0900", "2D"));  // model 6 answers with 70 bytes
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1), EndOfJob()})), TRUE);
  EXPECT_EQ(job->Model, 6u);
  EXPECT_EQ(story.front(), kAsksForLock);
  EXPECT_EQ(story[story.size() - 3], kReadsDualRoll);
}

// ------------------------------------------------------------------------------------------------------- ESC q

class RollParameterTest : public WritePipelineTest {
 protected:
  const ByteString withRoll = Joined({JobStart(), Bytes("1B 71 31 1B 71 32"), LabelIndex(1)});
};

TEST_F(RollParameterTest, TheDualRollModelsKeepTheOperandOfTheFirstInTheBuffer) {
  for (const std::uint32_t model : {4u, 6u}) {
    StartJob(model);
    EXPECT_EQ(SpoolerWrites(withRoll), TRUE);
    EXPECT_EQ(job->QParameter, 0x31) << model;
  }
}

TEST_F(RollParameterTest, OtherModelsDontLookForIt) {
  for (const std::uint32_t model : {0u, 1u, 5u, 8u}) {
    StartJob(model);
    EXPECT_EQ(SpoolerWrites(withRoll), TRUE);
    EXPECT_EQ(job->QParameter, 0x30) << model;
  }
}

TEST_F(RollParameterTest, WithTheLockWonOnTheFirstBufferTheSecondIsNotSearched) {
  StartJob(4);
  EXPECT_EQ(SpoolerWrites(JobStart()), TRUE);
  EXPECT_EQ(SpoolerWrites(Joined({Bytes("1B 71 31"), LabelIndex(1)})), TRUE);
  EXPECT_EQ(job->QParameter, 0x30);
}

TEST_F(RollParameterTest, WithoutTheLockEveryBufferIsSearchedOnItsOwn) {
  StartJob(4);
  for (int look = 0; look < 2; ++look) {
    port.Answers(DualRollStatus({.status = 2}));
  }
  EXPECT_EQ(SpoolerWrites(JobStart()), FALSE);
  EXPECT_EQ(SpoolerWrites(Bytes("1B 71 32")), TRUE);
  EXPECT_EQ(job->QParameter, 0x32);
}

TEST_F(RollParameterTest, TheSearchEndsWhereTheBufferIsNoCommand) {
  StartJob(4);
  EXPECT_EQ(SpoolerWrites(Bytes("00 1B 71 31")), TRUE);
  EXPECT_EQ(job->QParameter, 0x30);
}

// ------------------------------------------------------------------------------------------------ trouble on the way

TEST_F(WritePipelineTest, AHeaderThatFailsIsSentAgainOnceThePrinterIsReady) {
  StartJob(2);
  port.FailWrite(3);  // status request, firmware request, header
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1)})), TRUE);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, kAsksFirmware, kReadsFirmware, "write fails",  //
                                 kAsksStatus, kReadsStatus, Writes(JobStart()), Writes(Label(1))));
}

TEST_F(WritePipelineTest, AfterALostAnswerTheOpenLabelsGoOutAgainAndTheHeaderDoesnt) {
  JobUnderWay();
  port.FailsRead();
  EXPECT_EQ(SpoolerWrites(Label(2)), TRUE);
  EXPECT_THAT(story,
              ElementsAre(kAsksInFlight, Writes(Label(2)), "read fails",  //
                          kAsksStatus, kReadsStatus,                      // ready, the lock is kept
                          Writes(Label(1)), kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1"));
}

TEST_F(WritePipelineTest, AfterALostLockTheHeaderGoesOutAgainToo) {
  JobUnderWay();
  port.FailsRead();
  printer.AnswersTwice({.status = 2, .err = 0x1000});
  EXPECT_EQ(SpoolerWrites(Label(2)), TRUE);
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 41 02"), Label(2), Bytes("1B 41 00"), Bytes("1B 41 00"),
                                       Bytes("1B 41 01"), JobStart(), Label(1), Bytes("1B 41 02"), Label(2)));
}

TEST_F(WritePipelineTest, OutOfLabelsInTheMiddleOfAJobLosesNothing) {
  JobUnderWay();
  printer.AnswersTwice({.status = 2, .bay = 2}).Answers({.status = 2, .bay = 2});  // the response, two settling looks
  EXPECT_EQ(SpoolerWrites(Label(2)), TRUE);
  EXPECT_TRUE(host.Logged("BAD PrintStatus(2) for label #1."));
  EXPECT_THAT(story, ElementsAre(kAsksInFlight, Writes(Label(2)), kReadsStatus,                       //
                                 kAsksStatus, kReadsStatus, "sleep 1000", kAsksStatus, kReadsStatus,  //
                                 "job status 0x440 pages 0 'Out of labels'", "sleep 1000",            //
                                 kAsksStatus, kReadsStatus, kShortFeed, "job status 0x10 pages 0",    // roll is back
                                 "job command 2", "sleep 1000",                                       //
                                 Writes(Label(1)), kAsksInFlight, Writes(Label(2)), kReadsStatus,     //
                                 "job status 0x10 pages 1"));
}

TEST_F(WritePipelineTest, TroubleThatEndsTheJobKeepsTheBufferThatWasParsed) {
  JobUnderWay();
  port.FailsRead();
  printer.IsAway();
  EXPECT_EQ(SpoolerWrites(Label(2)), FALSE);
  EXPECT_EQ(written, Label(2).size());
  EXPECT_EQ(job->AbortState, kJobGivenUp);
  EXPECT_THAT(job->Labels, SizeIs(2));
}

TEST_F(WritePipelineTest, AStatusErrorOnTheWayStopsTheWriteAndALaterOneGoesOn) {
  JobUnderWay();
  printer.AnswersTwice({.status = 2}).Answers({.status = 2});
  EXPECT_EQ(SpoolerWrites(Label(2)), FALSE);
  EXPECT_EQ(written, Label(2).size());
  EXPECT_EQ(job->AbortState, kJobRunning);
  EXPECT_EQ(SpoolerWrites(EndOfJob()), TRUE);
  EXPECT_EQ(job->LabelsAcked, 2u);
}

TEST_F(WritePipelineTest, ACancelAtThePrinterOnTheWayStopsTheWriteForGood) {
  JobUnderWay();
  printer.Answers({.status = 3});
  EXPECT_EQ(SpoolerWrites(Label(2)), FALSE);
  EXPECT_EQ(written, Label(2).size());
  EXPECT_EQ(job->AbortState, kJobCancelledAtPrinter);
  EXPECT_EQ(SpoolerWrites(Label(3)), FALSE);
  EXPECT_EQ(written, kUntouched);
}

TEST_F(WritePipelineTest, ADeletionOnTheWayStopsTheWriteForGood) {
  JobUnderWay();
  DeleteJobInSpooler();
  EXPECT_EQ(SpoolerWrites(Label(2)), FALSE);
  EXPECT_EQ(written, Label(2).size());
  EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob));
  EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
}

TEST_F(WritePipelineTest, ACancelAtTheLastLabelKeepsTheFooterBack) {
  JobUnderWay();
  printer.Answers({.status = 3});
  const ByteString footer = Joined({EndOfJob(), Bytes("1B 45")});
  EXPECT_EQ(SpoolerWrites(footer), FALSE);
  EXPECT_EQ(written, footer.size());
  EXPECT_FALSE(port.HasWrite(footer));
  EXPECT_EQ(job->FooterSent, 1u);
}

TEST_F(WritePipelineTest, AFailedLastExchangeWithNoUnsentLabelGoesOnToTheFooter) {
  StartJob(2);
  printer.Answers({});
  port.Answers(ByteString(34, 0)).FailsRead();
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), LabelIndex(1), EndOfJob()})), TRUE);
  EXPECT_EQ(port.writes.back(), EndOfJob());
  EXPECT_EQ(job->FooterSent, 1u);
}

TEST_F(WritePipelineTest, AFailureOfAnotherClassPassesThroughToTheCaller) {
  JobUnderWay();
  port.onWrite = [] { throw Exception("nobody's business here"); };
  EXPECT_THROW(SpoolerWrites(Label(2)), Exception);
  port.onWrite = [] { throw std::bad_alloc(); };
  EXPECT_THROW(SpoolerWrites(EndOfJob()), std::bad_alloc);
}

// ------------------------------------------------------------------------------------------------------ the footer

TEST_F(WritePipelineTest, TheFooterGoesOutAsItCame) {
  const ByteString footer = Joined({EndOfJob(), Bytes("00 FF 1B 00")});
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1), footer})), TRUE);
  EXPECT_EQ(port.writes.back(), footer);
  EXPECT_TRUE(host.Logged("Sending print job footer (6 bytes)"));
}

TEST_F(WritePipelineTest, AFooterThatFailsIsNotTriedAgain) {
  JobUnderWay();
  port.FailWrite(2);
  EXPECT_EQ(SpoolerWrites(EndOfJob()), TRUE);
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "Failed to send footer. No retry will be made"));
  EXPECT_TRUE(host.Logged("SC_WritePort2 done."));
  EXPECT_EQ(job->FooterSent, 1u);
  ForgetStory();
  EXPECT_EQ(SpoolerWrites(Bytes("1B 51")), TRUE);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipelineTest, AFooterThatIsWrittenInPartIsNotCompleted) {
  JobUnderWay();
  port.LimitWrite(1, 2);
  EXPECT_EQ(SpoolerWrites(EndOfJob()), TRUE);
  EXPECT_EQ(port.writes.back(), Bytes("1B"));
  EXPECT_FALSE(host.Logged("Failed to send footer. No retry will be made"));
}

TEST_F(WritePipelineTest, BytesBehindTheFooterAreTakenAndNeverSent) {
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  ForgetStory();
  const ByteString late = Bytes("1B 45 00 FF");
  EXPECT_EQ(SpoolerWrites(late), TRUE);
  EXPECT_EQ(written, late.size());
  EXPECT_THAT(story, IsEmpty());
  EXPECT_THAT(host.LogTexts(), ElementsAre("Appending data: old=0, delta=4")) << "the parser alone notes them";
  EXPECT_EQ(job->JobFooter, Joined({EndOfJob(), late}));
}

// -------------------------------------------------------------------------------------------------- debug settings

TEST_F(WritePipelineTest, InBypassModeTheStreamPassesUnparsedBehindTheReadinessRound) {
  SwitchOn(L"BypassMode");
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_EQ(written, jobOfTwo.size());
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus, kAsksFirmware, kReadsFirmware, Writes(jobOfTwo)));
  EXPECT_THAT(job->Buffer(), IsEmpty());
  EXPECT_EQ(job->LabelsParsed, 0u);
  EXPECT_EQ(job->HeaderSent, 0u);
  EXPECT_EQ(job->FooterSent, 0u);
  EXPECT_EQ(SpoolerWrites(Bytes("00 01")), TRUE);
  EXPECT_EQ(port.writes.back(), Bytes("00 01")) << "the lock is held: no second round";
}

TEST_F(WritePipelineTest, InBypassModeAPrinterThatIsntReadyStillHoldsTheStreamBack) {
  SwitchOn(L"BypassMode");
  StartJob(2);
  printer.AnswersTwice({.status = 2});
  EXPECT_EQ(SpoolerWrites(jobOfTwo), FALSE);
  EXPECT_EQ(written, kUntouched);
  EXPECT_FALSE(port.HasWrite(jobOfTwo));
}

TEST_F(WritePipelineTest, InBypassModeTheSpoolerHearsWhatThePortTook) {
  SwitchOn(L"BypassMode");
  SwitchOn(L"DontLock");
  StartJob(2);
  port.LimitWrite(5);
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_EQ(written, 5u);
  port.FailWrite();
  EXPECT_EQ(SpoolerWrites(jobOfTwo), FALSE);
}

TEST_F(WritePipelineTest, InBypassModeNoCountNeedBeAskedFor) {
  SwitchOn(L"BypassMode");
  StartJob(2);
  EXPECT_EQ(SC_WritePort2(monitor, jobOfTwo.data(), static_cast<std::uint32_t>(jobOfTwo.size()), nullptr), TRUE);
  EXPECT_TRUE(port.HasWrite(jobOfTwo));
}

TEST_F(WritePipelineTest, InBypassModeWithoutTheLockBytesPassWithoutAnyStatusExchange) {
  SwitchOn(L"BypassMode");
  SwitchOn(L"DontLock");
  StartJob(2);
  for (const ByteString& buffer : {jobOfTwo, Bytes("00 FF 1B"), Bytes("73")}) {
    EXPECT_EQ(SpoolerWrites(buffer), TRUE);
    EXPECT_EQ(written, buffer.size());
  }
  EXPECT_THAT(port.writes, ElementsAre(jobOfTwo, Bytes("00 FF 1B"), Bytes("73")));
  EXPECT_EQ(port.readCalls, 0u);
}

TEST_F(WritePipelineTest, WithDontLockThePrinterIsAskedNeitherForReadinessNorForItsFirmware) {
  SwitchOn(L"DontLock");
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1)})), TRUE);
  EXPECT_EQ(SpoolerWrites(Joined({Label(2), EndOfJob()})), TRUE);
  EXPECT_THAT(story, ElementsAre(Writes(JobStart()), Writes(Label(1)),                                      //
                                 kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1",  //
                                 kAsksStatus, kReadsStatus, "job status 0x1000 pages 2", kEndsJob));
  EXPECT_EQ(job->LockHeld, 0u);
}

TEST_F(WritePipelineTest, WithDontLockTheRollParameterIsNotLookedFor) {
  SwitchOn(L"DontLock");
  StartJob(4);
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Bytes("1B 71 31")})), TRUE);
  EXPECT_EQ(job->QParameter, 0x30);
}

TEST_F(WritePipelineTest, WithDontLockTroubleOnTheWayStillWaitsForThePrinter) {
  SwitchOn(L"DontLock");
  StartJob(2);
  port.FailWrite();
  EXPECT_EQ(SpoolerWrites(Joined({JobStart(), Label(1)})), TRUE);
  EXPECT_THAT(story, ElementsAre("write fails", kAsksStatus, kReadsStatus, Writes(JobStart()), Writes(Label(1))));
  EXPECT_EQ(job->LockHeld, 1u);
}

TEST_F(WritePipelineTest, WithoutDeviceIoAWholeJobRunsWithoutThePort) {
  SwitchOn(L"NoDeviceIO");
  SetOption(L"PdChunkSize", 2);
  for (const std::uint32_t model : {1u, 2u, 4u, 5u, 8u, 9u}) {
    StartJob(model);
    EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE) << model;
    EXPECT_EQ(job->LabelsAcked, 2u) << model;
    EXPECT_EQ(job->FooterSent, 1u);
    EXPECT_EQ(host.jobs[7].status, static_cast<DWORD>(JOB_STATUS_COMPLETE));
    EXPECT_EQ(host.jobs[7].pagesPrinted, 2u);
  }
  EXPECT_EQ(port.writeCalls + port.readCalls, 0u);
  EXPECT_THAT(host.sleeps, IsEmpty());
}

TEST_F(WritePipelineTest, AtDebugLevel0NoDebugSettingActs) {
  SwitchOn(L"BypassMode");
  SwitchOn(L"DontLock");
  SwitchOn(L"NoDeviceIO");
  TestHost::SetDebugLevel(0);
  StartJob(2);
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_THAT(port.writes, SizeIs(8));
  EXPECT_EQ(port.writes.front(), Bytes("1B 41 00"));
}

TEST_F(WritePipelineTest, NoMediaCheckChecksTheMediaAllTheSame) {
  SwitchOn(L"NoMediaCheck");
  StartJob(2);
  printer.Answers({.bay = 1});
  EXPECT_EQ(SpoolerWrites(jobOfTwo), TRUE);
  EXPECT_TRUE(host.Logged("Media status has become BAD: 1"));
}

}  // namespace
}  // namespace sc3xxmon::test
