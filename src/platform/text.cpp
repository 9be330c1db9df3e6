#include "platform/text.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace sc3xxmon::platform {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

std::uint32_t Unit(wchar_t c) {
  return static_cast<std::make_unsigned_t<std::conditional_t<sizeof(wchar_t) == 2, std::int16_t, std::int32_t>>>(c);
}

std::uint32_t Unit(char16_t c) {
  return c;
}

// Takes one character off the front of `text`, two units of it where 16-bit characters need them.
template <class Character>
std::uint32_t TakeCharacter(std::basic_string_view<Character>& text) {
  const std::uint32_t first = Unit(text.front());
  text.remove_prefix(1);
  if (IsHighSurrogate(first) && !text.empty() && IsLowSurrogate(Unit(text.front()))) {
    const std::uint32_t second = Unit(text.front());
    text.remove_prefix(1);
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
  }
  const bool valid = first < 0x110000 && !IsHighSurrogate(first) && !IsLowSurrogate(first);
  return valid ? first : kReplacement;
}

void AppendUtf8(std::string& out, std::uint32_t character) {
  const auto trail = [character](unsigned shift) { return static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
  if (character < 0x80) {
    out += static_cast<char>(character);
  } else if (character < 0x800) {
    out += {static_cast<char>(0xC0 | (character >> 6)), trail(0)};
  } else if (character < 0x10000) {
    out += {static_cast<char>(0xE0 | (character >> 12)), trail(6), trail(0)};
  } else {
    out += {static_cast<char>(0xF0 | (character >> 18)), trail(12), trail(6), trail(0)};
  }
}

// Takes one character off the front of UTF-8 `text`; a malformed sequence costs one byte and gives U+FFFD.
std::uint32_t TakeUtf8(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t extra = lead < 0x80 ? 0 : lead < 0xC2 ? 4 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF5 ? 3 : 4;
  if (extra == 4 || extra >= text.size()) {
    text.remove_prefix(1);
    return kReplacement;
  }
  std::uint32_t character = extra == 0 ? lead : lead & (0x3Fu >> extra);
  for (std::size_t i = 1; i <= extra; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) {
      text.remove_prefix(1);
      return kReplacement;
    }
    character = (character << 6) | (next & 0x3Fu);
  }
  text.remove_prefix(extra + 1);
  const bool tooLong = (extra == 2 && character < 0x800) || (extra == 3 && character < 0x10000);
  return tooLong || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000) ? kReplacement : character;
}

template <class Character>
void AppendWide(std::basic_string<Character>& out, std::uint32_t character) {
  if (sizeof(Character) > 2 || character < 0x10000) {
    out += static_cast<Character>(character);
    return;
  }
  out += static_cast<Character>(0xD800 + ((character - 0x10000) >> 10));
  out += static_cast<Character>(0xDC00 + ((character - 0x10000) & 0x3FF));
}

wchar_t LowerAscii(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    AppendUtf8(out, TakeCharacter(text));
  }
  return out;
}

std::wstring FromUtf8(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  while (!text.empty()) {
    AppendWide(out, TakeUtf8(text));
  }
  return out;
}

std::u16string ToUtf16(std::wstring_view text) {
  std::u16string out;
  while (!text.empty()) {
    AppendWide(out, TakeCharacter(text));
  }
  return out;
}

std::wstring FromUtf16(std::u16string_view text) {
  std::wstring out;
  while (!text.empty()) {
    AppendWide(out, TakeCharacter(text));
  }
  return out;
}

std::size_t FindIgnoringCase(std::wstring_view text, std::wstring_view word) {
  const auto at = std::search(text.begin(), text.end(), word.begin(), word.end(),
                              [](wchar_t a, wchar_t b) { return LowerAscii(a) == LowerAscii(b); });
  return at == text.end() && !word.empty() ? std::wstring_view::npos : static_cast<std::size_t>(at - text.begin());
}

}  // namespace sc3xxmon::platform
