#include "resources/status_texts.h"

namespace sc3xxmon::resources {
namespace {

struct Row {
  std::uint32_t id;
  std::wstring_view english;
  std::wstring_view japanese;
  std::wstring_view russian;
  std::wstring_view turkish;
};

#define SC3XX_TEXT(id, english, japanese, russian, turkish) {id, L##english, L##japanese, L##russian, L##turkish},
constexpr Row kTexts[] = {
#include "resources/status_texts.inc"
};
#undef SC3XX_TEXT

struct LocaleRow {
  std::string_view prefix;
  std::uint16_t language;
};

constexpr LocaleRow kLocales[] = {{"ja", kJapanese}, {"ru", kRussian}, {"tr", kTurkish}};

std::wstring_view InLanguage(const Row& row, std::uint16_t language) {
  switch (language) {
    case kJapanese:
      return row.japanese;
    case kRussian:
      return row.russian;
    case kTurkish:
      return row.turkish;
    default:
      return row.english;
  }
}

}  // namespace

std::wstring_view StatusText(std::uint16_t language, std::uint32_t id) {
  for (const Row& row : kTexts) {
    if (row.id == id) {
      return InLanguage(row, language);
    }
  }
  return {};
}

std::uint16_t LanguageOfLocale(std::string_view locale) {
  const std::string_view name = locale.substr(0, locale.find_first_of("_.@"));
  for (const LocaleRow& row : kLocales) {
    if (name == row.prefix) {
      return row.language;
    }
  }
  return kEnglish;
}

}  // namespace sc3xxmon::resources
