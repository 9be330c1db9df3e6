// Writes down every call that a port's documents make on its table, and with a printer on the network puts a pause behind
// each until the printer has dealt with it. So a run depends on nothing but what the printer does.
#pragma once

#include <string>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

#include "lan/support/name_service.h"
#include "lan/support/printer_server.h"
#include "support/bytes.h"

namespace sc3xxmon::test {

// One call of the monitor on its port.
struct PortCall {
  bool isWrite = false;
  bool succeeded = false;
  ByteString bytes;  // written, or read
};

// One at a time. Each connect must ask the name service once, as it does for a host with one address.
class LockstepPort {
 public:
  LockstepPort();  // writes down only
  LockstepPort(PrinterServer& printer, const NameService& names);
  ~LockstepPort();
  LockstepPort(const LockstepPort&) = delete;
  LockstepPort& operator=(const LockstepPort&) = delete;

  // Takes the port's own copy of its table over. The port is one of the monitor's, open and without a document.
  void TakeOver(HANDLE port);

  std::vector<PortCall> calls;

 private:
  struct Functions;

  void Before();
  void After(bool succeeded, std::size_t sent, std::size_t read);

  PrinterServer* printer_ = nullptr;
  const NameService* names_ = nullptr;
  MONITOR2 own_{};
  std::size_t asked_ = 0;
  PrinterServer::ClientView view_;
};

}  // namespace sc3xxmon::test
