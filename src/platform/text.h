// Wide text: UTF-8 and UTF-16 at the edges, and comparison without regard to case.
#pragma once

#include <string>
#include <string_view>

namespace sc3xxmon::platform {

// wchar_t has 16 bits on Windows and 32 elsewhere; both give the same UTF-8. What is no valid character becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

// The same in 16-bit units, for memory that is laid out alike on every system.
std::u16string ToUtf16(std::wstring_view text);
std::wstring FromUtf16(std::u16string_view text);

// Where `word` (ASCII) first stands in `text`, in any case; npos if nowhere.
std::size_t FindIgnoringCase(std::wstring_view text, std::wstring_view word);

}  // namespace sc3xxmon::platform
