// The object behind one LAN port, and the one TCP connection that it holds at a time. The printer's byte stream runs over
// the connection as it is, with no framing of this layer.
//
// The port admits one document at a time. A transfer keeps its own reference to the connection, so that closing on
// another thread can't pull it away.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "lan/socket.h"

namespace sc3xxmon {

// The printers' fixed TCP port, in both address families.
inline constexpr std::uint16_t kPrinterTcpPort = 9100;

// One connection: made connected, destroyed closed, never used again after a failure.
class KovaTcpIp {
 public:
  // `address` is numeric. Null: no socket. Throws WsaCommException.
  KovaTcpIp(const wchar_t* address, bool isIPv4);

  // Throw WsaCommException. A read of nothing, and a write of less than two bytes, moves nothing and gives 0.
  std::uint32_t Read(void* buffer, std::uint32_t size, std::uint32_t timeoutMs);
  std::uint32_t Write(const void* buffer, std::uint32_t size, std::uint32_t timeoutMs);

 private:
  CWsaGuard guard_;  // outlives the socket
  std::optional<CSocket> socket_;
};

// The port handle of a LAN port: a key from a series of its own, never the key that the spooler holds. First key 1; a
// key is never used again.
using LanPrinterKey = std::uint64_t;

class CLanPrinter {
 public:
  // ------------------------------------------------------- lan_printer_table.cpp: the open LAN printers of the process
  // One lock, held for a search, an insertion or a removal, and never together with the lock of the open ports.
  //
  // Makes a printer for the port and gives its key. The search before that compares the name with the printers'
  // `printerName`, not with their `portName`: normally it finds nothing, and every open makes a new object. Two opens
  // of one port are kept apart above this.
  static LanPrinterKey AddPrinter(const wchar_t* portName);
  // Empty if there is no such key.
  static std::shared_ptr<CLanPrinter> GetPrinter(LanPrinterKey key);
  // True if the key was there.
  static bool RemovePrinter(LanPrinterKey key);

  // --------------------------------------------------------------------------------- lan_printer.cpp: one printer
  // Throws Exception "portName parameter is invalid" for a null name.
  CLanPrinter(LanPrinterKey printerKey, const wchar_t* name);

  // Drops what connection there is, finds the printer's host and connects. False without a host or an address. Throws
  // Exception "printerName parameter is invalid", WsaCommException.
  bool StartDoc(const wchar_t* name);
  // True if it has connected, false if a connection stood already; whether that one still works isn't asked. Throws
  // CommunicationException "OpenConnection failed", WsaCommException.
  bool OpenConnection();
  void CloseConnection();
  // Resolves the host's name anew each time, so that a printer at another address is found in mid-job. IPv4 wins when
  // there are both, and is not followed by an attempt over IPv6. Throws WsaCommException.
  bool Connect();

  // Throw CommunicationException "Socket is not created", WsaCommException.
  std::uint32_t Read(void* buffer, std::uint32_t size);
  std::uint32_t Write(const void* buffer, std::uint32_t size);

  // False, with last error 87 and nothing changed, if either is 0.
  bool SetTimeouts(std::uint32_t readTimeoutMs, std::uint32_t writeTimeoutMs);

  // The spooler's printer name; empty until the first document. Any thread: opening another port asks for it.
  std::wstring PrinterName() const;

  // As the port's entry gives it; empty until the first document.
  std::wstring HostName() const;

  const std::wstring portName;
  const LanPrinterKey key;

 private:
  // The connection as a transfer needs it, with the time-outs of that moment.
  struct Link {
    std::shared_ptr<KovaTcpIp> connection;
    std::uint32_t readTimeoutMs;
    std::uint32_t writeTimeoutMs;
  };

  // Throws CommunicationException "Socket is not created".
  Link CurrentLink() const;
  bool IsConnected() const;
  void SetConnection(std::shared_ptr<KovaTcpIp> connection);

  mutable std::mutex mutex_;  // guards what follows; never held across a transfer, a look-up or a connect
  std::wstring printerName;
  std::wstring hostName;
  std::shared_ptr<KovaTcpIp> connection_;
  std::uint32_t readTimeoutMs_;
  std::uint32_t writeTimeoutMs_;
};

}  // namespace sc3xxmon
