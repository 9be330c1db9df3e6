// The job status texts in the language of the thread that prints.
#include "support/import_hooks.h"
#include "support/library_test.h"

namespace sc3xxmon::test {
namespace {

struct LanguageCase {
  const char* phrase;
  LANGID language;
  const wchar_t* outOfLabels;
  const wchar_t* bayOpen;
};

void PrintTo(const LanguageCase& language, std::ostream* out) {
  *out << language.phrase;
}

void WINAPI SleepNot(DWORD) {}

class StatusTextsTest : public LibraryTest, public ::testing::WithParamInterface<LanguageCase> {
 protected:
  StatusTextsTest() { SetThreadLocale(MAKELCID(GetParam().language, SORT_DEFAULT)); }
  ~StatusTextsTest() override { SetThreadLocale(before_); }

 private:
  const LCID before_ = GetThreadLocale();
};

TEST_P(StatusTextsTest, LoadFromTheLibrary) {
  LoadAsItIs();
  wchar_t text[1024] = {};
  LoadStringW(library->Module(), 14, text, 1024);
  EXPECT_STREQ(text, GetParam().outOfLabels);
  LoadStringW(library->Module(), 13, text, 1024);
  EXPECT_STREQ(text, GetParam().bayOpen);
}

// The printer says that its labels are out, and is ready at the next look.
TEST_P(StatusTextsTest, AreShownOnTheJob) {
  LoadAsItIs();
  const ImportSlot sleep(library->Module(), "Sleep");
  sleep.Replace(reinterpret_cast<const void*>(&SleepNot));
  MONITOR2 table = port.Table();
  spooler.jobs[kJobId].driverName = L"KOVA Scrivelo 310 Swift";
  HANDLE handle = Open(&table);
  ASSERT_TRUE(Start(handle));
  const ByteString out = PlainStatus({.status = 0, .bay = 0});
  port.Answers(out).Answers(out);
  EXPECT_TRUE(Write(handle, Joined({JobStart(), Label(1), EndOfJob()})));
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  EXPECT_THAT(spooler.jobs[kJobId].texts, ::testing::ElementsAre(GetParam().outOfLabels));
}

constexpr wchar_t kEnglish[] = L"Out of labels";
constexpr wchar_t kEnglishBay[] = L"Bay Open";

INSTANTIATE_TEST_SUITE_P(Languages, StatusTextsTest,
                         ::testing::Values(LanguageCase{"English", 1033, kEnglish, kEnglishBay},
                                           LanguageCase{"Japanese", 1041, L"ラベルがありません", L"ベイオープン"},
                                           LanguageCase{"Russian", 1049, L"Закончились этикетки", L"Крышка открыта"},
                                           LanguageCase{"Turkish", 1055, L"Etiket yok", L"Körfez açık"},
                                           LanguageCase{"German", 1031, kEnglish, kEnglishBay},
                                           LanguageCase{"Brazilian", 1046, kEnglish, kEnglishBay},
                                           LanguageCase{"Colombian", 9226, kEnglish, kEnglishBay}),
                         [](const auto& test) { return std::string(test.param.phrase); });

}  // namespace
}  // namespace sc3xxmon::test
