// How a port counts the ends and the progress of its jobs.

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

constexpr std::uint32_t kJobId = 7;

class JobProgressTest : public PrintingFixture {
 protected:
  void ExpectCounts(std::uint32_t restarts, std::uint32_t withoutProgress) {
    EXPECT_EQ(monitor.RestartCount, restarts);
    EXPECT_EQ(monitor.NoProgressCount, withoutProgress);
  }
};

TEST_F(JobProgressTest, TheFirstEndOfAJobIdOnlyStoresTheId) {
  monitor.LastJobId = 3;
  monitor.RestartCount = 4;
  monitor.NoProgressCount = 5;
  monitor.LastIoTick = 6;
  NoteJobProgress(monitor, kJobId, 0, true);
  EXPECT_EQ(monitor.LastJobId, kJobId);
  EXPECT_EQ(monitor.LastAckedCount, 0u);
  EXPECT_EQ(monitor.LastIoTick, 0u);
  ExpectCounts(0, 0);
}

TEST_F(JobProgressTest, EveryLaterEndWithoutALabelCounts) {
  NoteJobProgress(monitor, kJobId, 0, true);
  NoteJobProgress(monitor, kJobId, 0, true);
  NoteJobProgress(monitor, kJobId, 0, true);
  ExpectCounts(2, 2);
}

TEST_F(JobProgressTest, ALabelResetsTheEndsWithoutProgressAndNotTheRestarts) {
  for (int end = 0; end < 4; ++end) {
    NoteJobProgress(monitor, kJobId, 0, true);
  }
  NoteJobProgress(monitor, kJobId, 1, false);
  ExpectCounts(3, 0);
  EXPECT_EQ(monitor.LastAckedCount, 1u);
}

TEST_F(JobProgressTest, AnotherJobIdBetweenTwoStuckCountsStartsFromZero) {
  for (int end = 0; end < 500; ++end) {
    NoteJobProgress(monitor, kJobId, 0, true);
  }
  NoteJobProgress(monitor, 8, 0, true);
  ExpectCounts(0, 0);
  NoteJobProgress(monitor, kJobId, 0, true);
  ExpectCounts(0, 0);
}

TEST_F(JobProgressTest, TheTickStaysWhileTheJobIdStays) {
  NoteJobProgress(monitor, kJobId, 0, true);
  monitor.LastIoTick = 17;
  NoteJobProgress(monitor, kJobId, 0, true);
  EXPECT_EQ(monitor.LastIoTick, 17u);
}

}  // namespace
}  // namespace sc3xxmon::test
