// What we tell people afterwards: one printf-like routine, free at debug level 0.
//
// Any thread may log at any time. Nothing here fails into the caller, and nothing here knows about printing.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "diag/text_format.h"
#include "monitor/version.h"

namespace sc3xxmon {

namespace diag {
inline std::atomic<std::uint32_t> debugLevel{0};
}  // namespace diag

// The raw debug level: 0 off, 1 debugger channel, 2 log file.
inline std::uint32_t DebugLevel() {
  return diag::debugLevel.load(std::memory_order_relaxed);
}

// Where a record comes from: the reporting function's name and the statement's line. It becomes the record's prefix
// "[%d:%s,%04d] ", whose first number is the build.
struct At {
  explicit constexpr At(const char* name, int at = __builtin_LINE()) : function(name), line(at) {}

  const char* function;
  int line;
};

// Writes one formatted record without a prefix; cut off at 2046 bytes, thread id included.
void WriteLogText(const char* format, std::span<const FormatArgument> arguments);
// The same behind the prefix.
void WriteLogText(At at, const char* format, std::span<const FormatArgument> arguments);

template <class... Arguments>
void KovaDebugPrint(const char* format, Arguments... arguments) {
  if (DebugLevel() == 0) {
    return;
  }
  const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
  WriteLogText(format, list);
}

template <class... Arguments>
void KovaDebugPrint(At at, const char* format, Arguments... arguments) {
  if (DebugLevel() == 0) {
    return;
  }
  const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
  WriteLogText(at, format, list);
}

}  // namespace sc3xxmon
