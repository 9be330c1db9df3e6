// printf-like formatting over arguments that carry their own type, so that a wrong conversion can't read a wrong
// argument, and so that `%ws` means a wide string on every system.
//
// Conversions: %d %u %x %X (32 bits: a wider number gives its low half, as the log has always shown it), %s, %ws, %p,
// %%; numbers and pointers with flags, width and precision written out, texts whole. Anything else is copied as it stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>

namespace sc3xxmon {

// One argument. Borrows its text: the text must outlive the call it is given to.
class FormatArgument {
 public:
  enum class Kind : std::uint8_t { kNumber, kNarrow, kWide, kPointer };

  template <class Number, std::enable_if_t<std::is_integral_v<Number> || std::is_enum_v<Number>, int> = 0>
  // NOLINTNEXTLINE(google-explicit-constructor): an argument list is written as it is for printf
  constexpr FormatArgument(Number number) : kind_(Kind::kNumber), number_(static_cast<std::uint64_t>(number)) {}
  constexpr FormatArgument(const char* text) : kind_(Kind::kNarrow), pointer_(text) {}
  constexpr FormatArgument(const wchar_t* text) : kind_(Kind::kWide), pointer_(text) {}
  constexpr FormatArgument(const void* pointer) : kind_(Kind::kPointer), pointer_(pointer) {}

  Kind kind() const { return kind_; }
  std::uint32_t Number() const { return static_cast<std::uint32_t>(number_); }
  const char* Narrow() const { return static_cast<const char*>(pointer_); }
  const wchar_t* Wide() const { return static_cast<const wchar_t*>(pointer_); }
  const void* Pointer() const { return pointer_; }

 private:
  Kind kind_;
  std::uint64_t number_ = 0;
  const void* pointer_ = nullptr;
};

// Writes at most size - 1 bytes and a zero byte into `buffer` (nothing if size is 0) and gives the length of the whole
// text, which may be longer. Allocates only for wide texts. Throws nothing but what that allocation throws.
std::size_t FormatText(char* buffer, std::size_t size, const char* format, std::span<const FormatArgument> arguments);

// The same as a string of its own.
std::string FormatToString(const char* format, std::span<const FormatArgument> arguments);

template <class... Arguments>
std::string FormatToString(const char* format, Arguments... arguments) {
  const FormatArgument list[] = {FormatArgument(arguments)...};
  return FormatToString(format, std::span<const FormatArgument>(list));
}

}  // namespace sc3xxmon
