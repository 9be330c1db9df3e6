// The log's file: where it lies, what guards it, and how one record gets into it.
//
// The file is opened and closed for every record, so that whoever looks finds everything that was written, and may move
// or delete it at any time. It has no size limit. Nothing here fails into the caller.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "sc3xxmon/spooler_abi.h"

#include "platform/file.h"

namespace sc3xxmon {

// A path with its terminator.
inline constexpr std::size_t kLogPathSize = 520;

namespace diag {

// Set once in the life of the library. The mutex comes last: who sees it sees the path as well.
struct LogState {
  std::atomic<std::uint32_t> ready{0};
  std::array<wchar_t, kLogPathSize> path{};
  std::atomic<HANDLE> mutex{nullptr};
};
inline LogState log;

}  // namespace diag

// Names the file after this process's start, its id and `module` (null: the program), makes the folder for it, and makes
// the mutex for the current debug level. True on success or when it was done before; only the first of several calls
// stores a path. The folder above the log's own must be there already.
bool InitLogFile(HINSTANCE module);

// Holds the log's mutex, if it could be had within a second: without a mutex it can't.
class LogGuard {
 public:
  LogGuard();
  ~LogGuard();
  LogGuard(const LogGuard&) = delete;
  LogGuard& operator=(const LogGuard&) = delete;

  bool Held() const { return mutex_ != nullptr; }

 private:
  HANDLE mutex_ = nullptr;
};

// Opens the file for writing behind its last byte and makes it if need be. Not open on a failure.
platform::File OpenLogFile(const wchar_t* path);

// Writes the time, the text and a line end. True if the record is complete; an empty text is complete without a byte.
bool WriteLogRecord(platform::File& file, const char* text, std::size_t length);

// Goes on after a partial write. False when a write moved nothing while there was something to write.
bool WriteAll(platform::File& file, const void* bytes, std::size_t size);

}  // namespace sc3xxmon
