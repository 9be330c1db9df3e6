#include "stream/kpl_label.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "stream/raster_compression.h"
#include "support/bytes.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::Joined;
using ::testing::IsEmpty;

// ESC Z in place of the ESC D that `plain` is.
ByteString Compressed(const ByteString& plain) {
  const std::span raster = std::span(plain).subspan(kRasterHeadSize);
  const ByteVector block = CompressRaster(raster);
  ByteString head = Bytes("1B 5A 03 00 00 00 00");
  WriteLittle32(head.data() + kCompressedSizeOffset, static_cast<std::uint32_t>(block.size()));
  const ByteString descriptor(plain.begin() + kRasterDescriptorOffset, plain.begin() + kRasterHeadSize);
  return Joined({head, descriptor, ByteString(block.begin(), block.end())});
}

TEST(KplLabelTest, ANewRecordIsEmpty) {
  const KplLabel label;
  EXPECT_THAT(label.Data, IsEmpty());
  EXPECT_EQ(label.PrintDataCommand, nullptr);
  EXPECT_EQ(label.PrintDataParams, nullptr);
  EXPECT_EQ(label.PrintDataHead.index(), 0U);
  EXPECT_EQ(label.IphLength + label.CompressedSize + label.LabelIndex + label.Retries, 0U);
  EXPECT_FALSE(label.Sent());
  EXPECT_EQ(label.RasterSize(), 0U);
}

TEST(KplLabelTest, FindsIndexAndRasterWithoutAHeader) {
  const ByteString bytes = test::Label(258, 4, 16);
  const KplLabel label(bytes, 0);
  EXPECT_EQ(label.Data, bytes);
  EXPECT_EQ(label.LabelIndex, 258U);
  EXPECT_EQ(label.PrintDataCommand, label.Data.data() + 4);
  EXPECT_EQ(label.PrintDataParams, label.Data.data() + 6);
  EXPECT_EQ(label.RasterSize(), 8U);
  EXPECT_EQ(label.CompressedSize, 0U);
}

TEST(KplLabelTest, FindsIndexAndRasterBehindSevenBytesOfHeader) {
  const KplLabel label(Joined({Bytes("1B 4C 10 00 1B 71 31"), test::Label(2, 4, 16)}), 7);
  EXPECT_EQ(label.IphLength, 7U);
  EXPECT_EQ(label.LabelIndex, 2U);
  EXPECT_EQ(label.PrintDataCommand, label.Data.data() + 11);
}

TEST(KplLabelTest, AnIndexOfSixteenOneBitsIs65535) {
  EXPECT_EQ(KplLabel(test::Label(0xFFFF), 0).LabelIndex, 65535U);
}

TEST(KplLabelTest, OfTwoRastersTheSecondCountsAndBothStay) {
  const ByteString bytes = Joined({test::LabelIndex(1), test::Raster(2, 8), test::Raster(3, 16), Bytes("1B 47")});
  const KplLabel label(bytes, 0);
  EXPECT_EQ(label.PrintDataCommand, label.Data.data() + 4 + 14);
  EXPECT_EQ(label.Raster().LineCount, 3U);
  EXPECT_EQ(label.Data, bytes);
}

TEST(KplLabelTest, OfSeveralIndexesTheLastCounts) {
  EXPECT_EQ(KplLabel(Joined({test::LabelIndex(1), test::LabelIndex(2)}), 0).LabelIndex, 2U);
}

TEST(KplLabelTest, ACompressedRasterGivesItsSizeAndTheSameDescriptor) {
  const ByteString plain = test::Raster(40, 64);
  const ByteString packed = Compressed(plain);
  const KplLabel label(Joined({test::LabelIndex(1), packed, Bytes("1B 47")}), 0);
  EXPECT_EQ(label.CompressedSize, packed.size() - kCompressedRasterHeadSize);
  EXPECT_EQ(label.RasterSize(), 320U);
  EXPECT_EQ(label.PrintDataCommand, label.Data.data() + 4);
  EXPECT_EQ(label.PrintDataParams, label.Data.data() + 11);
  EXPECT_TRUE(std::equal(label.PrintDataParams, label.PrintDataParams + kRasterDescriptorSize, plain.begin() + 2));
}

TEST(KplLabelTest, APlainRasterBehindACompressedOneClearsTheCompressedSize) {
  const ByteString plain = test::Raster(40, 64);
  EXPECT_EQ(KplLabel(Joined({test::LabelIndex(1), Compressed(plain), plain}), 0).CompressedSize, 0U);
  EXPECT_GT(KplLabel(Joined({test::LabelIndex(1), plain, Compressed(plain)}), 0).CompressedSize, 0U);
}

TEST(KplLabelTest, KeepsACopyOfTheRastersHead) {
  const ByteString plain = test::Raster(2, 8);
  const KplLabel label(Joined({test::LabelIndex(1), plain}), 0);
  const auto* head = std::get_if<std::array<std::uint8_t, 12>>(&label.PrintDataHead);
  ASSERT_NE(head, nullptr);
  EXPECT_TRUE(std::equal(head->begin(), head->end(), plain.begin()));

  const ByteString packed = Compressed(plain);
  const KplLabel packedLabel(Joined({test::LabelIndex(1), packed}), 0);
  const auto* packedHead = std::get_if<std::array<std::uint8_t, 17>>(&packedLabel.PrintDataHead);
  ASSERT_NE(packedHead, nullptr);
  EXPECT_TRUE(std::equal(packedHead->begin(), packedHead->end(), packed.begin()));
}

TEST(KplLabelTest, WithoutARasterFindCommandsSaysSo) {
  KplLabel label(Joined({test::LabelIndex(9), Bytes("1B 47")}), 0);
  EXPECT_FALSE(label.FindCommands());
  EXPECT_EQ(label.LabelIndex, 9U);
  EXPECT_EQ(label.PrintDataHead.index(), 0U);
  EXPECT_TRUE(KplLabel(test::Label(1), 0).FindCommands());
}

TEST(KplLabelTest, AHeaderLongerThanTheLabelFindsNothing) {
  KplLabel label(test::Label(5), 1000);
  EXPECT_FALSE(label.FindCommands());
  EXPECT_EQ(label.LabelIndex, 0U);
}

TEST(KplLabelTest, IsMoveOnly) {
  static_assert(!std::is_copy_constructible_v<KplLabel>);
  static_assert(!std::is_copy_assignable_v<KplLabel>);
  static_assert(std::is_nothrow_move_constructible_v<KplLabel>);
}

TEST(KplLabelTest, AMovedRecordPointsIntoItsOwnDataAndItsSourceIsEmpty) {
  KplLabel source(Joined({Bytes("1B 63"), test::Label(6, 4, 16)}), 2);
  source.Retries = 2;
  const KplLabel target(std::move(source));
  EXPECT_EQ(target.PrintDataCommand, target.Data.data() + 6);
  EXPECT_EQ(target.PrintDataParams, target.Data.data() + 8);
  EXPECT_EQ(target.LabelIndex, 6U);
  EXPECT_EQ(target.IphLength, 2U);
  EXPECT_EQ(target.Retries, 2U);
  EXPECT_EQ(target.PrintDataHead.index(), 1U);
  // NOLINTBEGIN(bugprone-use-after-move): what is left behind is what the test is about
  EXPECT_THAT(source.Data, IsEmpty());
  EXPECT_EQ(source.PrintDataCommand, nullptr);
  EXPECT_EQ(source.PrintDataParams, nullptr);
  EXPECT_EQ(source.IphLength, 0U);
  EXPECT_EQ(source.CompressedSize, 0U);
  // NOLINTEND(bugprone-use-after-move)
}

TEST(KplLabelTest, RecordsInAVectorThatGrowsKeepPointingIntoTheirOwnData) {
  std::vector<KplLabel> labels;
  for (std::uint16_t i = 1; i <= 50; ++i) {
    labels.emplace_back(test::Label(i, i, 16), 0);
  }
  for (std::uint16_t i = 1; i <= 50; ++i) {
    const KplLabel& label = labels[i - 1U];
    EXPECT_EQ(label.PrintDataCommand, label.Data.data() + 4);
    EXPECT_EQ(label.PrintDataParams, label.Data.data() + 6);
    EXPECT_EQ(label.Raster().LineCount, i);
  }
}

TEST(KplLabelTest, AssignmentTakesTheSourcesLabel) {
  const ByteString packed = Joined({test::LabelIndex(3), Compressed(test::Raster(40, 64))});
  KplLabel target(packed, 0);
  KplLabel source(test::Label(4, 4, 16), 0);
  source.Retries = 7;
  target = std::move(source);
  EXPECT_EQ(target.LabelIndex, 4U);
  EXPECT_EQ(target.CompressedSize, 0U);
  EXPECT_EQ(target.Retries, 7U);
  EXPECT_EQ(target.PrintDataCommand, target.Data.data() + 4);
  EXPECT_EQ(target.PrintDataHead.index(), 1U);
}

TEST(KplLabelTest, AssignmentKeepsSizeAndIndexWhereTheNewLabelNamesNone) {
  const ByteString block = Compressed(test::Raster(40, 64));
  KplLabel target(Joined({test::LabelIndex(3), block}), 0);
  const std::uint32_t size = target.CompressedSize;
  ASSERT_GT(size, 0U);
  target = KplLabel(Bytes("1B 63"), 0);
  EXPECT_EQ(target.CompressedSize, size);
  EXPECT_EQ(target.LabelIndex, 3U);
  EXPECT_EQ(target.Data, Bytes("1B 63"));
}

TEST(KplLabelTest, AssignmentOfALabelWithoutRasterLeavesNoPointerIntoTheOldBytes) {
  KplLabel target(test::Label(4, 4, 16), 0);
  target = KplLabel(test::LabelIndex(5), 0);
  EXPECT_EQ(target.PrintDataCommand, nullptr);
  EXPECT_EQ(target.PrintDataParams, nullptr);
  EXPECT_EQ(target.LabelIndex, 5U);
}

}  // namespace
}  // namespace sc3xxmon
