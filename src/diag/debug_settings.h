// Debug settings: six values that switch the log on and let a developer run the monitor without a printer or without
// parts of its conversation. Read once, before the first port exists; every accessor is a plain load, false while the
// debug level is 0.
#pragma once

#include <cstdint>

#include "sc3xxmon/spooler_abi.h"

#include "diag/debug_log.h"

namespace sc3xxmon {

namespace diag {

enum TraceBit : std::uint32_t { kTracePackets = 4, kTraceJobDump = 8, kTraceLabelDump = 16 };
enum TestFlag : std::uint32_t { kNoDeviceIO = 1, kBypassMode = 2, kDontLock = 4, kNoMediaCheck = 8 };

inline std::atomic<std::uint32_t> traceWord{1};
inline std::atomic<std::uint32_t> flagWord{0};

inline bool Flag(TestFlag flag) {
  return DebugLevel() != 0 && (flagWord.load(std::memory_order_relaxed) & flag) != 0;
}
inline bool Trace(TraceBit bit) {
  return DebugLevel() != 0 && (traceWord.load(std::memory_order_relaxed) & bit) != 0;
}

}  // namespace diag

// Reads the key "Software\KOVA\Debug", and sets up the log for the level found there. `module` names it.
void ReadDebugSettings(HINSTANCE module);

// Names the log file where the debug level asks for one. A shared log that can't be had becomes one of this module's own.
void SetUpLog(HINSTANCE module);

// No byte goes to or comes from the port; transfers succeed and a fabricated status stands in for every response.
inline bool IsNoDeviceIO() {
  return diag::Flag(diag::kNoDeviceIO);
}
// The stream goes to the port as it comes.
inline bool IsBypassMode() {
  return diag::Flag(diag::kBypassMode);
}
// No readiness round at the head of a write.
inline bool IsDontLock() {
  return diag::Flag(diag::kDontLock);
}
// Read and shown at start-up; no code asks.
inline bool IsNoMediaCheck() {
  return diag::Flag(diag::kNoMediaCheck);
}
inline bool TraceHasPackets() {
  return diag::Trace(diag::kTracePackets);
}
inline bool TraceHasJobDump() {
  return diag::Trace(diag::kTraceJobDump);
}
inline bool TraceHasLabelDump() {
  return diag::Trace(diag::kTraceLabelDump);
}

// The raw words, whatever the debug level.
inline std::uint32_t TraceWord() {
  return diag::traceWord.load(std::memory_order_relaxed);
}
inline std::uint32_t FlagWord() {
  return diag::flagWord.load(std::memory_order_relaxed);
}

}  // namespace sc3xxmon
