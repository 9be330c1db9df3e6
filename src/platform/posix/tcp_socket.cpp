#include "platform/tcp_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>

#include "platform/last_error.h"
#include "platform/posix/socket_error.h"
#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

using Clock = std::chrono::steady_clock;

// The handle is the descriptor plus one: a process that has closed its standard input gets descriptor 0 for a socket, and
// a handle of 0 is none.
SocketHandle ToHandle(int descriptor) {
  return static_cast<SocketHandle>(descriptor) + 1;
}
int Descriptor(SocketHandle socket) {
  return static_cast<int>(socket - 1);
}

template <class Address>
SocketAddress Pack(const Address& address) {
  static_assert(sizeof(address) <= sizeof(SocketAddress::bytes));
  SocketAddress packed;
  std::memcpy(packed.bytes.data(), &address, sizeof(address));
  packed.length = sizeof(address);
  return packed;
}

// The longest time-out of all is none, as it is for the waits of Windows Sockets.
Clock::time_point DeadlineAfter(std::uint32_t timeoutMs) {
  constexpr std::uint32_t kNever = 0xFFFFFFFF;
  return timeoutMs == kNever ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(timeoutMs);
}

int RemainingMs(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
}

enum class Wait : std::uint8_t { kReady, kTimedOut, kFailed };

Wait WaitFor(int descriptor, short events, Clock::time_point deadline) {
  for (;;) {
    pollfd entry{descriptor, events, 0};
    const int remaining = RemainingMs(deadline);
    const int ready = poll(&entry, 1, remaining);
    if (ready > 0) {
      return Wait::kReady;  // an error or a hang-up shows in the transfer itself
    }
    if (ready < 0 && errno != EINTR) {
      StoreSocketError();
      return Wait::kFailed;
    }
    if (ready == 0 && Clock::now() >= deadline) {
      return Wait::kTimedOut;
    }
  }
}

bool WouldBlock() {
  return errno == EAGAIN || errno == EWOULDBLOCK;
}

// Runs `step` until it has moved something, the time is up, or the system refuses. `step` gives what recv and send give.
template <class Step>
Transfer MoveOnce(int descriptor, short events, Clock::time_point deadline, Step step) {
  bool pending = false;
  for (;;) {
    const ssize_t moved = step();
    if (moved >= 0) {
      return {TransferOutcome::kCompleted, static_cast<std::uint32_t>(moved)};
    }
    if (errno == EINTR) {
      continue;
    }
    if (!WouldBlock()) {
      StoreSocketError();
      return {pending ? TransferOutcome::kResultFailed : TransferOutcome::kCallFailed, 0};
    }
    if (pending && Clock::now() >= deadline) {  // "ready" again and again, and never a byte
      return {TransferOutcome::kTimedOut, 0};
    }
    pending = true;
    SetLastErrorCode(kWsaIoPending);
    switch (WaitFor(descriptor, events, deadline)) {
      case Wait::kReady:
        break;
      case Wait::kTimedOut:
        return {TransferOutcome::kTimedOut, 0};
      case Wait::kFailed:
        return {TransferOutcome::kWaitFailed, 0};
    }
  }
}

void Configure(int descriptor) {
  // A status request goes out right behind a label. Left to gather, the last small segment would wait for the printer's
  // delayed acknowledgement of the label.
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

// The address that stands for no address. This system would take it for its own loopback address, and whatever listens
// there for the printer.
bool IsUnspecified(const SocketAddress& address) {
  sockaddr_in ipv4{};
  std::memcpy(&ipv4, address.bytes.data(), sizeof(ipv4));
  if (ipv4.sin_family == AF_INET) {
    return ipv4.sin_addr.s_addr == htonl(INADDR_ANY);
  }
  sockaddr_in6 ipv6{};
  std::memcpy(&ipv6, address.bytes.data(), sizeof(ipv6));
  return IN6_IS_ADDR_UNSPECIFIED(&ipv6.sin6_addr) != 0;
}

// Waits for a connection whose making was interrupted: it goes on all the same, and a second call would only say so.
bool AwaitConnection(int descriptor) {
  if (WaitFor(descriptor, POLLOUT, Clock::time_point::max()) != Wait::kReady) {
    return false;
  }
  int error = 0;
  socklen_t length = sizeof(error);
  if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
    return false;
  }
  errno = error;
  return error == 0;
}

// A socket that is closed with bytes unread resets the connection, and the printer may lose with it what it had not
// looked at yet: the end of the job. What came unasked is therefore thrown away first, as far as it is here.
void DiscardUnread(int descriptor) {
  constexpr int kMostPieces = 64;
  std::array<std::byte, 4096> piece;
  for (int i = 0; i < kMostPieces && recv(descriptor, piece.data(), piece.size(), MSG_DONTWAIT) > 0; ++i) {
  }
}

}  // namespace

SocketAddress MakeSocketAddress(const wchar_t* address, AddressFamily family, std::uint16_t port) {
  const std::string text = ToUtf8(address);
  if (family == AddressFamily::kIPv4) {
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = htons(port);
    inet_pton(AF_INET, text.c_str(), &record.sin_addr);
    return Pack(record);
  }
  sockaddr_in6 record{};
  record.sin6_family = AF_INET6;
  record.sin6_port = htons(port);
  inet_pton(AF_INET6, text.c_str(), &record.sin6_addr);
  return Pack(record);
}

std::uint32_t StartSockets() {
  return 0;
}

void StopSockets() {}

SocketHandle OpenTcpSocket(AddressFamily family) {
  const int descriptor =
      socket(family == AddressFamily::kIPv4 ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
  if (descriptor < 0) {
    StoreSocketError();
    return kNoSocket;
  }
  Configure(descriptor);
  return ToHandle(descriptor);
}

void CloseTcpSocket(SocketHandle socket) {
  const int descriptor = Descriptor(socket);
  DiscardUnread(descriptor);
  shutdown(descriptor, SHUT_RDWR);
  close(descriptor);
}

bool ConnectTcpSocket(SocketHandle socket, const SocketAddress& address) {
  const int descriptor = Descriptor(socket);
  if (IsUnspecified(address)) {
    errno = EADDRNOTAVAIL;
    StoreSocketError();
    return false;
  }
  bool connected = connect(descriptor, reinterpret_cast<const sockaddr*>(address.bytes.data()), address.length) == 0;
  if (!connected && errno == EINTR) {
    connected = AwaitConnection(descriptor);
  }
  if (!connected || fcntl(descriptor, F_SETFL, O_NONBLOCK) != 0) {
    StoreSocketError();
    return false;
  }
  return true;
}

Transfer ReceiveBytes(SocketHandle socket, void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  const auto deadline = DeadlineAfter(timeoutMs);
  return MoveOnce(Descriptor(socket), POLLIN, deadline, [&] { return recv(Descriptor(socket), buffer, size, 0); });
}

Transfer SendBytes(SocketHandle socket, const void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  const auto deadline = DeadlineAfter(timeoutMs);
  const auto* bytes = static_cast<const std::byte*>(buffer);
  std::uint32_t sent = 0;
  while (sent < size) {
    const Transfer part = MoveOnce(Descriptor(socket), POLLOUT, deadline,
                                   [&] { return send(Descriptor(socket), bytes + sent, size - sent, MSG_NOSIGNAL); });
    if (part.outcome == TransferOutcome::kCallFailed && sent > 0) {
      return {TransferOutcome::kResultFailed, sent};
    }
    if (part.outcome != TransferOutcome::kCompleted) {
      return {part.outcome, sent};
    }
    sent += part.count;
    if (sent < size && Clock::now() >= deadline) {  // a printer that takes a little each time
      SetLastErrorCode(kWsaIoPending);
      return {TransferOutcome::kTimedOut, sent};
    }
  }
  return {TransferOutcome::kCompleted, sent};
}

}  // namespace sc3xxmon::platform
