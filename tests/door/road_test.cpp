// The road of one job from the first call to the last, on a printer that is ready: every call outward, in order, every
// byte. Then the same job on all nine models.
#include <lz4.h>

#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class Road : public DoorTest {};

TEST_F(Road, TwoLabelsInOneBuffer) {
  Print(Document(2));
  EXPECT_THAT(story, ElementsAre("start document",                         //
                                 "write 1B 41 00", "read 32",              // is it ready
                                 "write 1B 56", "read 34",                 // its firmware
                                 "write 1B 73 01 00 00 00",                // the job header
                                 "write 1B 6E 01 00 1B 44 01 00 .. (26)",  // label 1
                                 "write 1B 41 02",                         // what of it
                                 "write 1B 6E 02 00 1B 44 01 00 .. (26)",  // label 2
                                 "read 32",                                // label 1 is taken
                                 "job status 0x10 pages 1",                //
                                 "write 1B 41 00", "read 32",              // label 2 is taken
                                 "job status 0x1000 pages 2",              //
                                 "write 1B 51",                            // the footer
                                 "job command 7",                          // last page ejected
                                 "end document"));
}

TEST_F(Road, EveryByteGoesOutAsItCame) {
  Print(Document(2));
  EXPECT_THAT(port.writes,
              ElementsAre(Bytes("1B 41 00"), Bytes("1B 56"), Bytes("1B 73 01 00 00 00"),
                          Bytes("1B 6E 01 00  1B 44 01 00 04 00 00 00 10 00 00 00  01 02 03 04 05 06 07 08  1B 47"),
                          Bytes("1B 41 02"),
                          Bytes("1B 6E 02 00  1B 44 01 00 04 00 00 00 10 00 00 00  02 03 04 05 06 07 08 09  1B 47"),
                          Bytes("1B 41 00"), Bytes("1B 51")));
}

TEST_F(Road, HeaderFooterAndBetweenLabelsCommandsAreTheStreamsOwn) {
  const ByteString header = Joined({JobStart(), Bytes("1B 71 31"), Bytes("1B 4C 10 00"), Bytes("1B 40")});
  const ByteString second = Joined({Bytes("1B 4C 20 00 1B 68"), Label(2)});
  const ByteString footer = Bytes("1B 45 1B 51 FF 00 1B");
  Print(Joined({header, Label(1), second, footer}));
  EXPECT_TRUE(port.HasWrite(header));
  EXPECT_TRUE(port.HasWrite(second));
  EXPECT_EQ(port.writes.back(), footer);
}

TEST_F(Road, SpoolerHoldsOneHandleForTheJobsLife) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(host.openHandles, 1u);
  Write(Document(2));
  EXPECT_EQ(host.openHandles, 1u);
  End();
  EXPECT_EQ(host.openHandles, 0u);
}

TEST_F(Road, FooterInALaterWrite) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  const ByteString stream = Document(2);
  const ByteString labels(stream.begin(), stream.end() - 2);
  EXPECT_EQ(Write(labels), TRUE);
  EXPECT_EQ(Writes().back(), Hex(Label(2)));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
  story.clear();
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 41 00", "read 32", "job status 0x1000 pages 2", "write 1B 51"));
}

TEST_F(Road, ByteByByteIsTheSameOnTheWire) {
  Print(Document(3));
  const auto whole = port.writes;
  port.writes.clear();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  for (const std::uint8_t byte : Document(3)) {
    EXPECT_EQ(Write(ByteString{byte}), TRUE);
    EXPECT_EQ(written, 1u);
  }
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(port.writes, whole);
}

TEST_F(Road, ManyDocumentsOnOneOpenPort) {
  key = Open();
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(Start(key), TRUE);
    ASSERT_EQ(Write(Document(2)), TRUE);
    ASSERT_EQ(End(), TRUE);
  }
  EXPECT_EQ(port.startedDocuments, 20u);
  EXPECT_EQ(port.endedDocuments, 20u);
  EXPECT_EQ(host.openHandles, 0u);
}

// --- all nine models

class EveryModel : public DoorTest, public ::testing::WithParamInterface<DoorModel> {
 protected:
  void SetUp() override { UseModel(GetParam().row); }

  // A label as it goes to this model.
  ByteString OnTheWire(std::uint16_t index) const {
    const ByteString label = Label(index);
    if (!GetParam().alwaysCompresses) {
      return label;
    }
    const ByteString raster(label.begin() + 16, label.end() - 2);
    ByteString block(64);
    const int size =
        LZ4_compress_default(reinterpret_cast<const char*>(raster.data()), reinterpret_cast<char*>(block.data()),
                             static_cast<int>(raster.size()), static_cast<int>(block.size()));
    block.resize(static_cast<std::size_t>(size));
    const ByteString head = Joined({Bytes("1B 5A 03"), ByteString{static_cast<std::uint8_t>(size), 0, 0, 0},
                                    ByteString(label.begin() + 6, label.begin() + 16)});
    return Joined({LabelIndex(index), head, block, Bytes("1B 47")});
  }
};

TEST_P(EveryModel, TwoLabels) {
  const DoorModel& model = GetParam();
  Print(Document(2));
  const std::string answer = Took(StatusLength());
  std::vector<std::string> expected{"start document", model.asksForLockFirst ? "write 1B 41 01" : "write 1B 41 00",
                                    answer,           "write 1B 56",
                                    "read 34",        "write 1B 73 01 00 00 00"};
  const auto tell = [&expected](std::initializer_list<std::string> lines) { expected.insert(expected.end(), lines); };
  if (model.tape) {
    tell({Wrote(OnTheWire(1)), "write 1B 41 02", answer, "job status 0x10 pages 1"});
    tell({Wrote(OnTheWire(2)), "write 1B 41 02", answer, "job status 0x10 pages 2", "job status 0x1000 pages 2"});
  } else {
    tell({Wrote(OnTheWire(1)), "write 1B 41 02", Wrote(OnTheWire(2)), answer, "job status 0x10 pages 1"});
    tell({"write 1B 41 00", answer, "job status 0x1000 pages 2"});
  }
  tell({"write 1B 51", "job command 7", "end document"});
  EXPECT_THAT(story, ElementsAreArray(expected));
  EXPECT_TRUE(port.HasWrite(OnTheWire(1)));
  EXPECT_TRUE(port.HasWrite(OnTheWire(2)));
}

TEST_P(EveryModel, EveryLabelIsCountedInTheSpooler) {
  Print(Document(5));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 5u);
  EXPECT_EQ(host.jobs[kJobId].status, JOB_STATUS_COMPLETE);
  EXPECT_EQ(host.jobs[kJobId].position, JOB_POSITION_UNSPECIFIED);
}

TEST_P(EveryModel, DeletedJobLeavesThePrinterClean) {
  SetOption(L"PdChunkSize", 3);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  host.jobs[kJobId].status |= JOB_STATUS_DELETING;
  port.writes.clear();
  EXPECT_EQ(Write(Label(2)), FALSE);
  EXPECT_EQ(written, Label(2).size());
  End();
  // On tape the label's head is out by the time the first chunk asks, and there is nothing to feed.
  const std::vector<std::string> desktop{"1B 45", "1B 51"};
  const std::vector<std::string> tape{"1B 6E 02 00", "1B 51"};
  EXPECT_THAT(Writes(), ElementsAreArray(GetParam().tape ? tape : desktop));
}

TEST_P(EveryModel, FormFeedAfterAnErrorIsForTheDesktopModels) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.bay = 9});
  Write(JobStart());
  EXPECT_EQ(StoryHas("write 1B 47"), !GetParam().tape);
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_RESUME));
}

TEST_P(EveryModel, ShortAnswerIsNoAnswer) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  ByteString answer = StatusOf({});
  answer.pop_back();
  NextStatusBytes(answer).NextStatusBytes(answer);
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_RESTART));
}

INSTANTIATE_TEST_SUITE_P(Road, EveryModel, ::testing::ValuesIn(DoorModels()),
                         [](const auto& model) { return "Row" + std::to_string(model.param.row); });

}  // namespace
}  // namespace sc3xxmon::test
