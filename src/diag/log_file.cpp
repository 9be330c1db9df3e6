#include "diag/log_file.h"

#include <algorithm>
#include <exception>

#include "diag/debug_log.h"
#include "diag/text_format.h"
#include "platform/last_error.h"
#include "platform/local_time.h"
#include "platform/log_folder.h"
#include "platform/module.h"
#include "platform/named_mutex.h"
#include "platform/process.h"
#include "platform/text.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kLockTimeoutMs = 1000;

std::string ModuleName(HINSTANCE module) {
  const std::wstring name = platform::ModuleFileName(module);
  return name.empty() ? "Unknown" : platform::ToUtf8(name);
}

// The log's folder, made if need be; empty if it can't be had.
std::wstring MakeFolder() {
  const std::wstring root = platform::LogRoot(kLogPathSize);
  if (root.empty()) {
    return {};
  }
  const std::wstring folder = platform::AppendToPath(root, L"Logs\\KOVA");
  return !folder.empty() && platform::MakeLogFolder(folder) ? folder : std::wstring();
}

// Two processes never write to one file, even if they began in the same second.
std::wstring FileName(const std::string& module) {
  const platform::LocalTime start = platform::ProcessStartLocalTime();
  return platform::FromUtf8(FormatToString("%04d-%02d-%02d_%02d-%02d-%02d_%d_%s.log", start.year, start.month,
                                           start.day, start.hour, start.minute, start.second,
                                           platform::CurrentProcessId(), module.c_str()));
}

// At level 2 each module of a process has its file and its lock; at level 3 all of them share one.
std::wstring MutexName(const std::string& module) {
  const std::uint32_t process = platform::CurrentProcessId();
  return platform::FromUtf8(DebugLevel() == kDebugLevelShared
                                ? FormatToString("KOVA.DEBUG.SYNC.%d", process)
                                : FormatToString("KOVA.DEBUG.SYNC.%s.%d", module.c_str(), process));
}

bool MakeLog(HINSTANCE module) {
  const std::wstring folder = MakeFolder();
  if (folder.empty()) {
    return false;
  }
  const std::string name = ModuleName(module);
  const std::wstring path = platform::AppendToPath(folder, FileName(name));
  if (path.empty() || path.size() >= kLogPathSize) {
    return false;
  }
  if (diag::log.ready.exchange(1) == 0) {
    std::copy(path.begin(), path.end(), diag::log.path.begin());
    diag::log.mutex.store(platform::CreateNamedMutex(MutexName(name)), std::memory_order_release);
  }
  return true;
}

}  // namespace

bool InitLogFile(HINSTANCE module) try {
  return diag::log.ready.load() != 0 || MakeLog(module);
} catch (const std::exception&) {
  return false;  // no memory for a name
}

LogGuard::LogGuard() {
  HANDLE const mutex = diag::log.mutex.load(std::memory_order_acquire);
  if (platform::TakeNamedMutex(mutex, kLockTimeoutMs)) {
    mutex_ = mutex;
  }
}

LogGuard::~LogGuard() {
  if (mutex_ != nullptr) {
    platform::ReleaseNamedMutex(mutex_);
  }
}

platform::File OpenLogFile(const wchar_t* path) {
  platform::File file = platform::File::OpenAtEnd(path);
  if (!file.IsOpen()) {
    // The log can't tell of itself: this is for whoever looks at the frame in a debugger.
    char trouble[1024];
    const std::string name = platform::ToUtf8(path);
    const FormatArgument arguments[] = {platform::LastError(), name.c_str()};
    FormatText(trouble, sizeof(trouble), "CreateFileW failed(%d) on %s", arguments);
  }
  return file;
}

bool WriteAll(platform::File& file, const void* bytes, std::size_t size) {
  const auto* next = static_cast<const std::uint8_t*>(bytes);
  while (size > 0) {
    const std::size_t written = file.Write(next, size);
    if (written == 0) {
      return false;
    }
    next += written;
    size -= written;
  }
  return true;
}

bool WriteLogRecord(platform::File& file, const char* text, std::size_t length) {
  if (text == nullptr) {
    return false;
  }
  if (*text == '\0' || length == 0) {
    return true;
  }
  if (!file.IsOpen()) {
    return false;
  }
  const platform::LocalTime now = platform::CurrentLocalTime();
  char stamp[128];
  const FormatArgument arguments[] = {now.hour, now.minute, now.second, now.millisecond};
  WriteAll(file, stamp, FormatText(stamp, sizeof(stamp), "[%02d:%02d:%02d.%03d] ", arguments));
  return WriteAll(file, text, length) && WriteAll(file, "\n", 1);
}

}  // namespace sc3xxmon
