#include "support/port_monitor.h"

#include <algorithm>

#include "support/bytes.h"

namespace {

using sc3xxmon::test::ByteString;

ByteString written;

BOOL WINAPI OpenPort(HANDLE, LPWSTR, HANDLE* handle) {
  *handle = &written;
  return TRUE;
}

BOOL WINAPI StartDocument(HANDLE, LPWSTR, DWORD, DWORD, LPBYTE) {
  return TRUE;
}

BOOL WINAPI WritePort(HANDLE, LPBYTE buffer, DWORD size, LPDWORD count) {
  written.insert(written.end(), buffer, buffer + size);
  *count = size;
  return TRUE;
}

BOOL WINAPI ReadPort(HANDLE, LPBYTE buffer, DWORD size, LPDWORD count) {
  const ByteString status = sc3xxmon::test::PlainStatus();
  std::fill_n(buffer, size, BYTE{0});
  std::copy_n(status.begin(), std::min<std::size_t>(size, status.size()), buffer);
  *count = size;
  return TRUE;
}

BOOL WINAPI EndOrClose(HANDLE) {
  return TRUE;
}

}  // namespace

extern "C" __declspec(dllexport) MONITOR2* PortMonitorTable() {
  static MONITOR2 table{};
  table.cbSize = sizeof(table);
  table.pfnOpenPort = OpenPort;
  table.pfnStartDocPort = StartDocument;
  table.pfnWritePort = WritePort;
  table.pfnReadPort = ReadPort;
  table.pfnEndDocPort = EndOrClose;
  table.pfnClosePort = EndOrClose;
  return &table;
}

extern "C" __declspec(dllexport) const BYTE* PortMonitorWritten(size_t* count) {
  *count = written.size();
  return written.data();
}
