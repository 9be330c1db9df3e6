// The log with a root folder of its own and the debugger channel as it is: every call to it, untouched. Debug level 2
// when LogStarts has been called.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "diag/debug_log.h"
#include "diag/debug_settings.h"
#include "diag/log_file.h"
#include "platform/text.h"
#include "platform/thread_id.h"
#include "support/log_root.h"
#include "support/test_host.h"

namespace sc3xxmon::test {

inline std::string ThreadPrefix() {
  char text[16];
  std::snprintf(text, sizeof(text), "[%04X] ", platform::CurrentThreadId());
  return text;
}

// The host with the parts that a log has to do with.
class LogHost : public TestHost {
 public:
  explicit LogHost(const std::wstring& root) {
    logRoot = root;
    Sc3xxHost table{};
    table.size = sizeof(table);
    table.context = this;
    table.QueryValue = [](void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
      return Self(context).Query(key, name, data, size);
    };
    table.Sleep = [](void* context, std::uint32_t milliseconds) { Self(context).Sleep(milliseconds); };
    table.GetLastError = [](void* context) { return Self(context).lastError; };
    table.SetLastError = [](void* context, DWORD code) {
      ++Self(context).lastErrorWrites;
      Self(context).lastError = code;
    };
    table.DebugOutput = [](void* context, const char* text) { Self(context).channel.emplace_back(text); };
    Sc3xxSetHost(&table);
  }

  std::vector<std::string> channel;
  int lastErrorWrites = 0;

 private:
  static LogHost& Self(void* context) { return *static_cast<LogHost*>(context); }
};

class LogFixture : public ::testing::Test {
 protected:
  // As the settings do at level 2, for a log named after the test program.
  void LogStarts() {
    TestHost::SetDebugLevel(kDebugLevelFile);
    ASSERT_TRUE(InitLogFile(nullptr));
  }

  std::filesystem::path LogPath() const { return platform::ToUtf8(diag::log.path.data()); }
  std::vector<std::string> Lines() const { return LinesOf(TextOfFile(LogPath())); }
  // The lines without their time.
  std::vector<std::string> Records() const {
    std::vector<std::string> records;
    for (const std::string& line : Lines()) {
      records.push_back(line.substr(line.find("] ") + 2));
    }
    return records;
  }

  LogRoot root;
  LogHost host{root.Name()};
};

}  // namespace sc3xxmon::test
