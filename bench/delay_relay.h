// A link with a delay: takes one connection and passes its bytes on to a printer, and the printer's back, each so long
// after they came. The bandwidth isn't limited.
#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

#include "bench/tcp_end.h"

namespace sc3xxmon::bench {

class DelayRelay {
 public:
  // Listens at `port` of an address of its own; the printer is at `target`.
  DelayRelay(std::uint16_t port, std::string target, std::uint16_t targetPort, std::chrono::milliseconds delay);
  // Waits for the connection's end, if there was one.
  ~DelayRelay();
  DelayRelay(const DelayRelay&) = delete;
  DelayRelay& operator=(const DelayRelay&) = delete;

  const std::string& Address() const { return door_.Address(); }

 private:
  void Serve();
  void PassOn(const TcpEnd& from, const TcpEnd& to) const;

  TcpDoor door_;
  const std::string target_;
  const std::uint16_t targetPort_;
  const std::chrono::milliseconds delay_;
  std::thread thread_;
};

}  // namespace sc3xxmon::bench
