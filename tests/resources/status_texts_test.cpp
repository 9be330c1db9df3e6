#include "resources/status_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <ostream>

namespace sc3xxmon::resources {
namespace {

struct TextCase {
  std::uint32_t id;
  const wchar_t* english;
  const wchar_t* japanese;
  const wchar_t* russian;
  const wchar_t* turkish;
};

constexpr TextCase kTexts[] = {
    {7, L"The printer is out of labels", L"プリンタのラベルがありません", L"В принтере закончились этикетки",
     L"Yazıcıda etiket kalmadı"},
    {8, L"Printing error", L"印刷エラー", L"Ошибка печати", L"Baskı hatası"},
    {9, L"Print head is overheated", L"プリントヘッドが過熱している", L"Перегрев печатающей головки",
     L"Baskı kafası aşırı ısındı"},
    {10, L"Printer is currently in use", L"プリンターは現在使用中です", L"Принтер занят", L"Yazıcı şu anda kullanımda"},
    {11, L"Label jam", L"ラベルジャム", L"Этикетка застряла", L"Etiket sıkışması"},
    {12, L"Unknown label detected", L"不明なラベルが検出されました", L"Неопознанная этикетка",
     L"Bilinmeyen etiket algılandı"},
    {13, L"Bay Open", L"ベイオープン", L"Крышка открыта", L"Körfez açık"},
    {14, L"Out of labels", L"ラベルがありません", L"Закончились этикетки", L"Etiket yok"},
    {15, L"Wrong Media Inserted", L"間違ったメディアが挿入されました", L"Вставлены неправильные этикетки",
     L"Yanlış medya takıldı"},
    {16, L"Out of labels", L"ラベルがありません", L"Закончились этикетки", L"Etiket yok"},
    {17, L"Battery level too low", L"Battery level too low", L"Battery level too low", L"Battery level too low"},
    {18, L"Cutter jam", L"Cutter jam", L"Cutter jam", L"Cutter jam"},
};

class StatusTextsTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(StatusTextsTest, HasItsOwnWordsInFourLanguages) {
  const TextCase& c = GetParam();
  EXPECT_EQ(StatusText(1033, c.id), c.english);
  EXPECT_EQ(StatusText(1041, c.id), c.japanese);
  EXPECT_EQ(StatusText(1049, c.id), c.russian);
  EXPECT_EQ(StatusText(1055, c.id), c.turkish);
}

TEST_P(StatusTextsTest, IsEnglishWordForWordInTheNineOthers) {
  for (const int language : {1031, 1034, 1036, 1040, 1043, 1046, 2070, 3084, 9226}) {
    EXPECT_EQ(StatusText(static_cast<std::uint16_t>(language), GetParam().id), GetParam().english) << language;
  }
}

INSTANTIATE_TEST_SUITE_P(Ids, StatusTextsTest, ::testing::ValuesIn(kTexts),
                         [](const auto& test) { return "Text" + std::to_string(test.param.id); });

TEST(StatusTextsTableTest, ExistsInThirteenLanguages) {
  EXPECT_THAT(kLanguages, ::testing::UnorderedElementsAre(1033, 1041, 1049, 1055, 1031, 1034, 1036, 1040, 1043, 1046,
                                                          2070, 3084, 9226));
}

TEST(StatusTextsTableTest, HasTheIds7To18AndNoOther) {
  for (const std::uint16_t language : kLanguages) {
    for (std::uint32_t id = 0; id < 40; ++id) {
      EXPECT_EQ(StatusText(language, id).empty(), id < 7 || id > 18) << id;
    }
    EXPECT_TRUE(StatusText(language, 0xFFFFFFFF).empty());
  }
}

TEST(StatusTextsTableTest, AnUnknownLanguageShowsEnglish) {
  EXPECT_EQ(StatusText(0, 13), L"Bay Open");
}

struct LocaleCase {
  const char* locale;
  std::uint16_t language;
};
void PrintTo(const LocaleCase& each, std::ostream* out) {
  *out << each.locale;
}

class LanguageOfLocaleTest : public ::testing::TestWithParam<LocaleCase> {};

TEST_P(LanguageOfLocaleTest, IsChosenByTheLocalesFirstPart) {
  EXPECT_EQ(LanguageOfLocale(GetParam().locale), GetParam().language) << GetParam().locale;
}

INSTANTIATE_TEST_SUITE_P(Locales, LanguageOfLocaleTest,
                         ::testing::Values(LocaleCase{"ja_JP.UTF-8", kJapanese}, LocaleCase{"ja_JP", kJapanese},
                                           LocaleCase{"ja", kJapanese}, LocaleCase{"ja.eucJP", kJapanese},
                                           LocaleCase{"ru_RU.KOI8-R", kRussian}, LocaleCase{"ru_UA@cyrillic", kRussian},
                                           LocaleCase{"ru@cyrillic", kRussian}, LocaleCase{"tr_TR.UTF-8", kTurkish},
                                           LocaleCase{"tr_CY", kTurkish}, LocaleCase{"en_US.UTF-8", kEnglish},
                                           LocaleCase{"C", kEnglish}, LocaleCase{"POSIX", kEnglish},
                                           LocaleCase{"C.UTF-8", kEnglish}, LocaleCase{"", kEnglish},
                                           LocaleCase{"jam", kEnglish}, LocaleCase{"trv_TW", kEnglish},
                                           LocaleCase{"j", kEnglish}));

// Nine languages have no texts of their own: their locales show English, whatever number they get.
TEST(LanguageOfLocaleEnglishTest, TheNineOtherLanguagesShowEnglish) {
  for (const char* locale : {"de_DE", "es_ES", "fr_FR", "it_IT", "nl_NL", "pt_BR", "pt_PT", "fr_CA", "es_CO"}) {
    EXPECT_EQ(StatusText(LanguageOfLocale(locale), 14), L"Out of labels") << locale;
  }
}

}  // namespace
}  // namespace sc3xxmon::resources
