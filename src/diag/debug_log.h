// What we tell people afterwards: one printf-like routine, free at debug level 0.
//
// Any thread may log at any time. Nothing here fails into the caller or touches its last-error value, and nothing here
// knows about printing. A record takes an open and a close of the log file; a thread can be held up by others that log
// for a second at most, and then tells the debugger instead.
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

inline constexpr std::uint32_t kDebugLevelOff = 0;
inline constexpr std::uint32_t kDebugLevelDebugger = 1;  // the debugger channel
inline constexpr std::uint32_t kDebugLevelFile = 2;      // a log file for each module
inline constexpr std::uint32_t kDebugLevelShared = 3;    // one for all modules of the process; no setting leads here

// The raw debug level.
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

// A build without log statements, for measuring what they cost.
#ifdef SC3XXMON_WITHOUT_LOG
inline constexpr bool kLogIsBuiltIn = false;
#else
inline constexpr bool kLogIsBuiltIn = true;
#endif

template <class... Arguments>
void KovaDebugPrint(const char* format, Arguments... arguments) {
  if (!kLogIsBuiltIn || DebugLevel() == kDebugLevelOff) [[likely]] {
    return;
  }
  const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
  WriteLogText(format, list);
}

template <class... Arguments>
void KovaDebugPrint(At at, const char* format, Arguments... arguments) {
  if (!kLogIsBuiltIn || DebugLevel() == kDebugLevelOff) [[likely]] {
    return;
  }
  const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
  WriteLogText(at, format, list);
}

}  // namespace sc3xxmon
