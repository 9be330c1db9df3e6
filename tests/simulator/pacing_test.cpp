// Time: printing at a speed, the receive buffer, jumps to the next event.
#include "printer_desk.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class PacingTest : public PrinterDesk {
 protected:
  void SetUp() override { settings.millimetresPerSecond = 25.4; }  // 300 lines a second
};

TEST_F(PacingTest, PrintsLinesAtTheGivenSpeed) {
  Send(JobStart() + Label(1, 450) + Label(2, 150));
  EXPECT_EQ(Printer().NextEvent(), 1500u);
  Pass(2000);
  ASSERT_THAT(Printer().Printed(), SizeIs(2));
  EXPECT_EQ(Printer().Printed()[0].startedMs, 0u);
  EXPECT_EQ(Printer().Printed()[0].finishedMs, 1500u);
  EXPECT_EQ(Printer().Printed()[1].startedMs, 1500u);
  EXPECT_EQ(Printer().Printed()[1].finishedMs, 2000u);
}

TEST_F(PacingTest, PrintsInNoTimeWithoutASpeed) {
  settings.millimetresPerSecond.reset();
  Send(JobStart() + Label(1, 5000));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(PacingTest, PacesByTheModelWhenAsked) {
  settings.model = 1;
  settings.UseModelSpeed();
  EXPECT_EQ(settings.millimetresPerSecond, 40.0);
}

TEST_F(PacingTest, JumpsFromEventToEventToTheEnd) {
  Send(JobStart() + Label(1, 300) + Label(2, 300) + Ask(2));
  int jumps = 0;
  for (auto next = Printer().NextEvent(); next; next = Printer().NextEvent()) {
    ASSERT_GT(*next, now);
    now = *next;
    Printer().Advance(now);
    ASSERT_LT(++jumps, 10);
  }
  EXPECT_EQ(now, 2000u);
  EXPECT_THAT(Statuses(), ElementsAre(0));
}

TEST_F(PacingTest, IgnoresATimeThatGoesBack) {
  Send(JobStart() + Label(1, 300));
  Printer().Advance(900);
  Printer().Advance(100);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Printer().Advance(1000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(PacingTest, TakesNoMoreThanItsReceiveBufferHolds) {
  settings.receiveBufferBytes = 3000;
  Send(JobStart() + Label(1, 300));  // on the print head
  const Bytes second = Label(2, 300);
  const Bytes third = Label(3, 300);
  EXPECT_EQ(Printer().Write(Host(), second, now), second.size());
  const std::size_t taken = Printer().Write(Host(), third, now);
  EXPECT_EQ(taken, 3000 - second.size());
  EXPECT_EQ(Printer().Write(Host(), third, now), 0u);
  Pass(1000);
  EXPECT_EQ(Printer().Write(Host(), Bytes(third.begin() + static_cast<std::ptrdiff_t>(taken), third.end()), now),
            third.size() - taken);
  Pass(2000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
}

TEST_F(PacingTest, PrintsALabelLargerThanItsReceiveBuffer) {
  settings.receiveBufferBytes = 100;
  Send(JobStart() + Label(1, 3000));
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Pass(10000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(PacingTest, AWholeJobGetsThroughABufferOfOneByte) {
  settings.receiveBufferBytes = 1;
  const Bytes job = JobStart() + Label(1, 30) + Label(2, 30) + Label(3, 30) + EndOfJob();
  std::size_t sent = 0;
  for (int rounds = 0; sent < job.size() && rounds < 100; ++rounds) {
    sent += Printer().Write(Host(), std::span(job).subspan(sent), now);
    if (sent == job.size()) break;
    const auto next = Printer().NextEvent();
    ASSERT_TRUE(next.has_value());
    now = *next;
  }
  EXPECT_EQ(sent, job.size());
  Pass(1000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
}

TEST_F(PacingTest, StandsStillBehindAnErrorAndTakesNoMore) {
  settings.receiveBufferBytes = 3000;
  AddFault("bay=2@label:1");
  Send(JobStart());
  const Bytes label = Label(1, 300);
  std::size_t taken = 0;
  for (int count = 0; count < 5; ++count) taken += Printer().Write(Host(), label, now);
  EXPECT_LE(taken, 3000 + label.size());
  Pass(60000);
  EXPECT_EQ(Printer().Write(Host(), label, now), 0u);
  Printer().ClearFaults(now);
  EXPECT_GT(Printer().Write(Host(), label, now), 0u);
}

TEST_F(PacingTest, AnswersRequestsThroughAFullBuffer) {
  settings.receiveBufferBytes = 100;
  AddFault("bay=2@label:1");
  Send(JobStart() + Label(1, 300));
  EXPECT_EQ(Printer().Write(Host(), Label(2, 300), now), 0u);
  EXPECT_EQ(StatusAfter(0), 2);
  Send(LongFormFeed() + EndOfJob());
  EXPECT_FALSE(Printer().JobOpen());
}

TEST_F(PacingTest, SaysWhatItIsDoing) {
  EXPECT_EQ(Printer().View().state, "ready");
  Send(JobStart());
  EXPECT_EQ(Printer().View().state, "waiting for data");
  Send(Label(7, 300));
  EXPECT_EQ(Printer().View().state, "printing label 7");
  EXPECT_TRUE(Printer().View().printing);
  AddFault("bay=2@500ms,for:1s");
  Pass(500);
  EXPECT_THAT(Printer().View().state, ::testing::HasSubstr("out of labels"));
  EXPECT_TRUE(Printer().View().stopped);
  EXPECT_EQ(Printer().View().labelsWaiting, 1u);
}

}  // namespace
}  // namespace simulator::test
