#include "stream/raster_compression.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lz4.h>

#include <random>

namespace sc3xxmon {
namespace {

using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;
using ::testing::Lt;
using ::testing::SizeIs;

std::vector<std::uint8_t> Noise(std::size_t size) {
  std::mt19937 random(1);
  std::vector<std::uint8_t> bytes(size);
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(random());
  }
  return bytes;
}

TEST(CompressRasterTest, GivesOneBlockThatAnyDecoderReads) {
  const std::vector<std::uint8_t> raster(5000, 0xAA);
  const ByteVector block = CompressRaster(raster);
  ASSERT_THAT(block, SizeIs(Lt(100U)));
  std::vector<std::uint8_t> out(5000);
  const int size = LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(out.data()),
                                       static_cast<int>(block.size()), static_cast<int>(out.size()));
  EXPECT_EQ(size, 5000);
  EXPECT_EQ(out, raster);
}

TEST(CompressRasterTest, AnIncompressibleRasterStillGivesABlockThatIsLarger) {
  const auto raster = Noise(1000);
  const ByteVector block = CompressRaster(raster);
  EXPECT_THAT(block, SizeIs(Gt(raster.size())));
  const ByteVector back = DecompressRaster(block, 1000);
  EXPECT_TRUE(std::equal(back.begin(), back.end(), raster.begin(), raster.end()));
}

TEST(CompressRasterTest, NothingGivesNothing) {
  EXPECT_THAT(CompressRaster({}), IsEmpty());
  const std::uint8_t byte = 0;
  EXPECT_THAT(CompressRaster({&byte, 0}), IsEmpty());
}

TEST(CompressRasterTest, OneByteGivesABlock) {
  const std::uint8_t byte = 0x5A;
  EXPECT_THAT(DecompressRaster(CompressRaster({&byte, 1}), 1), ElementsAre(0x5A));
}

TEST(CompressRasterTest, ARasterBeyondTheFormatsLimitGivesNothing) {
  const std::uint8_t byte = 0;
  EXPECT_THAT(CompressRaster({&byte, std::size_t{LZ4_MAX_INPUT_SIZE} + 1}), IsEmpty());
}

TEST(DecompressRasterTest, NothingGivesNothing) {
  EXPECT_THAT(DecompressRaster({}, 100), IsEmpty());
  const std::uint8_t byte = 0;
  EXPECT_THAT(DecompressRaster({&byte, 0}, 100), IsEmpty());
}

TEST(DecompressRasterTest, AnExpectedSizeThatIsTooSmallSucceedsWithinTheSpareRoom) {
  const auto raster = Noise(1000);
  const ByteVector block = CompressRaster(raster);
  EXPECT_THAT(DecompressRaster(block, 10), SizeIs(1000U));
}

TEST(DecompressRasterTest, TheSpareRoomIsFourThousandAndNinetySixBytes) {
  const ByteVector fits = CompressRaster(std::vector<std::uint8_t>(100 + 4096, 0));
  const ByteVector tooLong = CompressRaster(std::vector<std::uint8_t>(100 + 4097, 0));
  ASSERT_THAT(tooLong, SizeIs(Lt(100U)));
  EXPECT_THAT(DecompressRaster(fits, 100), SizeIs(4196U));
  EXPECT_THAT(DecompressRaster(tooLong, 100), IsEmpty());
}

TEST(DecompressRasterTest, AnExpectedSizeThatIsTooLargeGivesTheRealBytes) {
  const ByteVector block = CompressRaster(std::vector<std::uint8_t>(100, 1));
  EXPECT_EQ(DecompressRaster(block, 5000), ByteVector(100, 1));
}

TEST(DecompressRasterTest, ADamagedBlockGivesNothing) {
  ByteVector block = CompressRaster(std::vector<std::uint8_t>(1000, 1));
  block.pop_back();
  EXPECT_THAT(DecompressRaster(block, 1000), IsEmpty());
  EXPECT_THAT(DecompressRaster(std::vector<std::uint8_t>(20, 0xFF), 1000), IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon
