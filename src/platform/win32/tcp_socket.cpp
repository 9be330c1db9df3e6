#include "platform/tcp_socket.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

namespace sc3xxmon::platform {
namespace {

constexpr WORD kSocketsVersion = MAKEWORD(2, 2);

SOCKET ToSocket(SocketHandle socket) {
  return static_cast<SOCKET>(socket);
}

template <class Address>
SocketAddress Pack(const Address& address) {
  static_assert(sizeof(address) <= sizeof(SocketAddress::bytes));
  SocketAddress packed;
  std::memcpy(packed.bytes.data(), &address, sizeof(address));
  packed.length = sizeof(address);
  return packed;
}

// Keeps the thread's socket error for whoever reports the failure, whatever the cleaning up calls.
class KeptError {
 public:
  KeptError() = default;
  ~KeptError() { WSASetLastError(error_); }
  KeptError(const KeptError&) = delete;
  KeptError& operator=(const KeptError&) = delete;

 private:
  int error_ = WSAGetLastError();
};

// The event that an overlapped transfer signals; closed on every way out.
class TransferEvent {
 public:
  TransferEvent() : event_(WSACreateEvent()) {}
  ~TransferEvent() {
    const KeptError error;
    WSACloseEvent(event_);
  }
  TransferEvent(const TransferEvent&) = delete;
  TransferEvent& operator=(const TransferEvent&) = delete;

  WSAEVENT Get() const { return event_; }

 private:
  WSAEVENT event_;
};

// Cancels what is outstanding on the socket unless the transfer has moved all of its bytes, and lets the cancellation's
// completion run, so that the caller's buffer is no longer touched.
class CancelGuard {
 public:
  explicit CancelGuard(SOCKET socket) : socket_(socket) {}
  ~CancelGuard() {
    if (acted_) {
      return;
    }
    const KeptError error;
    CancelIoEx(reinterpret_cast<HANDLE>(socket_), nullptr);
    SleepEx(0, TRUE);
  }
  CancelGuard(const CancelGuard&) = delete;
  CancelGuard& operator=(const CancelGuard&) = delete;

  void Dismiss() { acted_ = true; }

 private:
  SOCKET socket_;
  bool acted_ = false;
};

// Waits for an operation that is pending and takes its result.
Transfer Finish(SOCKET socket, WSAOVERLAPPED& overlapped, std::uint32_t timeoutMs) {
  const WSAEVENT event = overlapped.hEvent;
  switch (WSAWaitForMultipleEvents(1, &event, FALSE, timeoutMs, TRUE)) {
    case WSA_WAIT_EVENT_0:
      break;
    case WSA_WAIT_TIMEOUT:
      return {TransferOutcome::kTimedOut, 0};
    default:
      return {TransferOutcome::kWaitFailed, 0};
  }
  DWORD count = 0;
  DWORD flags = 0;
  if (WSAGetOverlappedResult(socket, &overlapped, &count, FALSE, &flags) == FALSE) {
    return {TransferOutcome::kResultFailed, 0};
  }
  return {TransferOutcome::kCompleted, count};
}

// `issue` starts the operation and gives what WSARecv and WSASend give.
template <class Issue>
Transfer RunOverlapped(SOCKET socket, void* buffer, std::uint32_t size, std::uint32_t timeoutMs, Issue issue) {
  WSABUF descriptor{size, static_cast<char*>(buffer)};
  const TransferEvent event;
  WSAOVERLAPPED overlapped{};
  overlapped.hEvent = event.Get();
  CancelGuard guard(socket);
  DWORD count = 0;
  Transfer transfer;
  if (issue(descriptor, count, overlapped) == 0) {
    transfer = {TransferOutcome::kCompleted, count};
  } else if (WSAGetLastError() != WSA_IO_PENDING) {
    transfer = {TransferOutcome::kCallFailed, 0};
  } else {
    transfer = Finish(socket, overlapped, timeoutMs);
  }
  if (transfer.outcome == TransferOutcome::kCompleted && transfer.count == size) {
    guard.Dismiss();
  }
  return transfer;
}

}  // namespace

SocketAddress MakeSocketAddress(const wchar_t* address, AddressFamily family, std::uint16_t port) {
  if (family == AddressFamily::kIPv4) {
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = htons(port);
    InetPtonW(AF_INET, address, &record.sin_addr);
    return Pack(record);
  }
  sockaddr_in6 record{};
  record.sin6_family = AF_INET6;
  record.sin6_port = htons(port);
  InetPtonW(AF_INET6, address, &record.sin6_addr);
  return Pack(record);
}

std::uint32_t StartSockets() {
  WSADATA data;
  return static_cast<std::uint32_t>(WSAStartup(kSocketsVersion, &data));
}

void StopSockets() {
  WSACleanup();
}

SocketHandle OpenTcpSocket(AddressFamily family) {
  const SOCKET socket = WSASocketW(family == AddressFamily::kIPv4 ? AF_INET : AF_INET6, SOCK_STREAM, IPPROTO_TCP,
                                   nullptr, 0, WSA_FLAG_OVERLAPPED);
  return socket == INVALID_SOCKET ? kNoSocket : static_cast<SocketHandle>(socket);
}

void CloseTcpSocket(SocketHandle socket) {
  shutdown(ToSocket(socket), SD_BOTH);
  closesocket(ToSocket(socket));
}

bool ConnectTcpSocket(SocketHandle socket, const SocketAddress& address) {
  return WSAConnect(ToSocket(socket), reinterpret_cast<const sockaddr*>(address.bytes.data()),
                    static_cast<int>(address.length), nullptr, nullptr, nullptr, nullptr) == 0;
}

Transfer ReceiveBytes(SocketHandle socket, void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  DWORD flags = 0;
  return RunOverlapped(ToSocket(socket), buffer, size, timeoutMs,
                       [&](WSABUF& descriptor, DWORD& count, WSAOVERLAPPED& overlapped) {
                         return WSARecv(ToSocket(socket), &descriptor, 1, &count, &flags, &overlapped, nullptr);
                       });
}

Transfer SendBytes(SocketHandle socket, const void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  return RunOverlapped(ToSocket(socket), const_cast<void*>(buffer), size, timeoutMs,
                       [&](WSABUF& descriptor, DWORD& count, WSAOVERLAPPED& overlapped) {
                         return WSASend(ToSocket(socket), &descriptor, 1, &count, 0, &overlapped, nullptr);
                       });
}

}  // namespace sc3xxmon::platform
