#include "apps/kpl/encode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "apps/kpl/inspect.h"
#include "document_support.h"

namespace {

using document_support::Bytes;
using document_support::Drawn;
using document_support::ErrorOf;
using document_support::Hex;
using document_support::Input;
using document_support::Joined;
using document_support::Noise;
using document_support::Text;
using sc3xx::Compression;
using sc3xx::EncodeJob;
using sc3xx::EncodeOptions;
using sc3xx::InspectReport;
using sc3xx::InspectStream;
using sc3xx::LabelEnd;
using sc3xx::LabelLength;
using sc3xx::Picture;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const Picture kTwoLines = Drawn({"########", "........"});
const Picture kThreeLines = Drawn({"........", "########", "#......."});

Bytes Encode(const std::vector<Picture>& pictures, const EncodeOptions& options = {}) {
  return EncodeJob(pictures, options);
}

InspectReport Inspect(const Bytes& job) {
  return InspectStream(job, "test");
}

// The pictures that stand in a job, read back.
std::vector<Picture> PicturesIn(const Bytes& job) {
  std::vector<Picture> pictures;
  for (const auto& label : Inspect(job).labels) {
    const auto raster = sc3xx::RasterOfLabel(label, job);
    EXPECT_EQ(raster.bitsPerDot, 1);
    pictures.push_back({raster.dotsPerLine, raster.lineCount, raster.bytes});
  }
  return pictures;
}

TEST(EncodeTest, MakesAJobOfTwoLabels) {
  EXPECT_EQ(Encode({kTwoLines, kThreeLines}, {.jobId = 0x01020304}),
            Hex("1B 73 04 03 02 01"
                "1B 4C 02 00"
                "1B 71 31"
                "1B 6E 01 00  1B 44 01 00 02 00 00 00 08 00 00 00 FF 00     1B 47"
                "1B 4C 03 00"
                "1B 6E 02 00  1B 44 01 00 03 00 00 00 08 00 00 00 00 FF 80  1B 47"
                "1B 51"));
}

TEST(EncodeTest, AnnouncesALengthOnlyWhereItChanges) {
  const Bytes job = Encode({kTwoLines, kTwoLines, kThreeLines, kThreeLines});
  std::vector<std::uint32_t> between;
  for (const auto& label : Inspect(job).labels) {
    between.push_back(label.betweenLabelsBytes);
  }
  EXPECT_THAT(between, testing::ElementsAre(0, 0, 4, 0));
}

TEST(EncodeTest, TellsOpenLengthOnceInTheHeader) {
  EXPECT_EQ(Encode({kTwoLines, kThreeLines}, {.labelLength = LabelLength::kOpen}),
            Hex("1B 73 01 00 00 00"
                "1B 4C FF FF"
                "1B 71 31"
                "1B 6E 01 00  1B 44 01 00 02 00 00 00 08 00 00 00 FF 00     1B 47"
                "1B 6E 02 00  1B 44 01 00 03 00 00 00 08 00 00 00 00 FF 80  1B 47"
                "1B 51"));
}

TEST(EncodeTest, LeavesLengthsOut) {
  EXPECT_EQ(Encode({kTwoLines}, {.labelLength = LabelLength::kOmitted, .roll = 0x32}),
            Hex("1B 73 01 00 00 00"
                "1B 71 32"
                "1B 6E 01 00  1B 44 01 00 02 00 00 00 08 00 00 00 FF 00  1B 47"
                "1B 51"));
}

TEST(EncodeTest, EndsLabelsWithACut) {
  EXPECT_EQ(Encode({kTwoLines}, {.labelEnd = LabelEnd::kCut, .cutOperand = 7}),
            Hex("1B 73 01 00 00 00"
                "1B 4C 02 00"
                "1B 71 31"
                "1B 6E 01 00  1B 44 01 00 02 00 00 00 08 00 00 00 FF 00  1B 70 07"
                "1B 51"));
}

TEST(EncodeTest, PutsALengthBehindTheIndexWhereNothingElseEndsTheLabelBefore) {
  EXPECT_EQ(Encode({kTwoLines, kThreeLines}, {.labelEnd = LabelEnd::kNone}),
            Hex("1B 73 01 00 00 00"
                "1B 4C 02 00"
                "1B 71 31"
                "1B 6E 01 00               1B 44 01 00 02 00 00 00 08 00 00 00 FF 00"
                "1B 6E 02 00  1B 4C 03 00  1B 44 01 00 03 00 00 00 08 00 00 00 00 FF 80"
                "1B 51"));
}

TEST(EncodeTest, LetsTheLongFormFeedEndTheLastLabel) {
  EXPECT_EQ(Encode({kTwoLines, kTwoLines}, {.finalFeed = true}),
            Hex("1B 73 01 00 00 00"
                "1B 4C 02 00"
                "1B 71 31"
                "1B 6E 01 00  1B 44 01 00 02 00 00 00 08 00 00 00 FF 00  1B 47"
                "1B 6E 02 00  1B 44 01 00 02 00 00 00 08 00 00 00 FF 00"
                "1B 45  1B 51"));
}

TEST(EncodeTest, GivesEachCopyAnIndexOfItsOwn) {
  const Bytes job = Encode({kTwoLines, kThreeLines}, {.copies = 2});
  const auto report = Inspect(job);
  ASSERT_THAT(report.labels, SizeIs(4));
  for (std::uint32_t place = 0; place < 4; ++place) {
    EXPECT_EQ(report.labels[place].index, place + 1);
  }
  EXPECT_THAT(PicturesIn(job), testing::ElementsAre(kTwoLines, kTwoLines, kThreeLines, kThreeLines));
}

TEST(EncodeTest, CompressesWhatBecomesSmallerAndLeavesTheRest) {
  const Picture blank = sc3xx::BlankPicture(400, 300);
  const Picture noise = Noise(400, 300, 1);
  const Bytes job = Encode({blank, noise}, {.compression = Compression::kLz4});
  const auto report = Inspect(job);
  ASSERT_THAT(report.labels, SizeIs(2));
  EXPECT_TRUE(report.labels[0].rasters.at(0).compressed);
  EXPECT_LT(report.labels[0].rasters.at(0).dataLength, 200u);
  EXPECT_FALSE(report.labels[1].rasters.at(0).compressed);
  EXPECT_THAT(PicturesIn(job), testing::ElementsAre(blank, noise));
}

TEST(EncodeTest, IndexesUpToTheLastNumberOfSixteenBits) {
  const Bytes job = Encode({Drawn({"#"})}, {.copies = 65535});
  EXPECT_EQ(Inspect(job).labels.back().index, 65535u);
  EXPECT_THAT(ErrorOf([] { Encode({Drawn({"#"})}, {.copies = 65536}); }), HasSubstr("more than 65535 labels"));
  EXPECT_THAT(ErrorOf([] { Encode({kTwoLines, kTwoLines}, {.copies = 32768}); }), HasSubstr("2 pictures"));
}

TEST(EncodeTest, RefusesAJobWithoutLabels) {
  EXPECT_THAT(ErrorOf([] { Encode({}); }), HasSubstr("at least one label"));
  EXPECT_THAT(ErrorOf([] { Encode({kTwoLines}, {.copies = 0}); }), HasSubstr("at least one copy"));
  EXPECT_THAT(ErrorOf([] { Encode({Picture{}}); }), HasSubstr("nothing to print"));
}

TEST(EncodeTest, RefusesAPictureWhoseRasterDoesNotFitItsSize) {
  EXPECT_THAT(ErrorOf([] { Encode({Picture{8, 2, {0xFF}}}); }), HasSubstr("doesn't fit"));
}

TEST(EncodeTest, RefusesToAnnounceALengthThatMeansOpen) {
  const Picture longest = sc3xx::BlankPicture(1, 65534);
  const Picture tooLong = sc3xx::BlankPicture(1, 65535);
  EXPECT_TRUE(Inspect(Encode({longest})).IsSound());
  EXPECT_FALSE(Inspect(Encode({longest})).openLength);
  EXPECT_THAT(ErrorOf([&] { Encode({tooLong}); }), HasSubstr("choose open length"));
  EXPECT_TRUE(Inspect(Encode({tooLong}, {.labelLength = LabelLength::kOpen})).IsSound());
}

TEST(EncodeTest, RefusesAJobThatNobodyCouldReadBack) {
  const Picture large = sc3xx::BlankPicture(1280, 60'000);
  EXPECT_THAT(ErrorOf([&] { Encode({large}, {.copies = 1000}); }), HasSubstr("ask for fewer copies"));
}

// The byte that a monitor may take for the ending letter of a label stands in the labels behind it. Rasters full of 'Q'
// and 'E' put one there in almost every job that doesn't take care.
std::uint32_t Below(std::mt19937& random, std::uint32_t limit) {
  return static_cast<std::uint32_t>(random() % limit);
}

Picture FullOfLetters(std::mt19937& random) {
  Picture picture = sc3xx::BlankPicture(8 * (1 + Below(random, 6)), 1 + Below(random, 40));
  for (auto& byte : picture.raster) {
    byte = random() % 4 == 0 ? static_cast<std::uint8_t>(random()) : (random() % 2 == 0 ? 'Q' : 'E');
  }
  return picture;
}

std::string NameOf(LabelEnd end) {
  switch (end) {
    case LabelEnd::kFormFeed:
      return "FormFeed";
    case LabelEnd::kCut:
      return "Cut";
    case LabelEnd::kNone:
      return "NoEnd";
  }
  return "";
}

std::string NameOf(LabelLength length) {
  switch (length) {
    case LabelLength::kAnnounced:
      return "Announced";
    case LabelLength::kOpen:
      return "Open";
    case LabelLength::kOmitted:
      return "Omitted";
  }
  return "";
}

class SafeEndsTest : public testing::TestWithParam<LabelEnd> {};

TEST_P(SafeEndsTest, NeverLetTheRasterOfALaterLabelPassForTheEndOfTheJob) {
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    std::vector<Picture> pictures;
    for (std::uint32_t count = 1 + Below(random, 6); count > 0; --count) {
      pictures.push_back(FullOfLetters(random));
    }
    EncodeOptions options{.labelEnd = GetParam()};
    options.copies = 1 + Below(random, 2);
    options.finalFeed = random() % 2 == 0;
    const Bytes job = Encode(pictures, options);
    ASSERT_THAT(Inspect(job).problems, IsEmpty()) << "seed " << seed;
    std::vector<Picture> wanted;
    for (const Picture& picture : pictures) {
      wanted.insert(wanted.end(), options.copies, picture);
    }
    ASSERT_EQ(PicturesIn(job), wanted) << "seed " << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(All, SafeEndsTest, testing::Values(LabelEnd::kFormFeed, LabelEnd::kCut, LabelEnd::kNone),
                         [](const auto& each) { return NameOf(each.param); });

// Every way to encode gives back the pictures that went in.
class RoundTripTest : public testing::TestWithParam<std::tuple<Compression, LabelEnd, LabelLength, bool>> {};

std::string NameOfRoundTrip(const testing::TestParamInfo<RoundTripTest::ParamType>& each) {
  const auto [compression, labelEnd, labelLength, finalFeed] = each.param;
  return (compression == Compression::kLz4 ? "Lz4" : "Plain") + NameOf(labelEnd) + NameOf(labelLength) +
         (finalFeed ? "Fed" : "");
}

TEST_P(RoundTripTest, GivesBackThePictures) {
  const auto [compression, labelEnd, labelLength, finalFeed] = GetParam();
  EncodeOptions options;
  options.compression = compression;
  options.labelEnd = labelEnd;
  options.labelLength = labelLength;
  options.finalFeed = finalFeed;
  const std::vector<Picture> pictures = {Noise(1, 1, 2), sc3xx::BlankPicture(601, 99), Noise(37, 250, 3), kTwoLines,
                                         sc3xx::BlankPicture(601, 99)};
  const Bytes job = Encode(pictures, options);
  const auto report = Inspect(job);
  EXPECT_THAT(report.problems, IsEmpty());
  EXPECT_EQ(report.openLength, labelLength == LabelLength::kOpen);
  ASSERT_TRUE(report.footer.has_value());
  EXPECT_EQ(report.footer->length, finalFeed ? 4u : 2u);
  EXPECT_EQ(PicturesIn(job), pictures);
}

INSTANTIATE_TEST_SUITE_P(All, RoundTripTest,
                         testing::Combine(testing::Values(Compression::kNone, Compression::kLz4),
                                          testing::Values(LabelEnd::kFormFeed, LabelEnd::kCut, LabelEnd::kNone),
                                          testing::Values(LabelLength::kAnnounced, LabelLength::kOpen,
                                                          LabelLength::kOmitted),
                                          testing::Bool()),
                         NameOfRoundTrip);

TEST(JobFromInputTest, GivesAStreamBackAsItIs) {
  const Bytes broken = Hex("1B 73 01 00 00 00 1B 51 99");
  EXPECT_EQ(sc3xx::JobFromInput(Input(broken)), broken);
}

TEST(JobFromInputTest, EncodesAPicture) {
  const Bytes job = sc3xx::JobFromInput(Input(Text("P1 8 2 11111111 00000000")));
  EXPECT_EQ(job, Encode({kTwoLines}));
}

TEST(JobFromInputTest, RefusesAnythingElse) {
  EXPECT_THAT(ErrorOf([] { sc3xx::JobFromInput(Input(Text("Dear printer"))); }),
              testing::AllOf(HasSubstr("test: can't be printed, because it is text"), HasSubstr("1B 73")));
}

}  // namespace
