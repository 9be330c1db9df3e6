// The virtual printer behind a port table: for hosts in the same process that print through MONITOR2.
//
// An InProcessPorts is a port monitor. Its Table() has the functions, and its Handle() is the first argument
// of pfnOpenPort (and what a host hands to a language monitor as the port's own monitor handle). A printer is
// found by port name; each open port is a client of its printer.
//
// A write blocks until all bytes are taken or the write time-out passes, a read until all bytes asked for are
// there or the read time-out passes; time passes on the host's PortClock alone, in jumps to the printer's
// next event. A read that times out with some bytes succeeds with these, one with none fails with 1460
// (ERROR_TIMEOUT); a write that times out fails with 1460 and the count of bytes taken. What the printer's
// faults fail, fails with 31 (ERROR_GEN_FAILURE). Time-outs are the constants of COMMTIMEOUTS plus the
// multipliers times the bytes; 0 for both never times out, and gives up with 1460 when nothing can ever
// happen again.
//
// Threads: one lock a printer, never held while the clock sleeps. The registry and its printers outlive the
// open ports.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

#include "simulator/virtual_printer.h"

namespace simulator {

struct PortClock {
  std::function<std::uint64_t()> now;             // milliseconds, never back
  std::function<void(std::uint64_t)> sleepUntil;  // returns when now() has reached the argument
  // The longest single sleep. Set it where other threads change the printer while a call waits.
  std::uint64_t longestSleepMs = UINT64_MAX;
};

// One port call that goes wrong by number, for tests that fail every call in turn.
struct FailedCall {
  std::uint64_t call = 1;            // counted from 1 over all ports, writes and reads together
  bool succeeds = false;             // report success with fewer bytes in place of failure
  std::optional<std::size_t> bytes;  // move at most so many; none given: none of them
};

enum class PortCallKind { kOpen, kStartDoc, kWrite, kRead, kEndDoc, kClose, kSetTimeOuts };

struct PortCall {
  PortCallKind kind = PortCallKind::kOpen;
  std::uint64_t timeMs = 0;  // when it returned
  std::uint64_t number = 0;  // of the write or read, counted from 1; 0 for the others
  std::uint32_t asked = 0;
  std::uint32_t moved = 0;
  bool succeeded = false;
};

class InProcessPorts {
 public:
  // `setLastError` gets the code of every failed call; it may be empty.
  InProcessPorts(PortClock clock, std::function<void(std::uint32_t)> setLastError);
  ~InProcessPorts();
  InProcessPorts(const InProcessPorts&) = delete;
  InProcessPorts& operator=(const InProcessPorts&) = delete;

  // `printer` must outlive this object. A name that is taken already is replaced for ports opened later.
  void Add(std::wstring portName, VirtualPrinter& printer);

  static const MONITOR2& Table();
  HANDLE Handle();

  // Runs `use` on the printer of a port under its lock, for looking at it from another thread.
  void WithPrinter(const std::wstring& portName, const std::function<void(VirtualPrinter&)>& use);

  void Fail(const FailedCall& call);
  std::uint64_t TransferCalls() const;  // writes and reads so far
  void RecordCalls(bool on);            // off at first
  std::vector<PortCall> Calls() const;
  std::size_t OpenPorts() const;
  COMMTIMEOUTS TimeOuts(const std::wstring& portName) const;  // last set on a port of that name

 private:
  struct State;
  struct Entry;
  std::unique_ptr<State> state_;
};

}  // namespace simulator
