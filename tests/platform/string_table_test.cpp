#include "platform/string_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

#include "support/environment.h"

namespace sc3xxmon::platform {
namespace {

using Value = std::optional<std::string>;

struct LocaleCase {
  const char* phrase;
  Value all;
  Value messages;
  Value lang;
  const wchar_t* text;  // of number 13
};
void PrintTo(const LocaleCase& each, std::ostream* out) {
  *out << each.phrase;
}

constexpr wchar_t kEnglishText[] = L"Bay Open";
constexpr wchar_t kJapaneseText[] = L"ベイオープン";
constexpr wchar_t kRussianText[] = L"Крышка открыта";
constexpr wchar_t kTurkishText[] = L"Körfez açık";

std::wstring Load(std::uint32_t id) {
  wchar_t buffer[1024] = {};
  const std::size_t count = LoadText(nullptr, id, buffer, 1024);
  EXPECT_EQ(count, std::wstring(buffer).size());
  return buffer;
}

class MessageLocaleTest : public ::testing::TestWithParam<LocaleCase> {};

TEST_P(MessageLocaleTest, DecidesTheLanguage) {
  const LocaleCase& c = GetParam();
  const test::ScopedVariable all("LC_ALL", c.all);
  const test::ScopedVariable messages("LC_MESSAGES", c.messages);
  const test::ScopedVariable lang("LANG", c.lang);
  EXPECT_EQ(Load(13), c.text) << c.phrase;
}

INSTANTIATE_TEST_SUITE_P(
    Locales, MessageLocaleTest,
    ::testing::Values(LocaleCase{"nothing set", {}, {}, {}, kEnglishText},
                      LocaleCase{"LANG alone", {}, {}, "ja_JP.UTF-8", kJapaneseText},
                      LocaleCase{"LC_MESSAGES over LANG", {}, "ru_RU.UTF-8", "ja_JP.UTF-8", kRussianText},
                      LocaleCase{"LC_ALL over all", "tr_TR.UTF-8", "ru_RU.UTF-8", "ja_JP.UTF-8", kTurkishText},
                      LocaleCase{"an empty LC_ALL is as good as none", "", "", "ja_JP.UTF-8", kJapaneseText},
                      LocaleCase{"C in LC_ALL is a choice", "C", "ru_RU.UTF-8", "ja_JP.UTF-8", kEnglishText},
                      LocaleCase{"a language without texts of its own", {}, {}, "de_DE.UTF-8", kEnglishText}));

class LoadTextTest : public ::testing::Test {
 protected:
  test::ScopedVariable all{"LC_ALL", "C"};
};

TEST_F(LoadTextTest, ATextThatIsntThereLeavesTheBufferAlone) {
  wchar_t buffer[8] = L"before";
  EXPECT_EQ(LoadText(nullptr, 999, buffer, 8), 0U);
  EXPECT_STREQ(buffer, L"before");
}

TEST_F(LoadTextTest, ATextThatIsTooLongIsCutAndEnded) {
  wchar_t buffer[8] = L"#######";
  EXPECT_EQ(LoadText(nullptr, 13, buffer, 4), 3U);
  EXPECT_STREQ(buffer, L"Bay");
  EXPECT_EQ(buffer[4], L'#');
}

TEST_F(LoadTextTest, ATextThatJustFitsIsWhole) {
  wchar_t buffer[9];
  EXPECT_EQ(LoadText(nullptr, 13, buffer, 9), 8U);
  EXPECT_STREQ(buffer, L"Bay Open");
}

TEST_F(LoadTextTest, WithoutRoomNothingIsWritten) {
  wchar_t buffer[1] = {L'#'};
  EXPECT_EQ(LoadText(nullptr, 13, buffer, 0), 0U);
  EXPECT_EQ(buffer[0], L'#');
}

}  // namespace
}  // namespace sc3xxmon::platform
