#include "engine/label_sending_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class LabelChunksTest : public LabelSendingFixture {};

TEST_F(LabelChunksTest, ALabelOfThreeChunksOnTheWire) {
  JobWith(8, LabelOfLines(1, 5));
  EXPECT_TRUE(SendNextInChunks(2));
  const ByteString twoLines = Bytes("1B 44 01 5A 02 00 00 00 10 00 00 00");
  const ByteString oneLine = Bytes("1B 44 01 5A 01 00 00 00 10 00 00 00");
  EXPECT_THAT(story, ElementsAre(Writes(LabelIndex(1)),                          // head part of the label
                                 Writes(twoLines), Writes(ByteString(8, 0x77)),  // chunk 1
                                 kAsksInFlight,                                  //
                                 Writes(twoLines), Writes(ByteString(8, 0x77)),  // chunk 2
                                 kReadsStatus,                                   // status after chunk 1
                                 kAsksInFlight,                                  //
                                 Writes(oneLine), Writes(ByteString(4, 0x77)),   // chunk 3
                                 kReadsStatus,                                   // status after chunk 2
                                 kAsksInFlight,                                  //
                                 kShortFeed,                                     // tail part of the label
                                 kReadsStatus));                                 // status after chunk 3
  EXPECT_THAT(port.writes,
              ElementsAre(LabelIndex(1), twoLines, ByteString(8, 0x77), kAskInFlight, twoLines, ByteString(8, 0x77),
                          kAskInFlight, oneLine, ByteString(4, 0x77), kAskInFlight, kFeed));
  EXPECT_TRUE(job->Labels.front().Sent());
  EXPECT_EQ(job->StatusInFlight, 0u);
}

TEST_F(LabelChunksTest, OfAChunkedLabelOnlyTheRasterHeadsAndRequestsAreMade) {
  JobWith(8, LabelOfLines(1, 3));
  WatchPlaces();
  SendNextInChunks(2);
  // Index, raster head, two lines of four bytes, request, raster head, one line, request, form feed.
  EXPECT_THAT(places, ElementsAre(0, -1, 16, -1, -1, 24, -1, 28));
}

TEST_F(LabelChunksTest, TheResponseToAChunkIsReadBehindTheNextChunksDataAndBeforeTheNextRequest) {
  JobWith(8, LabelOfLines(1, 4));
  std::vector<std::size_t> writesBeforeRead;
  port.onRead = [&] { writesBeforeRead.push_back(port.writeCalls); };
  SendNextInChunks(2);
  // head, (raster head, raster, request), raster head, raster | request, tail |
  EXPECT_THAT(writesBeforeRead, ElementsAre(6, 8));
}

TEST_F(LabelChunksTest, ChunksAreLoggedOneByOne) {
  JobWith(8, LabelOfLines(4, 5));
  SendNextInChunks(2);
  EXPECT_TRUE(LoggedBy("SendLabelChunked", "Sending chunked label #1; index=4, size=38, chunks=3"));
  EXPECT_TRUE(LoggedBy("SendLabelChunked", "Sending chunk 1 of 3 (2 lines, 8 bytes)"));
  EXPECT_TRUE(LoggedBy("SendLabelChunked", "Sending chunk 2 of 3 (2 lines, 8 bytes)"));
  EXPECT_TRUE(LoggedBy("SendLabelChunked", "Sending chunk 3 of 3 (1 lines, 4 bytes)"));
}

TEST_F(LabelChunksTest, AChunksHeadSaysOneBitADotWhateverTheLabelSays) {
  JobWith(8, LabelOfLines(1, 4));  // two bits a dot: 16 dots are 4 bytes
  SendNextInChunks(2);
  EXPECT_EQ(port.writes[1][2], 1);
  EXPECT_EQ(port.writes[2].size(), 8u) << "the bytes follow the label's real depth";
}

TEST_F(LabelChunksTest, OfTwoRastersTheLastIsChunkedAndTheFirstGoesOutInTheHeadPart) {
  const ByteString before = Joined({LabelIndex(1), Raster(2, 8)});
  JobWith(8, Joined({before, RasterOfLines(4), kFeed}));
  SendNextInChunks(2);
  const ByteString twoLines = Bytes("1B 44 01 5A 02 00 00 00 10 00 00 00");
  EXPECT_THAT(port.writes, ElementsAre(before, twoLines, ByteString(8, 0x77), kAskInFlight, twoLines,
                                       ByteString(8, 0x77), kAskInFlight, kFeed));
}

TEST_F(LabelChunksTest, ALabelOfExactlyOneChunkGoesOutWholeAndIsAskedForAtOnce) {
  JobWith(8, LabelOfLines(1, 4));
  EXPECT_TRUE(SendNextInChunks(4));
  EXPECT_THAT(story, ElementsAre(Writes(LabelOfLines(1, 4)), kAsksInFlight, kReadsStatus));
  EXPECT_THAT(port.writes, ElementsAre(LabelOfLines(1, 4), kAskInFlight));
  EXPECT_TRUE(LoggedBy("SendLabelChunked", "Sending label #1; index=1, size=34"));
  EXPECT_TRUE(job->Labels.front().Sent());
  EXPECT_EQ(job->StatusInFlight, 0u) << "the exchange is complete in itself";
}

TEST_F(LabelChunksTest, ALabelOfOneLineMoreThanAChunkGoesOutInTwo) {
  JobWith(8, LabelOfLines(1, 4));
  SendNextInChunks(3);
  EXPECT_TRUE(host.Logged("Sending chunk 1 of 2 (3 lines, 12 bytes)"));
  EXPECT_TRUE(host.Logged("Sending chunk 2 of 2 (1 lines, 4 bytes)"));
}

TEST_F(LabelChunksTest, ALabelThatCameCompressedIsNeverChunked) {
  const ByteString label =
      Joined({LabelIndex(1), Bytes("1B 5A 03 02 00 00 00 01 00 08 00 00 00 08 00 00 00 AA BB"), kFeed});
  JobWith(8, label);
  SendNextInChunks(2);
  EXPECT_THAT(story, ElementsAre(Writes(label), kAsksInFlight, kReadsStatus));
}

TEST_F(LabelChunksTest, AKeptLabelWithoutARasterTakesTheWholePath) {
  SetOption(L"PrintEmptyLabel", 1);
  const ByteString label = Joined({LabelIndex(1), kFeed});
  JobWith(8, label);
  SendNextInChunks(1);
  EXPECT_THAT(story, ElementsAre(Writes(label), kAsksInFlight, kReadsStatus));
}

TEST_F(LabelChunksTest, WithAnEmptyTailNothingIsSentForItAndTheLastStatusIsStillRead) {
  JobWith(8, Joined({LabelIndex(1), RasterOfLines(4), LabelIndex(2)}));
  SendNextInChunks(2);
  EXPECT_THAT(port.writes, SizeIs(7));
  EXPECT_EQ(port.writes.back(), kAskInFlight);
  EXPECT_EQ(story.back(), kReadsStatus);
  EXPECT_TRUE(job->Labels.front().Sent());
}

TEST_F(LabelChunksTest, ADeletionBeforeChunk2EndsTheLabelThere) {
  JobWith(8, LabelOfLines(1, 6));
  host.onStatusQuery = [this](std::size_t query) {
    if (query == 2) {
      DeleteJobInSpooler();
    }
  };
  try {
    SendNextInChunks(2);
    FAIL() << "no cancel";
  } catch (const PrintCanceledException& failure) {
    EXPECT_TRUE(failure.BySpooler);
  }
  EXPECT_THAT(port.writes, SizeIs(4)) << "head part, chunk 1, its request";
  EXPECT_FALSE(job->Labels.front().Sent());
}

TEST_F(LabelChunksTest, TheWholePathMakesNoDeletionCheck) {
  JobWith(8, LabelOfLines(1, 4));
  DeleteJobInSpooler();
  EXPECT_TRUE(SendNextInChunks(4));
  EXPECT_EQ(host.statusQueries, 0u);
  EXPECT_TRUE(job->Labels.front().Sent());
}

TEST_F(LabelChunksTest, EachWriteThatFailsHasItsOwnText) {
  struct Row {
    std::size_t write;
    const char* failure;
    const char* tag;
  };
  constexpr Row kRows[] = {
      {1, "SendChunk/headers failed", "SendChunk/headers"},   {2, "SendChunk/PDHdr failed", "SendChunk/PDHdr 1/2"},
      {3, "SendChunk/PDData failed", "SendChunk/PDData 1/2"}, {4, "SendChunk/status send failed", nullptr},
      {5, "SendChunk/PDHdr failed", "SendChunk/PDHdr 2/2"},   {6, "SendChunk/PDData failed", "SendChunk/PDData 2/2"},
      {7, "SendChunk/status send failed", nullptr},           {8, "SendChunk/footer failed", "SendChunk/footer"},
  };
  for (const Row& row : kRows) {
    JobWith(8, LabelOfLines(1, 4));
    port.FailWrite(row.write);
    EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(2); }), row.failure) << row.write;
    if (row.tag != nullptr) {
      EXPECT_TRUE(host.Logged(std::string("Sending label data failed (") + row.tag + ")")) << row.write;
    }
    EXPECT_FALSE(job->Labels.front().Sent()) << row.write;
    EXPECT_EQ(job->Labels.front().Retries, 0u);
    ForgetStory();
  }
}

TEST_F(LabelChunksTest, OnTheWholePathEachExchangeThatFailsHasItsOwnText) {
  JobWith(8, LabelOfLines(1, 4));
  port.FailWrite(1);
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(4); }), "SendLabel failed");
  EXPECT_TRUE(host.Logged("Sending label data failed (SendLabel/full)"));
  port.FailWrite(2);
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(4); }), "Sending ESCA2 failed");
  port.FailsRead();
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(4); }), "Receiving ESCA2 response failed (0 bytes read)");
  port.Answers(EscSStatus({.status = 5}));
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(4); }), "BAD PrintStatus(5)");
  port.Answers(EscSStatus({.status = 3}));
  EXPECT_THROW(SendNextInChunks(4), PrintCanceledException);
  EXPECT_FALSE(job->Labels.front().Sent());
}

TEST_F(LabelChunksTest, ABadStatusOrACancelAfterAChunkEndsTheLabel) {
  JobWith(8, LabelOfLines(1, 6));
  port.Answers(EscSStatus({.status = 2}));
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(2); }), "BAD PrintStatus(2) for label #-1.");
  port.Answers(EscSStatus({.status = 4})).Answers(EscSStatus({.status = 3}));
  EXPECT_THROW(SendNextInChunks(2), PrintCanceledException);
  port.FailsRead();
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(2); }), "Receiving ESCA2 response for label #-1 FAILED");
  EXPECT_FALSE(job->Labels.front().Sent());
}

TEST_F(LabelChunksTest, ALabelThatFailedInItsLastChunkGoesOutAgainFromItsFirstByte) {
  JobWith(8, LabelOfLines(1, 4));
  port.FailWrite(8);
  EXPECT_EQ(CommFailureOf([this] { SendNextInChunks(2); }), "SendChunk/footer failed");
  std::vector<ByteString> whole = port.writes;
  whole.push_back(kFeed);
  port.writes.clear();
  job->SetLockHeld(false);
  SendNextInChunks(2);
  EXPECT_EQ(port.writes, whole);
}

TEST_F(LabelChunksTest, WhereARastersBytesRunOutAChunkAndAllBehindItAreEmpty) {
  // 0x80000002 lines of two bytes: four bytes, counted modulo 2^32.
  JobWith(8, Joined({LabelIndex(1), Bytes("1B 44 01 00 02 00 00 80 10 00 00 00 0A 0B 0C 0D"), kFeed}));
  ASSERT_THAT(job->Labels, SizeIs(1));
  SendNextInChunks(0x40000000);
  EXPECT_TRUE(host.Logged("Sending chunk 1 of 3 (1073741824 lines, 0 bytes)"));
  EXPECT_TRUE(host.Logged("Sending chunk 2 of 3 (1073741824 lines, 0 bytes)"));
  EXPECT_TRUE(host.Logged("Sending chunk 3 of 3 (2 lines, 0 bytes)"));
  const ByteString head = Bytes("1B 44 01 00 00 00 00 40 10 00 00 00");
  EXPECT_THAT(port.writes, ElementsAre(LabelIndex(1), head, kAskInFlight, head, kAskInFlight,
                                       Bytes("1B 44 01 00 02 00 00 00 10 00 00 00"), kAskInFlight, kFeed));
}

TEST_F(LabelChunksTest, ALineOfTheMostDotsDoesntWrapWhenItsBytesAreRoundedUp) {
  // Were the rounding to wrap, the label would be empty and gone.
  JobWith(8, Joined({LabelIndex(1), Bytes("1B 5A 03 00 00 00 00 01 00 04 00 00 00 FF FF FF FF"), kFeed}));
  ASSERT_THAT(job->Labels, SizeIs(1));
  EXPECT_EQ(job->Labels.front().Raster().LineBytes(), 0x20000000u);
  EXPECT_EQ(job->Labels.front().RasterSize(), 0x80000000u);
  SendNextInChunks(3);
  EXPECT_TRUE(host.Logged("Sending chunk 1 of 2 (3 lines, 0 bytes)"));
}

}  // namespace
}  // namespace sc3xxmon::test
