#include "simulator/label_picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace simulator {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

// Grey values, one byte a dot, as any viewer would see them.
struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Bytes grey;
};

Picture Decode(const Bytes& png) {
  Picture picture;
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_memory(&image, png.data(), png.size()), 0) << image.message;
  image.format = PNG_FORMAT_GRAY;
  picture.width = image.width;
  picture.height = image.height;
  picture.grey.resize(PNG_IMAGE_SIZE(image));
  EXPECT_NE(png_image_finish_read(&image, nullptr, picture.grey.data(), 0, nullptr), 0) << image.message;
  return picture;
}

Bytes Encoded(const RasterView& raster) {
  auto encoded = EncodePng(raster);
  if (const auto* error = std::get_if<PictureError>(&encoded)) {
    ADD_FAILURE() << error->message;
    return {};
  }
  return std::get<Bytes>(std::move(encoded));
}

std::string ErrorOf(const RasterView& raster) {
  const auto encoded = EncodePng(raster);
  const auto* error = std::get_if<PictureError>(&encoded);
  return error == nullptr ? "" : error->message;
}

TEST(LabelPictureTest, ShowsDotsBlackOnWhite) {
  const Bytes raster{0xA0, 0x01};  // #.#.....  ........ / .......# in two lines of 8
  const Picture picture = Decode(Encoded({raster, 8, 2, 1}));
  EXPECT_EQ(picture.width, 8u);
  EXPECT_EQ(picture.height, 2u);
  EXPECT_EQ(picture.grey, (Bytes{0, 255, 0, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0}));
}

TEST(LabelPictureTest, LeavesOutTheBitsThatFillALine) {
  const Bytes raster{0xFF, 0xFF, 0x00, 0x00};
  const Picture picture = Decode(Encoded({raster, 9, 2, 1}));
  EXPECT_EQ(picture.width, 9u);
  EXPECT_EQ(picture.grey[8], 0);
  EXPECT_EQ(picture.grey[9], 255);
}

TEST(LabelPictureTest, IsAOneBitGreyPictureOf300DotsAnInch) {
  const Bytes raster{0xFF};
  const Bytes png = Encoded({raster, 8, 1, 1});
  EXPECT_EQ(png[24], 1);  // bit depth
  EXPECT_EQ(png[25], 0);  // grey
  const std::string text(png.begin(), png.end());
  const std::size_t physical = text.find("pHYs");
  ASSERT_NE(physical, std::string::npos);
  EXPECT_EQ((Bytes{png.begin() + static_cast<std::ptrdiff_t>(physical) + 4,
                   png.begin() + static_cast<std::ptrdiff_t>(physical) + 8}),
            (Bytes{0, 0, 0x2E, 0x23}));
}

TEST(LabelPictureTest, ShowsTwoFourAndEightBitsADotAsGrey) {
  EXPECT_EQ(Decode(Encoded({Bytes{0x1B}, 4, 1, 2})).grey, (Bytes{255, 170, 85, 0}));
  EXPECT_EQ(Decode(Encoded({Bytes{0x0F}, 2, 1, 4})).grey, (Bytes{255, 0}));
  EXPECT_EQ(Decode(Encoded({Bytes{0x00, 0x40, 0xFF}, 3, 1, 8})).grey, (Bytes{255, 0xBF, 0}));
}

TEST(LabelPictureTest, RefusesWhatCantBeDrawn) {
  const Bytes raster(10, 0);
  EXPECT_THAT(ErrorOf({raster, 0, 1, 1}), HasSubstr("blank"));
  EXPECT_THAT(ErrorOf({raster, 8, 0, 1}), HasSubstr("blank"));
  EXPECT_THAT(ErrorOf({raster, 8, 1, 3}), HasSubstr("3 bits a dot"));
  EXPECT_THAT(ErrorOf({raster, 8, 11, 1}), HasSubstr("shorter"));
  EXPECT_THAT(ErrorOf({raster, 0xFFFFFFFF, 1, 1}), HasSubstr("too large"));
}

class PictureFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder =
        std::filesystem::path(::testing::TempDir()) / ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::filesystem::create_directories(folder);
  }
  void TearDown() override { std::filesystem::remove_all(folder); }
  std::filesystem::path folder;
};

TEST_F(PictureFileTest, WritesTheSameBytesAsInMemory) {
  const Bytes dots(40, 0x5A);
  const RasterView view{dots, 64, 5, 1};
  EXPECT_THAT(WritePng(view, folder / "label.png"), IsEmpty());
  std::ifstream file(folder / "label.png", std::ios::binary);
  EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(file), {}), Encoded(view));
}

TEST_F(PictureFileTest, SaysWhichFileCouldntBeWrittenAndWhy) {
  const Bytes dots(1, 0xFF);
  const std::string error = WritePng({dots, 8, 1, 1}, folder / "missing" / "label.png");
  EXPECT_THAT(error, HasSubstr("missing/label.png"));
  EXPECT_THAT(error, HasSubstr("No such file or directory"));
}

TEST_F(PictureFileTest, LeavesNoHalfFileOnAFullDisk) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "this system has no full device to write to";
  std::filesystem::create_symlink("/dev/full", folder / "label.png");
  const Bytes dots(100000, 0x35);
  EXPECT_THAT(WritePng({dots, 80, 10000, 1}, folder / "label.png"), HasSubstr("No space left"));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(folder / "label.png")));
}

}  // namespace
}  // namespace simulator
