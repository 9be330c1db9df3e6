// A LAN printer as the monitor's own port table sees it: a host in memory that knows a printer, its port and its host
// name, and the table's functions as short calls.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "lan/lan_printer.h"
#include "lan/tcp_port.h"
#include "support/bytes.h"
#include "support/log_lines.h"
#include "support/test_host.h"

namespace sc3xxmon::test {

inline constexpr wchar_t kPrinterKeys[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\";
inline constexpr wchar_t kPortKeys[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\";

// The two entries that lead from a printer's name to its host.
inline void EnterPrinter(RecordingHost& host, const std::wstring& printer, const std::wstring& hostName) {
  const std::wstring port = L"IP_" + printer;
  host.SetText(kPrinterKeys + printer, L"Port", port);
  host.SetText(kPortKeys + port, L"HostName", hostName);
}

class LanFixture : public ::testing::Test {
 protected:
  LanFixture() { TestHost::SetDebugLevel(1); }
  // Before any member goes: a printer at the other end waits for its connections to be closed.
  void TearDown() override {
    for (HANDLE port : openPorts_) {
      table.pfnClosePort(port);
    }
  }

  static constexpr wchar_t kPrinter[] = L"Label printer";

  // Options are read again after each, as a load of the library would.
  void SetOption(const wchar_t* name, std::uint32_t value);

  HANDLE Open(std::wstring portName = L"IP_1");
  BOOL Start(HANDLE port, std::wstring printer = kPrinter) {
    return table.pfnStartDocPort(port, printer.data(), 7, 1, nullptr);
  }
  // Opens a port, sets the time-outs and starts a document on the printer at the address or host.
  HANDLE OpenAndStart(const std::wstring& hostName, std::uint32_t readMs = 5000, std::uint32_t writeMs = 5000);
  BOOL SetTimeouts(HANDLE port, std::uint32_t readMs, std::uint32_t writeMs);
  BOOL Write(HANDLE port, ByteString bytes) {
    return table.pfnWritePort(port, bytes.data(), static_cast<DWORD>(bytes.size()), &written);
  }
  BOOL Read(HANDLE port, std::size_t size) {
    readBytes.assign(size, 0xEE);
    return table.pfnReadPort(port, readBytes.data(), static_cast<DWORD>(size), &read);
  }
  BOOL End(HANDLE port) { return table.pfnEndDocPort(port); }
  BOOL Close(HANDLE port);

  static constexpr DWORD kUntouched = 0xDEADBEEF;
  TestHost host;
  const MONITOR2 table = LanPortTable();
  DWORD written = kUntouched;
  DWORD read = kUntouched;
  ByteString readBytes;

 private:
  std::vector<HANDLE> openPorts_;
};

// Real time that a call took.
template <class Call>
std::chrono::milliseconds TimeOf(Call call) {
  const auto begin = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
}

}  // namespace sc3xxmon::test
