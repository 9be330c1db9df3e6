// The monitor at its door with a printer on the network, as a spooler drives it: for measuring whole documents.
#pragma once

#include <string>

#include "sc3xxmon/spooler_abi.h"

#include "bench/streams.h"

namespace sc3xxmon::bench {

// The monitor's host while it lives, with one open port. Job 1 prints and is never deleted; nothing is compressed; the
// clock is the real one.
class NetworkJob {
 public:
  // The printer's numeric address; it may not be 127.0.0.1.
  explicit NetworkJob(const std::string& address);
  ~NetworkJob();
  NetworkJob(const NetworkJob&) = delete;
  NetworkJob& operator=(const NetworkJob&) = delete;

  // One document, in the spooler's pieces. Throws std::runtime_error when the monitor refuses a part of it.
  void Print(Bytes stream);

 private:
  MONITOR2* monitor_ = nullptr;
  HANDLE port_ = nullptr;
};

}  // namespace sc3xxmon::bench
