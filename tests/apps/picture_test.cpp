#include "apps/kpl/picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <ostream>
#include <string>

#include "document_support.h"

namespace {

using document_support::Bytes;
using document_support::Drawn;
using document_support::ErrorOf;
using document_support::Hex;
using document_support::Input;
using document_support::Joined;
using document_support::Png;
using document_support::PngChunk;
using document_support::PngColour;
using document_support::PngData;
using document_support::PngEnd;
using document_support::PngHead;
using document_support::PngSignature;
using document_support::RowsOf;
using document_support::Text;
using sc3xx::Dithering;
using sc3xx::Fit;
using sc3xx::Picture;
using sc3xx::PictureOptions;
using sc3xx::ReadPicture;
using sc3xx::Rotation;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using Rows = std::vector<std::string>;

Rows Read(const Bytes& bytes, const PictureOptions& options = {}) {
  return RowsOf(ReadPicture(Input(bytes), options));
}

std::string ErrorFor(const Bytes& bytes, const PictureOptions& options = {}) {
  return ErrorOf([&] { ReadPicture(Input(bytes), options); });
}

// A grey picture of eight bits, row by row.
Bytes GreyPng(const std::vector<Bytes>& rows) {
  return Png(static_cast<std::uint32_t>(rows.at(0).size()), static_cast<std::uint32_t>(rows.size()), 8,
             PngColour::kGrey, rows);
}

Bytes EvenGrey(std::uint8_t grey, std::uint32_t side) {
  return GreyPng(std::vector<Bytes>(side, Bytes(side, grey)));
}

std::size_t BlackDots(const Picture& picture) {
  const Rows rows = RowsOf(picture);
  return std::accumulate(rows.begin(), rows.end(), std::size_t{0}, [](std::size_t sum, const std::string& row) {
    return sum + static_cast<std::size_t>(std::count(row.begin(), row.end(), '#'));
  });
}

TEST(PictureTest, KeepsTheLayoutOfARasterInKpl) {
  const Picture picture = Drawn({"#.......#", ".#......."});
  EXPECT_EQ(picture.LineBytes(), 2u);
  EXPECT_EQ(picture.raster, Hex("80 80 40 00"));
}

// --- PBM

TEST(PbmTest, ReadsPackedBitsWithOneAsBlack) {
  EXPECT_THAT(Read(Joined({Text("P4\n9 2\n"), Hex("80 80 40 7F")})), ElementsAre("#.......#", ".#......."));
}

TEST(PbmTest, IgnoresTheBitsBehindTheLastDotOfALine) {
  EXPECT_EQ(ReadPicture(Input(Joined({Text("P4 9 1 "), Hex("00 7F")}))).raster, Hex("00 00"));
}

TEST(PbmTest, ReadsPlainDigitsWithAndWithoutSpace) {
  EXPECT_THAT(Read(Text("P1 3 2\n1 0 1\n010")), ElementsAre("#.#", ".#."));
}

TEST(PbmTest, PassesOverComments) {
  EXPECT_THAT(Read(Text("P1 # one\n# two\n2 # three\n1\n1 # four\n0\n# five")), ElementsAre("#."));
}

TEST(PbmTest, TakesABitPatternThatLooksLikeSpaceAsBits) {
  EXPECT_THAT(Read(Joined({Text("P4 8 1\n"), Hex("0A")})), ElementsAre("....#.#."));
}

struct BadPbm {
  const char* name;
  Bytes bytes;
  const char* words;
};

void PrintTo(const BadPbm& bad, std::ostream* out) {
  *out << bad.name;
}

class BadPbmTest : public testing::TestWithParam<BadPbm> {};

TEST_P(BadPbmTest, IsRefusedWithTheReason) {
  EXPECT_THAT(ErrorFor(GetParam().bytes), AllOf(StartsWith("test: "), HasSubstr(GetParam().words)));
}

INSTANTIATE_TEST_SUITE_P(
    All, BadPbmTest,
    testing::Values(BadPbm{"NoWidth", Text("P1\n"), "cut off before its width"},
                    BadPbm{"NoHeight", Text("P1 3 "), "cut off before its height"},
                    BadPbm{"NoNumber", Text("P1 three"), "no number for its width at byte 3"},
                    BadPbm{"NegativeWidth", Text("P1 -3 2 "), "no number for its width"},
                    BadPbm{"NumberRunsIntoLetters", Text("P1 3x2 "), "no white space behind its width"},
                    BadPbm{"EmptyPicture", Text("P1 0 2 "), "is empty (0 x 2 dots)"},
                    BadPbm{"PackedCutOff", Joined({Text("P4 16 2\n"), Hex("FF FF FF")}), "need at least 1 bytes more"},
                    BadPbm{"PlainCutOff", Text("P1 2 2 1 0 1 "), "cut off after 3 of 4 dots"},
                    BadPbm{"PlainWithAnotherDigit", Text("P1 2 1 1 2"), "neither 0 nor 1 at byte 9"},
                    BadPbm{"MoreData", Joined({Text("P4 8 1\n"), Hex("FF FF")}), "data behind its last dot"},
                    BadPbm{"SecondPicture", Text("P1 1 1 1\nP1 1 1 0"), "more than one picture"},
                    BadPbm{"TooManyPixels", Text("P4 99999 99999 "), "too large to read"},
                    BadPbm{"NumberOfManyDigits", Text("P4 99999999999999999999 1 "), "too large to read"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(PbmTest, ASmallHeadCanNotClaimALargePicture) {
  // 60 million dots are allowed, but the file would need to hold them.
  EXPECT_THAT(ErrorFor(Text("P4 7746 7746\n")), HasSubstr("bytes more"));
}

// --- PNG

TEST(PngTest, ReadsOneBitGreyWithZeroAsBlack) {
  EXPECT_THAT(Read(Png(9, 2, 1, PngColour::kGrey, {Hex("7F 00"), Hex("BF 80")})),
              ElementsAre("#.......#", ".#......."));
}

TEST(PngTest, ReadsColourByItsBrightness) {
  const Bytes yellow = Hex("FF FF 00");
  const Bytes blue = Hex("00 00 FF");
  EXPECT_THAT(Read(Png(2, 1, 8, PngColour::kRgb, {Joined({yellow, blue})})), ElementsAre(".#"));
}

TEST(PngTest, ReadsAPalette) {
  const Bytes file = Joined({PngSignature(), PngHead(8, 1, 1, PngColour::kPalette),
                             PngChunk("PLTE", Hex("FF FF FF 10 10 10")), PngData({Hex("A0")}), PngEnd()});
  EXPECT_THAT(Read(file), ElementsAre("#.#....."));
}

TEST(PngTest, LaysTransparentPartsOverWhite) {
  const Bytes row = Hex("00 00 00 00  00 00 00 FF  00 00 00 20  FF FF FF FF");
  EXPECT_THAT(Read(Png(4, 1, 8, PngColour::kRgba, {row})), ElementsAre(".#.."));
  EXPECT_THAT(Read(Png(2, 1, 8, PngColour::kGreyAlpha, {Hex("00 00 00 FF")})), ElementsAre(".#"));
}

TEST(PngTest, TakesSixteenBitsForTheSameGreysAsEight) {
  for (const std::uint8_t grey : {std::uint8_t{100}, std::uint8_t{127}, std::uint8_t{128}, std::uint8_t{200}}) {
    const Bytes deep = Png(1, 1, 16, PngColour::kGrey, {{grey, grey}});
    EXPECT_EQ(Read(deep), Read(GreyPng({{grey}}))) << int{grey};
  }
}

TEST(PngTest, IsCutOffAnywhereAndNeverGivesAPartOfThePicture) {
  const Bytes whole = Png(40, 30, 8, PngColour::kGrey, std::vector<Bytes>(30, Bytes(40, 0)));
  for (std::size_t size = PngSignature().size(); size < whole.size(); ++size) {
    const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THAT(ErrorFor(part), AllOf(HasSubstr("damaged PNG"), HasSubstr("cut off"))) << size;
  }
}

TEST(PngTest, HasTheDataOfFewerRowsThanItsHeadTells) {
  const Bytes file = Joined({PngSignature(), PngHead(8, 3, 8, PngColour::kGrey), PngData({Bytes(8, 0)}), PngEnd()});
  EXPECT_THAT(ErrorFor(file), HasSubstr("damaged PNG"));
}

TEST(PngTest, HasAByteFlippedInItsData) {
  Bytes file = GreyPng({Bytes(20, 7)});
  file[PngSignature().size() + 25 + 15] ^= 0x40;
  EXPECT_THAT(ErrorFor(file), HasSubstr("damaged PNG"));
}

TEST(PngTest, IsNothingButASignature) {
  EXPECT_THAT(ErrorFor(PngSignature()), HasSubstr("cut off at byte 8"));
}

TEST(PngTest, HasNoHead) {
  EXPECT_THAT(ErrorFor(Joined({PngSignature(), PngEnd()})), HasSubstr("damaged PNG"));
}

TEST(PngTest, ClaimsMorePixelsThanAreReadInAFileOfAFewBytes) {
  const Bytes bomb = Joined({PngSignature(), PngHead(60'000, 60'000, 8, PngColour::kRgba), PngData({{}}), PngEnd()});
  EXPECT_THAT(ErrorFor(bomb), AllOf(HasSubstr("too large to read"), HasSubstr("60000 x 60000")));
}

TEST(PngTest, HasACommentThatWouldUnpackToALot) {
  // A text chunk is not needed for the picture, so its size must not matter.
  const Bytes file = Joined({PngSignature(), PngHead(1, 1, 8, PngColour::kGrey),
                             PngChunk("tEXt", Bytes(1'000'000, 'x')), PngData({{0}}), PngEnd()});
  EXPECT_THAT(Read(file), ElementsAre("#"));
}

// --- Other files

TEST(PictureFileTest, IsNoPicture) {
  EXPECT_THAT(ErrorFor(Hex("FF D8 FF E0")), AllOf(HasSubstr("JPEG"), HasSubstr("convert it to PNG")));
  EXPECT_THAT(ErrorFor(Hex("1B 73 00 00 00 00")), HasSubstr("is a job already"));
}

// --- Width

const Bytes kThreeWide = Text("P1 3 2 110 011");

TEST(PictureWidthTest, IsThePicturesOwnUnlessAsked) {
  EXPECT_THAT(Read(kThreeWide), ElementsAre("##.", ".##"));
}

TEST(PictureWidthTest, PadsWithWhiteOnBothSides) {
  EXPECT_THAT(Read(kThreeWide, {.width = 7}), ElementsAre("..##...", "...##.."));
  EXPECT_THAT(Read(kThreeWide, {.width = 4}), ElementsAre("##..", ".##."));
}

TEST(PictureWidthTest, RefusesToPadAWiderPicture) {
  EXPECT_THAT(ErrorFor(kThreeWide, {.width = 2}),
              AllOf(HasSubstr("3 dots wide"), HasSubstr("at most 2"), HasSubstr("scaled or cropped")));
}

TEST(PictureWidthTest, CropsTheSameOnBothSides) {
  EXPECT_THAT(Read(Text("P1 6 1 101101"), {.width = 4, .fit = Fit::kCrop}), ElementsAre(".##."));
  EXPECT_THAT(Read(kThreeWide, {.width = 5, .fit = Fit::kCrop}), ElementsAre(".##..", "..##."));
}

TEST(PictureWidthTest, ScalesInProportion) {
  EXPECT_THAT(Read(kThreeWide, {.width = 6, .fit = Fit::kScale}), ElementsAre("####..", "####..", "..####", "..####"));
  EXPECT_THAT(Read(Text("P1 4 2 1100 1100"), {.width = 2, .fit = Fit::kScale}), ElementsAre("#."));
}

TEST(PictureWidthTest, ScalesByAreaSoThatNoDotIsLost) {
  // Three pixels to two: each new one is two thirds of an outer and one third of the inner pixel.
  PictureOptions options{.width = 2, .fit = Fit::kScale};
  options.threshold = 170;  // the mean of black, black, white in thirds is 85, of white, white, black 170
  EXPECT_THAT(Read(GreyPng({{0, 0, 255}, {0, 0, 255}, {0, 0, 255}}), options), ElementsAre("#.", "#."));
  options.threshold = 171;
  EXPECT_THAT(Read(GreyPng({{0, 0, 255}, {0, 0, 255}, {0, 0, 255}}), options), ElementsAre("##", "##"));
}

TEST(PictureWidthTest, ScaledPicturesKeepAtLeastOneLine) {
  EXPECT_THAT(Read(Text("P1 9 1 111111111"), {.width = 1, .fit = Fit::kScale}), ElementsAre("#"));
}

TEST(PictureWidthTest, IsLimited) {
  const Bytes wide = Joined({Text("P4 1288 1\n"), Bytes(161, 0xFF)});
  EXPECT_THAT(ErrorFor(wide), AllOf(HasSubstr("1288 dots wide"), HasSubstr("at most 1280"), HasSubstr("turn it")));
  EXPECT_EQ(ReadPicture(Input(wide), {.maxDots = 1288}).width, 1288u);
  EXPECT_THAT(ErrorFor(kThreeWide, {.width = 1281}), HasSubstr("choose 1 to 1280"));
  EXPECT_THAT(ErrorFor(kThreeWide, {.width = 0}), HasSubstr("choose 1 to 1280"));
}

TEST(PictureLengthTest, IsLimited) {
  EXPECT_THAT(ErrorFor(kThreeWide, {.maxLines = 1}), HasSubstr("2 lines long, but at most 1"));
  EXPECT_THAT(ErrorFor(Text("P1 1 60000 1"), {.width = 1280, .fit = Fit::kScale}), HasSubstr("cut off"));
  const Bytes column = Joined({Text("P4 1 60000\n"), Bytes(60'000, 0x80)});
  EXPECT_THAT(ErrorFor(column, {.width = 1280, .fit = Fit::kScale}), HasSubstr("76800000 lines long"));
}

// --- Turning

TEST(PictureRotationTest, TurnsClockwise) {
  EXPECT_THAT(Read(kThreeWide, {.rotation = Rotation::kQuarter}), ElementsAre(".#", "##", "#."));
  EXPECT_THAT(Read(kThreeWide, {.rotation = Rotation::kHalf}), ElementsAre("##.", ".##"));
  EXPECT_THAT(Read(Text("P1 3 2 100 000"), {.rotation = Rotation::kQuarter}), ElementsAre(".#", "..", ".."));
  EXPECT_THAT(Read(Text("P1 3 2 100 000"), {.rotation = Rotation::kHalf}), ElementsAre("...", "..#"));
  EXPECT_THAT(Read(Text("P1 3 2 100 000"), {.rotation = Rotation::kThreeQuarters}), ElementsAre("..", "..", "#."));
}

TEST(PictureRotationTest, ComesBeforeTheWidthIsJudged) {
  const Bytes strip = Joined({Text("P4 4000 1\n"), Bytes(500, 0xFF)});
  EXPECT_EQ(ReadPicture(Input(strip), {.rotation = Rotation::kQuarter}).height, 4000u);
}

// --- Dots

TEST(DitheringTest, ThresholdMakesEverythingBelowItBlack) {
  const Bytes greys = GreyPng({{0, 127, 128, 255}});
  EXPECT_THAT(Read(greys), ElementsAre("##.."));
  EXPECT_THAT(Read(greys, {.threshold = 255}), ElementsAre("###."));
  EXPECT_THAT(Read(greys, {.threshold = 1}), ElementsAre("#..."));
}

class EvenGreyTest : public testing::TestWithParam<std::tuple<Dithering, int>> {};

std::string NameOfGrey(const testing::TestParamInfo<EvenGreyTest::ParamType>& each) {
  const auto [dithering, grey] = each.param;
  return (dithering == Dithering::kOrdered ? "Ordered" : "FloydSteinberg") + std::to_string(grey);
}

TEST_P(EvenGreyTest, ComesOutAsSoManyDots) {
  const auto [dithering, grey] = GetParam();
  constexpr std::uint32_t kSide = 64;
  const Picture picture =
      ReadPicture(Input(EvenGrey(static_cast<std::uint8_t>(grey), kSide)), {.dithering = dithering});
  const double wanted = (255.0 - grey) / 255.0;
  EXPECT_NEAR(static_cast<double>(BlackDots(picture)) / (kSide * kSide), wanted, 0.02);
}

INSTANTIATE_TEST_SUITE_P(All, EvenGreyTest,
                         testing::Combine(testing::Values(Dithering::kOrdered, Dithering::kFloydSteinberg),
                                          testing::Values(0, 3, 32, 64, 100, 128, 191, 240, 252, 255)),
                         NameOfGrey);

TEST(DitheringTest, LeavesLineArtAloneInEveryWay) {
  const Bytes art = Text("P1 8 3 10101010 01100110 11110000");
  EXPECT_EQ(Read(art, {.dithering = Dithering::kOrdered}), Read(art));
  EXPECT_EQ(Read(art, {.dithering = Dithering::kFloydSteinberg}), Read(art));
}

TEST(DitheringTest, DoesNotSpeckleTheWhiteBesideAGrey) {
  std::vector<Bytes> rows(32, Bytes(32, 255));
  for (Bytes& row : rows) {
    std::fill_n(row.begin(), 16, std::uint8_t{90});
  }
  for (const std::string& row : Read(GreyPng(rows), {.dithering = Dithering::kFloydSteinberg})) {
    EXPECT_EQ(row.substr(16), std::string(16, '.'));
  }
}

TEST(DitheringTest, InvertsAfterwardsAndLeavesTheBitsBehindALineClear) {
  const Picture picture = ReadPicture(Input(kThreeWide), {.invert = true});
  EXPECT_THAT(RowsOf(picture), ElementsAre("..#", "#.."));
  EXPECT_EQ(picture.raster, Hex("20 80"));
}

}  // namespace
