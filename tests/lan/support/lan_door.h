// The monitor at its door, with a printer on the network: what a spooler does with a LAN port, over a host in memory.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lan/support/lan_fixture.h"
#include "lan/support/name_service.h"
#include "lan/support/printer_server.h"
#include "support/child_process.h"
#include "support/scripted_port.h"

namespace sc3xxmon::test {

// The names of the drivers of the nine models.
const wchar_t* DriverOfRow(int row);

// What the virtual printer of a row is made from for tests of the transport.
simulator::PrinterSettings PrinterOfRow(int row);

// ESC s, the labels 1 to `labels`, ESC Q.
ByteString DocumentOf(std::uint16_t labels);

class LanDoor {
 public:
  static constexpr DWORD kJobId = 7;
  static constexpr wchar_t kHost[] = L"printer.example";

  // Options at their defaults, the log on, a printer of row 5.
  LanDoor();

  // --- before a port is open
  void SetOption(const std::wstring& name, std::uint32_t value);
  void UseModel(int row) { host.jobs[kJobId].driverName = DriverOfRow(row); }
  // Shorter than a user could set it: for reads that are known to be in vain.
  void SetReadTimeout(std::uint32_t milliseconds);
  // The printer's host has this address from now on.
  void PrinterIsAt(const std::wstring& address);

  // --- the spooler's calls
  HANDLE Open(std::wstring portName = L"IP_1");
  BOOL Start(HANDLE port);
  BOOL Write(HANDLE port, ByteString bytes);
  BOOL End(HANDLE port) { return monitor->pfnEndDocPort(port); }
  BOOL Close(HANDLE port) { return monitor->pfnClosePort(port); }

  // Offers the document in one buffer, and again from its first byte for as long as the monitor asks for a restart, as a
  // spooler does. Gives how often the document was started.
  std::size_t Print(HANDLE port, const ByteString& stream);

  bool Did(DWORD command) const;

  TestHost host;
  NameService names;
  UniqueWord word;
  ScriptedPort nextMonitor;  // a LAN port never calls it
  MONITOR2* monitor = nullptr;
  std::wstring printerName = word.Text() + L"labels";
  DWORD written = 0;

 private:
  void Load();
};

}  // namespace sc3xxmon::test
