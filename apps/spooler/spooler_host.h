// The small spooler's side of the monitor's host table: printers and jobs, settings, the clock, the
// last-error value and the debugger channel.
//
// A host outlives every use of its table: hand Table() to Sc3xxSetHost, and call Sc3xxSetHost(nullptr) before
// the host goes. Jobs are added before their document starts and removed after it ended. Threads: any thread
// may call the table's functions; adding and removing jobs is guarded too.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "sc3xxmon/host.h"

#include "apps/spooler/host_clock.h"
#include "apps/spooler/job_record.h"
#include "platform/posix/settings_file.h"

namespace sc3xx {

struct HostHooks {
  // Called before each sleep of the monitor or of the spooler, on the thread that sleeps.
  std::function<void(std::uint32_t milliseconds)> beforeSleep;
  // The monitor has set the last-error value to something else than success, on this thread.
  std::function<void(DWORD code)> errorNoted;
  // Gets what the monitor sends to a debugger: pieces of text that bring their own line ends. Absent:
  // standard error.
  std::function<void(std::string_view text)> debugOutput;
};

class SpoolerHost {
 public:
  explicit SpoolerHost(sc3xxmon::platform::SettingsFile settings, HostClock clock = SteadyHostClock(),
                       HostHooks hooks = {});
  SpoolerHost(const SpoolerHost&) = delete;
  SpoolerHost& operator=(const SpoolerHost&) = delete;

  const Sc3xxHost& Table() const { return table_; }

  // The host keeps a pointer; the job stays the caller's. Printer names come from the jobs' tickets.
  void AddJob(JobRecord& job);
  void RemoveJob(DWORD jobId);

  const sc3xxmon::platform::SettingsFile& Settings() const { return settings_; }
  std::uint64_t TickCount() const { return clock_.ticks(); }
  void Sleep(std::uint32_t milliseconds) const;

  // Printer handles given out and not closed.
  std::size_t OpenPrinterHandles() const;

 private:
  DWORD OpenPrinter(LPCWSTR name, HANDLE* printer);
  DWORD ClosePrinter(HANDLE printer);
  JobRecord* FindJob(HANDLE printer, DWORD jobId, DWORD* error);
  static Sc3xxHost MakeTable(SpoolerHost* self);

  const sc3xxmon::platform::SettingsFile settings_;
  const HostClock clock_;
  const HostHooks hooks_;
  const Sc3xxHost table_;

  mutable std::mutex mutex_;
  // guarded by mutex_
  std::map<DWORD, JobRecord*> jobs_;
  std::set<std::uintptr_t> openPrinters_;
  std::uintptr_t lastPrinter_ = 0;
};

}  // namespace sc3xx
