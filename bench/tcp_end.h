// One end of a TCP connection for the benchmarks: plain blocking calls that throw std::runtime_error when they fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "bench/streams.h"

namespace sc3xxmon::bench {

class TcpEnd {
 public:
  explicit TcpEnd(int descriptor = -1) : descriptor_(descriptor) {}
  ~TcpEnd() { Close(); }
  TcpEnd(TcpEnd&& other) noexcept;
  TcpEnd& operator=(TcpEnd&& other) noexcept;

  static TcpEnd ConnectTo(const std::string& address, std::uint16_t port);

  // Whether small writes leave at once, or are gathered until what went before is acknowledged.
  void SendAtOnce(bool atOnce) const;

  void Send(Bytes bytes) const;
  // At least one byte; 0 at the end of the stream.
  std::size_t Receive(std::uint8_t* bytes, std::size_t most) const;
  void ReceiveAll(std::uint8_t* bytes, std::size_t count) const;
  void EndOutput() const;
  // Wakes whoever receives on another thread.
  void ShutDown() const;
  void Close();

 private:
  int descriptor_;
};

class TcpDoor {
 public:
  // A loopback address of this process's own, so that it and others can both have the printers' port.
  explicit TcpDoor(std::uint16_t port);
  ~TcpDoor();
  TcpDoor(const TcpDoor&) = delete;
  TcpDoor& operator=(const TcpDoor&) = delete;

  const std::string& Address() const { return address_; }
  // False once the door is shut.
  bool Accept(TcpEnd& end) const;
  // From any thread.
  void Shut() const;

 private:
  int descriptor_;
  std::string address_;
};

}  // namespace sc3xxmon::bench
