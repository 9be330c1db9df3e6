// A client of a printer on the network, for tests: a plain blocking socket with a time limit on everything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/server/listen_address.h"

namespace sc3xx::test {

using Bytes = std::vector<std::uint8_t>;

enum class Arrival { kBytes, kClosed, kReset, kNothing };

class TcpClient {
 public:
  // Throws std::runtime_error when nobody listens there.
  explicit TcpClient(const ListenAddress& address);
  ~TcpClient();
  TcpClient(const TcpClient&) = delete;
  TcpClient& operator=(const TcpClient&) = delete;

  // False when the connection broke, or the other side took nothing for the whole patience.
  bool Send(const Bytes& bytes) const;
  // As much as goes without waiting.
  std::size_t SendSome(const Bytes& bytes) const;
  void EndOutput() const;

  // Exactly so many bytes; empty when they don't come.
  Bytes Receive(std::size_t count) const;
  // What comes next; kNothing past the patience.
  Arrival Next() const;

  static bool IsRefused(const ListenAddress& address);

 private:
  int descriptor_ = -1;
};

}  // namespace sc3xx::test
