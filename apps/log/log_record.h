// One line of the monitor's log, taken apart.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sc3xx {

struct LogRecord {
  std::uint64_t timeMs = 0;  // since the midnight before the first record
  std::string time;          // as it is written, "15:44:22.031"
  std::string thread;
  std::string function;  // empty for a record without a prefix
  std::string text;
};

// Nothing for a line that isn't the log's, such as one that was cut when a disk was full. `timeMs` counts from the
// line's own midnight.
std::optional<LogRecord> ParseLogLine(std::string_view line);

struct LogRecords {
  std::vector<LogRecord> records;
  std::size_t otherLines = 0;
};

// All lines, with times that go on over midnight.
LogRecords ParseLog(std::string_view text);

// The numbers of a text that was made from `format`, in order; nothing if it wasn't. Each "%d" of the format stands for
// a whole number, each "%s" for the shortest text up to what follows it.
std::optional<std::vector<std::string>> Match(std::string_view format, std::string_view text);

}  // namespace sc3xx
