#include <algorithm>
#include <array>

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

// Model 2 sends its labels as they are as long as its firmware isn't known.
class LabelDispatchTest : public PrintingFixture {
 protected:
  void JobOfLabels(std::uint32_t model, std::uint16_t count, const ByteString& header = JobStart()) {
    ByteString stream = header;
    for (std::uint16_t i = 1; i <= count; ++i) {
      stream = Joined({stream, Label(i)});
    }
    StartPrinting(model, stream);
  }
  DispatchResult Dispatch() { return DispatchLabels(monitor); }
};

// ------------------------------------------------------------------------------------------------- labels in flight

TEST_F(LabelDispatchTest, NoLabelIsNothingToDo) {
  JobOfLabels(2, 0);
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(LabelDispatchTest, ASingleLabelGoesOutWithoutARequestAndStaysOpen) {
  JobOfLabels(2, 1);
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(story, ElementsAre(Writes(Label(1))));
  EXPECT_EQ(job->SentLabelCount(), 1u);
  EXPECT_EQ(job->LabelsAcked, 0u);
}

TEST_F(LabelDispatchTest, TwoLabelsHaveExactlyOneRequest) {
  JobOfLabels(2, 2);
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(story,
              ElementsAre(Writes(Label(1)), kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1"));
  EXPECT_EQ(job->SentLabelCount(), 1u);
  EXPECT_EQ(job->LabelsAcked, 1u);
}

TEST_F(LabelDispatchTest, ThreeLabelsOnTheWire) {
  JobOfLabels(2, 3);
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(story, ElementsAre(Writes(Label(1)),                                                          //
                                 kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1",  //
                                 kAsksInFlight, Writes(Label(3)), kReadsStatus, "job status 0x10 pages 2"));
  EXPECT_THAT(port.writes, ElementsAre(Label(1), Bytes("1B 41 02"), Label(2), Bytes("1B 41 02"), Label(3)));
  EXPECT_EQ(job->SentLabelCount(), 1u);
}

TEST_F(LabelDispatchTest, ALabelThatComesLaterHasTheOpenOnesRequestInFrontOfIt) {
  JobOfLabels(2, 2);
  Dispatch();
  ForgetStory();
  job->ProcessData(Label(3).data(), Label(3).size());
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(story, ElementsAre(kAsksInFlight, Writes(Label(3)), kReadsStatus, "job status 0x10 pages 2"));
}

TEST_F(LabelDispatchTest, EachAcknowledgementIsLoggedWithTheJobsNumbers) {
  JobOfLabels(2, 3);
  Dispatch();
  EXPECT_TRUE(LoggedBy("DispatchLabels",
                       "Status for label #1 acknowledged(1 attempts). Total in job: 3; ACK: 1; NAK: 1; UNSENT: 1"));
  EXPECT_TRUE(LoggedBy("DispatchLabels",
                       "Status for label #2 acknowledged(1 attempts). Total in job: 3; ACK: 2; NAK: 1; UNSENT: 0"));
}

TEST_F(LabelDispatchTest, RequestResponseAndAcknowledgementNameTheSameLabel) {
  JobOfLabels(2, 3);
  Dispatch();
  std::vector<std::string> texts = host.LogTexts();
  std::erase_if(texts, [](const std::string& text) {
    return !text.starts_with("Sending ESCA2") && !text.starts_with("Receiving ESCA2") &&
           !text.starts_with("Status for label");
  });
  EXPECT_THAT(texts,
              ElementsAre("Sending ESCA2 for label #1", "Receiving ESCA2 response for label #1",
                          StartsWith("Status for label #1 acknowledged"), "Sending ESCA2 for label #2",
                          "Receiving ESCA2 response for label #2", StartsWith("Status for label #2 acknowledged")));
}

TEST_F(LabelDispatchTest, AnAcknowledgementWipesAnErrorTextAndShowsThePages) {
  JobOfLabels(2, 2);
  host.jobs[7].status = 0x402;
  host.jobs[7].text = L"Bay Open";
  Dispatch();
  EXPECT_EQ(host.jobs[7].status, static_cast<DWORD>(JOB_STATUS_PRINTING));
  EXPECT_EQ(host.jobs[7].text, L"");
  EXPECT_EQ(host.jobs[7].pagesPrinted, 1u);
}

TEST_F(LabelDispatchTest, AnAcknowledgementCountsAsProgressOfTheJob) {
  JobOfLabels(2, 2);
  monitor.LastJobId = 7;
  monitor.NoProgressCount = 900;
  monitor.RestartCount = 901;
  Dispatch();
  EXPECT_EQ(monitor.NoProgressCount, 0u);
  EXPECT_EQ(monitor.LastAckedCount, 1u);
  EXPECT_EQ(monitor.RestartCount, 901u);
}

TEST_F(LabelDispatchTest, TheTimeOutsAreRaisedBetweenTheSecondLabelAndTheResponse) {
  JobOfLabels(2, 2, Joined({JobStart(), Bytes("1B 4C FF FF")}));
  std::size_t writesWhenRaised = 0;
  port.onRead = [&] {
    EXPECT_THAT(port.timeouts, SizeIs(1));
    writesWhenRaised = port.writeCalls;
  };
  Dispatch();
  EXPECT_EQ(writesWhenRaised, 3u);
  EXPECT_TRUE(host.Logged("Adjusting port timeouts to 15000 / 15000"));
}

TEST_F(LabelDispatchTest, WithOneLabelOutTheTimeOutsStay) {
  JobOfLabels(2, 1, Joined({JobStart(), Bytes("1B 4C FF FF")}));
  Dispatch();
  EXPECT_THAT(port.timeouts, IsEmpty());
}

TEST_F(LabelDispatchTest, Status4IsAnAcknowledgement) {
  JobOfLabels(2, 2);
  port.Answers(PlainStatus({.status = 4}));
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_EQ(job->LabelsAcked, 1u);
}

TEST_F(LabelDispatchTest, TheDispatchModeChangesNothing) {
  std::vector<Story> stories;
  for (const std::uint32_t mode : {0u, 1u}) {
    SetOption(L"LabelDispatchMode", mode);
    ASSERT_EQ(LabelDispatchMode, static_cast<std::int32_t>(mode));
    JobOfLabels(2, 4);
    EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
    stories.push_back(story);
    ForgetStory();
  }
  EXPECT_EQ(stories[0], stories[1]);
}

// --------------------------------------------------------------------------------------------------- communication

TEST_F(LabelDispatchTest, AResponseThatFailsRevertsBothOpenLabelsAndEachLogsTwoAttempts) {
  JobOfLabels(2, 3);
  port.FailsRead();
  EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
  EXPECT_TRUE(LoggedBy("DispatchLabels", "Receiving ESCA2 response for label #1 FAILED"));
  EXPECT_EQ(job->SentLabelCount(), 0u);
  EXPECT_EQ(job->Labels[0].Retries, 1u);
  EXPECT_EQ(job->Labels[1].Retries, 1u);
  EXPECT_EQ(job->Labels[2].Retries, 0u) << "never sent";

  ForgetStory();
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(port.writes, ElementsAre(Label(1), Bytes("1B 41 02"), Label(2), Bytes("1B 41 02"), Label(3)));
  EXPECT_TRUE(host.Logged("Status for label #1 acknowledged(2 attempts). Total in job: 3; ACK: 1; NAK: 1; UNSENT: 1"));
  EXPECT_TRUE(host.Logged("Status for label #2 acknowledged(2 attempts). Total in job: 3; ACK: 2; NAK: 1; UNSENT: 0"));
}

TEST_F(LabelDispatchTest, ALabelThatIsAcknowledgedIsNeverSentAgain) {
  JobOfLabels(2, 4);
  printer.Answers({}).Answers({.status = 2});
  EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
  EXPECT_EQ(job->LabelsAcked, 1u);
  ForgetStory();
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_EQ(port.writes.front(), Label(2));
  EXPECT_FALSE(port.HasWrite(Label(1)));
}

TEST_F(LabelDispatchTest, EveryBadStatusRevertsTheOpenLabels) {
  for (const auto status : std::to_array<std::uint8_t>({2, 5, 6, 200})) {
    JobOfLabels(2, 2);
    printer.Answers({.status = status});
    EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
    EXPECT_TRUE(host.Logged("BAD PrintStatus(" + std::to_string(status) + ") for label #1."));
    EXPECT_EQ(job->UnsentLabelCount(), 2u);
    EXPECT_EQ(job->LabelsAcked, 0u);
  }
}

TEST_F(LabelDispatchTest, AFirstLabelThatFailsIsNotReverted) {
  JobOfLabels(2, 2);
  port.FailWrite();
  EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
  EXPECT_TRUE(LoggedBy("DispatchLabels", "SendLabel failed"));
  EXPECT_EQ(job->Labels.front().Retries, 0u);
}

TEST_F(LabelDispatchTest, ARequestThatFailsRevertsTheOpenLabel) {
  JobOfLabels(2, 2);
  port.FailWrite(2);
  EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
  EXPECT_TRUE(LoggedBy("DispatchLabels", "Sending ESCA2 for label #1 failed"));
  EXPECT_EQ(job->Labels[0].Retries, 1u);
  EXPECT_EQ(job->StatusInFlight, 0u);
}

TEST_F(LabelDispatchTest, ASecondLabelThatFailsLeavesItsRequestInFlightUntilTheNextResponse) {
  JobOfLabels(2, 2);
  port.FailWrite(3);
  EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
  EXPECT_EQ(job->StatusInFlight, 1u);
  EXPECT_EQ(job->Labels[0].Retries, 1u);
  EXPECT_EQ(job->Labels[1].Retries, 0u);

  EXPECT_EQ(WaitForPrinterReady(monitor), Readiness::kLockKept);
  EXPECT_EQ(job->StatusInFlight, 1u) << "a ready printer doesn't change it";
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_EQ(job->StatusInFlight, 0u);
}

TEST_F(LabelDispatchTest, ASecondLabelThatFailsLeavesItsRequestInFlightUntilTheLockIsLost) {
  JobOfLabels(2, 2);
  port.FailWrite(3);
  Dispatch();
  printer.AnswersTwice({.status = 2, .err = 0x1000});
  EXPECT_EQ(WaitForPrinterReady(monitor), Readiness::kLockAcquired);
  EXPECT_EQ(job->StatusInFlight, 0u);
}

// --------------------------------------------------------------------------------------------------------- cancels

TEST_F(LabelDispatchTest, ADeletedJobWithALabelOpenIsCancelledAndItsLabelStaysOpen) {
  JobOfLabels(2, 1);
  Dispatch();
  job->ProcessData(Label(2).data(), Label(2).size());
  DeleteJobInSpooler();
  ForgetStory();
  EXPECT_EQ(Dispatch(), DispatchResult::kCancelled);
  EXPECT_THAT(story, ElementsAre(kLongFeed, kEndsJob)) << "no request, no label";
  EXPECT_TRUE(LoggedBy("DispatchLabels", "Print job aborted by the spooler"));
  EXPECT_EQ(job->AbortState, kJobAbortedBySpooler);
  EXPECT_EQ(job->SentLabelCount(), 1u);
  EXPECT_EQ(job->LabelsAcked, 0u);
  EXPECT_EQ(job->Labels.front().Retries, 0u);
}

TEST_F(LabelDispatchTest, ADeletionTakesEffectBetweenTwoLabels) {
  JobOfLabels(2, 4);
  host.onStatusQuery = [this](std::size_t query) {
    if (query == 4) {  // before label 1, before label 2, the acknowledgement of label 1, before label 3
      DeleteJobInSpooler();
    }
  };
  EXPECT_EQ(Dispatch(), DispatchResult::kCancelled);
  EXPECT_THAT(port.writes, ElementsAre(Label(1), Bytes("1B 41 02"), Label(2), Bytes("1B 45"), Bytes("1B 51")));
}

TEST_F(LabelDispatchTest, ACancelAtThePrinterEndsTheJob) {
  JobOfLabels(2, 2);
  printer.Answers({.status = 3});
  EXPECT_EQ(Dispatch(), DispatchResult::kCancelled);
  EXPECT_TRUE(LoggedBy("DispatchLabels", "Print job cancelled by the printer"));
  EXPECT_EQ(job->AbortState, kJobCancelledAtPrinter);
  EXPECT_EQ(job->SentLabelCount(), 2u);
  EXPECT_THAT(host.commands, ElementsAre(static_cast<DWORD>(JOB_CONTROL_DELETE)));
}

// --------------------------------------------------------------------------------------------------- the tape models

TEST_F(LabelDispatchTest, ATapeLabelIsAcknowledgedBeforeTheNextOneBegins) {
  SetOption(L"PdChunkSize", 4);
  JobOfLabels(8, 2);
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_THAT(story, ElementsAre(Writes(Label(1)), kAsksInFlight, kReadsStatus, "job status 0x10 pages 1",  //
                                 Writes(Label(2)), kAsksInFlight, kReadsStatus, "job status 0x10 pages 2"));
  EXPECT_EQ(job->LabelsAcked, 2u);
  EXPECT_THAT(job->Labels, IsEmpty());
}

TEST_F(LabelDispatchTest, ATapeLabelGoesOutInChunksOfTheOptionsHeight) {
  SetOption(L"PdChunkSize", 3);
  JobOfLabels(9, 1);
  Dispatch();
  EXPECT_TRUE(host.Logged("Sending chunked label #1; index=1, size=26, chunks=2"));
}

TEST_F(LabelDispatchTest, OnTheTapeModelsThreeLinesGiveOneLabelThreeNumbers) {
  SetOption(L"PdChunkSize", 2);
  JobOfLabels(8, 2);
  Dispatch();
  const auto texts = host.LogTexts();
  const auto second = std::find(texts.begin(), texts.end(), "Sending chunked label #2; index=2, size=26, chunks=2");
  ASSERT_NE(second, texts.end());
  EXPECT_NE(std::find(second, texts.end(), "Receiving ESCA2 response for label #0"), texts.end());
  EXPECT_NE(std::find(second, texts.end(),
                      "Status for label #1 acknowledged(1 attempts). Total in job: 2; ACK: 2; NAK: 0; UNSENT: 0"),
            texts.end());
}

TEST_F(LabelDispatchTest, ATapeLabelThatFailedInAChunkGoesOutAgainWithoutARetry) {
  SetOption(L"PdChunkSize", 2);
  JobOfLabels(8, 1);
  port.FailWrite(5);
  EXPECT_EQ(Dispatch(), DispatchResult::kCommFailed);
  EXPECT_TRUE(LoggedBy("DispatchLabels", "SendChunk/PDHdr failed"));
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_TRUE(host.Logged("Status for label #0 acknowledged(1 attempts). Total in job: 1; ACK: 1; NAK: 0; UNSENT: 0"));
}

TEST_F(LabelDispatchTest, ADeletionIsSeenBeforeEachChunk) {
  SetOption(L"PdChunkSize", 2);
  JobOfLabels(8, 1);
  host.onStatusQuery = [this](std::size_t query) {
    if (query == 2) {
      DeleteJobInSpooler();
    }
  };
  EXPECT_EQ(Dispatch(), DispatchResult::kCancelled);
  EXPECT_EQ(port.writes.back(), Bytes("1B 51"));
  EXPECT_FALSE(port.HasWrite(Bytes("1B 45"))) << "tape models get no form feed";
  EXPECT_EQ(job->LabelsAcked, 0u);
}

TEST_F(LabelDispatchTest, AWholeTapeLabelIsSentWithoutADeletionCheck) {
  SetOption(L"PdChunkSize", 200);
  JobOfLabels(8, 1);
  DeleteJobInSpooler();
  EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
  EXPECT_EQ(job->LabelsAcked, 1u);
}

TEST_F(LabelDispatchTest, WithAHugeChunkSizeEveryTapeLabelGoesOutWholeAndIsAskedForOnce) {
  for (const std::uint32_t lines : {0x80000000U, 0xFFFFFFFFU}) {
    SetOption(L"PdChunkSize", lines);
    for (const std::uint32_t model : {8U, 9U}) {
      JobOfLabels(model, 2);
      EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
      EXPECT_THAT(story, ElementsAre(Writes(Label(1)), kAsksInFlight, kReadsStatus, "job status 0x10 pages 1",  //
                                     Writes(Label(2)), kAsksInFlight, kReadsStatus, "job status 0x10 pages 2"))
          << lines << ", model " << model;
      EXPECT_THAT(job->Labels, IsEmpty());
      ForgetStory();
    }
  }
}

TEST_F(LabelDispatchTest, WithChunkSize0TheTapeModelsTakeTheDesktopPathUncompressed) {
  SetOption(L"PdChunkSize", 0);
  for (const std::uint32_t model : {8u, 9u}) {
    JobOfLabels(model, 2);
    job->FwType = 2;
    job->FwNumber1 = 1;
    job->FwNumber2 = 2000;
    EXPECT_EQ(Dispatch(), DispatchResult::kAllSent);
    EXPECT_THAT(story,
                ElementsAre(Writes(Label(1)), kAsksInFlight, Writes(Label(2)), kReadsStatus, "job status 0x10 pages 1"))
        << model;
    EXPECT_EQ(job->SentLabelCount(), 1u);
    ForgetStory();
  }
}

TEST_F(LabelDispatchTest, DesktopModelsTakeNoChunks) {
  SetOption(L"PdChunkSize", 1);
  JobOfLabels(2, 1);
  Dispatch();
  EXPECT_THAT(port.writes, ElementsAre(Label(1)));
}

}  // namespace
}  // namespace sc3xxmon::test
