#include <array>

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class JobErrorStateTest : public PrintingFixture {
 protected:
  static StatusRecord Bay(std::uint8_t bay) {
    StatusRecord record;
    record.Bytes[10] = bay;
    return record;
  }
  void Raise(std::uint32_t flags, const StatusRecord& record = Bay(8)) { SetJobErrorState(monitor, record, flags); }
};

// ---------------------------------------------------------------------------------------------- SetJobErrorState

TEST_F(JobErrorStateTest, NoFlagSaysNothing) {
  StartJob(5);
  Raise(0);
  EXPECT_THAT(story, IsEmpty());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(JobErrorStateTest, EachBayValueHasItsWordAndText) {
  struct Row {
    std::uint8_t bay;
    DWORD word;
    const wchar_t* text;
  };
  constexpr Row kRows[] = {
      {0, 0x402, L"Out of labels"}, {1, 0x402, L"Bay Open"},
      {2, 0x440, L"Out of labels"}, {4, 0x402, L"Out of labels"},
      {5, 0x440, L"Out of labels"}, {3, 0x402, L"Wrong Media Inserted"},
      {9, 0x402, L"Label jam"},     {10, 0x402, L"Unknown label detected"},
  };
  for (const Row& row : kRows) {
    host.jobs[7] = {};
    StartJob(5);
    Raise(kMediaError, Bay(row.bay));
    EXPECT_EQ(host.jobs[7].status, row.word) << int{row.bay};
    EXPECT_EQ(host.jobs[7].text, row.text) << int{row.bay};
    EXPECT_TRUE(LoggedBy("SetJobErrorState", "Media status has become BAD: " + std::to_string(row.bay)));
  }
}

TEST_F(JobErrorStateTest, ABayBeyondTheTableIsLoggedAndShowsNoMessage) {
  StartJob(5);
  for (const auto bay : std::to_array<std::uint8_t>({11, 12, 255})) {
    Raise(kMediaError, Bay(bay));
    EXPECT_TRUE(host.Logged("Media status has become BAD: " + std::to_string(bay)));
  }
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(JobErrorStateTest, ABayThatIsInOrderHasNoMessageEither) {
  StartJob(5);
  for (const auto bay : std::to_array<std::uint8_t>({6, 7, 8})) {
    Raise(kMediaError, Bay(bay));
    EXPECT_TRUE(host.Logged("Media status has become BAD: " + std::to_string(bay)));
  }
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(JobErrorStateTest, TheBayOfAnEscSRecordIsReadInItsPlace) {
  StartJob(8);
  StatusRecord record;
  record.Bytes[0] = 0x1B;
  record.Bytes[1] = 0x53;
  record.Bytes[11] = 9;
  Raise(kMediaError, record);
  EXPECT_EQ(host.jobs[7].text, L"Label jam");
}

TEST_F(JobErrorStateTest, OneErrorIsShownAtATimeByFixedPrecedence) {
  struct Row {
    std::uint32_t flags;
    const char* log;
    const wchar_t* text;
  };
  constexpr Row kRows[] = {
      {15, "Battery level became too low", L"Battery level too low"},
      {8, "Battery level became too low", L"Battery level too low"},
      {7, "Cutter status has become BAD", L"Cutter jam"},
      {4, "Cutter status has become BAD", L"Cutter jam"},
      {3, "PH status has become BAD", L"Print head is overheated"},
      {2, "PH status has become BAD", L"Print head is overheated"},
      {1, "Media status has become BAD: 1", L"Bay Open"},
  };
  for (const Row& row : kRows) {
    host.jobs[7] = {};
    host.log.clear();
    StartJob(5);
    Raise(row.flags, Bay(1));
    EXPECT_EQ(host.jobs[7].status, 0x402u) << row.flags;
    EXPECT_THAT(host.jobs[7].texts, ElementsAre(row.text)) << row.flags;
    EXPECT_THAT(host.LogTexts(), ElementsAre(row.log, "")) << "and the empty line of the message itself";
  }
}

TEST_F(JobErrorStateTest, AJobThatIsInErrorAlreadyGetsNoText) {
  host.jobs[7].status = JOB_STATUS_ERROR;
  StartJob(5);
  Raise(kHeadError);
  EXPECT_THAT(story, IsEmpty());
  EXPECT_TRUE(host.Logged("PH status has become BAD"));
}

TEST_F(JobErrorStateTest, AMessageIsSilentIfAnyBitOfItsWordIsOnAlready) {
  for (const auto status : std::to_array<DWORD>({JOB_STATUS_USER_INTERVENTION, JOB_STATUS_ERROR, 0x402})) {
    host.jobs[7] = {};
    host.jobs[7].status = status;
    StartJob(5);
    Raise(kMediaError, Bay(1));
    EXPECT_THAT(host.jobs[7].texts, IsEmpty()) << status;
    EXPECT_EQ(host.jobs[7].status, status);
  }
}

TEST_F(JobErrorStateTest, AMessageGoesThroughIfTheBitsThatAreOnAreOthers) {
  host.jobs[7].status = JOB_STATUS_ERROR | JOB_STATUS_PRINTING;
  StartJob(5);
  Raise(kMediaError, Bay(2));  // 0x440
  EXPECT_THAT(host.jobs[7].texts, ElementsAre(L"Out of labels"));
  EXPECT_EQ(host.jobs[7].status, 0x440u);
}

TEST_F(JobErrorStateTest, TheWordOfAMessageIsJoinedWithUserInterventionAndNotAddedToIt) {
  StartJob(5);
  monitor.SetJobStatusMessageUI(0x402, 12);
  EXPECT_EQ(host.jobs[7].status, 0x402u) << "the bit was in the word already";
  host.jobs[7] = {};
  monitor.SetJobStatusMessageUI(JOB_STATUS_ERROR, 12);
  EXPECT_EQ(host.jobs[7].status, 0x402u);
}

TEST_F(JobErrorStateTest, TheFirstOfTwoMessagesStands) {
  StartJob(5);
  Raise(kHeadError);
  Raise(kMediaError, Bay(2));
  EXPECT_THAT(host.jobs[7].texts, ElementsAre(L"Print head is overheated"));
}

TEST_F(JobErrorStateTest, AStringThatIsntThereGivesTheWordAndAnEmptyText) {
  StartJob(5);
  monitor.SetJobStatusMessageUI(0x402, 99);
  EXPECT_THAT(story, ElementsAre("job status 0x402 pages 0 ''"));
  EXPECT_TRUE(LoggedBy("CLangMon::SetJobStatusMessageUI", ""));
}

TEST_F(JobErrorStateTest, AMessagePutsTheJobAtNoCertainPlaceInTheQueue) {
  host.jobs[7].position = 3;
  StartJob(5);
  Raise(kHeadError);
  EXPECT_EQ(host.jobs[7].position, 0u);
}

TEST_F(JobErrorStateTest, AJobThatCantBeReadKeepsItsStatus) {
  StartJob(5);
  host.failGetJob = true;
  Raise(kHeadError);
  ClearJobErrorState(monitor, kHeadError, true);
  EXPECT_EQ(host.jobs[7].status, 0u);
  EXPECT_THAT(story, ElementsAre(kShortFeed, "job command 2"));
}

// --------------------------------------------------------------------------------------------- ClearJobErrorState

TEST_F(JobErrorStateTest, WhatHasGoneIsLoggedInFixedOrder) {
  StartJob(5);
  ClearJobErrorState(monitor, 15, false);
  EXPECT_THAT(host.LogTexts(), ElementsAre("Battery level GOOD", "Cutter status has become GOOD",
                                           "PH status has become GOOD", "Media status GOOD"));
  EXPECT_TRUE(LoggedBy("ClearJobErrorState", "Media status GOOD"));
}

TEST_F(JobErrorStateTest, WithoutResumeNothingButTheLogHappens) {
  StartJob(5);
  ClearJobErrorState(monitor, 15, false);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(JobErrorStateTest, WithResumeTheLabelIsFedAndTheJobGoesBackToPrinting) {
  StartJob(3);
  host.jobs[7].status = 0x402;
  host.jobs[7].text = L"Bay Open";
  host.jobs[7].pagesPrinted = 12;
  ClearJobErrorState(monitor, kMediaError, true);
  EXPECT_THAT(story, ElementsAre("write 1B 47", "job status 0x10 pages 0", "job command 2"));
  EXPECT_EQ(host.jobs[7].text, L"") << "the text is wiped";
  EXPECT_EQ(host.jobs[7].pagesPrinted, 0u) << "until the next acknowledgement";
}

TEST_F(JobErrorStateTest, OnTheTapeModelsTheJobResumesWithoutAFormFeed) {
  for (const std::uint32_t model : {8u, 9u}) {
    StartJob(model);
    ClearJobErrorState(monitor, kMediaError, true);
    EXPECT_THAT(story, ElementsAre("job status 0x10 pages 0", "job command 2")) << model;
    ForgetStory();
  }
}

TEST_F(JobErrorStateTest, OnAnUnknownModelTheFormFeedIsSent) {
  StartJob(0);
  ClearJobErrorState(monitor, kMediaError, true);
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 47")));
}

TEST_F(JobErrorStateTest, AFormFeedOrACommandThatFailsStopsNothing) {
  StartJob(5);
  port.FailWrite();
  host.failSetJob = true;
  ClearJobErrorState(monitor, kMediaError, true);
  EXPECT_TRUE(host.Logged("SetJob(2) failed: 87"));
}

// --------------------------------------------------------------------- both, as the wait for the printer uses them

TEST_F(JobErrorStateTest, AHeadThatCoolsWithTheRollStillOutLeavesItsTextOnTheJob) {
  StartJob(5);
  port.Answers(PlainStatus({.bay = 2, .head = 1})).Answers(PlainStatus({.bay = 2}));
  DeleteJobDuringSleep(2);
  WaitForPrinterReady(monitor);
  EXPECT_THAT(host.jobs[7].texts, ElementsAre(L"Print head is overheated"));
  EXPECT_EQ(host.jobs[7].text, L"Print head is overheated") << "nothing in the monitor takes it away";
}

TEST_F(JobErrorStateTest, ABayThatChangesWhileTheMediaStaysBadIsShownOnce) {
  StartJob(5);
  port.Answers(PlainStatus({.bay = 5})).Answers(PlainStatus({.bay = 2}));
  WaitForPrinterReady(monitor);
  EXPECT_EQ(host.jobs[7].texts.size(), 1u);
  EXPECT_TRUE(host.Logged("Media status has become BAD: 5"));
  EXPECT_FALSE(host.Logged("Media status has become BAD: 2"));
}

TEST_F(JobErrorStateTest, ARestartLeavesTheTextOnTheJob) {
  StartJob(5);
  port.Answers(PlainStatus({.bay = 1})).FailsRead().FailsRead();
  EXPECT_EQ(WaitForPrinterReady(monitor), Readiness::kStopped);
  EXPECT_EQ(host.jobs[7].text, L"Bay Open");
}

}  // namespace
}  // namespace sc3xxmon::test
