#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "apps/spooler/last_error.h"
#include "apps/status/tcp_line.h"

namespace sc3xx {
namespace {

struct SystemAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;

  const sockaddr* Any() const {
    const void* const bytes = &storage;
    return static_cast<const sockaddr*>(bytes);
  }
};

SystemAddress AddressOf(const NetworkHost& host) {
  SystemAddress address;
  void* const bytes = &address.storage;
  if (host.isIPv4) {
    auto& record = *static_cast<sockaddr_in*>(bytes);
    record.sin_family = AF_INET;
    record.sin_port = htons(kPrinterTcpPort);
    inet_pton(AF_INET, host.address.c_str(), &record.sin_addr);
    address.length = sizeof(record);
  } else {
    auto& record = *static_cast<sockaddr_in6*>(bytes);
    record.sin6_family = AF_INET6;
    record.sin6_port = htons(kPrinterTcpPort);
    inet_pton(AF_INET6, host.address.c_str(), &record.sin6_addr);
    address.length = sizeof(record);
  }
  return address;
}

}  // namespace

TcpLine::TcpLine(std::string hostName, const NetworkHost& host, const LineTimes& times)
    : hostName_(std::move(hostName)), times_(times) {
  try {
    Connect(host);
  } catch (...) {
    close(descriptor_);
    throw;
  }
}

TcpLine::~TcpLine() {
  close(descriptor_);
}

void TcpLine::Fail(int systemError) const {
  switch (systemError) {
    case ECONNREFUSED:
      throw LineError(WordsForFailedConnection(hostName_, kErrorConnectionRefused));
    case ETIMEDOUT:
      throw LineError(WordsForFailedConnection(hostName_, kErrorConnectionTimedOut));
    case EINVAL:
      throw LineError(WordsForFailedConnection(hostName_, kErrorInvalidArgument));
    default:
      throw LineError(hostName_ + ", TCP port " + std::to_string(kPrinterTcpPort) + ": " +
                      std::generic_category().message(systemError));
  }
}

bool TcpLine::Wait(short events, std::uint32_t milliseconds) const {
  return WaitUntil(events, Clock::now() + std::chrono::milliseconds(milliseconds));
}

bool TcpLine::WaitUntil(short events, Clock::time_point end) const {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waited{descriptor_, events, 0};
    const int count = poll(&waited, 1, left > 0 ? static_cast<int>(left) : 0);
    if (count >= 0 || errno != EINTR) {
      return count > 0;
    }
  }
}

void TcpLine::Connect(const NetworkHost& host) {
  const SystemAddress address = AddressOf(host);
  descriptor_ = socket(host.isIPv4 ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
  if (descriptor_ < 0) {
    Fail(errno);
  }
  if (connect(descriptor_, address.Any(), address.length) == 0) {
    return;
  }
  if (errno != EINPROGRESS && errno != EINTR) {  // after an interruption it goes on all the same
    Fail(errno);
  }
  if (!Wait(POLLOUT, times_.timeoutMs)) {
    Fail(ETIMEDOUT);
  }
  int error = 0;
  socklen_t size = sizeof(error);
  getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) {
    Fail(error);
  }
}

void TcpLine::Send(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else if (errno != EINTR && errno != EAGAIN) {
      Fail(errno);
    } else if (!Wait(POLLOUT, times_.timeoutMs)) {
      Fail(ETIMEDOUT);
    }
  }
}

std::vector<std::uint8_t> TcpLine::Receive(std::size_t most) {
  std::vector<std::uint8_t> bytes(most);
  std::size_t came = 0;
  const auto last = Clock::now() + std::chrono::milliseconds(times_.timeoutMs);
  const auto silence = std::chrono::milliseconds(times_.silenceMs);
  while (came < most && WaitUntil(POLLIN, came == 0 ? last : std::min(last, Clock::now() + silence))) {
    const ssize_t count = recv(descriptor_, bytes.data() + came, most - came, 0);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
      continue;
    }
    if (count <= 0 && came > 0) {
      break;
    }
    if (count < 0) {
      Fail(errno);
    }
    if (count == 0) {
      throw LineError(hostName_ + ", TCP port " + std::to_string(kPrinterTcpPort) +
                      ": the printer closed the connection instead of answering; another computer may be printing");
    }
    came += static_cast<std::size_t>(count);
  }
  bytes.resize(came);
  return bytes;
}

}  // namespace sc3xx
