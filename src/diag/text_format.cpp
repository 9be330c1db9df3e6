#include "diag/text_format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace sc3xxmon {
namespace {

// Collects text in a buffer of fixed size and goes on counting when it is full.
class Output {
 public:
  Output(char* buffer, std::size_t size) : buffer_(buffer), room_(size > 0 ? size - 1 : 0) {}

  void Append(std::string_view text) {
    if (length_ < room_) {
      std::memcpy(buffer_ + length_, text.data(), std::min(text.size(), room_ - length_));
    }
    length_ += text.size();
  }

  void Terminate(std::size_t size) const {
    if (size > 0) {
      buffer_[std::min(length_, room_)] = '\0';
    }
  }

  std::size_t length() const { return length_; }

 private:
  char* buffer_;
  std::size_t room_;
  std::size_t length_ = 0;
};

struct Conversion {
  std::string_view flags;  // flags, width and precision as written
  bool wide = false;
  char letter = '\0';
  std::size_t length = 0;  // of the whole conversion in the format, the percent sign included
};

Conversion ParseConversion(std::string_view format) {
  Conversion conversion;
  std::size_t at = 1;
  while (at < format.size() && std::strchr("-+ #0123456789.", format[at]) != nullptr) {
    ++at;
  }
  conversion.flags = format.substr(1, at - 1);
  if (at < format.size() && format[at] == 'w') {
    conversion.wide = true;
    ++at;
  }
  if (at < format.size()) {
    conversion.letter = format[at++];
  }
  conversion.length = at;
  return conversion;
}

// The longest that one number or pointer can get: widths in the formats are a few digits.
constexpr std::size_t kNumberRoom = 128;

template <class Value>
void AppendPrinted(Output& out, std::string_view flags, char letter, Value value) {
  char format[24];
  if (flags.size() > sizeof(format) - 3) {
    return;
  }
  std::snprintf(format, sizeof(format), "%%%.*s%c", static_cast<int>(flags.size()), flags.data(), letter);
  char text[kNumberRoom];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length = std::snprintf(text, sizeof(text), format, value);
#pragma GCC diagnostic pop
  if (length > 0) {
    out.Append({text, std::min(static_cast<std::size_t>(length), sizeof(text) - 1)});
  }
}

void AppendText(Output& out, const FormatArgument& argument) {
  if (argument.Pointer() == nullptr) {
    out.Append("(null)");
  } else if (argument.kind() == FormatArgument::Kind::kWide) {
    out.Append(platform::ToUtf8(argument.Wide()));
  } else {
    out.Append(argument.Narrow());
  }
}

void AppendArgument(Output& out, const Conversion& conversion, const FormatArgument& argument) {
  switch (argument.kind()) {
    case FormatArgument::Kind::kNumber:
      if (conversion.letter == 'd') {
        AppendPrinted(out, conversion.flags, 'd', static_cast<std::int32_t>(argument.Number()));
      } else {
        AppendPrinted(out, conversion.flags, conversion.letter, argument.Number());
      }
      break;
    case FormatArgument::Kind::kPointer:
      AppendPrinted(out, conversion.flags, 'p', argument.Pointer());
      break;
    case FormatArgument::Kind::kNarrow:
    case FormatArgument::Kind::kWide:
      AppendText(out, argument);
      break;
  }
}

// The letter decides which kind of argument it takes; a mismatch would print nonsense.
bool Fits(const Conversion& conversion, FormatArgument::Kind kind) {
  switch (conversion.letter) {
    case 'd':
    case 'u':
    case 'x':
    case 'X':
      return kind == FormatArgument::Kind::kNumber;
    case 'p':
      return kind == FormatArgument::Kind::kPointer;
    case 's':
      return kind == (conversion.wide ? FormatArgument::Kind::kWide : FormatArgument::Kind::kNarrow);
    default:
      return false;
  }
}

}  // namespace

std::size_t FormatText(char* buffer, std::size_t size, const char* format, std::span<const FormatArgument> arguments) {
  Output out(buffer, size);
  std::string_view rest = format;
  std::size_t next = 0;
  while (!rest.empty()) {
    const std::size_t percent = std::min(rest.find('%'), rest.size());
    out.Append(rest.substr(0, percent));
    rest.remove_prefix(percent);
    if (rest.empty()) {
      break;
    }
    const Conversion conversion = ParseConversion(rest);
    if (conversion.letter == '%') {
      out.Append("%");
    } else if (next < arguments.size() && Fits(conversion, arguments[next].kind())) {
      AppendArgument(out, conversion, arguments[next++]);
    } else {
      out.Append(rest.substr(0, conversion.length));
    }
    rest.remove_prefix(conversion.length);
  }
  out.Terminate(size);
  return out.length();
}

std::string FormatToString(const char* format, std::span<const FormatArgument> arguments) {
  std::string text(FormatText(nullptr, 0, format, arguments), '\0');
  FormatText(text.data(), text.size() + 1, format, arguments);  // a string has room for its final zero
  return text;
}

}  // namespace sc3xxmon
