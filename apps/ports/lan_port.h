// A printer on the network as a port for the monitor. The monitor has a transport of its own for these and takes from
// the port below nothing but its name; the table that it wants to see all the same is here, and each of its functions
// fails: a call means that the monitor took the port for another kind.
//
// Also keeps an eye on the connection from outside: the monitor waits in silence for a printer that went away, and what
// it does meanwhile shows only in the last-error codes that its socket calls leave.
//
// Threads: the printing thread's own. Ownership: the port object outlives the table's use.
#pragma once

#include <string>

#include "sc3xxmon/spooler_abi.h"

#include "apps/spooler/document_runner.h"

namespace sc3xx {

class LanPort {
 public:
  // `portName` is for people and must not begin with "USB". Looks nothing up.
  LanPort(std::string hostName, std::wstring portName);

  // Points to this object.
  PortBelow Below();

  const std::string& HostName() const { return hostName_; }

  // The monitor or the system set the last-error value.
  void NoteErrorCode(DWORD code);

  // What has stood between the monitor and the printer since the last call, in words; empty if nothing has. May look the
  // host up, if there was trouble before.
  std::string Trouble();

  // Why the port couldn't be opened, if the monitor called a function of the table.
  const std::string& Misuse() const { return misuse_; }

 private:
  static MONITOR2* Table();
  static BOOL Refuse(HANDLE port);

  const std::string hostName_;
  const std::wstring portName_;
  DWORD notedCode_ = 0;  // of a socket call; 0 for none since the last look
  bool inTrouble_ = false;
  std::string misuse_;
};

}  // namespace sc3xx
