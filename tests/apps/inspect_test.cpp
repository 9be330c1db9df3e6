#include "apps/kpl/inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/kpl/encode.h"
#include "document_support.h"

namespace {

using document_support::Bytes;
using document_support::ErrorOf;
using document_support::Hex;
using document_support::Input;
using document_support::Joined;
using document_support::Noise;
using document_support::ScratchFolder;
using document_support::Text;
using sc3xx::InspectReport;
using sc3xx::InspectStream;
using sc3xx::JobSection;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Severity = sc3xx::InspectedProblem::Severity;

const Bytes kStart = Hex("1B 73 01 00 00 00");
const Bytes kRoll = Hex("1B 71 31");
const Bytes kRaster = Hex("1B 44 01 00 02 00 00 00 08 00 00 00 FF 00");
const Bytes kLength = Hex("1B 4C 10 00");
const Bytes kFeed = Hex("1B 47");
const Bytes kEnd = Hex("1B 51");
const Bytes kFirstIndex = Hex("1B 6E 01 00");
const Bytes kSecondIndex = Hex("1B 6E 02 00");

// A job of two labels: the first ended by a form feed, the second by the end of the job.
const Bytes kSmallJob = Joined({kStart, kRoll, kFirstIndex, kRaster, kFeed, kLength, kSecondIndex,
                                Hex("1B 44 01 00 02 00 00 00 08 00 00 00 00 FF"), kEnd});

InspectReport Inspect(const Bytes& stream) {
  return InspectStream(stream, "test");
}

TEST(InspectTest, CutsASmallJobIntoHeaderLabelsAndFooter) {
  const auto report = Inspect(kSmallJob);
  EXPECT_TRUE(report.IsSound());
  EXPECT_THAT(report.problems, IsEmpty());
  EXPECT_EQ(report.size, 53u);
  ASSERT_TRUE(report.header.has_value());
  EXPECT_EQ(report.header->length, 9u);
  EXPECT_EQ(report.jobId, 1u);
  EXPECT_FALSE(report.openLength);

  ASSERT_THAT(report.labels, SizeIs(2));
  const auto& first = report.labels[0];
  EXPECT_EQ(first.offset, 9u);
  EXPECT_EQ(first.length, 20u);
  EXPECT_EQ(first.index, 1u);
  EXPECT_EQ(first.betweenLabelsBytes, 0u);
  EXPECT_EQ(first.endLetter, 'G');
  const auto& second = report.labels[1];
  EXPECT_EQ(second.offset, 29u);
  EXPECT_EQ(second.length, 22u);
  EXPECT_EQ(second.index, 2u);
  EXPECT_EQ(second.betweenLabelsBytes, 4u);
  EXPECT_EQ(second.endLetter, 'Q');

  ASSERT_TRUE(report.footer.has_value());
  EXPECT_EQ(report.footer->offset, 51u);
  EXPECT_EQ(report.footer->length, 2u);
  EXPECT_FALSE(report.lost.has_value());
}

TEST(InspectTest, PlacesEveryCommand) {
  const auto report = Inspect(kSmallJob);
  std::string letters;
  std::vector<std::uint64_t> offsets;
  std::vector<JobSection> sections;
  for (const auto& command : report.commands) {
    letters += static_cast<char>(command.letter);
    offsets.push_back(command.offset);
    sections.push_back(command.section);
  }
  EXPECT_EQ(letters, "sqnDGLnDQ");
  EXPECT_THAT(offsets, ElementsAre(0, 6, 9, 13, 27, 29, 33, 37, 51));
  EXPECT_THAT(sections, ElementsAre(JobSection::kHeader, JobSection::kHeader, JobSection::kLabel, JobSection::kLabel,
                                    JobSection::kLabel, JobSection::kBetweenLabels, JobSection::kLabel,
                                    JobSection::kLabel, JobSection::kFooter));
  EXPECT_EQ(report.commands[3].length, 14u);
  EXPECT_EQ(report.commands[3].label, 1u);
  EXPECT_EQ(report.commands[5].label, 2u);
  EXPECT_EQ(report.commands[8].label, 0u);
}

TEST(InspectTest, DescribesTheRasterOfALabel) {
  const auto report = Inspect(kSmallJob);
  ASSERT_THAT(report.labels.at(1).rasters, SizeIs(1));
  const auto& raster = report.labels[1].rasters[0];
  EXPECT_EQ(raster.offset, 37u);
  EXPECT_EQ(raster.dataOffset, 49u);
  EXPECT_EQ(raster.dataLength, 2u);
  EXPECT_FALSE(raster.compressed);
  EXPECT_EQ(raster.bitsPerDot, 1);
  EXPECT_EQ(raster.lineCount, 2u);
  EXPECT_EQ(raster.dotsPerLine, 8u);
  EXPECT_EQ(raster.lineBytes, 1u);
  EXPECT_EQ(raster.rasterBytes, 2u);
}

TEST(InspectTest, GoesByTheLastOfSeveralRasters) {
  const auto report =
      Inspect(Joined({kStart, kFirstIndex, kRaster, Hex("1B 44 01 00 00 00 00 00 08 00 00 00"), kFeed, kEnd}));
  ASSERT_THAT(report.labels.at(0).rasters, SizeIs(2));
  EXPECT_TRUE(report.labels[0].discarded);  // the last one has no lines
}

TEST(InspectTest, SeesOpenLengthInTheHeaderAlone) {
  const Bytes open = Hex("1B 4C FF FF");
  EXPECT_TRUE(Inspect(Joined({kStart, open, kFirstIndex, kRaster, kFeed, kEnd})).openLength);
  EXPECT_FALSE(
      Inspect(Joined({kStart, kFirstIndex, kRaster, kFeed, open, kSecondIndex, kRaster, kFeed, kEnd})).openLength);
}

TEST(InspectTest, TakesEscapesInsideARasterForDots) {
  const auto report =
      Inspect(Joined({kStart, kFirstIndex, Hex("1B 44 01 00 02 00 00 00 10 00 00 00 1B 51 1B 6E"), kFeed, kEnd}));
  EXPECT_TRUE(report.IsSound());
  EXPECT_THAT(report.labels, SizeIs(1));
}

TEST(InspectTest, TakesAnythingBehindTheEndOfTheJobAsFooter) {
  const auto report = Inspect(Joined({kSmallJob, Text("goodbye")}));
  EXPECT_TRUE(report.IsSound());
  EXPECT_EQ(report.footer.value().length, 9u);
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kNote);
  EXPECT_EQ(report.problems[0].offset, 53u);
}

TEST(InspectTest, WarnsOfALabelBehindTheEndOfTheJob) {
  const auto report = Inspect(Joined({kSmallJob, kFirstIndex, kRaster, kFeed}));
  EXPECT_THAT(report.labels, SizeIs(2));
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kWarning);
  EXPECT_THAT(report.problems[0].what, HasSubstr("behind the end of the job"));
}

TEST(InspectTest, WarnsOfLabelsThatAreDiscarded) {
  const auto report = Inspect(Joined({kStart, kFirstIndex, kFeed, kSecondIndex, kRaster, kFeed, kEnd}));
  EXPECT_TRUE(report.IsSound());
  EXPECT_EQ(report.LabelsToPrint(), 1u);
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kWarning);
  EXPECT_THAT(report.problems[0].consequence, HasSubstr("PrintEmptyLabel"));
}

struct BrokenStream {
  const char* name;
  Bytes stream;
  std::uint64_t offset;  // of the trouble
  const char* what;
  std::size_t labels;                 // cut before it
  std::optional<std::uint64_t> lost;  // from where on
};

void PrintTo(const BrokenStream& broken, std::ostream* out) {
  *out << broken.name;
}

class BrokenStreamTest : public testing::TestWithParam<BrokenStream> {};

TEST_P(BrokenStreamTest, IsToldWhereWhyAndWhatIsLost) {
  const auto& expected = GetParam();
  const auto report = Inspect(expected.stream);
  EXPECT_FALSE(report.IsSound());
  EXPECT_THAT(report.labels, SizeIs(expected.labels));
  EXPECT_FALSE(report.footer.has_value());
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kError);
  EXPECT_EQ(report.problems[0].offset, expected.offset);
  EXPECT_THAT(report.problems[0].what, HasSubstr(expected.what));
  ASSERT_EQ(report.lost.has_value(), expected.lost.has_value());
  if (expected.lost) {
    EXPECT_EQ(report.lost->offset, *expected.lost);
    EXPECT_EQ(report.lost->offset + report.lost->length, expected.stream.size());
    EXPECT_THAT(report.problems[0].consequence, HasSubstr("from byte " + std::to_string(*expected.lost) + " on"));
  }
}

const Bytes kOneLabel = Joined({kStart, kFirstIndex, kRaster, kFeed});  // 26 bytes

INSTANTIATE_TEST_SUITE_P(
    All, BrokenStreamTest,
    testing::Values(
        BrokenStream{"Empty", {}, 0, "the stream is empty", 0, std::nullopt},
        BrokenStream{"NoCommandAtAll", Text("hello"), 0, "expected ESC (1B), found 68 65", 0, 0},
        BrokenStream{"LoneEscape", Hex("1B"), 0, "lone ESC", 0, 0},
        BrokenStream{"StartCutOff", Hex("1B 73 01"), 0,
                     "ends inside ESC s (start of job): it has 6 bytes, but only 3 are left", 0, 0},
        BrokenStream{"NoStart", Joined({kRoll, kFirstIndex, kRaster, kFeed, kEnd}), 0, "begins with ESC q", 0, 0},
        BrokenStream{"RasterInTheHeader", Joined({kStart, kRaster, kFirstIndex, kRaster, kFeed, kEnd}), 6,
                     "ESC D (uncompressed raster) stands in the job header", 0, 0},
        BrokenStream{"CompressedRasterInTheHeader",
                     Joined({kStart, Hex("1B 5A 03 00 00 00 00 01 00 00 00 00 00 00 00 00 00"), kFirstIndex}), 6,
                     "ESC Z (compressed raster) stands in the job header", 0, 0},
        BrokenStream{"NoLabel", Joined({kStart, kRoll, kEnd}), 11, "no label (ESC n) follows", 0, 0},
        BrokenStream{"GarbageInTheHeader", Joined({kStart, Text("!"), kFirstIndex}), 6, "expected ESC", 0, 0},
        BrokenStream{"UnknownLetterInTheHeader", Joined({kStart, Hex("1B 53"), kFirstIndex}), 6,
                     "ESC S is no command of the language", 0, 0},
        BrokenStream{"GarbageInALabel", Joined({kOneLabel, kSecondIndex, Text("!?"), kRaster, kFeed, kEnd}), 30,
                     "found 21 3F 1B 44 01 00 02 00 ..., within label 2 (index 2)", 1, 26},
        BrokenStream{"UnknownLetterInALabel", Joined({kOneLabel, kSecondIndex, Hex("1B 22"), kFeed, kEnd}), 30,
                     "is no command of the language", 1, 26},
        BrokenStream{"RasterCutOff", Joined({kOneLabel, kSecondIndex, Bytes(kRaster.begin(), kRaster.end() - 1)}), 30,
                     "it has 14 bytes, but only 13 are left, within label 2", 1, 26},
        BrokenStream{"RasterHeadCutOff", Joined({kOneLabel, kSecondIndex, Hex("1B 44 01 00 02")}), 30,
                     "its head alone has 12 bytes, but only 5 are left", 1, 26},
        BrokenStream{"LabelWithoutEnd", Joined({kOneLabel, kSecondIndex, kRaster}), 44, "which has no end", 1, 26},
        BrokenStream{"FirstLabelWithoutEnd", Joined({kStart, kFirstIndex, kRaster}), 24, "within label 1 (index 1)", 0,
                     6},
        BrokenStream{"NoFooter", kOneLabel, 26, "ends without a footer", 1, std::nullopt},
        BrokenStream{"FormFeedAlone", Joined({kOneLabel, kFeed, kEnd}), 26,
                     "ESC G (short form feed, ends the label) stands where only", 1, 26},
        BrokenStream{"BetweenLabelsThenEndOfJob", Joined({kOneLabel, kLength, kEnd}), 26,
                     "directly before ESC Q at byte 30: only a label may follow", 1, 26},
        BrokenStream{"BetweenLabelsThenLongFeed", Joined({kOneLabel, kLength, kRoll, Hex("1B 45"), kEnd}), 26,
                     "directly before ESC E at byte 33", 1, 26},
        BrokenStream{"BetweenLabelsThenNothing", Joined({kOneLabel, kLength}), 30, "neither a label nor a footer", 1,
                     26},
        BrokenStream{"BetweenLabelsThenAnotherCommand", Joined({kOneLabel, kLength, Hex("1B 40"), kSecondIndex}), 30,
                     "ESC @ (passed on unread) stands where only", 1, 26},
        BrokenStream{"GarbageBehindALabel", Joined({kOneLabel, Text("\r\n"), kEnd}), 26, "found 0D 0A 1B 51", 1, 26},
        BrokenStream{"EndOfJobCutOff", Joined({kOneLabel, Hex("1B")}), 26, "lone ESC", 1, 26}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(InspectTest, BetweenLabelsCommandsBeforeTheFirstLabelBelongToTheHeader) {
  const auto report = Inspect(Joined({kStart, kLength, kFirstIndex, kRaster, kFeed, kEnd}));
  EXPECT_TRUE(report.IsSound());
  EXPECT_EQ(report.header.value().length, 10u);
  EXPECT_EQ(report.labels.at(0).betweenLabelsBytes, 0u);
}

TEST(InspectTest, ListsTheCommandsThatAreLost) {
  const auto report = Inspect(Joined({kOneLabel, kLength, kEnd}));
  ASSERT_THAT(report.commands, SizeIs(6));
  EXPECT_EQ(report.commands[3].section, JobSection::kLabel);
  EXPECT_EQ(report.commands[4].section, JobSection::kLost);
  EXPECT_EQ(report.commands[5].section, JobSection::kLost);
}

TEST(InspectTest, CountsMoreCommandsThanItKeeps) {
  const auto report = InspectStream(kSmallJob, "test", {.maxCommands = 4});
  EXPECT_EQ(report.commandCount, 9u);
  EXPECT_THAT(report.commands, SizeIs(4));
  EXPECT_THAT(sc3xx::ReportAsText(report, kSmallJob), HasSubstr("... and 5 commands more"));
}

// --- The ending letter that is looked for after the rest has moved down

// A first label of 20 bytes, so that byte 19 of what follows it is looked at.
Bytes JobWithByte19(std::uint8_t byte, const Bytes& behind) {
  Bytes second = Joined({kSecondIndex, Hex("1B 44 01 00 10 00 00 00 08 00 00 00"), Bytes(16, 0x00)});
  second[19] = byte;
  return Joined({kStart, kFirstIndex, kRaster, kFeed, second, behind});
}

TEST(InspectTest, WarnsOfAByteThatPassesForTheEndOfTheJobIfTheStreamIsSplitThere) {
  const auto report = Inspect(JobWithByte19('Q', Joined({kFeed, kEnd})));
  EXPECT_TRUE(report.IsSound());
  EXPECT_THAT(report.labels, SizeIs(2));
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kWarning);
  EXPECT_EQ(report.problems[0].offset, 26u + 19u);
  EXPECT_THAT(report.problems[0].consequence, HasSubstr("before byte 60"));
  EXPECT_THAT(Inspect(JobWithByte19('G', Joined({kFeed, kEnd}))).problems, IsEmpty());
}

TEST(InspectTest, TakesTheRestForTheFooterIfSuchAByteStandsInALabelThatNeverEnds) {
  const Bytes stream = JobWithByte19('E', {});
  const auto report = Inspect(stream);
  EXPECT_THAT(report.labels, SizeIs(1));
  ASSERT_TRUE(report.footer.has_value());
  EXPECT_EQ(report.footer->offset, 26u);
  EXPECT_EQ(report.footer->length, stream.size() - 26);
  EXPECT_FALSE(report.lost.has_value());
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kError);
  EXPECT_THAT(report.problems[0].consequence, HasSubstr("for the footer"));
}

// --- Rasters

Bytes CompressedLabel(const Bytes& block, std::uint8_t lines) {
  return Joined({kFirstIndex,
                 Hex("1B 5A 03"),
                 {static_cast<std::uint8_t>(block.size()), 0, 0, 0},
                 Hex("01 00"),
                 {lines, 0, 0, 0},
                 Hex("08 00 00 00"),
                 block,
                 kFeed});
}

// Four literal bytes, as LZ4 writes them.
const Bytes kFourBytes = Hex("40 DE AD BE EF");

TEST(LabelRasterTest, IsDecompressed) {
  const Bytes stream = Joined({kStart, CompressedLabel(kFourBytes, 4), kEnd});
  const auto report = Inspect(stream);
  EXPECT_THAT(report.problems, IsEmpty());
  EXPECT_EQ(sc3xx::RasterOfLabel(report.labels.at(0), stream).bytes, Hex("DE AD BE EF"));
}

TEST(LabelRasterTest, JoinsRunsOfLines) {
  const Bytes stream =
      Joined({kStart, kFirstIndex, kRaster, Hex("1B 44 01 00 01 00 00 00 08 00 00 00 AA"), kFeed, kEnd});
  const auto raster = sc3xx::RasterOfLabel(Inspect(stream).labels.at(0), stream);
  EXPECT_EQ(raster.lineCount, 3u);
  EXPECT_EQ(raster.bytes, Hex("FF 00 AA"));
}

struct BadRaster {
  const char* name;
  Bytes label;
  const char* words;
};

void PrintTo(const BadRaster& bad, std::ostream* out) {
  *out << bad.name;
}

class BadRasterTest : public testing::TestWithParam<BadRaster> {};

TEST_P(BadRasterTest, CanNotBeDrawn) {
  const Bytes stream = Joined({kStart, GetParam().label, kEnd});
  const auto report = Inspect(stream);
  ASSERT_THAT(report.labels, SizeIs(1));
  EXPECT_THAT(ErrorOf([&] { sc3xx::RasterOfLabel(report.labels[0], stream, 100); }),
              AllOf(HasSubstr("label 1 can't be drawn"), HasSubstr(GetParam().words)));
}

INSTANTIATE_TEST_SUITE_P(
    All, BadRasterTest,
    testing::Values(
        BadRaster{"None", Joined({kFirstIndex, kFeed}), "no raster"},
        BadRaster{"NoLines", Joined({kFirstIndex, Hex("1B 44 01 00 00 00 00 00 08 00 00 00"), kFeed}), "no dots"},
        BadRaster{"Wraps", Joined({kFirstIndex, Hex("1B 44 01 00 00 00 01 00 00 00 08 00"), kFeed}), "32 bits"},
        BadRaster{"TwoWidths", Joined({kFirstIndex, kRaster, Hex("1B 44 01 00 01 00 00 00 07 00 00 00 AA"), kFeed}),
                  "differ in width"},
        BadRaster{"BlockIsTooShort", CompressedLabel(kFourBytes, 5), "doesn't decode to the 5 bytes"},
        BadRaster{"BlockIsTooLong", CompressedLabel(kFourBytes, 3), "doesn't decode to the 3 bytes"},
        BadRaster{"BlockIsGarbage", CompressedLabel(Hex("0F FF FF FF"), 4), "doesn't decode"},
        BadRaster{"BlockIsEmpty", CompressedLabel({}, 4), "doesn't decode"},
        BadRaster{"MoreThanAllowed",
                  Joined({kFirstIndex, Hex("1B 44 01 00 65 00 00 00 08 00 00 00"), Bytes(101), kFeed}),
                  "more than the 100"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(LabelRasterTest, ABlockThatDoesNotDecodeIsAnError) {
  const auto report = Inspect(Joined({kStart, CompressedLabel(kFourBytes, 5), kEnd}));
  EXPECT_FALSE(report.IsSound());
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].offset, 10u);
  EXPECT_THAT(report.problems[0].consequence, HasSubstr("passes it on as it came"));
}

TEST(LabelRasterTest, AHeadThatTellsGigabytesTakesNoMemory) {
  Bytes label = CompressedLabel(kFourBytes, 4);
  label[13] = 0x00;  // 0xF0000000 lines of one byte
  label[16] = 0xF0;
  const Bytes stream = Joined({kStart, label, kEnd});
  const auto report = Inspect(stream);
  EXPECT_FALSE(report.IsSound());
  EXPECT_THAT(ErrorOf([&] { sc3xx::RasterOfLabel(report.labels.at(0), stream); }), HasSubstr("more than"));
}

TEST(LabelRasterTest, WarnsOfALengthThatWraps) {
  const auto report =
      Inspect(Joined({kStart, kFirstIndex, Hex("1B 44 01 00 01 00 00 80 10 00 00 00 AA BB"), kFeed, kEnd}));
  ASSERT_THAT(report.problems, SizeIs(1));
  EXPECT_EQ(report.problems[0].severity, Severity::kWarning);
  EXPECT_THAT(report.problems[0].consequence, HasSubstr("2 bytes"));
}

// --- Pictures of labels

TEST(LabelPicturesTest, AreTheSamePicturesThatWereEncoded) {
  const ScratchFolder folder;
  const std::vector<sc3xx::Picture> pictures = {Noise(33, 20, 5), Noise(600, 300, 6), Noise(1, 1, 7)};
  const Bytes job = sc3xx::EncodeJob(pictures, {.compression = sc3xx::Compression::kLz4});
  const auto written = sc3xx::WriteLabelPictures(Inspect(job), job, folder.Path() / "new" / "folder");
  EXPECT_THAT(written.skipped, IsEmpty());
  ASSERT_THAT(written.files, SizeIs(3));
  for (std::size_t place = 0; place < pictures.size(); ++place) {
    const std::string name = "label-00" + std::to_string(place + 1) + ".png";
    EXPECT_EQ(written.files[place], folder.Path() / "new" / "folder" / name);
    EXPECT_EQ(sc3xx::ReadPicture(sc3xx::ReadInputFile(written.files[place].string())), pictures[place]);
  }
}

TEST(LabelPicturesTest, SkipsWhatCanNotBeDrawnAndSaysWhy) {
  const ScratchFolder folder;
  const Bytes threeBits = Hex("1B 44 03 00 01 00 00 00 08 00 00 00 AA BB CC");
  const Bytes stream =
      Joined({kStart, kFirstIndex, kFeed, kSecondIndex, kRaster, kFeed, kSecondIndex, threeBits, kFeed, kEnd});
  const auto written = sc3xx::WriteLabelPictures(Inspect(stream), stream, folder.Path());
  EXPECT_THAT(written.files, ElementsAre(folder.Path() / "label-002.png"));
  EXPECT_THAT(written.skipped,
              ElementsAre(HasSubstr("label 1 can't be drawn: it has no raster"), HasSubstr("label 3 can't be drawn")));
}

TEST(LabelPicturesTest, NeedsAFolder) {
  const ScratchFolder folder;
  const auto file = folder.Write("file", Text("x"));
  EXPECT_THAT(ErrorOf([&] { sc3xx::WriteLabelPictures(Inspect(kSmallJob), kSmallJob, file); }),
              AllOf(HasSubstr(file), HasSubstr("name another one")));
}

TEST(LabelPicturesTest, NeedsAFileThatCanBeWritten) {
  const ScratchFolder folder;
  std::filesystem::create_directories(folder.Path() / "label-001.png");
  EXPECT_THAT(ErrorOf([&] { sc3xx::WriteLabelPictures(Inspect(kSmallJob), kSmallJob, folder.Path()); }),
              AllOf(HasSubstr("label-001.png"), HasSubstr("can't be written")));
}

// --- Reports

TEST(ReportTest, TellsASoundJobInWords) {
  EXPECT_EQ(
      sc3xx::ReportAsText(Inspect(kSmallJob), kSmallJob),
      "test: 53 bytes, 9 commands, 2 labels to print\n"
      "Header: 9 bytes, job id 1\n"
      "Label 1: index 1, 8 dots x 2 lines; 20 bytes at byte 9, ends with ESC G\n"
      "Label 2: index 2, 8 dots x 2 lines; 22 bytes at byte 29, the first 4 between labels, ends with ESC Q behind it\n"
      "Footer: 2 bytes at byte 51\n"
      "Commands:\n"
      "      offset    length  part         command\n"
      "           0         6  header       ESC s  start of job: job id 1\n"
      "           6         3  header       ESC q  parameter, between-labels command: 0x31 ('1')\n"
      "           9         4  label 1      ESC n  label index: 1\n"
      "          13        14  label 1      ESC D  uncompressed raster: 1 bit a dot, 2 lines of 8 dots, flags 0x00, "
      "2 bytes\n"
      "          27         2  label 1      ESC G  short form feed, ends the label\n"
      "          29         4  before 2     ESC L  label length, between-labels command: 16\n"
      "          33         4  label 2      ESC n  label index: 2\n"
      "          37        14  label 2      ESC D  uncompressed raster: 1 bit a dot, 2 lines of 8 dots, flags 0x00, "
      "2 bytes\n"
      "          51         2  footer       ESC Q  end of job\n"
      "The job is sound.\n");
}

TEST(ReportTest, TellsABrokenJobInWords) {
  const Bytes stream = Joined({kOneLabel, kLength, kEnd});
  EXPECT_EQ(sc3xx::ReportAsText(Inspect(stream), stream, false),
            "test: 32 bytes, 6 commands, 1 label to print\n"
            "Header: 6 bytes, job id 1\n"
            "Label 1: index 1, 8 dots x 2 lines; 20 bytes at byte 6, ends with ESC G\n"
            "Footer: none\n"
            "Lost: 6 bytes at byte 26\n"
            "error at byte 26: between-labels commands stand directly before ESC Q at byte 30: only a label may follow "
            "them\n"
            "    1 label before it goes out; 6 bytes from byte 26 on wait in the monitor for a continuation, and are "
            "dropped without a message when the document ends; the footer is never found\n"
            "The job is broken.\n");
}

TEST(ReportTest, TellsTheSameToPrograms) {
  const auto json = nlohmann::json::parse(sc3xx::ReportAsJson(Inspect(kSmallJob), kSmallJob));
  EXPECT_EQ(json["name"], "test");
  EXPECT_EQ(json["size"], 53);
  EXPECT_EQ(json["sound"], true);
  EXPECT_EQ(json["labelsToPrint"], 2);
  EXPECT_EQ(json["header"]["length"], 9);
  EXPECT_EQ(json["header"]["openLength"], false);
  EXPECT_EQ(json["labels"][1]["betweenLabelsBytes"], 4);
  EXPECT_EQ(json["labels"][1]["rasters"][0]["dataOffset"], 49);
  EXPECT_EQ(json["footer"]["offset"], 51);
  EXPECT_TRUE(json["lost"].is_null());
  EXPECT_EQ(json["commands"].size(), 9u);
  EXPECT_EQ(json["commands"][5]["name"], "ESC L");
  EXPECT_EQ(json["commands"][5]["section"], "between labels");
  EXPECT_EQ(json["commands"][0]["label"], nullptr);
  EXPECT_TRUE(json["problems"].empty());
}

TEST(ReportTest, TellsProgramsOfABrokenStream) {
  const Bytes stream = Text("hello");
  const auto json = nlohmann::json::parse(sc3xx::ReportAsJson(InspectStream(stream, "caf\xE9"), stream));
  EXPECT_EQ(json["sound"], false);
  EXPECT_TRUE(json["header"].is_null());
  EXPECT_TRUE(json["footer"].is_null());
  EXPECT_EQ(json["lost"]["length"], 5);
  EXPECT_EQ(json["problems"][0]["severity"], "error");
  EXPECT_EQ(json["problems"][0]["offset"], 0);
}

}  // namespace
