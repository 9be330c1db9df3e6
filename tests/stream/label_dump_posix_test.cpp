// Pictures of labels, as the writer's own bytes and as another program reads them.
#include <stdio.h>

#include "diag/log_fixture.h"
#include "stream/kpl_parser.h"
#include "stream/raster_compression.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::ByteString;
using test::Hex;
using test::Joined;
using test::TestHost;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

// What a program prints; empty with `status` not 0 if it fails.
std::string OutputOf(const std::string& command, int& status) {
  FILE* const pipe = popen(command.c_str(), "r");
  std::string text;
  char piece[4096];
  while (const std::size_t count = fread(piece, 1, sizeof(piece), pipe)) {
    text.append(piece, count);
  }
  status = pclose(pipe);
  return text;
}

bool HasImageLibrary() {
  int status = 0;
  OutputOf("/usr/bin/python3 -c 'import PIL' 2>&1", status);
  return status == 0;
}

std::string ReadByImageLibrary(const fs::path& bitmap) {
  int status = 0;
  const std::string script = std::string(SC3XXMON_SOURCE_DIR) + "/tests/support/bitmap_dots.py";
  const std::string text = OutputOf("/usr/bin/python3 '" + script + "' '" + bitmap.string() + "'", status);
  EXPECT_EQ(status, 0);
  return text;
}

// The same text made from a raster whose lines are whole bytes.
std::string DotsOf(const ByteString& raster, std::uint32_t dots, std::uint32_t lines) {
  std::string text = std::to_string(dots) + " " + std::to_string(lines) + "\n";
  for (std::uint32_t line = 0; line < lines; ++line) {
    for (std::uint32_t x = 0; x < dots; ++x) {
      text += (raster[line * dots / 8 + x / 8] >> (7 - x % 8)) & 1 ? '1' : '0';
    }
    text += '\n';
  }
  return text;
}

ByteString Little32(std::size_t value) {
  ByteString bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
  return bytes;
}

ByteString Descriptor(std::uint32_t dots, std::uint32_t lines, std::uint8_t bitsPerDot = 1) {
  return Joined({{bitsPerDot, 2}, Little32(lines), Little32(dots)});
}

ByteString PlainRaster(const ByteString& raster, std::uint32_t dots, std::uint32_t lines) {
  return Joined({Bytes("1B 44"), Descriptor(dots, lines), raster});
}

ByteString CompressedRaster(const ByteString& block, std::uint32_t dots, std::uint32_t lines) {
  return Joined({Bytes("1B 5A 03"), Little32(block.size()), Descriptor(dots, lines), block});
}

ByteString LabelOf(std::uint16_t index, const ByteString& raster) {
  return Joined({test::LabelIndex(index), raster, Bytes("1B 47")});
}

ByteString Artwork(std::uint32_t dots, std::uint32_t lines) {
  ByteString raster(std::size_t{dots / 8} * lines);
  for (std::size_t i = 0; i < raster.size(); ++i) {
    raster[i] = static_cast<std::uint8_t>(i % 7 == 0 ? 0xFF : (i * i) >> 3);
  }
  return raster;
}

class LabelDumpTest : public test::LogFixture {
 protected:
  LabelDumpTest() {
    TestHost::SetDebugLevel(2);
    diag::traceWord = 17;
  }

  void Parse(const ByteString& labels) {
    CKplParser parser(7);
    const ByteString stream = Joined({test::JobStart(), labels, test::EndOfJob()});
    parser.ProcessData(stream.data(), stream.size());
    labelsKept = parser.Labels.size();
  }
  std::vector<fs::path> Pictures() const { return root.Files(".bmp"); }

  std::size_t labelsKept = 0;
};

TEST_F(LabelDumpTest, IsNamedAfterTheJobAndTheLabel) {
  Parse(LabelOf(12, PlainRaster(Bytes("01 02"), 16, 1)));
  ASSERT_THAT(Pictures(), SizeIs(1));
  EXPECT_THAT(Pictures().front().filename().string(), MatchesRegex("[-0-9]+_[-0-9]+_[0-9]+_job7_label12_pd\\.bmp"));
}

TEST_F(LabelDumpTest, HasTheLastLineFirstAndEachToAMultipleOfFourBytes) {
  Parse(LabelOf(1, PlainRaster(Bytes("11 12 21 22 31 32"), 16, 3)));
  ASSERT_THAT(Pictures(), SizeIs(1));
  const ByteString file = test::BytesOfFile(Pictures().front());
  ASSERT_THAT(file, SizeIs(74));
  EXPECT_EQ(Hex({file.begin() + 62, file.end()}), "31 32 00 00 21 22 00 00 11 12 00 00");
}

TEST_F(LabelDumpTest, IsTheRasterToAnyProgramForWidthsOfWholeBytes) {
  if (!HasImageLibrary()) {
    GTEST_SKIP() << "python3-pil isn't installed";
  }
  const std::uint32_t sizes[][2] = {{8, 1}, {16, 5}, {24, 9}, {32, 3}, {304, 40}, {672, 61}};
  std::uint16_t index = 0;
  for (const auto& [dots, lines] : sizes) {
    const ByteString raster = Artwork(dots, lines);
    const ByteVector block = CompressRaster(raster);
    Parse(Joined({LabelOf(++index, PlainRaster(raster, dots, lines)),
                  LabelOf(++index, CompressedRaster({block.begin(), block.end()}, dots, lines))}));
    for (const int number : {index - 1, int{index}}) {
      const std::vector<fs::path> files = root.Files("_label" + std::to_string(number) + "_pd.bmp");
      ASSERT_THAT(files, SizeIs(1));
      EXPECT_EQ(ReadByImageLibrary(files.front()), DotsOf(raster, dots, lines)) << dots << " dots, label " << number;
    }
  }
}

TEST_F(LabelDumpTest, OfACompressedLabelIsThatOfThePlainOne) {
  const ByteString raster = Artwork(320, 50);
  const ByteVector block = CompressRaster(raster);
  Parse(Joined(
      {LabelOf(1, PlainRaster(raster, 320, 50)), LabelOf(2, CompressedRaster({block.begin(), block.end()}, 320, 50))}));
  ASSERT_THAT(Pictures(), SizeIs(2));
  EXPECT_EQ(test::BytesOfFile(Pictures()[0]), test::BytesOfFile(Pictures()[1]));
}

TEST_F(LabelDumpTest, OfADamagedBlockHasHeadsAndPaddingAlone) {
  Parse(LabelOf(1, CompressedRaster(Bytes("F0 F0 F0"), 16, 3)));
  ASSERT_THAT(Pictures(), SizeIs(1));
  EXPECT_EQ(fs::file_size(Pictures().front()), 62U + 3 * 2);
  EXPECT_EQ(labelsKept, 1U);
}

// Its head tells of 400 lines; behind it stands only the label's form feed, which counts as the first of them.
TEST_F(LabelDumpTest, OfACompressedRasterOfNoBytesEndsWithTheLabel) {
  Parse(LabelOf(1, CompressedRaster({}, 16, 400)));
  ASSERT_THAT(Pictures(), SizeIs(1));
  const ByteString file = test::BytesOfFile(Pictures().front());
  ASSERT_THAT(file, SizeIs(62 + 400 * 2 + 2));
  EXPECT_EQ(Hex({file.end() - 6, file.end()}), "00 00 1B 47 00 00");
}

TEST_F(LabelDumpTest, OfAnAbsurdSizeFailsInSilence) {
  Parse(LabelOf(1, CompressedRaster(Bytes("10 FF"), 0x7FFFFFF8, 8)));
  EXPECT_EQ(labelsKept, 1U);
}

TEST_F(LabelDumpTest, ALabelWithoutDotsHasNone) {
  Parse(test::LabelIndex(3));
  EXPECT_THAT(Pictures(), IsEmpty());
}

TEST_F(LabelDumpTest, LabelsOfOneIndexShareAFile) {
  Parse(Joined({LabelOf(4, PlainRaster(Bytes("01"), 8, 1)), LabelOf(4, PlainRaster(Bytes("02"), 8, 1))}));
  ASSERT_THAT(Pictures(), SizeIs(::testing::Le(2)));  // two when a second began between them
  EXPECT_EQ(test::BytesOfFile(Pictures().back())[62], 2);
}

TEST_F(LabelDumpTest, IsNotMadeWithoutItsSwitch) {
  diag::traceWord = 15;
  Parse(LabelOf(1, PlainRaster(Bytes("01"), 8, 1)));
  EXPECT_THAT(Pictures(), IsEmpty());
}

TEST_F(LabelDumpTest, IsNotMadeAtLevel0) {
  TestHost::SetDebugLevel(0);
  Parse(LabelOf(1, PlainRaster(Bytes("01"), 8, 1)));
  EXPECT_FALSE(fs::exists(root.Folder()));
}

TEST_F(LabelDumpTest, WithoutAFolderTheLabelIsKeptAllTheSame) {
  fs::remove(root.Path() / "Logs");
  Parse(LabelOf(1, PlainRaster(Bytes("01"), 8, 1)));
  EXPECT_EQ(labelsKept, 1U);
}

}  // namespace
}  // namespace sc3xxmon
