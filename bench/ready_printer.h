// The quickest surroundings that the engine can have: a spooler that knows one job, and a port whose printer takes
// everything and answers every request at once with "ready". What is measured over them is the monitor alone.
//
// Threads: the caller's. One of each at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "sc3xxmon/host.h"

#include "bench/streams.h"
#include "monitor/langmon.h"

namespace sc3xxmon::bench {

// The monitor's host while it lives: job 1 prints and is never deleted; the clock doesn't run.
class QuietHost {
 public:
  QuietHost();
  ~QuietHost();
  QuietHost(const QuietHost&) = delete;
  QuietHost& operator=(const QuietHost&) = delete;

  // The same for a monitor in a library of its own.
  static Sc3xxHost Table();
};

// Counts what is written to it, and moves the bytes once, as any real port does.
class CountingPort {
 public:
  static MONITOR2 Table();

  bool Write(Bytes bytes);

  std::size_t writtenBytes = 0;
  std::size_t writeCalls = 0;
  std::size_t readCalls = 0;

 private:
  std::vector<std::uint8_t> taken_ = std::vector<std::uint8_t>(kSpoolerPiece);
};

// A job on a CLangMon over a CountingPort, model row 5.
class ReadyPrinter {
 public:
  ReadyPrinter();

  // One write of the spooler. False if the engine refused it.
  bool WritePort(Bytes bytes);

  CPrintJob& Job() { return *job_; }
  CLangMon& Monitor() { return monitor_; }
  CountingPort& Port() { return port_; }

 private:
  QuietHost host_;
  CountingPort port_;
  CLangMon monitor_{L"USB001"};
  std::shared_ptr<CPrintJob> job_;
};

}  // namespace sc3xxmon::bench
