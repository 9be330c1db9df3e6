#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "server/tcp_client.h"

namespace sc3xx::test {
namespace {

constexpr int kPatienceMs = 20'000;

int Connect(const ListenAddress& address) {
  const bool ipv6 = address.host.find(':') != std::string::npos;
  sockaddr_storage record{};
  socklen_t length = sizeof(sockaddr_in);
  if (ipv6) {
    auto& inet6 = reinterpret_cast<sockaddr_in6&>(record);
    inet6.sin6_family = AF_INET6;
    inet6.sin6_port = htons(address.port);
    inet_pton(AF_INET6, address.host.c_str(), &inet6.sin6_addr);
    length = sizeof(sockaddr_in6);
  } else {
    auto& inet = reinterpret_cast<sockaddr_in&>(record);
    inet.sin_family = AF_INET;
    inet.sin_port = htons(address.port);
    inet_pton(AF_INET, address.host.c_str(), &inet.sin_addr);
  }
  const int descriptor = socket(record.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&record), length) != 0) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

bool WaitFor(int descriptor, short events) {
  pollfd entry{descriptor, events, 0};
  return poll(&entry, 1, kPatienceMs) > 0;
}

}  // namespace

TcpClient::TcpClient(const ListenAddress& address) : descriptor_(Connect(address)) {
  if (descriptor_ < 0) {
    throw std::runtime_error("nobody listens on " + Format(address));
  }
}

TcpClient::~TcpClient() {
  close(descriptor_);
}

bool TcpClient::IsRefused(const ListenAddress& address) {
  const int descriptor = Connect(address);
  if (descriptor >= 0) {
    close(descriptor);
  }
  return descriptor < 0;
}

bool TcpClient::Send(const Bytes& bytes) const {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && (errno != EAGAIN || !WaitFor(descriptor_, POLLOUT))) {
      return false;
    }
    sent += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  return true;
}

std::size_t TcpClient::SendSome(const Bytes& bytes) const {
  const ssize_t count = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void TcpClient::EndOutput() const {
  shutdown(descriptor_, SHUT_WR);
}

Bytes TcpClient::Receive(std::size_t count) const {
  Bytes bytes(count);
  for (std::size_t received = 0; received < count;) {
    if (!WaitFor(descriptor_, POLLIN)) {
      return {};
    }
    const ssize_t more = recv(descriptor_, bytes.data() + received, count - received, 0);
    if (more <= 0) {
      return {};
    }
    received += static_cast<std::size_t>(more);
  }
  return bytes;
}

Arrival TcpClient::Next() const {
  std::uint8_t byte = 0;
  if (!WaitFor(descriptor_, POLLIN)) {
    return Arrival::kNothing;
  }
  const ssize_t count = recv(descriptor_, &byte, 1, MSG_PEEK);
  return count > 0 ? Arrival::kBytes : count == 0 ? Arrival::kClosed : Arrival::kReset;
}

}  // namespace sc3xx::test
