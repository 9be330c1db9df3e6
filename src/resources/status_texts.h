// The job status texts by number and language. Plain data, any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace sc3xxmon::resources {

// Language numbers as the Windows resource tables count them.
inline constexpr std::uint16_t kEnglish = 1033;
inline constexpr std::uint16_t kJapanese = 1041;
inline constexpr std::uint16_t kRussian = 1049;
inline constexpr std::uint16_t kTurkish = 1055;

// The thirteen languages that the table exists in.
inline constexpr std::uint16_t kLanguages[] = {kEnglish, kJapanese, kRussian, kTurkish, 1031, 1034, 1036,
                                               1040,     1043,      1046,     2070,     3084, 9226};

// Text `id` (7 to 18) in `language`; a language without texts of its own shows the English ones. Empty for another id.
std::wstring_view StatusText(std::uint16_t language, std::uint32_t id);

// The language for a locale name such as "ja_JP.UTF-8"; English for one without texts of its own.
std::uint16_t LanguageOfLocale(std::string_view locale);

}  // namespace sc3xxmon::resources
