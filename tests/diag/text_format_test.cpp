#include "diag/text_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace sc3xxmon {
namespace {

std::string Format(const char* format, std::vector<FormatArgument> arguments = {}) {
  std::string text(FormatText(nullptr, 0, format, arguments) + 1, '?');
  FormatText(text.data(), text.size(), format, arguments);
  return text.c_str();
}

TEST(TextFormatTest, TextWithoutConversionsIsCopied) {
  EXPECT_EQ(Format("Got footer"), "Got footer");
  EXPECT_EQ(Format(""), "");
}

TEST(TextFormatTest, NumbersAreSignedWhereTheFormatSaysSo) {
  EXPECT_EQ(Format("%d %d", {-1, 42}), "-1 42");
  EXPECT_EQ(Format("%u", {-1}), "4294967295");
  EXPECT_EQ(Format("%x %X", {0xBEEF, 0xBEEF}), "beef BEEF");
}

TEST(TextFormatTest, AnUnsignedNumberAbove31BitsIsNegativeInADecimal) {
  EXPECT_EQ(Format("%d", {0xFFFFFFFFU}), "-1");
}

TEST(TextFormatTest, AWiderNumberGivesItsLowHalf) {
  EXPECT_EQ(Format("%d", {std::uint64_t{0x1'0000'0007}}), "7");
  EXPECT_EQ(Format("%u", {std::uint64_t{0xFFFF'FFFF'FFFF}}), "4294967295");
  EXPECT_EQ(Format("%X", {std::numeric_limits<std::int64_t>::min()}), "0");
}

TEST(TextFormatTest, NarrowNumbersKeepTheirValue) {
  EXPECT_EQ(Format("%d %d %d", {std::uint8_t{255}, std::int16_t{-2}, true}), "255 -2 1");
  enum class Kind : std::uint8_t { kThird = 3 };
  EXPECT_EQ(Format("%d", {Kind::kThird}), "3");
}

TEST(TextFormatTest, FlagsAndWidthOfNumbersAreKept) {
  EXPECT_EQ(Format("%04d", {7}), "0007");
  EXPECT_EQ(Format("%04X", {0xAU}), "000A");
  EXPECT_EQ(Format("%02x-%02x", {0x0B, 0xCD}), "0b-cd");
  EXPECT_EQ(Format("[%5d] [%-5d]", {42, 42}), "[   42] [42   ]");
}

TEST(TextFormatTest, AWidthThatIsTooSmallCutsNothing) {
  EXPECT_EQ(Format("%04d", {123456}), "123456");
}

TEST(TextFormatTest, NarrowAndWideTextsAreCopied) {
  EXPECT_EQ(Format("%s-%ws", {"Win10 Release", L"USB001"}), "Win10 Release-USB001");
}

TEST(TextFormatTest, WideTextsComeOutAsUtf8) {
  EXPECT_EQ(Format("port=%ws", {L"Etikett \u00FC \u30E9 \U0001F5A8"}),
            "port=Etikett \xC3\xBC \xE3\x83\xA9 \xF0\x9F\x96\xA8");
}

TEST(TextFormatTest, NullTextsAreSaidToBeNull) {
  EXPECT_EQ(Format("%s %ws", {static_cast<const char*>(nullptr), static_cast<const wchar_t*>(nullptr)}),
            "(null) (null)");
}

TEST(TextFormatTest, APercentSignIsWrittenTwice) {
  EXPECT_EQ(Format("100%% of %d", {5}), "100% of 5");
}

TEST(TextFormatTest, PercentSignsInAnArgumentAreText) {
  EXPECT_EQ(Format("%s", {"%d %s"}), "%d %s");
}

TEST(TextFormatTest, AnArgumentOfTheWrongKindIsNotRead) {
  EXPECT_EQ(Format("%s", {42}), "%s");
  EXPECT_EQ(Format("%ws", {"narrow"}), "%ws");
  EXPECT_EQ(Format("%s", {L"wide"}), "%s");
  EXPECT_EQ(Format("%d", {"text"}), "%d");
  EXPECT_EQ(Format("%p", {1}), "%p");
}

TEST(TextFormatTest, AMissingArgumentLeavesItsConversion) {
  EXPECT_EQ(Format("%d %d", {1}), "1 %d");
  EXPECT_EQ(Format("%ws"), "%ws");
}

TEST(TextFormatTest, ArgumentsTooManyAreIgnored) {
  EXPECT_EQ(Format("%d", {1, 2, 3}), "1");
}

TEST(TextFormatTest, UnknownConversionsAreCopied) {
  EXPECT_EQ(Format("%q %n %f|", {1, 2, 3}), "%q %n %f|");
}

TEST(TextFormatTest, AConversionThatTheFormatCutsOffIsCopied) {
  EXPECT_EQ(Format("50%"), "50%");
  EXPECT_EQ(Format("50%04", {1}), "50%04");
  EXPECT_EQ(Format("50%w", {L"x"}), "50%w");
}

TEST(TextFormatTest, PointersArePrintedAsTheSystemDoes) {
  const int value = 0;
  char expected[32];
  std::snprintf(expected, sizeof(expected), "%p", static_cast<const void*>(&value));
  EXPECT_EQ(Format("buff[%p]", {static_cast<const void*>(&value)}), std::string("buff[") + expected + "]");
}

TEST(TextFormatTest, ATextThatIsTooLongIsCutOffAndItsWholeLengthGiven) {
  char buffer[8];
  std::memset(buffer, '#', sizeof(buffer));
  const FormatArgument arguments[] = {"overflow"};
  EXPECT_EQ(FormatText(buffer, 5, "%s!", arguments), 9U);
  EXPECT_STREQ(buffer, "over");
  EXPECT_EQ(buffer[5], '#');  // nothing behind the room that was given
}

TEST(TextFormatTest, ATextThatJustFitsIsWhole) {
  char buffer[5];
  EXPECT_EQ(FormatText(buffer, sizeof(buffer), "1234", {}), 4U);
  EXPECT_STREQ(buffer, "1234");
}

TEST(TextFormatTest, ANumberAcrossTheEndIsCutOffToo) {
  char buffer[6];
  const FormatArgument arguments[] = {123456};
  EXPECT_EQ(FormatText(buffer, sizeof(buffer), "a %d b", arguments), 10U);
  EXPECT_STREQ(buffer, "a 123");
}

TEST(TextFormatTest, RoomForTheTerminatorAloneGivesAnEmptyText) {
  char buffer[2] = {'#', '#'};
  EXPECT_EQ(FormatText(buffer, 1, "text", {}), 4U);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], '#');
}

TEST(TextFormatTest, WithoutRoomNothingIsWritten) {
  char buffer[1] = {'#'};
  EXPECT_EQ(FormatText(buffer, 0, "text", {}), 4U);
  EXPECT_EQ(buffer[0], '#');
}

}  // namespace
}  // namespace sc3xxmon
