#include "bench/ready_printer.h"

#include <algorithm>
#include <cstring>

#include "engine/engine.h"

namespace sc3xxmon::bench {
namespace {

constexpr std::uint8_t kBayGood = 8;
wchar_t driverName[] = L"KOVA Scrivelo 310 Plus";

BOOL FillJobInfo(LPBYTE buffer, DWORD level) {
  if (level == 1) {
    *reinterpret_cast<JOB_INFO_1W*>(buffer) = {};
  } else {
    auto* info = reinterpret_cast<JOB_INFO_2W*>(buffer);
    *info = {};
    info->pDriverName = driverName;
  }
  return TRUE;
}

CountingPort& PortOf(HANDLE handle) {
  return *static_cast<CountingPort*>(handle);
}

BOOL WINAPI WritePort(HANDLE handle, LPBYTE bytes, DWORD size, LPDWORD written) {
  *written = size;
  return PortOf(handle).Write({bytes, size}) ? TRUE : FALSE;
}

// A ready record in whichever length the model asks for; no firmware information.
BOOL WINAPI ReadPort(HANDLE handle, LPBYTE bytes, DWORD size, LPDWORD read) {
  ++PortOf(handle).readCalls;
  std::memset(bytes, 0, size);
  constexpr DWORD kRecordSize = 32;
  if (size == kRecordSize) {
    bytes[10] = kBayGood;
  }
  *read = size;
  return TRUE;
}

}  // namespace

Sc3xxHost QuietHost::Table() {
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.OpenPrinterW = [](void*, LPWSTR, HANDLE* printer, void*) -> BOOL {
    *printer = driverName;
    return TRUE;
  };
  host.GetJobW = [](void*, HANDLE, DWORD, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) -> BOOL {
    *needed = level == 1 ? sizeof(JOB_INFO_1W) : sizeof(JOB_INFO_2W);
    return size >= *needed ? FillJobInfo(job, level) : FALSE;
  };
  host.SetJobW = [](void*, HANDLE, DWORD, DWORD, LPBYTE, DWORD) -> BOOL { return TRUE; };
  host.ClosePrinter = [](void*, HANDLE) -> BOOL { return TRUE; };
  host.QueryValue = [](void*, LPCWSTR, LPCWSTR, LPBYTE, LPDWORD) { return static_cast<LONG>(ERROR_FILE_NOT_FOUND); };
  host.TickCount = [](void*) -> std::uint64_t { return 1000; };
  host.Sleep = [](void*, std::uint32_t) {};
  host.GetLastError = [](void*) -> DWORD { return ERROR_INSUFFICIENT_BUFFER; };
  host.SetLastError = [](void*, DWORD) {};
  return host;
}

QuietHost::QuietHost() {
  const Sc3xxHost host = Table();
  Sc3xxSetHost(&host);
}

QuietHost::~QuietHost() {
  Sc3xxSetHost(nullptr);
}

MONITOR2 CountingPort::Table() {
  MONITOR2 table{};
  table.cbSize = sizeof(table);
  table.pfnOpenPort = [](HANDLE port, LPWSTR, HANDLE* handle) -> BOOL {
    *handle = port;
    return TRUE;
  };
  table.pfnStartDocPort = [](HANDLE, LPWSTR, DWORD, DWORD, LPBYTE) -> BOOL { return TRUE; };
  table.pfnEndDocPort = [](HANDLE) -> BOOL { return TRUE; };
  table.pfnClosePort = [](HANDLE) -> BOOL { return TRUE; };
  table.pfnWritePort = WritePort;
  table.pfnReadPort = ReadPort;
  return table;
}

bool CountingPort::Write(Bytes bytes) {
  ++writeCalls;
  writtenBytes += bytes.size();
  InPieces(bytes, taken_.size(), [this](Bytes piece) { std::copy(piece.begin(), piece.end(), taken_.begin()); });
  return true;
}

ReadyPrinter::ReadyPrinter() {
  monitor_.Monitor = CountingPort::Table();
  monitor_.hPort = &port_;
  job_ = std::make_shared<CPrintJob>(1, L"Labels");
  monitor_.PushJob(job_);
}

bool ReadyPrinter::WritePort(Bytes bytes) {
  DWORD written = 0;
  return SC_WritePort2(monitor_, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written) != 0;
}

}  // namespace sc3xxmon::bench
