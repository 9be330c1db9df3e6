#include "apps/spooler/spooler_host.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "apps/spooler/last_error.h"

namespace sc3xx {
namespace {

SpoolerHost& HostOf(void* context) {
  return *static_cast<SpoolerHost*>(context);
}

// The spooler's convention: 0 and a last-error code for a failure, 1 otherwise.
BOOL Result(DWORD error) {
  if (error == ERROR_SUCCESS) {
    return TRUE;
  }
  SetLastErrorCode(error);
  return FALSE;
}

std::uintptr_t KeyOf(HANDLE handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

}  // namespace

SpoolerHost::SpoolerHost(sc3xxmon::platform::SettingsFile settings, HostClock clock, HostHooks hooks)
    : settings_(std::move(settings)), clock_(std::move(clock)), hooks_(std::move(hooks)), table_(MakeTable(this)) {}

Sc3xxHost SpoolerHost::MakeTable(SpoolerHost* self) {
  Sc3xxHost table{};
  table.size = sizeof(table);
  table.context = self;
  table.OpenPrinterW = [](void* context, LPWSTR name, HANDLE* printer, void*) {
    return Result(HostOf(context).OpenPrinter(name, printer));
  };
  table.GetJobW = [](void* context, HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
    DWORD error = ERROR_SUCCESS;
    JobRecord* record = HostOf(context).FindJob(printer, jobId, &error);
    return Result(record == nullptr ? error : record->Read(level, job, size, needed));
  };
  table.SetJobW = [](void* context, HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD command) {
    DWORD error = ERROR_SUCCESS;
    JobRecord* record = HostOf(context).FindJob(printer, jobId, &error);
    if (record == nullptr || level > 1 || (level == 1) != (job != nullptr)) {
      return Result(record == nullptr ? error : level > 1 ? ERROR_INVALID_LEVEL : ERROR_INVALID_PARAMETER);
    }
    const void* const fields = job;
    error = level == 1 ? record->SetFields(*static_cast<const JOB_INFO_1W*>(fields)) : ERROR_SUCCESS;
    return Result(error != ERROR_SUCCESS || (level == 1 && command == 0) ? error : record->Command(command));
  };
  table.ClosePrinter = [](void* context, HANDLE printer) { return Result(HostOf(context).ClosePrinter(printer)); };
  table.QueryValue = [](void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
    return HostOf(context).settings_.Query(key, name, data, size);
  };
  table.TickCount = [](void* context) { return HostOf(context).TickCount(); };
  table.Sleep = [](void* context, std::uint32_t milliseconds) { HostOf(context).Sleep(milliseconds); };
  table.GetLastError = [](void*) { return LastErrorCode(); };
  table.SetLastError = [](void* context, DWORD code) {
    SetLastErrorCode(code);
    if (code != ERROR_SUCCESS && HostOf(context).hooks_.errorNoted) {
      HostOf(context).hooks_.errorNoted(code);
    }
  };
  table.DebugOutput = [](void* context, const char* text) {
    const SpoolerHost& host = HostOf(context);
    if (host.hooks_.debugOutput) {
      host.hooks_.debugOutput(text);
    } else {
      std::fputs(text, stderr);
    }
  };
  return table;
}

void SpoolerHost::AddJob(JobRecord& job) {
  const std::lock_guard lock(mutex_);
  jobs_[job.Ticket().jobId] = &job;
}

void SpoolerHost::RemoveJob(DWORD jobId) {
  const std::lock_guard lock(mutex_);
  jobs_.erase(jobId);
}

void SpoolerHost::Sleep(std::uint32_t milliseconds) const {
  if (hooks_.beforeSleep) {
    hooks_.beforeSleep(milliseconds);
  }
  clock_.sleep(milliseconds);
}

std::size_t SpoolerHost::OpenPrinterHandles() const {
  const std::lock_guard lock(mutex_);
  return openPrinters_.size();
}

DWORD SpoolerHost::OpenPrinter(LPCWSTR name, HANDLE* printer) {
  if (name == nullptr || printer == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const std::lock_guard lock(mutex_);
  const bool known = std::any_of(jobs_.begin(), jobs_.end(),
                                 [name](const auto& entry) { return entry.second->Ticket().printerName == name; });
  if (!known) {
    return kErrorInvalidPrinterName;
  }
  openPrinters_.insert(++lastPrinter_);
  *printer = reinterpret_cast<HANDLE>(lastPrinter_);  // NOLINT(performance-no-int-to-ptr): a number
  return ERROR_SUCCESS;
}

DWORD SpoolerHost::ClosePrinter(HANDLE printer) {
  const std::lock_guard lock(mutex_);
  return openPrinters_.erase(KeyOf(printer)) == 1 ? ERROR_SUCCESS : kErrorInvalidHandle;
}

JobRecord* SpoolerHost::FindJob(HANDLE printer, DWORD jobId, DWORD* error) {
  const std::lock_guard lock(mutex_);
  if (openPrinters_.count(KeyOf(printer)) == 0) {
    *error = kErrorInvalidHandle;
    return nullptr;
  }
  const auto job = jobs_.find(jobId);
  if (job == jobs_.end()) {
    *error = ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  return job->second;
}

}  // namespace sc3xx
