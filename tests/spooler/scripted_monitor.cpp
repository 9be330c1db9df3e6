#include "spooler/scripted_monitor.h"

#include <algorithm>
#include <stdexcept>

#include "apps/spooler/last_error.h"
#include "platform/text.h"

namespace sc3xx::test {
namespace {

ScriptedMonitor& Self(HANDLE handle) {
  return *static_cast<ScriptedMonitor*>(handle);
}

BOOL Give(const Answer& answer) {
  if (!answer.accepted) {
    SetLastErrorCode(answer.errorCode);
  }
  return answer.accepted ? TRUE : FALSE;
}

}  // namespace

ScriptedMonitor::ScriptedMonitor(const Sc3xxHost* host) : table{}, host_(host) {
  table.cbSize = sizeof(table);
  // The port below stands for the monitor's own context, which the real one doesn't need.
  table.pfnOpenPortEx = [](HANDLE, HANDLE monitorPort, LPWSTR name, LPWSTR printer, HANDLE* handle, MONITOR2*) -> BOOL {
    ScriptedMonitor& self = Self(monitorPort);
    self.calls.push_back("open " + sc3xxmon::platform::ToUtf8(name));
    self.printerName_ = printer;
    *handle = monitorPort;
    return Give(self.onOpen ? self.onOpen() : Answer{});
  };
  table.pfnStartDocPort = [](HANDLE port, LPWSTR, DWORD id, DWORD level, LPBYTE docInfo) -> BOOL {
    ScriptedMonitor& self = Self(port);
    self.jobId = id;
    self.calls.push_back("start " + std::to_string(id) +
                         (level == 1 && docInfo != nullptr ? "" : " without document info"));
    const Answer answer = self.onStart ? self.onStart() : Answer{};
    if (answer.accepted) {
      self.documents.emplace_back();
    }
    return Give(answer);
  };
  table.pfnWritePort = [](HANDLE port, LPBYTE buffer, DWORD size, LPDWORD written) -> BOOL {
    ScriptedMonitor& self = Self(port);
    self.calls.push_back("write " + std::to_string(size));
    const Answer answer = self.onWrite ? self.onWrite({buffer, size}) : Answer{};
    *written = std::min(size, answer.taken);
    Bytes& document = self.documents.back();
    document.insert(document.end(), buffer, buffer + *written);
    return Give(answer);
  };
  table.pfnEndDocPort = [](HANDLE port) -> BOOL {
    Self(port).calls.emplace_back("end");
    return TRUE;
  };
  table.pfnClosePort = [](HANDLE port) -> BOOL {
    Self(port).calls.emplace_back("close");
    return TRUE;
  };
}

void ScriptedMonitor::WithJob(const std::function<void(HANDLE printer)>& use) {
  HANDLE printer = nullptr;
  if (host_->OpenPrinterW(host_->context, printerName_.data(), &printer, nullptr) == 0) {
    throw std::logic_error("the host doesn't know the printer");
  }
  use(printer);
  host_->ClosePrinter(host_->context, printer);
}

void ScriptedMonitor::ShowPages(DWORD pages, DWORD status) {
  WithJob([&](HANDLE printer) {
    JOB_INFO_1W fields{};
    fields.PagesPrinted = pages;
    fields.Status = status;
    void* const bytes = &fields;
    host_->SetJobW(host_->context, printer, jobId, 1, static_cast<LPBYTE>(bytes), 0);
  });
}

void ScriptedMonitor::ShowMessage(const wchar_t* text) {
  WithJob([&](HANDLE printer) {
    std::wstring copy = text;
    JOB_INFO_1W fields{};
    fields.Status = JOB_STATUS_ERROR | JOB_STATUS_USER_INTERVENTION;
    fields.pStatus = copy.data();
    void* const bytes = &fields;
    host_->SetJobW(host_->context, printer, jobId, 1, static_cast<LPBYTE>(bytes), 0);
  });
}

void ScriptedMonitor::Command(DWORD command) {
  WithJob([&](HANDLE printer) { host_->SetJobW(host_->context, printer, jobId, 0, nullptr, command); });
}

DWORD ScriptedMonitor::JobStatus() {
  DWORD status = 0;
  WithJob([&](HANDLE printer) {
    DWORD needed = 0;
    host_->GetJobW(host_->context, printer, jobId, 1, nullptr, 0, &needed);
    std::vector<JOB_INFO_1W> room(needed / sizeof(JOB_INFO_1W) + 1);
    void* const bytes = room.data();
    if (host_->GetJobW(host_->context, printer, jobId, 1, static_cast<LPBYTE>(bytes), needed, &needed) != 0) {
      status = room.front().Status;
    }
  });
  return status;
}

}  // namespace sc3xx::test
