#include "diag/bitmap_file.h"

#include "diag/log_fixture.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::Hex;
using ::testing::SizeIs;

constexpr std::uint32_t kColours[] = {0x00FFFFFF, 0x00000000};

class BitmapFileTest : public ::testing::Test {
 protected:
  ByteString Write(const BitmapHeads& heads, const ByteString& rows, bool padded = false) {
    EXPECT_TRUE(WriteBitmapFile(path.wstring(), heads, kColours, rows, padded));
    return test::BytesOfFile(path);
  }
  static ByteString RowsOf(const ByteString& file) { return {file.begin() + 62, file.end()}; }

  test::LogRoot root;
  std::filesystem::path path = root.Path() / "picture.bmp";
};

TEST_F(BitmapFileTest, AFileOf16DotsAnd3LinesByteForByte) {
  EXPECT_EQ(Hex(Write(HeadsFor(16, 3), Bytes("11 12 21 22 31 32"))),
            "42 4D 4A 00 00 00 00 00 00 00 3E 00 00 00 "
            "28 00 00 00 10 00 00 00 03 00 00 00 01 00 01 00 00 00 00 00 0C 00 00 00 "
            "00 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 "
            "FF FF FF 00 00 00 00 00 "
            "31 32 00 00 21 22 00 00 11 12 00 00");
}

TEST_F(BitmapFileTest, ARowOf33DotsIsFourBytesWhileEightAreCounted) {
  const BitmapHeads heads = HeadsFor(33, 2);
  EXPECT_EQ(heads.biSizeImage, 16U);
  const ByteString file = Write(heads, Bytes("01 02 03 04 05 06 07 08 09 0A"));
  EXPECT_EQ(Hex(RowsOf(file)), "05 06 07 08 01 02 03 04");
  EXPECT_THAT(file, SizeIs(70));
}

TEST_F(BitmapFileTest, ARowOf12DotsIsOneByteAndItsPadding) {
  EXPECT_EQ(Hex(RowsOf(Write(HeadsFor(12, 2), Bytes("01 02 03 04")))), "02 00 00 00 01 00 00 00");
}

TEST_F(BitmapFileTest, RowsThatCarryTheirPaddingAreSteppedOverWithIt) {
  EXPECT_EQ(Hex(RowsOf(Write(HeadsFor(8, 2), Bytes("01 A1 A2 A3 02 B1 B2 B3"), true))), "02 00 00 00 01 00 00 00");
}

TEST_F(BitmapFileTest, WithoutASourceOnlyThePaddingIsThere) {
  EXPECT_EQ(Hex(RowsOf(Write(HeadsFor(16, 3), {}))), "00 00 00 00 00 00");
}

TEST_F(BitmapFileTest, ASourceThatEndsEarlyGivesWhatItHas) {
  EXPECT_EQ(Hex(RowsOf(Write(HeadsFor(16, 3), Bytes("01 02 03")))), "00 00 03 00 00 01 02 00 00");
}

TEST_F(BitmapFileTest, ANegativeHeightCountsAsItsAmount) {
  BitmapHeads heads = HeadsFor(32, 2);
  heads.biHeight = -2;
  EXPECT_EQ(Hex(RowsOf(Write(heads, Bytes("01 02 03 04 05 06 07 08")))), "05 06 07 08 01 02 03 04");
}

TEST_F(BitmapFileTest, TheSizeIsCutTo32Bits) {
  EXPECT_EQ(HeadsFor(0x80000000, 16).biSizeImage, 0U);
  EXPECT_EQ(HeadsFor(64, 0x20000000).biSizeImage, 0U);
  EXPECT_EQ(HeadsFor(40, 0x20000001).biSizeImage, 8U);
}

TEST_F(BitmapFileTest, WithoutColoursThereIsNoTable) {
  BitmapHeads heads = HeadsFor(32, 1);
  heads.biClrUsed = 0;
  EXPECT_THAT(Write(heads, Bytes("01 02 03 04")), SizeIs(54 + 4));
}

TEST_F(BitmapFileTest, AFileOfThatNameIsReplaced) {
  Write(HeadsFor(32, 9), ByteString(36, 0xFF));
  EXPECT_THAT(Write(HeadsFor(32, 1), Bytes("01 02 03 04")), SizeIs(66));
}

TEST_F(BitmapFileTest, WithoutAPathOrAFolderThereIsNoFile) {
  EXPECT_FALSE(WriteBitmapFile(L"", HeadsFor(8, 1), kColours, {}, false));
  EXPECT_FALSE(WriteBitmapFile(L"/nonexistent/picture.bmp", HeadsFor(8, 1), kColours, {}, false));
}

}  // namespace
}  // namespace sc3xxmon
