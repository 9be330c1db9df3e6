#include "platform/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace sc3xxmon::platform {
namespace {

struct TextCase {
  const char* phrase;
  std::string utf8;
  std::wstring wide;
};
void PrintTo(const TextCase& each, std::ostream* out) {
  *out << each.phrase;
}

class Utf8Test : public ::testing::TestWithParam<TextCase> {};

TEST_P(Utf8Test, GoesThereAndBack) {
  EXPECT_EQ(ToUtf8(GetParam().wide), GetParam().utf8) << GetParam().phrase;
  EXPECT_EQ(FromUtf8(GetParam().utf8), GetParam().wide) << GetParam().phrase;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Utf8Test,
    ::testing::Values(TextCase{"empty", "", L""}, TextCase{"ASCII", "KOVA Scrivelo 310", L"KOVA Scrivelo 310"},
                      TextCase{"first of two bytes", "\xC2\x80", L"\u0080"},
                      TextCase{"last of two bytes", "\xDF\xBF", L"\u07FF"},
                      TextCase{"first of three bytes", "\xE0\xA0\x80", L"\u0800"},
                      TextCase{"last of three bytes", "\xEF\xBF\xBF", L"\uFFFF"},
                      TextCase{"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", L"\uD7FF\uE000"},
                      TextCase{"first of four bytes", "\xF0\x90\x80\x80", L"\U00010000"},
                      TextCase{"last of all", "\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
                      TextCase{"mixed", "a\xC3\xBC\xE3\x83\xA9\xF0\x9F\x96\xA8z", L"a\u00FC\u30E9\U0001F5A8z"}));

TEST(Utf8Test, AZeroCharacterIsACharacter) {
  EXPECT_EQ(ToUtf8(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(FromUtf8(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(ToUtf8Test, APairOfSurrogatesIsOneCharacter) {
  const std::wstring pair = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDDA8)};
  EXPECT_EQ(ToUtf8(pair), "\xF0\x9F\x96\xA8");
}

TEST(ToUtf8Test, WhatIsNoCharacterBecomesTheReplacement) {
  const std::string replacement = "\xEF\xBF\xBD";
  EXPECT_EQ(ToUtf8(std::wstring{static_cast<wchar_t>(0xD83D)}), replacement);
  EXPECT_EQ(ToUtf8(std::wstring{static_cast<wchar_t>(0xDDA8)}), replacement);
  EXPECT_EQ(ToUtf8(std::wstring{static_cast<wchar_t>(0xD83D), L'a'}), replacement + "a");
  if (sizeof(wchar_t) > 2) {
    EXPECT_EQ(ToUtf8(std::wstring{static_cast<wchar_t>(0x110000)}), replacement);
  }
}

struct BrokenCase {
  const char* phrase;
  std::string utf8;
};
void PrintTo(const BrokenCase& each, std::ostream* out) {
  *out << each.phrase;
}

class BrokenUtf8Test : public ::testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenUtf8Test, GivesReplacementsAndGoesOnBehind) {
  const std::wstring wide = FromUtf8("<" + GetParam().utf8 + ">");
  ASSERT_GE(wide.size(), 3U);
  EXPECT_EQ(wide.front(), L'<');
  EXPECT_EQ(wide.back(), L'>');
  for (const wchar_t c : wide.substr(1, wide.size() - 2)) {
    EXPECT_EQ(c, L'\uFFFD') << GetParam().phrase;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, BrokenUtf8Test,
    ::testing::Values(BrokenCase{"a lone trail byte", "\x80"}, BrokenCase{"a lead byte alone", "\xC3"},
                      BrokenCase{"two of three bytes", "\xE3\x83"}, BrokenCase{"three of four bytes", "\xF0\x9F\x96"},
                      BrokenCase{"ASCII in two bytes", "\xC0\xAF"}, BrokenCase{"ASCII in three bytes", "\xE0\x80\xAF"},
                      BrokenCase{"a three-byte character in four", "\xF0\x82\x82\xAC"},
                      BrokenCase{"a surrogate", "\xED\xA0\x80"}, BrokenCase{"beyond the last", "\xF4\x90\x80\x80"},
                      BrokenCase{"no lead byte at all", "\xF8\xFF"}));

TEST(FromUtf8Test, ASequenceThatTheEndCutsOffIsReplaced) {
  EXPECT_EQ(FromUtf8("a\xE3\x83"), L"a\uFFFD\uFFFD");
}

TEST(FindIgnoringCaseTest, FindsAWordInAnyCaseAnywhere) {
  EXPECT_EQ(FindIgnoringCase(L"usbmon.dll", L"USB"), 0U);
  EXPECT_EQ(FindIgnoringCase(L"MyUsBmon", L"USB"), 2U);
  EXPECT_EQ(FindIgnoringCase(L"client:3", L"CLIENT:"), 0U);
  EXPECT_EQ(FindIgnoringCase(L"xUSB", L"usb"), 1U);
}

TEST(FindIgnoringCaseTest, GivesTheFirstPlace) {
  EXPECT_EQ(FindIgnoringCase(L"..usb..USB", L"USB"), 2U);
}

TEST(FindIgnoringCaseTest, AWordThatIsntThereIsNowhere) {
  EXPECT_EQ(FindIgnoringCase(L"tcpmon", L"USB"), std::wstring_view::npos);
  EXPECT_EQ(FindIgnoringCase(L"US", L"USB"), std::wstring_view::npos);
  EXPECT_EQ(FindIgnoringCase(L"", L"USB"), std::wstring_view::npos);
}

TEST(FindIgnoringCaseTest, OnlyLettersHaveACase) {
  EXPECT_EQ(FindIgnoringCase(L"@[`{", L"`{@["), std::wstring_view::npos);
  EXPECT_EQ(FindIgnoringCase(L"client;", L"CLIENT:"), std::wstring_view::npos);
}

}  // namespace
}  // namespace sc3xxmon::platform
