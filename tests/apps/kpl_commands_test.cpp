#include "apps/kpl/kpl_commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string_view>

#include "document_support.h"

namespace {

using document_support::Bytes;
using document_support::Hex;
using document_support::Joined;
using document_support::Text;
using sc3xx::StepAt;
using sc3xx::StepResult;

TEST(KplCommandsTest, KnowsThirtyThreeLettersAndNoOther) {
  const std::string_view letters = "#*@ACDEGHLMPQTUVXZbcdeghilmnpqstx";
  std::size_t known = 0;
  for (int letter = 0; letter < 256; ++letter) {
    Bytes command(32, 0);
    command[0] = 0x1B;
    command[1] = static_cast<std::uint8_t>(letter);
    const auto place = letters.find(static_cast<char>(letter));
    const auto step = StepAt(command, 0);
    EXPECT_EQ(step.result, place == std::string_view::npos ? StepResult::kUnknownLetter : StepResult::kCommand)
        << letter;
    known += step.result == StepResult::kCommand ? 1 : 0;
  }
  EXPECT_EQ(known, 33u);
  EXPECT_EQ(letters.size(), 33u);
}

struct Length {
  char letter;
  std::uint64_t length;
};

void PrintTo(const Length& length, std::ostream* out) {
  *out << length.letter << ' ' << length.length;
}

class CommandLengthTest : public testing::TestWithParam<Length> {};

TEST_P(CommandLengthTest, IsCompleteWithExactlySoManyBytes) {
  Bytes command(static_cast<std::size_t>(GetParam().length), 0);
  command[0] = 0x1B;
  command[1] = static_cast<std::uint8_t>(GetParam().letter);
  const auto whole = StepAt(command, 0);
  EXPECT_EQ(whole.result, StepResult::kCommand);
  EXPECT_EQ(whole.length, GetParam().length);
  command.pop_back();
  EXPECT_EQ(StepAt(command, 0).result, StepResult::kIncomplete);
}

INSTANTIATE_TEST_SUITE_P(All, CommandLengthTest,
                         testing::Values(Length{'#', 3}, Length{'*', 2}, Length{'@', 2}, Length{'A', 3}, Length{'C', 3},
                                         Length{'D', 12}, Length{'E', 2}, Length{'G', 2}, Length{'H', 4},
                                         Length{'L', 4}, Length{'M', 10}, Length{'P', 2}, Length{'Q', 2},
                                         Length{'T', 3}, Length{'U', 2}, Length{'V', 2}, Length{'X', 7},
                                         Length{'Z', 17}, Length{'b', 4}, Length{'c', 2}, Length{'d', 2},
                                         Length{'e', 2}, Length{'g', 2}, Length{'h', 2}, Length{'i', 2}, Length{'l', 6},
                                         Length{'m', 4}, Length{'n', 4}, Length{'p', 3}, Length{'q', 3}, Length{'s', 6},
                                         Length{'t', 6}, Length{'x', 2}));

TEST(KplCommandsTest, MeasuresARasterByItsGeometryRoundedUpToBytes) {
  const Bytes raster = Joined({Hex("1B 44 01 00 03 00 00 00 09 00 00 00"), Bytes(6, 0x1B)});
  EXPECT_EQ(StepAt(raster, 0).result, StepResult::kCommand);
  EXPECT_EQ(StepAt(raster, 0).length, 18u);
  const Bytes shorter(raster.begin(), raster.end() - 1);
  EXPECT_EQ(StepAt(shorter, 0).result, StepResult::kIncomplete);
  EXPECT_EQ(StepAt(shorter, 0).length, 18u);
}

TEST(KplCommandsTest, LetsTheLengthOfAnAbsurdRasterWrap) {
  // 0x10000 lines of 0x10000 bytes: nothing is left of the product.
  EXPECT_EQ(StepAt(Hex("1B 44 01 00 00 00 01 00 00 00 08 00"), 0).length, 12u);
  const auto geometry = sc3xx::ReadGeometry(Hex("01 00 00 00 01 00 00 00 08 00"));
  EXPECT_TRUE(geometry.Wraps());
  EXPECT_EQ(geometry.RasterBytes(), 0u);
  // 255 bits a dot and 2^32 - 1 dots: the first product wraps already.
  const auto wide = sc3xx::ReadGeometry(Hex("FF 00 01 00 00 00 FF FF FF FF"));
  EXPECT_TRUE(wide.Wraps());
  EXPECT_EQ(wide.LineBytes(), (0xFFFFFF01u - 1) / 8 + 1);
}

TEST(KplCommandsTest, RoundsTheWidestLineUpWithoutWrapping) {
  const auto geometry = sc3xx::ReadGeometry(Hex("01 00 01 00 00 00 FF FF FF FF"));
  EXPECT_EQ(geometry.LineBytes(), 0x20000000u);
  EXPECT_FALSE(geometry.Wraps());
}

TEST(KplCommandsTest, TellsWhatStandsWhereNoCommandBegins) {
  const auto stray = StepAt(Text("A"), 0);
  EXPECT_EQ(stray.result, StepResult::kNoEscape);
  EXPECT_EQ(stray.letter, 'A');
  EXPECT_EQ(StepAt(Hex("1B"), 0).result, StepResult::kIncomplete);
  EXPECT_EQ(StepAt(Hex("1B 40"), 2).result, StepResult::kEndOfStream);
}

TEST(KplCommandsTest, PutsOperandsIntoWords) {
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 6E FF FF")), "65535");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 4C FF FF")), "open length");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 4C 10 00")), "16");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 71 31")), "0x31 ('1')");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 73 78 56 34 12")), "job id 305419896");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 4D 01 02 03 04 05 06 07 08")), "01 02 03 04 05 06 07 08");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 47")), "");
  EXPECT_EQ(sc3xx::OperandsInWords(Hex("1B 44 01 00 01 00 00 00 08 00 00 00 FF")),
            "1 bit a dot, 1 line of 8 dots, flags 0x00, 1 byte");
}

TEST(KplCommandsTest, NamesLettersThatCanNotBeSeenByNumber) {
  EXPECT_EQ(sc3xx::CommandName('D'), "ESC D");
  EXPECT_EQ(sc3xx::CommandName(7), "ESC 0x07");
}

}  // namespace
