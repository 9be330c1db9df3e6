// One TCP socket to a printer, with transfers that are all or nothing.
#pragma once

#include <cstdint>
#include <string_view>

#include "job/failure.h"
#include "platform/tcp_socket.h"

namespace sc3xxmon {

// Holds the system's sockets started for as long as it lives.
class CWsaGuard {
 public:
  // Throws WsaCommException "WSAStartup failed".
  CWsaGuard();
  ~CWsaGuard();
  CWsaGuard(const CWsaGuard&) = delete;
  CWsaGuard& operator=(const CWsaGuard&) = delete;
};

// A socket failure. Takes the thread's last socket error along as ErrorCode, whatever it is at that moment: for a
// time-out or a short transfer no call has just failed.
class WsaCommException : public CommunicationException {
 public:
  explicit WsaCommException(std::string_view text) noexcept;
};

// Owns the handle; closing twice is harmless. No thread, no lock: two transfers at once on one socket are not excluded
// here, and whether a failing one ends the other is the system's business.
class CSocket {
 public:
  // Throws WsaCommException "WSASocket failed".
  explicit CSocket(platform::AddressFamily family);
  ~CSocket();
  CSocket(const CSocket&) = delete;
  CSocket& operator=(const CSocket&) = delete;

  // Blocks until the connection stands or the system gives up. Throws WsaCommException "WSAConnect failed".
  void Connect(const platform::SocketAddress& address);

  // Moves exactly `size` bytes within `timeoutMs` for all of them together, and gives `size`. Throws WsaCommException
  // when the peer sends fewer in its first arrival, closes, or stays silent; the operation is cancelled before the
  // throw, so that `buffer` is no longer touched. There is no loop that collects the rest of a short read: the socket
  // isn't used again after a failure.
  std::uint32_t Read(void* buffer, std::uint32_t size, std::uint32_t timeoutMs);
  std::uint32_t Write(const void* buffer, std::uint32_t size, std::uint32_t timeoutMs);

  void Close();

 private:
  platform::SocketHandle handle_;
};

}  // namespace sc3xxmon
