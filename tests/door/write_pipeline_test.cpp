// One write call: its contract with the spooler, and the order in which header, labels and footer go out.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class WritePipeline : public DoorTest {
 protected:
  static constexpr DWORD kUntouched = 99;

  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    story.clear();
    written = kUntouched;
  }
  // The first write has made the printer ready and brought the header.
  void WriteHeaderAndOneLabel() {
    ASSERT_EQ(Write(Joined({JobStart(), Label(1)})), TRUE);
    story.clear();
    port.writes.clear();
    written = kUntouched;
  }
};

TEST_F(WritePipeline, WithoutAJobIsAnInvalidParameter) {
  End();
  host.lastError = 0;
  story.clear();
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(written, kUntouched);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipeline, ClosedJobTakesNothingAndTouchesNothing) {
  NextStatus({.status = 3});
  EXPECT_EQ(Write(Document(1)), FALSE);
  story.clear();
  written = kUntouched;
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_EQ(written, kUntouched);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipeline, PrinterThatIsNotReadyLeavesTheBufferWithTheSpooler) {
  NextStatus({.status = 2}).NextStatus({.status = 2});
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_EQ(written, kUntouched);
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 4"));
  // The job stays open, and the same buffer is taken as soon as the printer is ready.
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_EQ(written, Document(1).size());
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

TEST_F(WritePipeline, RestartedJobLeavesTheBufferWithTheSpooler) {
  Disconnect();
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_EQ(written, kUntouched);
  EXPECT_TRUE(host.Logged("WaitForPrinterReady returned 2"));
}

TEST_F(WritePipeline, BufferWithoutFooterIsTaken) {
  EXPECT_EQ(Write(Joined({JobStart(), Label(1), Label(2)})), TRUE);
  EXPECT_EQ(written, JobStart().size() + 2 * Label(1).size());
  EXPECT_TRUE(host.Logged("Parsed labels sent. No footer yet, exiting."));
  EXPECT_TRUE(host.Logged("SC_WritePort2 returned 1, written 58 bytes"));
}

TEST_F(WritePipeline, FailureBehindTheParserTakesTheBufferAllTheSame) {
  WriteHeaderAndOneLabel();
  host.jobs[kJobId].status = JOB_STATUS_DELETED;
  EXPECT_EQ(Write(Label(2)), FALSE);
  EXPECT_EQ(written, Label(2).size());
}

TEST_F(WritePipeline, HeaderInPiecesSendsNothingUntilItIsWhole) {
  const ByteString stream = Joined({JobStart(), Bytes("1B 71 31"), LabelIndex(1)});
  for (std::size_t i = 0; i + 1 < stream.size(); ++i) {
    EXPECT_EQ(Write(ByteString{stream[i]}), TRUE);
    EXPECT_EQ(written, 1u);
  }
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 56"));
  EXPECT_EQ(Write(ByteString{stream.back()}), TRUE);
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 56", "1B 73 01 00 00 00 1B 71 31"));
}

TEST_F(WritePipeline, PrinterIsAskedOnceAndThenWatchedThroughItsLabels) {
  WriteHeaderAndOneLabel();
  EXPECT_EQ(Write(Bytes("1B")), TRUE);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipeline, StreamWithoutALabelIsOneExchangeAndItsFooter) {
  EXPECT_EQ(Write(Joined({JobStart(), LabelIndex(1), EndOfJob()})), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read 32", "write 1B 56", "read 34",  //
                                  "write 1B 73 01 00 00 00",                              //
                                  "write 1B 41 00", "read 32", "write 1B 51"));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 0u);
  EXPECT_EQ(host.jobs[kJobId].status, JOB_STATUS_COMPLETE);
}

TEST_F(WritePipeline, BytesBehindTheFooterAreTakenAndStayUnsent) {
  EXPECT_EQ(Write(Document(1)), TRUE);
  story.clear();
  EXPECT_EQ(Write(Bytes("1B 51 00 FF")), TRUE);
  EXPECT_EQ(written, 4u);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(WritePipeline, FailedHeaderIsSentAgainWhenThePrinterIsReady) {
  port.FailWrite(3);  // behind ESC A 0 and ESC V
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 56",  //
                                    "1B 41 00", "1B 73 01 00 00 00", Hex(Label(1)), "1B 41 00", "1B 51"));
}

TEST_F(WritePipeline, FailedFooterIsNotSentAgain) {
  port.FailWrite(6);
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_TRUE(host.Logged("Failed to send footer. No retry will be made"));
  EXPECT_TRUE(host.Logged("SC_WritePort2 done."));
  EXPECT_EQ(host.jobs[kJobId].status, JOB_STATUS_COMPLETE);
  port.writes.clear();
  End();
  EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(WritePipeline, StreamThatIsNoJobIsTakenAndGoesNowhere) {
  EXPECT_EQ(Write(Label(1)), TRUE);
  EXPECT_EQ(written, Label(1).size());
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 56"));
  EXPECT_TRUE(host.Logged("Not a job header: 1B-6E"));
}

TEST_F(WritePipeline, BrokenStreamStopsAtTheBreak) {
  EXPECT_EQ(Write(Joined({JobStart(), Label(1), Bytes("00"), Label(2), EndOfJob()})), TRUE);
  EXPECT_THAT(Writes(), Not(Contains(Hex(Label(2)))));
  EXPECT_TRUE(host.Logged("Unexpected data - non-ESC: 0"));
  story.clear();
  End();
  EXPECT_THAT(story, ElementsAre("write 1B 51", "job command 7", "end document"));
}

TEST_F(WritePipeline, EmptyLabelsAreDiscarded) {
  EXPECT_EQ(Write(Joined({JobStart(), Label(1), LabelIndex(2), Bytes("1B 47"), Label(3), EndOfJob()})), TRUE);
  EXPECT_TRUE(host.Logged("Label is empty. Discarding 6 bytes."));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 2u);
}

TEST_F(WritePipeline, EmptyLabelsArePrintedWhenAskedFor) {
  SetOption(L"PrintEmptyLabel", 1);
  const ByteString empty = Joined({LabelIndex(2), Bytes("1B 47")});
  EXPECT_EQ(Write(Joined({JobStart(), Label(1), empty, Label(3), EndOfJob()})), TRUE);
  EXPECT_TRUE(port.HasWrite(empty));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 3u);
}

TEST_F(WritePipeline, ZeroBytesAreTaken) {
  EXPECT_EQ(Write({}), TRUE);
  EXPECT_EQ(written, 0u);
}

TEST_F(WritePipeline, TraceShowsTheEndsOfABuffer) {
  host.SetNumber(RecordingHost::kDebug, L"TraceDetail", 4);
  LoadMonitor();
  Write(Bytes("1B 73 01"));
  EXPECT_TRUE(host.Logged("PKT_HDR: 1B-73-01-"));
  host.log.clear();
  ByteString long_(65, 0xAB);
  long_[64] = 0xCD;
  Write(long_);
  std::string front;
  std::string back;
  for (int i = 0; i < 63; ++i) {
    front += "AB-";
    back += "-AB";
  }
  EXPECT_TRUE(host.Logged("PKT_HDR: " + front + "AB-"));
  EXPECT_TRUE(host.Logged("PKT_FTR: " + back + "-CD"));
}

}  // namespace
}  // namespace sc3xxmon::test
