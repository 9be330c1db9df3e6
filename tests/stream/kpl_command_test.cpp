#include "stream/kpl_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "stream/command_lengths.h"
#include "support/bytes.h"

namespace sc3xxmon {
namespace {

using test::Bytes;

TEST(KplCommandTest, KnowsThirtyThreeLettersAndNoOther) {
  ASSERT_EQ(test::kCommandLengths.size(), 33U);
  for (int letter = 0; letter < 256; ++letter) {
    const auto known = test::kCommandLengths.find(static_cast<char>(letter));
    const int expected = known != test::kCommandLengths.end() ? known->second : 0;
    EXPECT_EQ(kpl::FixedLength(static_cast<std::uint8_t>(letter)), expected) << "letter " << letter;
  }
}

TEST(KplCommandTest, ThirteenCommandsMayStandBetweenLabels) {
  const std::string expected = "CHLTcdeghilqt";
  std::string found;
  for (int letter = 0; letter < 256; ++letter) {
    if (kpl::IsBetweenLabels(static_cast<std::uint8_t>(letter))) {
      found += static_cast<char>(letter);
    }
  }
  EXPECT_EQ(found, expected);
}

TEST(KplCommandTest, OperandsAreLittleEndian) {
  const auto bytes = Bytes("1B 6E FE 01");
  EXPECT_EQ((KplCommand{bytes.data(), bytes.size()}).Operand16(), 0x01FE);
  EXPECT_EQ(ReadLittle32(Bytes("78 56 34 F2").data()), 0xF2345678U);
  test::ByteString written(4);
  WriteLittle32(written.data(), 0xF2345678U);
  EXPECT_EQ(written, Bytes("78 56 34 F2"));
}

TEST(RasterDescriptorTest, IsReadFromTenBytesAtAnyAddress) {
  const auto bytes = Bytes("00 02 A5 04 03 02 01 80 02 00 00");
  const RasterDescriptor raster = RasterDescriptor::At(bytes.data() + 1);
  EXPECT_EQ(raster.BitsPerDot, 2);
  EXPECT_EQ(raster.RasterFlags, 0xA5);
  EXPECT_EQ(raster.LineCount, 0x01020304U);
  EXPECT_EQ(raster.DotsPerLine, 0x280U);
}

struct SizeCase {
  const char* phrase;
  std::uint8_t bitsPerDot;
  std::uint32_t dotsPerLine;
  std::uint32_t lineCount;
  std::uint32_t lineBytes;
  std::uint32_t rasterSize;
};
void PrintTo(const SizeCase& each, std::ostream* out) {
  *out << each.phrase;
}

class RasterSizeTest : public ::testing::TestWithParam<SizeCase> {};

TEST_P(RasterSizeTest, FollowsTheHeadModulo32Bits) {
  const SizeCase& c = GetParam();
  const RasterDescriptor raster{c.bitsPerDot, 0, c.lineCount, c.dotsPerLine};
  EXPECT_EQ(raster.LineBytes(), c.lineBytes) << c.phrase;
  EXPECT_EQ(raster.RasterSize(), c.rasterSize) << c.phrase;
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, RasterSizeTest,
    ::testing::Values(SizeCase{"whole bytes", 1, 16, 4, 2, 8}, SizeCase{"a rest of one dot rounds up", 1, 9, 3, 2, 6},
                      SizeCase{"two bits a dot", 2, 5, 3, 2, 6}, SizeCase{"no bits", 0, 672, 10, 0, 0},
                      SizeCase{"no dots", 1, 0, 10, 0, 0}, SizeCase{"no lines", 1, 672, 0, 84, 0},
                      SizeCase{"the first product wraps", 16, 0x10000001, 3, 2, 6},
                      SizeCase{"the second product wraps", 1, 16, 0x80000001, 2, 2},
                      SizeCase{"rounding up doesn't wrap", 255, 0x01010101, 1, 0x20000000, 0x20000000}));

}  // namespace
}  // namespace sc3xxmon
