// Labels on their way: sent, acknowledged, taken back, forgotten.

#include <gmock/gmock.h>

#include "stream/parser_fixture.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::EndOfJob;
using test::JobStart;
using test::Joined;
using test::Label;
using test::LabelIndex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SentLabelsTest : public test::ParserFixture {};

TEST_F(SentLabelsTest, LabelsAreSentAndAcknowledgedInOrder) {
  Feed(Joined({JobStart(), Label(1), Label(2), Label(3)}));
  EXPECT_EQ(parser.FirstSentLabel(), nullptr);
  EXPECT_EQ(parser.FirstUnsentLabel(), &parser.Labels[0]);
  MarkFirstUnsent();
  MarkFirstUnsent();
  EXPECT_EQ(parser.FirstSentLabel(), &parser.Labels[0]);
  EXPECT_EQ(parser.FirstUnsentLabel(), &parser.Labels[2]);
  EXPECT_EQ(parser.SentLabelCount(), 2U);
  EXPECT_EQ(parser.UnsentLabelCount(), 1U);
  EXPECT_EQ(parser.AckFirstLabel(), 1U);
  EXPECT_EQ(parser.LabelsAcked, 1U);
  EXPECT_EQ(parser.FirstSentLabel()->LabelIndex, 2U);
  EXPECT_EQ(parser.SentLabelCount(), 1U);
  EXPECT_EQ(parser.UnsentLabelCount(), 1U);
}

TEST_F(SentLabelsTest, WithNothingLeftThereIsNoUnsentLabel) {
  EXPECT_EQ(parser.FirstUnsentLabel(), nullptr);
  Feed(Joined({JobStart(), Label(1)}));
  MarkFirstUnsent();
  EXPECT_EQ(parser.FirstUnsentLabel(), nullptr);
}

TEST_F(SentLabelsTest, MarkingALabelTwiceCountsItOnce) {
  Feed(Joined({JobStart(), Label(1), Label(2)}));
  parser.MarkSent(parser.Labels[0]);
  parser.MarkSent(parser.Labels[0]);
  EXPECT_EQ(parser.SentLabelCount(), 1U);
}

TEST_F(SentLabelsTest, AcknowledgingWhileTheFirstIsntSentChangesNothing) {
  EXPECT_EQ(parser.AckFirstLabel(), 0U);
  Feed(Joined({JobStart(), Label(1), Label(2)}));
  parser.MarkSent(parser.Labels[1]);
  EXPECT_EQ(parser.AckFirstLabel(), 0U);
  EXPECT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.LabelsAcked, 0U);
  EXPECT_TRUE(parser.Labels[1].Sent());
}

TEST_F(SentLabelsTest, RevertingNothingLogsNothing) {
  Feed(Joined({JobStart(), Label(1)}));
  NewLines();
  parser.RevertSentLabels();
  EXPECT_THAT(NewLines(), IsEmpty());
  EXPECT_EQ(parser.Labels[0].Retries, 0U);
}

TEST_F(SentLabelsTest, RevertingTakesAllSentLabelsBackAndKeepsTheirOrder) {
  Feed(Joined({JobStart(), Label(1), Label(2), Label(3)}));
  MarkFirstUnsent();
  MarkFirstUnsent();
  NewLines();
  parser.RevertSentLabels();
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::RevertSentLabels: Reverted 2 sent labels"));
  EXPECT_EQ(parser.FirstUnsentLabel(), &parser.Labels[0]);
  EXPECT_EQ(parser.Labels[0].Retries, 1U);
  EXPECT_EQ(parser.Labels[1].Retries, 1U);
  EXPECT_EQ(parser.Labels[2].Retries, 0U);
  EXPECT_EQ(parser.UnsentLabelCount(), 3U);
  EXPECT_EQ(parser.LabelsParsed, 3U);
  EXPECT_EQ(parser.ParserState, 2);
}

TEST_F(SentLabelsTest, ALabelThatWasRevertedTwiceTookThreeAttempts) {
  Feed(Joined({JobStart(), Label(1)}));
  for (int i = 0; i < 2; ++i) {
    MarkFirstUnsent();
    parser.RevertSentLabels();
  }
  MarkFirstUnsent();
  EXPECT_EQ(parser.AckFirstLabel(), 3U);
}

// Nothing moves today when the oldest record goes; a container that moves them would have to keep this.
TEST_F(SentLabelsTest, AcknowledgingLeavesLaterRecordsPointingIntoTheirOwnData) {
  Feed(Joined({JobStart(), Label(1), Label(2), Label(3)}));
  MarkFirstUnsent();
  parser.AckFirstLabel();
  for (const KplLabel& label : parser.Labels) {
    EXPECT_EQ(label.PrintDataCommand, label.Data.data() + 4);
  }
}

TEST_F(SentLabelsTest, ResetForgetsAllButTheHeadersRecordsAndTheJobNumber) {
  Feed(Joined({JobStart(), Bytes("1B 71 35 1B 4C FF FF"), Label(1), Label(2), LabelIndex(3)}));
  MarkFirstUnsent();
  MarkFirstUnsent();
  parser.AckFirstLabel();
  parser.Reset();
  EXPECT_THAT(parser.Buffer(), IsEmpty());
  EXPECT_THAT(parser.JobHeader, IsEmpty());
  EXPECT_THAT(parser.JobFooter, IsEmpty());
  EXPECT_THAT(parser.Labels, IsEmpty());
  EXPECT_EQ(parser.SentLabelCount(), 0U);
  EXPECT_EQ(parser.UnsentLabelCount(), 0U);
  EXPECT_EQ(parser.ParserState, 0);
  EXPECT_EQ(parser.LabelsParsed, 0U);
  EXPECT_EQ(parser.LabelsAcked, 0U);
  EXPECT_EQ(parser.ParserQParameter, 0x35);
  EXPECT_TRUE(parser.OpenLengthLabels);
  EXPECT_EQ(parser.JobNumber, 7U);
}

TEST_F(SentLabelsTest, AResetParserCutsTheNextStreamFromItsFront) {
  Feed(Joined({JobStart(), Label(1), LabelIndex(2)}));
  parser.Reset();
  Feed(Joined({JobStart(), Label(3), EndOfJob()}));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, Label(3));
}

}  // namespace
}  // namespace sc3xxmon
