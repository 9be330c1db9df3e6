// A monitor that does what a test tells it to: it stands where the real one would, behind a MONITOR2 table, and notes
// what it was called with. Also a clock that only counts.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "sc3xxmon/host.h"
#include "sc3xxmon/spooler_abi.h"

#include "apps/spooler/host_clock.h"

namespace sc3xx::test {

using Bytes = std::vector<std::uint8_t>;

struct CountingClock {
  std::uint64_t now = 1000;
  std::vector<std::uint32_t> sleeps;
  std::function<void()> onSleep;

  HostClock Clock() {
    return {[this] { return now; },
            [this](std::uint32_t milliseconds) {
              sleeps.push_back(milliseconds);
              now += milliseconds;
              if (onSleep) {
                onSleep();
              }
            }};
  }
};

// The answer to one call.
struct Answer {
  bool accepted = true;
  DWORD taken = 0xFFFFFFFF;  // at most what was offered
  DWORD errorCode = 0;
};

class ScriptedMonitor {
 public:
  // `host` is what the monitor would have got through Sc3xxSetHost; null for tests that need none.
  explicit ScriptedMonitor(const Sc3xxHost* host = nullptr);

  MONITOR2 table;

  // What happens at a call; absent functions accept.
  std::function<Answer()> onOpen;
  std::function<Answer()> onStart;
  std::function<Answer(std::span<const std::uint8_t> bytes)> onWrite;

  // What the engine does to the job, through the host's functions.
  void ShowPages(DWORD pages, DWORD status);
  void ShowMessage(const wchar_t* text);
  void Command(DWORD command);
  DWORD JobStatus();

  std::vector<std::string> calls;  // "open usb:x", "start 7", "write 4", "end", "close"
  std::vector<Bytes> documents;    // the bytes taken of each document
  DWORD jobId = 0;

  HANDLE AsMonitorPort() { return this; }

 private:
  void WithJob(const std::function<void(HANDLE printer)>& use);

  const Sc3xxHost* host_;
  std::wstring printerName_;
};

}  // namespace sc3xx::test
