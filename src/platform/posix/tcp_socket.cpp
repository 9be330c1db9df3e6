#include "platform/tcp_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
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

int Descriptor(SocketHandle socket) {
  return static_cast<int>(socket);
}

template <class Address>
SocketAddress Pack(const Address& address) {
  static_assert(sizeof(address) <= sizeof(SocketAddress::bytes));
  SocketAddress packed;
  std::memcpy(packed.bytes.data(), &address, sizeof(address));
  packed.length = sizeof(address);
  return packed;
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
    if (ready == 0) {
      return Wait::kTimedOut;
    }
    if (errno != EINTR) {
      StoreSocketError();
      return Wait::kFailed;
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
  return static_cast<SocketHandle>(descriptor);
}

void CloseTcpSocket(SocketHandle socket) {
  shutdown(Descriptor(socket), SHUT_RDWR);
  close(Descriptor(socket));
}

bool ConnectTcpSocket(SocketHandle socket, const SocketAddress& address) {
  const int descriptor = Descriptor(socket);
  int result = connect(descriptor, reinterpret_cast<const sockaddr*>(address.bytes.data()), address.length);
  if (result != 0 && errno == EINTR) {
    // The connection goes on being made; a second call would only say so.
    pollfd entry{descriptor, POLLOUT, 0};
    while (poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
    int error = 0;
    socklen_t length = sizeof(error);
    result = getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
    if (result == 0 && error != 0) {
      errno = error;
      result = -1;
    }
  }
  if (result != 0 || fcntl(descriptor, F_SETFL, O_NONBLOCK) != 0) {
    StoreSocketError();
    return false;
  }
  return true;
}

Transfer ReceiveBytes(SocketHandle socket, void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  return MoveOnce(Descriptor(socket), POLLIN, deadline, [&] { return recv(Descriptor(socket), buffer, size, 0); });
}

Transfer SendBytes(SocketHandle socket, const void* buffer, std::uint32_t size, std::uint32_t timeoutMs) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  const auto* bytes = static_cast<const std::byte*>(buffer);
  std::uint32_t sent = 0;
  while (sent < size) {
    const Transfer part = MoveOnce(Descriptor(socket), POLLOUT, deadline,
                                   [&] { return send(Descriptor(socket), bytes + sent, size - sent, MSG_NOSIGNAL); });
    if (part.outcome != TransferOutcome::kCompleted) {
      return {part.outcome, sent};
    }
    sent += part.count;
  }
  return {TransferOutcome::kCompleted, sent};
}

}  // namespace sc3xxmon::platform
