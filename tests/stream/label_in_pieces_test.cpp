// A label that arrives in several calls: cut as one that arrives in one, and copied no more often.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitor/options.h"
#include "stream/parser_fixture.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::EndOfJob;
using test::JobStart;
using test::Joined;
using test::LabelIndex;
using test::Raster;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const char kFormFeed[] = "1B 47";

class LabelInPiecesTest : public test::ParserFixture {
 protected:
  LabelInPiecesTest() {
    Feed(JobStart());
    host.log.clear();
  }

  const ByteString label = Joined({LabelIndex(1), Raster(100, 80), Bytes(kFormFeed)});
};

TEST_F(LabelInPiecesTest, ItsStorageBecomesItsRecord) {
  const ByteString next = Joined({LabelIndex(2), Bytes("1B 44")});
  Feed(ByteString(label.begin(), label.begin() + 300));
  Feed(ByteString(label.begin() + 300, label.begin() + 600));
  const std::uint8_t* const storage = parser.Buffer().data();
  Feed(ByteString(label.begin() + 600, label.begin() + 900));
  Feed(Joined({ByteString(label.begin() + 900, label.end()), next}));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, label);
  EXPECT_EQ(parser.Labels[0].Data.data(), storage);
  EXPECT_EQ(parser.Buffer(), next);
}

TEST_F(LabelInPiecesTest, ItsStorageBecomesItsRecordWhenTheFormFeedComesByItself) {
  Feed(ByteString(label.begin(), label.end() - 2));
  const std::uint8_t* const storage = parser.Buffer().data();
  Feed(Bytes(kFormFeed));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, label);
  EXPECT_EQ(parser.Labels[0].Data.data(), storage);
}

TEST_F(LabelInPiecesTest, ASmallOneInAStorageThatWasMadeForMoreGetsARecordOfItsOwnSize) {
  const ByteString small = Joined({LabelIndex(2), Raster(1, 80), Bytes(kFormFeed)});
  Feed(Joined({LabelIndex(1), Bytes("1B 44 01")}));  // the head of the raster comes in two parts
  Feed(Joined({ByteString(label.begin() + 7, label.end()), ByteString(small.begin(), small.end() - 3)}));
  ASSERT_GT(parser.Buffer().capacity(), label.size());
  Feed(ByteString(small.end() - 3, small.end()));
  ASSERT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.Labels[1].Data, small);
  EXPECT_LE(parser.Labels[1].Data.capacity(), 2 * small.size());
  EXPECT_THAT(parser.Buffer(), IsEmpty());
}

// Where the label step stands in what comes behind a label says nothing about the bytes of the label itself.
TEST_F(LabelInPiecesTest, RasterBytesThatLookLikeTheHeadOfALargeRasterGetNoRoom) {
  const ByteString lookAlike = Bytes("1B 44 08 00 00 00 0F 00 01 00 00 00");  // would announce 1 MB
  const ByteString small =
      Joined({LabelIndex(2), Bytes("1B 44 08 00 01 00 00 00 0C 00 00 00"), lookAlike, Bytes(kFormFeed)});
  const ByteString lengths = Bytes("1B 4C 10 00 1B 4C 10 00 1B 4C 10 00");  // so that the next raster stands as far in
  const ByteString next = Joined({lengths, LabelIndex(3), Raster(2000, 80)});
  Feed(Joined({LabelIndex(1), Bytes("1B 44 01")}));
  Feed(Joined({ByteString(label.begin() + 7, label.end()), ByteString(small.begin(), small.end() - 3)}));
  const ByteString begun(next.begin(), next.end() - 100);
  Feed(Joined({ByteString(small.end() - 3, small.end()), begun}));
  ASSERT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.Labels[1].Data, small);
  EXPECT_EQ(parser.Buffer(), begun);
  EXPECT_LT(parser.Buffer().capacity(), 2 * next.size());
}

TEST_F(LabelInPiecesTest, StorageThatAnAcknowledgedOneLeavesServesTheNext) {
  Feed(ByteString(label.begin(), label.begin() + 300));
  Feed(ByteString(label.begin() + 300, label.begin() + 600));
  Feed(ByteString(label.begin() + 600, label.end()));
  const std::uint8_t* const storage = parser.Labels[0].Data.data();
  MarkFirstUnsent();
  parser.AckFirstLabel();
  const ByteString other(label.size());  // would take what had been given back
  Feed(ByteString(label.begin(), label.begin() + 300));
  EXPECT_EQ(parser.Buffer().data(), storage);
  Feed(ByteString(label.begin() + 300, label.end()));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, label);
}

TEST_F(LabelInPiecesTest, OneThatTurnsOutEmptyIsDiscardedAndTheNextOnesAreCut) {
  const ByteString empty = Joined({LabelIndex(1), Raster(10, 80), Raster(0, 80), Bytes(kFormFeed)});
  const ByteString next = Joined({LabelIndex(2), Raster(10, 80), Bytes(kFormFeed)});
  Feed(ByteString(empty.begin(), empty.begin() + 50));
  Feed(Joined({ByteString(empty.begin() + 50, empty.end()), next, EndOfJob()}));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, next);
  EXPECT_EQ(parser.JobFooter, EndOfJob());
  EXPECT_EQ(parser.LabelsParsed, 2U);
  EXPECT_THAT(parser.Buffer(), IsEmpty());
}

TEST_F(LabelInPiecesTest, BytesThatAreNoCommandBehindItsRasterAreToldOnceACall) {
  Feed(ByteString(label.begin(), label.begin() + 300));
  host.log.clear();
  Feed(Joined({ByteString(label.begin() + 300, label.end() - 2), Bytes("00 00")}));
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=300, delta=718",
                                      "CKplIterator::ReadNext: Unexpected data - non-ESC: 0"));
  Feed(Bytes("00"));
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=1018, delta=1",
                                      "CKplIterator::ReadNext: Unexpected data - non-ESC: 0"));
}

}  // namespace
}  // namespace sc3xxmon
