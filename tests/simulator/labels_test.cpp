// What comes out on paper: where a label begins and ends, chunks, compression, form feeds, jobs.
#include <ostream>

#include "printer_desk.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class LabelsTest : public PrinterDesk {};

TEST_F(LabelsTest, PrintsTheRasterOfALabelByteForByte) {
  Send(JobStart() + Label(7, 12) + EndOfJob());
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  const PrintedLabel& label = Printer().Printed()[0];
  EXPECT_EQ(label.index, 7);
  EXPECT_EQ(label.lines, 12u);
  EXPECT_EQ(label.dotsPerLine, 64u);
  EXPECT_EQ(label.bitsPerDot, 1);
  EXPECT_EQ(label.raster, RasterBytes(12, 64, 7));
  EXPECT_EQ(label.client, Host());
  EXPECT_EQ(label.job, 1u);
  EXPECT_FALSE(label.compressed);
}

TEST_F(LabelsTest, KeepsTheCommandsOfALabelAsTheyCame) {
  const Bytes second = LabelLength(300) + Label(2);
  Send(JobStart() + Bytes{0x1B, 'q', '1'} + Label(1) + second + EndOfJob());
  ASSERT_THAT(Printer().Printed(), SizeIs(2));
  EXPECT_EQ(Printer().Printed()[0].leading, JobStart() + (Bytes{0x1B, 'q', '1'}));
  EXPECT_EQ(Printer().Printed()[0].commands, Label(1));
  EXPECT_EQ(Printer().Printed()[1].leading, LabelLength(300));
  EXPECT_EQ(Printer().Printed()[1].commands, Label(2));
}

TEST_F(LabelsTest, LeavesTheCommandBytesOutWhenTheyArentWanted) {
  settings.keepCommandBytes = false;
  Send(JobStart() + Label(1));
  EXPECT_THAT(Printer().Printed()[0].commands, IsEmpty());
  EXPECT_EQ(Printer().Printed()[0].raster, RasterBytes(10, 64, 1));
}

struct EndCase {
  Bytes bytes;
  LabelEnd end;
};
void PrintTo(const EndCase& each, std::ostream* out) {
  *out << "ESC " << static_cast<char>(each.bytes[1]);
  if (each.bytes.size() > 2) {
    *out << ' ' << int{each.bytes[2]};
  }
}

class LabelEndTest : public PrinterDesk, public ::testing::WithParamInterface<EndCase> {};

TEST_P(LabelEndTest, EndsAnOpenLabel) {
  Send(JobStart() + OpenLabel(1));
  EXPECT_THAT(Printer().Printed(), IsEmpty());
  Send(GetParam().bytes);
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].end, GetParam().end) << Name(GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(
    AllEnds, LabelEndTest,
    ::testing::Values(EndCase{{0x1B, 'G'}, LabelEnd::kShortFormFeed}, EndCase{{0x1B, 'p', 1}, LabelEnd::kTear},
                      EndCase{{0x1B, 'E'}, LabelEnd::kLongFormFeed}, EndCase{{0x1B, 'n', 2, 0}, LabelEnd::kNextLabel},
                      EndCase{{0x1B, 'Q'}, LabelEnd::kEndOfJob}, EndCase{{0x1B, 'A', 0}, LabelEnd::kStatusRequest},
                      EndCase{{0x1B, 'A', 2}, LabelEnd::kStatusRequest}));

TEST_F(LabelsTest, UndoesCompression) {
  const Bytes raster(500 * 40, 0x11);
  Send(JobStart() + Index(3) + CompressedRaster(500, 320, raster) + ShortFormFeed());
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].raster, raster);
  EXPECT_TRUE(Printer().Printed()[0].compressed);
}

TEST_F(LabelsTest, JoinsChunksOfATapeLabelIntoOneRaster) {
  settings.model = 8;
  const Bytes raster = RasterBytes(450, 64, 5);
  const Bytes first(raster.begin(), raster.begin() + 200 * 8);
  const Bytes second(raster.begin() + 200 * 8, raster.begin() + 400 * 8);
  const Bytes third(raster.begin() + 400 * 8, raster.end());
  Send(JobStart() + Index(1) + Raster(200, 64, first) + Ask(2) + Raster(200, 64, second) + Ask(2) +
       Raster(50, 64, third) + Ask(2) + ShortFormFeed() + EndOfJob());
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].raster, raster);
  EXPECT_EQ(Printer().Printed()[0].lines, 450u);
  EXPECT_EQ(Printer().Printed()[0].rasterCommands, 3u);
  EXPECT_THAT(Statuses(), ElementsAre(0, 0, 0));
}

TEST_F(LabelsTest, JoinsSeveralRastersOfADesktopLabel) {
  Send(JobStart() + Index(1) + Raster(2, 16, {1, 2, 3, 4}) + Raster(1, 16, {5, 6}) + ShortFormFeed());
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].raster, (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST_F(LabelsTest, LeavesOutARasterOfAnotherWidthAndSaysSo) {
  Send(JobStart() + Index(1) + Raster(1, 16, {1, 2}) + Raster(1, 24, {3, 4, 5}) + ShortFormFeed());
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].raster, (Bytes{1, 2}));
  EXPECT_THAT(Printer().Malformed(), SizeIs(1));
}

TEST_F(LabelsTest, PrintsALabelWithoutARasterAsABlankOne) {
  Send(JobStart() + Index(4) + ShortFormFeed() + Index(5) + Raster(0, 64, {}) + ShortFormFeed());
  ASSERT_THAT(Printer().Printed(), SizeIs(2));
  EXPECT_EQ(Printer().Printed()[0].lines, 0u);
  EXPECT_THAT(Printer().Printed()[0].raster, IsEmpty());
  EXPECT_EQ(Printer().Printed()[1].lines, 0u);
}

TEST_F(LabelsTest, ReadsTwoBitsADot) {
  Send(JobStart() + Index(1) + Raster(3, 9, RasterBytes(3, 9, 1, 2), 2) + ShortFormFeed());
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].LineBytes(), 3u);
  EXPECT_EQ(Printer().Printed()[0].raster.size(), 9u);
}

TEST_F(LabelsTest, PrintsLabelsWithoutFormFeedsBetweenStatusRequests) {
  Send(JobStart() + OpenLabel(1) + Ask(2) + OpenLabel(2));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  Send(Ask(2) + OpenLabel(3));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  EXPECT_EQ(StatusAfter(0), 0);
  Send(EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
}

TEST_F(LabelsTest, KeepsATapeLabelOpenAcrossStatusRequests) {
  settings.model = 9;
  Send(JobStart() + OpenLabel(1) + Ask(2));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  EXPECT_EQ(StatusAfter(0), 0);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Send(OpenLabel(2));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  Send(EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
}

TEST_F(LabelsTest, DropsAnOpenLabelThatItsHostBeginsAnew) {
  settings.model = 8;
  Send(JobStart() + OpenLabel(1) + ShortFormFeed() + OpenLabel(2) + Ask(2));
  Send(Ask(0));
  Send(LabelLength(9) + OpenLabel(2) + ShortFormFeed() + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kBegunAnew));
  EXPECT_EQ(Printer().Counts().labelsLost, 0u);
}

TEST_F(LabelsTest, DropsAnOpenLabelWhenItsHostStartsTheJobOver) {
  settings.model = 8;
  Send(JobStart() + Label(1) + OpenLabel(2) + Ask(2));
  Send(JobStart() + Label(1) + Label(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 1, 2));
}

TEST_F(LabelsTest, PrintsAnAcknowledgedOpenLabelWhenItsHostGoesOnBehindANewJobHeader) {
  settings.model = 8;
  Send(JobStart() + OpenLabel(1) + Ask(2));
  Send(JobStart() + OpenLabel(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
}

TEST_F(LabelsTest, CountsFormFeedsOutsideLabelsAndLongOnes) {
  Send(JobStart() + Label(1) + ShortFormFeed() + LongFormFeed() + EndOfJob());
  EXPECT_THAT(EventKinds(), ElementsAre(PrinterEventKind::kJobStarted, PrinterEventKind::kShortFormFeed,
                                        PrinterEventKind::kLongFormFeed, PrinterEventKind::kJobEnded));
}

TEST_F(LabelsTest, FeedsACutLabelOutWithTheCancelSequence) {
  Send(JobStart() + Label(1) + OpenLabel(2) + LongFormFeed() + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
  EXPECT_THAT(EventKinds(),
              ElementsAre(PrinterEventKind::kJobStarted, PrinterEventKind::kLongFormFeed, PrinterEventKind::kJobEnded));
  EXPECT_TRUE(Printer().Idle());
}

TEST_F(LabelsTest, KnowsWhetherAJobIsOpen) {
  EXPECT_FALSE(Printer().JobOpen());
  Send(JobStart());
  EXPECT_TRUE(Printer().JobOpen());
  EXPECT_TRUE(Printer().JobOpen(Host()));
  Send(EndOfJob());
  EXPECT_FALSE(Printer().JobOpen());
  EXPECT_EQ(Printer().Counts().jobsStarted, 1u);
  EXPECT_EQ(Printer().Counts().jobsEnded, 1u);
}

TEST_F(LabelsTest, NumbersTheJobsOfItsLabels) {
  Send(JobStart() + Label(1) + EndOfJob() + JobStart() + Label(1) + EndOfJob());
  ASSERT_THAT(Printer().Printed(), SizeIs(2));
  EXPECT_EQ(Printer().Printed()[0].job, 1u);
  EXPECT_EQ(Printer().Printed()[1].job, 2u);
}

TEST_F(LabelsTest, PrintsWholeLabelsOfAClientThatGoes) {
  Send(JobStart() + Label(1) + OpenLabel(2));
  Printer().Disconnect(Host(), now);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
  EXPECT_TRUE(Printer().Idle());
}

TEST_F(LabelsTest, DropsALabelWhoseClientGoesInTheMiddleOfItsRaster) {
  Bytes cut = OpenLabel(2);
  cut.pop_back();
  Send(JobStart() + Label(1) + cut);
  Printer().Disconnect(Host(), now);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kDisconnected));
}

TEST_F(LabelsTest, HoldsAnAcknowledgedTapeLabelOfAVanishedClientUntilTheNextOneTells) {
  settings.model = 8;
  Send(JobStart() + OpenLabel(1) + Ask(2));
  Printer().Disconnect(Host(), now);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  EXPECT_FALSE(Printer().Idle());
  SendAs(Printer().Connect(now), JobStart() + OpenLabel(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
}

TEST_F(LabelsTest, DropsAVanishedClientsTapeLabelWhenTheNextOneBeginsItAgain) {
  settings.model = 8;
  Send(JobStart() + Label(1) + OpenLabel(2) + Ask(2));
  Printer().Disconnect(Host(), now);
  SendAs(Printer().Connect(now), JobStart() + OpenLabel(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kBegunAnew));
}

TEST_F(LabelsTest, HandsItsLabelsAndEventsOver) {
  Send(JobStart() + Label(1));
  EXPECT_THAT(Printer().TakePrinted(), SizeIs(1));
  EXPECT_THAT(Printer().Printed(), IsEmpty());
  Send(Label(2));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(2));
  EXPECT_THAT(Printer().TakeEvents(), SizeIs(1));
  EXPECT_THAT(Printer().Events(), IsEmpty());
}

}  // namespace
}  // namespace simulator::test
