#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "bench/tcp_end.h"

namespace sc3xxmon::bench {
namespace {

constexpr std::uint32_t kFirstAddress = 0x7F020000;  // 127.2.0.0
constexpr std::uint32_t kAddresses = 0x00FD0000;

[[noreturn]] void Fail(const char* what) {
  throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

sockaddr_in RecordOf(in_addr address, std::uint16_t port) {
  sockaddr_in record{};
  record.sin_family = AF_INET;
  record.sin_port = htons(port);
  record.sin_addr = address;
  return record;
}

std::string TextOf(in_addr address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof(text));
  return text;
}

in_addr NextAddress() {
  static std::uint32_t next = static_cast<std::uint32_t>(getpid()) * 61;
  return {htonl(kFirstAddress + next++ % kAddresses)};
}

}  // namespace

TcpEnd::TcpEnd(TcpEnd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

TcpEnd& TcpEnd::operator=(TcpEnd&& other) noexcept {
  if (this != &other) {
    Close();
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

TcpEnd TcpEnd::ConnectTo(const std::string& address, std::uint16_t port) {
  in_addr number{};
  inet_pton(AF_INET, address.c_str(), &number);
  TcpEnd end(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
  const sockaddr_in record = RecordOf(number, port);
  if (connect(end.descriptor_, reinterpret_cast<const sockaddr*>(&record), sizeof(record)) != 0) {
    Fail("connect");
  }
  return end;
}

void TcpEnd::SendAtOnce(bool atOnce) const {
  const int value = atOnce ? 1 : 0;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &value, sizeof(value));
}

void TcpEnd::Send(Bytes bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) {
      Fail("send");
    }
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

std::size_t TcpEnd::Receive(std::uint8_t* bytes, std::size_t most) const {
  const ssize_t count = recv(descriptor_, bytes, most, 0);
  if (count < 0 && errno != ECONNRESET) {
    Fail("recv");
  }
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void TcpEnd::ReceiveAll(std::uint8_t* bytes, std::size_t count) const {
  while (count > 0) {
    const std::size_t received = Receive(bytes, count);
    if (received == 0) {
      throw std::runtime_error("recv: the other side closed");
    }
    bytes += received;
    count -= received;
  }
}

void TcpEnd::EndOutput() const {
  shutdown(descriptor_, SHUT_WR);
}

void TcpEnd::ShutDown() const {
  shutdown(descriptor_, SHUT_RDWR);
}

void TcpEnd::Close() {
  if (descriptor_ >= 0) {
    close(std::exchange(descriptor_, -1));
  }
}

TcpDoor::TcpDoor(std::uint16_t port) : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP)) {
  const in_addr address = NextAddress();
  const sockaddr_in record = RecordOf(address, port);
  const int on = 1;
  setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  constexpr int kBacklog = 64;
  if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&record), sizeof(record)) != 0 ||
      listen(descriptor_, kBacklog) != 0) {
    Fail("listen");
  }
  address_ = TextOf(address);
}

TcpDoor::~TcpDoor() {
  close(descriptor_);
}

bool TcpDoor::Accept(TcpEnd& end) const {
  const int accepted = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
  if (accepted < 0) {
    return false;
  }
  end = TcpEnd(accepted);
  end.SendAtOnce(true);
  return true;
}

void TcpDoor::Shut() const {
  shutdown(descriptor_, SHUT_RDWR);
}

}  // namespace sc3xxmon::bench
