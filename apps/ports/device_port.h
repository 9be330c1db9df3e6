// A port for a printer's device file (/dev/usb/lp0 and its kin, or a serial line), or for a Unix stream
// socket on which a program plays the printer. It is reached as any port monitor is: through a MONITOR2
// table.
//
// Time-outs follow pfnSetPortTimeOuts, in milliseconds: a transfer of n bytes may take constant + n *
// multiplier, both zero meaning no limit. A write that isn't through by then fails with ERROR_TIMEOUT and
// tells how far it came. A read waits for all the bytes asked for; at the limit it succeeds with those that
// came, or fails with ERROR_TIMEOUT when none did. A read interval other than zero ends a read after so long
// a silence between two bytes.
//
// A device that was unplugged, or a peer that went away, is a failed call with a last-error code and never a
// hang; every later transfer fails too, until the next document's start opens the device anew.
//
// Threads: calls on one port must not overlap. Ownership: the port object outlives the table's use.
#pragma once

#include <cstdint>
#include <string>

#include "sc3xxmon/spooler_abi.h"

#include "apps/spooler/document_runner.h"

namespace sc3xx {

class DevicePort {
 public:
  // Touches nothing yet; the device is opened when the monitor opens the port.
  explicit DevicePort(std::string path);
  ~DevicePort();
  DevicePort(const DevicePort&) = delete;
  DevicePort& operator=(const DevicePort&) = delete;

  // The port for the monitor, named "usb:PATH". Points to this object.
  PortBelow Below();

  // The last failure in words with the device's name, empty if there was none: the last-error code alone is
  // too little for a person to go by.
  const std::string& LastTrouble() const { return trouble_; }

 private:
  enum class Readiness { kReady, kHungUp, kTimedOut };
  struct Limit;

  static MONITOR2* Table();

  bool Open();
  bool OpenDevice();
  bool ConnectSocket();
  void CloseDevice();
  bool StartDocument();
  bool DropStaleInput();
  bool Write(const BYTE* buffer, DWORD size, DWORD* written);
  bool Read(BYTE* buffer, DWORD size, DWORD* read);
  Readiness WaitFor(short events, const Limit& limit);
  bool HungUp() const;
  bool Fail(int systemError, const std::string& words);
  bool FailTimedOut(const char* what, DWORD count, DWORD size);
  bool Lose(int systemError);

  const std::string path_;
  int descriptor_ = -1;
  bool isSocket_ = false;
  COMMTIMEOUTS timeouts_;
  std::string trouble_;
};

}  // namespace sc3xx
