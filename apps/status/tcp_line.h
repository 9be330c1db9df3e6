// A TCP connection to a printer's port, for a question and its answer.
//
// Errors: LineError. Blocking: up to the time-out for each call. Threads: calls on one object must not overlap.
#pragma once

#include <chrono>

#include "apps/ports/network_host.h"
#include "apps/status/printer_line.h"

namespace sc3xx {

class TcpLine {
 public:
  // `hostName` is for messages.
  TcpLine(std::string hostName, const NetworkHost& host, const LineTimes& times);
  ~TcpLine();
  TcpLine(const TcpLine&) = delete;
  TcpLine& operator=(const TcpLine&) = delete;

  void Send(std::span<const std::uint8_t> bytes);
  std::vector<std::uint8_t> Receive(std::size_t most);

 private:
  using Clock = std::chrono::steady_clock;

  void Connect(const NetworkHost& host);
  bool Wait(short events, std::uint32_t milliseconds) const;
  bool WaitUntil(short events, Clock::time_point end) const;
  [[noreturn]] void Fail(int systemError) const;

  const std::string hostName_;
  const LineTimes times_;
  int descriptor_ = -1;
};

}  // namespace sc3xx
