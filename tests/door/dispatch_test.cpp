// Labels on their way: how many are out at once, what acknowledges them, and what each kind of answer does to them.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

std::string Acknowledged(int number, int attempts, int total, int acked, int open, int unsent) {
  return "Status for label #" + std::to_string(number) + " acknowledged(" + std::to_string(attempts) +
         " attempts). Total in job: " + std::to_string(total) + "; ACK: " + std::to_string(acked) +
         "; NAK: " + std::to_string(open) + "; UNSENT: " + std::to_string(unsent);
}

class Dispatch : public DoorTest {
 protected:
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(OpenAndStart()); }

  // Printer ready, header out.
  void Begin() {
    ASSERT_EQ(Write(Joined({JobStart(), Bytes("1B 6E")})), TRUE);
    story.clear();
    port.writes.clear();
  }
  // The rest of a document whose header has been written by Begin().
  static ByteString Rest(std::uint16_t labels) {
    const ByteString document = Document(labels);
    return {document.begin() + 8, document.end()};
  }
  static const std::string kHeader;
};

const std::string Dispatch::kHeader = "write 1B 73 01 00 00 00";

TEST_F(Dispatch, StatusOfALabelIsAskedInFrontOfTheNextAndReadBehindIt) {
  Begin();
  EXPECT_EQ(Write(Rest(3)), TRUE);
  EXPECT_THAT(Wire(), ElementsAre(kHeader, Wrote(Label(1)),                      //
                                  "write 1B 41 02", Wrote(Label(2)), "read 32",  // takes label 1
                                  "write 1B 41 02", Wrote(Label(3)), "read 32",  // takes label 2
                                  "write 1B 41 00", "read 32", "write 1B 51"));  // takes label 3
}

TEST_F(Dispatch, OpenLabelIsAskedForJustBeforeTheNextOneWheneverThatComes) {
  Write(Joined({JobStart(), Label(1), Label(2)}));
  story.clear();
  Write(Label(3));
  EXPECT_THAT(story, ElementsAre("write 1B 41 02", Wrote(Label(3)), "read 32", "job status 0x10 pages 2"));
}

TEST_F(Dispatch, OneLabelNeedsNoRequestInFlight) {
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_EQ(CountOf("write 1B 41 02"), 0u);
}

TEST_F(Dispatch, TwoLabelsNeedExactlyOne) {
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_EQ(CountOf("write 1B 41 02"), 1u);
}

TEST_F(Dispatch, LogCountsLabelsFromOneAndNamesTheAttempts) {
  EXPECT_EQ(Write(Document(3)), TRUE);
  EXPECT_TRUE(host.Logged("Sending ESCA2 for label #1"));
  EXPECT_TRUE(host.Logged("Receiving ESCA2 response for label #1"));
  EXPECT_TRUE(host.Logged("Got Status=0, Bay=8, Cutter=0, Err=0"));
  EXPECT_TRUE(host.Logged(Acknowledged(1, 1, 3, 1, 1, 1)));
  EXPECT_TRUE(host.Logged(Acknowledged(2, 1, 3, 2, 1, 0)));
  EXPECT_TRUE(host.Logged(Acknowledged(3, 1, 3, 3, 0, 0)));
}

TEST_F(Dispatch, TapeLogIsOneBehind) {
  End();
  Close(key);
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_TRUE(host.Logged(Acknowledged(0, 1, 2, 1, 0, 1)));
  EXPECT_TRUE(host.Logged(Acknowledged(1, 1, 2, 2, 0, 0)));
}

TEST_F(Dispatch, DispatchModeChangesNothing) {
  Write(Document(3));
  const Story before = story;
  End();
  Close(key);
  SetOption(L"LabelDispatchMode", 1);
  story.clear();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Document(3));
  EXPECT_EQ(story, before);
}

// --- answers

class BadAnswer : public DoorTest, public ::testing::WithParamInterface<int> {};

TEST_P(BadAnswer, SendsEveryOpenLabelAgain) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatus({.status = static_cast<std::uint8_t>(GetParam())});
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 02", Wrote(Label(2)), "read 32",  // the bad one
                                  "write 1B 41 00", "read 32",                   // ready
                                  Wrote(Label(1)), "write 1B 41 02", Wrote(Label(2)), "read 32"));
  EXPECT_TRUE(host.Logged("BAD PrintStatus(" + std::to_string(GetParam()) + ") for label #1."));
  EXPECT_TRUE(host.Logged("Reverted 2 sent labels"));
  EXPECT_TRUE(host.Logged(Acknowledged(1, 2, 2, 1, 1, 0)));
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_TRUE(host.Logged(Acknowledged(2, 2, 2, 2, 0, 0)));
}

INSTANTIATE_TEST_SUITE_P(Dispatch, BadAnswer, ::testing::Values(2, 5, 6, 7, 8, 16, 64, 255));

class PassingAnswer : public DoorTest, public ::testing::WithParamInterface<int> {};

TEST_P(PassingAnswer, AcknowledgesTheLabel) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  NextStatus({.status = static_cast<std::uint8_t>(GetParam())});
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

INSTANTIATE_TEST_SUITE_P(Dispatch, PassingAnswer, ::testing::Values(0, 1, 4));

TEST_F(Dispatch, LostAnswerSendsEveryOpenLabelAgain) {
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatusFails();
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_TRUE(host.Logged("Receiving ESCA2 response for label #1 FAILED"));
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 02", Wrote(Label(2)), "read fails", "write 1B 41 00", "read 32",
                                  Wrote(Label(1)), "write 1B 41 02", Wrote(Label(2)), "read 32"));
}

TEST_F(Dispatch, ShortAnswerIsALostAnswer) {
  Write(Joined({JobStart(), Label(1)}));
  NextStatusBytes(ByteString(31, 0));
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_TRUE(host.Logged("Receiving ESCA2 response for label #1 FAILED"));
  EXPECT_TRUE(host.Logged(Acknowledged(1, 2, 2, 1, 1, 0)));
}

TEST_F(Dispatch, AcknowledgedLabelsAreNeverSentAgain) {
  Write(Joined({JobStart(), Label(1), Label(2), Label(3)}));
  port.writes.clear();
  NextStatusFails();
  Write(Label(4));
  EXPECT_THAT(Writes(), ElementsAre("1B 41 02", Hex(Label(4)), "1B 41 00", Hex(Label(3)), "1B 41 02", Hex(Label(4))));
}

TEST_F(Dispatch, FailedLabelIsSentAgainAndItsAttemptsCountOnlyWhatWentOut) {
  Begin();
  port.FailWrite(2);  // header, label
  EXPECT_EQ(Write(Rest(1)), TRUE);
  EXPECT_TRUE(host.Logged("Sending label data failed (SendLabel/full)"));
  EXPECT_TRUE(host.Logged("SendLabel failed"));
  EXPECT_THAT(Writes(), ElementsAre("1B 73 01 00 00 00", "1B 41 00", Hex(Label(1)), "1B 41 00", "1B 51"));
  EXPECT_TRUE(host.Logged(Acknowledged(1, 1, 1, 1, 0, 0)));
}

TEST_F(Dispatch, FailedRequestSendsTheOpenLabelAgain) {
  Write(Joined({JobStart(), Label(1)}));
  port.writes.clear();
  port.FailWrite(1);
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_TRUE(host.Logged("Sending ESCA2 for label #1 failed"));
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", Hex(Label(1)), "1B 41 02", Hex(Label(2))));
}

TEST_F(Dispatch, SecondLabelThatFailsBehindItsRequestSendsBothAgain) {
  Write(Joined({JobStart(), Label(1)}));
  port.writes.clear();
  port.FailWrite(2);
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_THAT(Writes(), ElementsAre("1B 41 02", "1B 41 00", Hex(Label(1)), "1B 41 02", Hex(Label(2))));
}

TEST_F(Dispatch, CancelAtThePrinterStopsTheJob) {
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatus({.status = 3});
  EXPECT_EQ(Write(Label(2)), FALSE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 02", Wrote(Label(2)), "read 32", "job command 5", "write 1B 51"));
  EXPECT_TRUE(host.Logged("Print job cancelled by the printer"));
  story.clear();
  End();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document", "sleep 500"));
}

TEST_F(Dispatch, DeletionTakesEffectBetweenTwoLabels) {
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  host.jobs[kJobId].status |= JOB_STATUS_DELETING;
  EXPECT_EQ(Write(Joined({Label(2), Label(3)})), FALSE);
  EXPECT_THAT(story, ElementsAre("write 1B 45", "write 1B 51"));
  EXPECT_TRUE(host.Logged("Print job aborted by the spooler"));
  EXPECT_FALSE(host.Logged("Reverted 1 sent labels"));
}

TEST_F(Dispatch, OutOfLabelsInTheMiddleOfAJob) {
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatus({.status = 2, .bay = 2});                                      // the answer for label 1
  NextStatus({.status = 2, .bay = 2}).NextStatus({.status = 2, .bay = 2});  // and when asked twice
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_THAT(story,
              ElementsAre("write 1B 41 02", Wrote(Label(2)), "read 32",                            //
                          "write 1B 41 00", "read 32", "sleep 1000", "write 1B 41 00", "read 32",  //
                          "job status 0x440 pages 0 'Out of labels'", "sleep 1000",                //
                          "write 1B 41 00", "read 32", "write 1B 47", "job status 0x10 pages 0", "job command 2",
                          "sleep 1000",  //
                          Wrote(Label(1)), "write 1B 41 02", Wrote(Label(2)), "read 32", "job status 0x10 pages 1"));
}

TEST_F(Dispatch, LostConnectionInTheMiddleRestartsAndTheNewDocumentStartsOver) {
  Write(Joined({JobStart(), Label(1), Label(2)}));
  Disconnect();
  EXPECT_EQ(Write(Label(3)), FALSE);
  EXPECT_EQ(written, Label(3).size());
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_RESTART));
  End();
  Reconnect();
  port.writes.clear();
  ASSERT_EQ(Start(key), TRUE);
  EXPECT_EQ(Write(Document(3)), TRUE);
  for (std::uint16_t index = 1; index <= 3; ++index) {
    EXPECT_TRUE(port.HasWrite(Label(index)));
  }
}

// --- the last label

TEST_F(Dispatch, LastLabelIsAskedForUntilItIsTaken) {
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatusFails();
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read fails", "write 1B 41 00", "read 32", Wrote(Label(1)),
                                  "write 1B 41 00", "read 32", "write 1B 51"));
  EXPECT_TRUE(host.Logged("Footer received. Checking last label status"));
  EXPECT_TRUE(host.Logged("Receiving ESCA0 response failed (0 bytes read)"));
  EXPECT_TRUE(host.Logged(Acknowledged(1, 2, 1, 1, 0, 0)));
}

TEST_F(Dispatch, BadAnswerForTheLastLabelSendsItAgain) {
  Write(Joined({JobStart(), Label(1)}));
  port.writes.clear();
  NextStatus({.status = 5});
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_TRUE(host.Logged("BAD PrintStatus(5)"));
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 41 00", Hex(Label(1)), "1B 41 00", "1B 51"));
}

TEST_F(Dispatch, LostLockBringsTheHeaderBackForTheLastLabel) {
  End();
  Close(key);
  UseModel(9);
  SetOption(L"PdChunkSize", 0);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  port.writes.clear();
  NextStatus({.status = 2, .bay = 2}).NextStatus({.bay = 2});
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 41 00", "1B 51", "1B 41 00", "1B 73 01 00 00 00", Hex(Label(1)),
                                    "1B 41 00", "1B 51"));
}

TEST_F(Dispatch, HeaderThatFailsWithTheLastLabelIsTriedAgain) {
  End();
  Close(key);
  UseModel(9);
  SetOption(L"PdChunkSize", 0);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  port.writes.clear();
  NextStatus({.status = 2, .bay = 2}).NextStatus({.bay = 2});
  port.FailWrite(5);  // the header
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_TRUE(host.Logged("Failed to sent job headers"));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

TEST_F(Dispatch, CancelAtThePrinterDuringTheLastLabelLeavesTheFooterOut) {
  Write(Joined({JobStart(), Label(1)}));
  story.clear();
  NextStatus({.status = 3});
  EXPECT_EQ(Write(EndOfJob()), FALSE);
  EXPECT_EQ(written, 2u);
  End();
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "job command 5", "write 1B 51", "job command 7",
                                 "end document", "sleep 500"));
}

TEST_F(Dispatch, StatusErrorDuringTheLastLabelLeavesTheJobOpen) {
  Write(Joined({JobStart(), Label(1)}));
  NextStatus({.status = 2}).NextStatus({.status = 2}).NextStatus({.status = 2});
  EXPECT_EQ(Write(EndOfJob()), FALSE);
  EXPECT_THAT(Writes(), Not(Contains("1B 51")));
  port.writes.clear();
  // Nothing new comes; the label goes out again and the job finds its end.
  EXPECT_EQ(Write({}), TRUE);
  EXPECT_THAT(Writes(), ElementsAre(Hex(Label(1)), "1B 41 00", "1B 51"));
}

}  // namespace
}  // namespace sc3xxmon::test
