#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ControlCommandsTest : public PrintingFixture {};

TEST_F(ControlCommandsTest, EndOfJobIsEscQ) {
  StartJob(8);
  EXPECT_TRUE(monitor.SendEndJob());
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 51")));
  EXPECT_TRUE(LoggedBy("CLangMon::SendEndJob", "Sending end job"));
}

TEST_F(ControlCommandsTest, TheLongFormFeedIsEscE) {
  StartJob(1);
  EXPECT_TRUE(monitor.SendLongFormFeed());
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 45")));
  EXPECT_TRUE(LoggedBy("CLangMon::SendLongFormFeed", "Sending long form feed"));
}

TEST_F(ControlCommandsTest, TheShortFormFeedIsEscGOnEveryModel) {
  StartJob(8);
  EXPECT_TRUE(monitor.SendShortFormFeed());
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 47")));
  EXPECT_TRUE(LoggedBy("CLangMon::SendShortFormFeed", "Sending short form feed"));
}

TEST_F(ControlCommandsTest, OnTheTapeModelsTheLongFormFeedIsTrueSilentlyWithoutBytes) {
  for (const std::uint32_t model : {8u, 9u}) {
    StartJob(model);
    EXPECT_TRUE(monitor.SendLongFormFeed()) << model;
  }
  EXPECT_THAT(port.writes, IsEmpty());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(ControlCommandsTest, WithoutAJobTheLongFormFeedIsWritten) {
  EXPECT_TRUE(monitor.SendLongFormFeed());
  EXPECT_THAT(port.writes, ElementsAre(Bytes("1B 45")));
}

TEST_F(ControlCommandsTest, TheCancelSequenceOfADesktopModelIsFormFeedThenEndOfJob) {
  for (std::uint32_t model = 0; model <= 7; ++model) {
    StartJob(model);
    EXPECT_TRUE(monitor.SendCancelSequence());
    EXPECT_EQ(port.AllWritten(), Bytes("1B 45 1B 51")) << model;
    ForgetStory();
  }
}

TEST_F(ControlCommandsTest, TheCancelSequenceOfATapeModelIsTheEndOfJobAlone) {
  for (const std::uint32_t model : {8u, 9u}) {
    StartJob(model);
    EXPECT_TRUE(monitor.SendCancelSequence());
    EXPECT_EQ(port.AllWritten(), Bytes("1B 51")) << model;
    ForgetStory();
  }
}

TEST_F(ControlCommandsTest, TheCancelSequenceWithoutAJobHasItsFormFeed) {
  EXPECT_TRUE(monitor.SendCancelSequence());
  EXPECT_EQ(port.AllWritten(), Bytes("1B 45 1B 51"));
}

TEST_F(ControlCommandsTest, TheCancelSequenceEndsAtAFormFeedThatFails) {
  StartJob(1);
  port.FailWrite();
  EXPECT_FALSE(monitor.SendCancelSequence());
  EXPECT_THAT(story, ElementsAre("write fails"));
  EXPECT_FALSE(host.Logged("Sending end job"));
}

TEST_F(ControlCommandsTest, TheCancelSequenceFailsWithItsEndOfJob) {
  StartJob(1);
  port.FailWrite(2);
  EXPECT_FALSE(monitor.SendCancelSequence());
  EXPECT_THAT(story, ElementsAre(kLongFeed, "write fails"));
}

TEST_F(ControlCommandsTest, AFailedCommandLogsTheFailedWriteAndGivesFalse) {
  port.FailWrite(1);
  EXPECT_FALSE(monitor.SendEndJob());
  EXPECT_THAT(host.LogTexts(), ElementsAre("Sending end job", "WritePort failed. written=0; err=31"));
}

TEST_F(ControlCommandsTest, TheCountOfACommandIsNotLookedAt) {
  port.LimitEveryWrite(1);
  EXPECT_TRUE(monitor.SendEndJob());
  EXPECT_TRUE(monitor.SendShortFormFeed());
  EXPECT_TRUE(monitor.SendLongFormFeed());
}

TEST_F(ControlCommandsTest, WithoutDeviceIoEveryCommandSucceedsWithItsLogLine) {
  SwitchOn(L"NoDeviceIO");
  StartJob(1);
  EXPECT_TRUE(monitor.SendCancelSequence());
  EXPECT_TRUE(monitor.SendShortFormFeed());
  EXPECT_EQ(port.writeCalls, 0u);
  EXPECT_THAT(host.LogTexts(), ElementsAre("Sending long form feed", "Sending end job", "Sending short form feed"));
}

}  // namespace
}  // namespace sc3xxmon::test
