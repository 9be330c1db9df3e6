#include "fuzz/arbitrary_host.h"

#include "fuzz/fuzz_target.h"
#include "monitor/options.h"

namespace sc3xxmon::fuzz {
namespace {

constexpr const wchar_t* kDriverNames[] = {
    L"Another maker's printer",      L"KOVA Scrivelo 310",
    L"KOVA Scrivelo 310 Swift",      L"KOVA Scrivelo 3WD",
    L"KOVA Scrivelo 310 Dual Swift", L"KOVA Scrivelo 310 Plus",
    L"KOVA Scrivelo 310 Dual Plus",  L"KOVA Scrivelo 3WD Plus",
    L"KOVA Ribbonet Office 410",     L"KOVA Ribbonet Office 430",
};

// Every 64th decision: a job isn't deleted at each look.
constexpr std::uint8_t kDeletesJob = 0x3F;

}  // namespace

ArbitraryHost::ArbitraryHost(InputReader& input, std::uint32_t model)
    : input_(input), driverName_(kDriverNames[model]) {
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.context = this;
  host.OpenPrinterW = [](void* context, LPWSTR, HANDLE* printer, void*) -> BOOL {
    ++Self(context).openPrinters_;
    *printer = context;
    return TRUE;
  };
  host.GetJobW = [](void* context, HANDLE, DWORD, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
    return Self(context).GetJob(level, job, size, needed);
  };
  host.SetJobW = [](void* context, HANDLE, DWORD, DWORD level, LPBYTE job, DWORD command) {
    return Self(context).SetJob(level, job, command);
  };
  host.ClosePrinter = [](void* context, HANDLE) -> BOOL {
    --Self(context).openPrinters_;
    return TRUE;
  };
  host.QueryValue = [](void*, LPCWSTR, LPCWSTR, LPBYTE, LPDWORD) { return static_cast<LONG>(ERROR_FILE_NOT_FOUND); };
  host.TickCount = [](void* context) { return Self(context).now_; };
  host.Sleep = [](void* context, std::uint32_t milliseconds) { Self(context).now_ += milliseconds; };
  host.GetLastError = [](void* context) { return Self(context).lastError_; };
  host.SetLastError = [](void* context, DWORD code) { Self(context).lastError_ = code; };
  host.DebugOutput = [](void*, const char*) {};
  Sc3xxSetHost(&host);
}

ArbitraryHost::~ArbitraryHost() {
  Sc3xxSetHost(nullptr);
}

void ArbitraryHost::BeginDocument() {
  status_ = JOB_STATUS_PRINTING;
  pagesPrinted_ = 0;
  statusText_.clear();
  restartWanted_ = false;
}

BOOL ArbitraryHost::GetJob(DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
  *needed = level == 1 ? sizeof(JOB_INFO_1W) : sizeof(JOB_INFO_2W);
  if (size < *needed) {
    lastError_ = ERROR_INSUFFICIENT_BUFFER;
    return FALSE;
  }
  if (level != 1) {
    auto* info = reinterpret_cast<JOB_INFO_2W*>(buffer);
    *info = {};
    info->pDriverName = driverName_.data();
    return TRUE;
  }
  if (input_.Byte() == kDeletesJob) {
    deleted_ = true;
  }
  auto* info = reinterpret_cast<JOB_INFO_1W*>(buffer);
  *info = {};
  info->Status = status_ | (deleted_ ? JOB_STATUS_DELETING : 0);
  info->pStatus = statusText_.data();
  info->PagesPrinted = pagesPrinted_;
  return TRUE;
}

BOOL ArbitraryHost::SetJob(DWORD level, LPBYTE buffer, DWORD command) {
  if (level == 1) {
    const auto* info = reinterpret_cast<const JOB_INFO_1W*>(buffer);
    status_ = info->Status;
    // A recovery shows 0 pages for a moment; acknowledged labels stay acknowledged.
    pagesPrinted_ = std::max(pagesPrinted_, info->PagesPrinted);
    statusText_ = info->pStatus != nullptr ? info->pStatus : L"";
    return TRUE;
  }
  FUZZ_CHECK(buffer == nullptr);
  restartWanted_ = restartWanted_ || command == JOB_CONTROL_RESTART;
  deleted_ = deleted_ || command == JOB_CONTROL_DELETE;
  return TRUE;
}

}  // namespace sc3xxmon::fuzz
