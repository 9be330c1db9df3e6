#include "apps/log/log_record.h"

#include <algorithm>

namespace sc3xx {
namespace {

constexpr std::uint64_t kDayMs = 86'400'000;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// "[HH:MM:SS.mmm] "
constexpr std::string_view kStampForm = "[dd:dd:dd.ddd] ";

bool HasStamp(std::string_view line) {
  return line.size() >= kStampForm.size() &&
         std::equal(kStampForm.begin(), kStampForm.end(), line.begin(),
                    [](char form, char c) { return form == 'd' ? IsDigit(c) : form == c; });
}

std::uint64_t Number(std::string_view digits) {
  std::uint64_t number = 0;
  for (const char c : digits) {
    number = number * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return number;
}

std::uint64_t Milliseconds(std::string_view time) {
  return ((Number(time.substr(0, 2)) * 60 + Number(time.substr(3, 2))) * 60 + Number(time.substr(6, 2))) * 1000 +
         Number(time.substr(9, 3));
}

// Takes "[...] " off the front of `rest`; nothing if there is none.
std::optional<std::string_view> TakeBracket(std::string_view& rest) {
  const std::size_t end = rest.find("] ");
  if (rest.empty() || rest.front() != '[' || end == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view inside = rest.substr(1, end - 1);
  rest.remove_prefix(end + 2);
  return inside;
}

// "218:CLangMon::Send,0042" gives the function.
std::string_view FunctionOf(std::string_view prefix) {
  const std::size_t colon = prefix.find(':');
  const std::size_t comma = prefix.rfind(',');
  const bool whole = colon != std::string_view::npos && comma != std::string_view::npos && colon < comma &&
                     std::all_of(prefix.begin(), prefix.begin() + static_cast<std::ptrdiff_t>(colon), IsDigit);
  return whole ? prefix.substr(colon + 1, comma - colon - 1) : std::string_view();
}

// How much of `text` a conversion takes; npos where it doesn't fit.
std::size_t ConversionLength(char letter, std::string_view text, std::string_view following) {
  if (letter == 'd') {
    std::size_t length = !text.empty() && text.front() == '-' ? 1 : 0;
    const std::size_t sign = length;
    while (length < text.size() && IsDigit(text[length])) {
      ++length;
    }
    return length == sign ? std::string_view::npos : length;
  }
  const std::string_view literal = following.substr(0, following.find('%'));
  return literal.empty() ? text.size() : text.find(literal);
}

}  // namespace

std::optional<LogRecord> ParseLogLine(std::string_view line) {
  if (!HasStamp(line)) {
    return std::nullopt;
  }
  LogRecord record;
  record.time = line.substr(1, 12);
  record.timeMs = Milliseconds(record.time);
  std::string_view rest = line.substr(kStampForm.size());
  const std::optional<std::string_view> thread = TakeBracket(rest);
  if (!thread) {
    return std::nullopt;
  }
  record.thread = *thread;
  std::string_view behind = rest;
  const std::optional<std::string_view> prefix = TakeBracket(behind);
  if (prefix && !FunctionOf(*prefix).empty()) {
    record.function = FunctionOf(*prefix);
    rest = behind;
  }
  record.text = rest;
  return record;
}

LogRecords ParseLog(std::string_view text) {
  LogRecords log;
  std::uint64_t days = 0;
  std::uint64_t lastMs = 0;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::optional<LogRecord> record = ParseLogLine(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!record) {
      ++log.otherLines;
      continue;
    }
    if (record->timeMs + kDayMs / 2 < lastMs) {  // a clock that is set back a little is no midnight
      ++days;
    }
    lastMs = record->timeMs;
    record->timeMs += days * kDayMs;
    log.records.push_back(std::move(*record));
  }
  return log;
}

std::optional<std::vector<std::string>> Match(std::string_view format, std::string_view text) {
  std::vector<std::string> values;
  while (!format.empty()) {
    if (format.size() >= 2 && format.front() == '%') {
      const std::size_t length = ConversionLength(format[1], text, format.substr(2));
      if (length == std::string_view::npos) {
        return std::nullopt;
      }
      values.emplace_back(text.substr(0, length));
      format.remove_prefix(2);
      text.remove_prefix(length);
      continue;
    }
    if (text.empty() || text.front() != format.front()) {
      return std::nullopt;
    }
    format.remove_prefix(1);
    text.remove_prefix(1);
  }
  return text.empty() ? std::optional(values) : std::nullopt;
}

}  // namespace sc3xx
