// The library twice in one process, as two hosts that know nothing of each other load it: one log, and every line whole.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <regex>
#include <stdexcept>
#include <thread>

#include "sc3xxmon/host.h"

#include "platform/posix/shared_memory.h"
#include "support/child_process.h"
#include "support/log_root.h"

namespace sc3xxmon::test {
namespace {

namespace fs = std::filesystem;
using ::testing::SizeIs;

// A copy of the library with insides of its own: the loader tells files apart, not names.
class LoadedCopy {
 public:
  LoadedCopy(const fs::path& folder, const Sc3xxHost& host) {
    fs::create_directories(folder);
    const fs::path file = folder / fs::path(SC3XXMON_LIBRARY).filename();
    fs::copy_file(SC3XXMON_LIBRARY, file);
    library_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
      throw std::runtime_error(dlerror());
    }
    Symbol<decltype(Sc3xxSetHost)>("Sc3xxSetHost")(&host);
    MONITORINIT init{};
    init.cbSize = sizeof(init);
    init.bLocal = TRUE;
    HANDLE handle = nullptr;
    table_ = Symbol<decltype(InitializePrintMonitor2)>("InitializePrintMonitor2")(&init, &handle);
  }
  ~LoadedCopy() { dlclose(library_); }
  LoadedCopy(const LoadedCopy&) = delete;
  LoadedCopy& operator=(const LoadedCopy&) = delete;

  // Each call leaves one line: no port has this handle.
  void LogLines(int count) const {
    for (int i = 0; i < count; ++i) {
      DWORD written = 0;
      table_->pfnWritePort(nullptr, nullptr, 0, &written);
    }
  }

 private:
  template <class Function>
  Function* Symbol(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(library_, name));
  }

  void* library_ = nullptr;
  MONITOR2* table_ = nullptr;
};

// Debug level 2, and a root for the log.
struct LogSettings {
  std::wstring root;
  std::atomic<int> debugTexts{0};

  static LONG Query(void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
    const auto& self = *static_cast<LogSettings*>(context);
    const std::wstring_view which = name != nullptr ? name : L"";
    const DWORD level = 2;
    if (name == nullptr) {
      return *key == L'\0' || std::wstring_view(key).ends_with(L"Debug") ? 0 : static_cast<LONG>(ERROR_FILE_NOT_FOUND);
    }
    if (which == L"LogRoot") {
      return Give(self.root.c_str(), (self.root.size() + 1) * sizeof(wchar_t), data, size);
    }
    return which == L"DebugLevel" ? Give(&level, sizeof(level), data, size) : static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  }
  static LONG Give(const void* value, std::size_t length, LPBYTE data, LPDWORD size) {
    if (data != nullptr) {
      std::copy_n(static_cast<const BYTE*>(value), length, data);
    }
    *size = static_cast<DWORD>(length);
    return 0;
  }

  Sc3xxHost Host() {
    Sc3xxHost host{};
    host.size = sizeof(host);
    host.context = this;
    host.QueryValue = Query;
    host.DebugOutput = [](void* context, const char*) { ++static_cast<LogSettings*>(context)->debugTexts; };
    return host;
  }
};

TEST(TwoCopiesTest, WriteWholeLinesToOneLog) {
  constexpr int kLines = 2000;
  const LogRoot root;
  LogSettings settings{root.Name()};
  const Sc3xxHost host = settings.Host();
  {
    const LoadedCopy first(root.Path() / "first", host);
    const LoadedCopy second(root.Path() / "second", host);
    std::thread other([&second] { second.LogLines(kLines); });
    first.LogLines(kLines);
    other.join();
  }
  EXPECT_EQ(settings.debugTexts, 0) << "every record got into the file";
  ASSERT_THAT(root.Files(), SizeIs(1));
  const std::regex form(
      "\\[[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\\] \\[([0-9A-F]{4,})\\] \\[218:SCMon_WritePort,[0-9]{4}\\] ");
  std::map<std::string, int> linesOfThread;
  for (const std::string& line : LinesOf(TextOfFile(root.Files().front()))) {
    std::smatch parts;
    if (std::regex_match(line, parts, form)) {
      ++linesOfThread[parts[1]];
    } else {
      EXPECT_TRUE(line.find("InitializePrintMonitor2") != std::string::npos || line.find("Detach") != std::string::npos)
          << line;
    }
  }
  ASSERT_THAT(linesOfThread, SizeIs(2));
  for (const auto& [thread, lines] : linesOfThread) {
    EXPECT_EQ(lines, kLines) << thread;
  }
}

TEST(TwoCopiesTest, LeaveNothingInTheMachinesSharedMemory) {
  const LogRoot root;
  LogSettings settings{root.Name()};
  const Sc3xxHost host = settings.Host();
  const fs::path name = platform::SharedMemoryPath(
      L"KOVA.DEBUG.SYNC." + fs::path(SC3XXMON_LIBRARY).filename().wstring() + L"." + std::to_wstring(ProcessId()));
  {
    const LoadedCopy first(root.Path() / "first", host);
    { const LoadedCopy second(root.Path() / "second", host); }
    EXPECT_TRUE(fs::exists(name)) << "somebody still has the lock";
  }
  EXPECT_FALSE(fs::exists(name));
}

}  // namespace
}  // namespace sc3xxmon::test
