#include "bench/network_job.h"

#include <cstring>
#include <stdexcept>
#include <string_view>

#include "sc3xxmon/host.h"

namespace sc3xxmon::bench {
namespace {

wchar_t driverName[] = L"KOVA Scrivelo 310 Plus";
wchar_t portName[] = L"IP_bench";
wchar_t printerName[] = L"Benchmark printer";
std::wstring hostName;

// The port's host, and no compression; everything else is at its default.
LONG QueryValue(void*, LPCWSTR, LPCWSTR name, LPBYTE data, LPDWORD size) {
  if (name == nullptr) {  // every key is there
    return 0;
  }
  const std::wstring_view wanted = name;
  const DWORD compressMode = 0;
  const void* value = nullptr;
  DWORD length = 0;
  if (wanted == L"Port") {
    value = portName;
    length = sizeof(portName);
  } else if (wanted == L"HostName") {
    value = hostName.c_str();
    length = static_cast<DWORD>((hostName.size() + 1) * sizeof(wchar_t));
  } else if (wanted == L"LabelCompressMode") {
    value = &compressMode;
    length = sizeof(compressMode);
  } else {
    return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  }
  const DWORD room = *size;
  *size = length;
  if (data == nullptr) {
    return 0;
  }
  if (room < length) {
    return static_cast<LONG>(ERROR_MORE_DATA);
  }
  std::memcpy(data, value, length);
  return 0;
}

BOOL GetJob(void*, HANDLE, DWORD, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
  *needed = level == 1 ? sizeof(JOB_INFO_1W) : sizeof(JOB_INFO_2W);
  if (size < *needed) {
    return FALSE;
  }
  std::memset(job, 0, *needed);
  if (level == 2) {
    reinterpret_cast<JOB_INFO_2W*>(job)->pDriverName = driverName;
  }
  return TRUE;
}

void SetHost() {
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.OpenPrinterW = [](void*, LPWSTR, HANDLE* printer, void*) -> BOOL {
    *printer = driverName;
    return TRUE;
  };
  host.GetJobW = GetJob;
  host.SetJobW = [](void*, HANDLE, DWORD, DWORD, LPBYTE, DWORD) -> BOOL { return TRUE; };
  host.ClosePrinter = [](void*, HANDLE) -> BOOL { return TRUE; };
  host.QueryValue = QueryValue;
  host.GetLastError = [](void*) -> DWORD { return ERROR_INSUFFICIENT_BUFFER; };
  host.SetLastError = [](void*, DWORD) {};
  Sc3xxSetHost(&host);
}

// The monitor doesn't call it on the network, but wants to see a table that could print.
MONITOR2 TableBelow() {
  MONITOR2 table{};
  table.cbSize = sizeof(table);
  table.pfnOpenPort = [](HANDLE, LPWSTR, HANDLE*) -> BOOL { return FALSE; };
  table.pfnStartDocPort = [](HANDLE, LPWSTR, DWORD, DWORD, LPBYTE) -> BOOL { return FALSE; };
  table.pfnWritePort = [](HANDLE, LPBYTE, DWORD, LPDWORD) -> BOOL { return FALSE; };
  table.pfnReadPort = [](HANDLE, LPBYTE, DWORD, LPDWORD) -> BOOL { return FALSE; };
  table.pfnEndDocPort = [](HANDLE) -> BOOL { return FALSE; };
  table.pfnClosePort = [](HANDLE) -> BOOL { return FALSE; };
  table.pfnSetPortTimeOuts = [](HANDLE, LPCOMMTIMEOUTS, DWORD) -> BOOL { return FALSE; };
  return table;
}

void Check(BOOL succeeded, const char* what) {
  if (succeeded == FALSE) {
    throw std::runtime_error(std::string("the monitor refuses ") + what);
  }
}

}  // namespace

NetworkJob::NetworkJob(const std::string& address) {
  hostName.assign(address.begin(), address.end());
  SetHost();
  MONITORINIT init{};
  init.cbSize = sizeof(init);
  init.bLocal = TRUE;
  HANDLE monitor = nullptr;
  monitor_ = InitializePrintMonitor2(&init, &monitor);
  static MONITOR2 below = TableBelow();
  Check(monitor_->pfnOpenPortEx(monitor, nullptr, portName, printerName, &port_, &below), "the port");
}

NetworkJob::~NetworkJob() {
  monitor_->pfnClosePort(port_);
  Sc3xxSetHost(nullptr);
}

void NetworkJob::Print(Bytes stream) {
  DOC_INFO_1W info{};
  Check(monitor_->pfnStartDocPort(port_, printerName, 1, 1, reinterpret_cast<LPBYTE>(&info)), "the document");
  InPieces(stream, kSpoolerPiece, [this](Bytes piece) {
    DWORD written = 0;
    // The monitor's slot takes what a spooler has, which may be written to; the monitor doesn't.
    auto* bytes = const_cast<LPBYTE>(piece.data());
    Check(monitor_->pfnWritePort(port_, bytes, static_cast<DWORD>(piece.size()), &written), "a piece");
  });
  Check(monitor_->pfnEndDocPort(port_), "the document's end");
}

}  // namespace sc3xxmon::bench
