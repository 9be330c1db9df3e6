// A build of the monitor, loaded from its file and used through its door, so that two builds can be set against each other
// in one process.
//
// Threads: the caller's. The library stays loaded.
#pragma once

#include "sc3xxmon/host.h"

#include "bench/ready_printer.h"
#include "bench/streams.h"

namespace sc3xxmon::bench {

class MonitorLibrary {
 public:
  // Throws std::runtime_error if the file can't be loaded or the monitor refuses to start.
  explicit MonitorLibrary(const char* path);

  // A document on a printer that is ready; `whileWriting` gets a function that makes one write of the spooler's. False if
  // the monitor refused anything.
  template <class Use>
  bool Print(Use whileWriting) {
    const HANDLE port = Start();
    const bool written = port != nullptr && whileWriting([this, port](Bytes piece) { return Write(port, piece); });
    return End(port) && written;
  }

 private:
  HANDLE Start();
  bool Write(HANDLE port, Bytes piece);
  bool End(HANDLE port);

  CountingPort port_;
  MONITOR2* table_ = nullptr;
};

}  // namespace sc3xxmon::bench
