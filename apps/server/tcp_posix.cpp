#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/server/tcp.h"

namespace sc3xx {
namespace {

constexpr int kBacklog = 64;
// A client whose machine went without a word is found out after some two minutes of silence.
constexpr int kSilenceSeconds = 60;
constexpr int kProbeSeconds = 15;
constexpr int kProbes = 4;

// An address record of either family.
struct Record {
  sockaddr_storage storage{};
  socklen_t length = 0;

  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&storage); }
  sockaddr* Get() { return reinterpret_cast<sockaddr*>(&storage); }
};

template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

std::optional<Record> RecordOf(const ListenAddress& address) {
  Record record;
  sockaddr_in ipv4{};
  sockaddr_in6 ipv6{};
  if (inet_pton(AF_INET, address.host.c_str(), &ipv4.sin_addr) == 1) {
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(address.port);
    std::memcpy(&record.storage, &ipv4, sizeof(ipv4));
    record.length = sizeof(ipv4);
    return record;
  }
  if (inet_pton(AF_INET6, address.host.c_str(), &ipv6.sin6_addr) == 1) {
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = htons(address.port);
    std::memcpy(&record.storage, &ipv6, sizeof(ipv6));
    record.length = sizeof(ipv6);
    return record;
  }
  return std::nullopt;
}

ListenAddress AddressFrom(const Record& record) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (record.storage.ss_family == AF_INET6) {
    sockaddr_in6 ipv6{};
    std::memcpy(&ipv6, &record.storage, sizeof(ipv6));
    inet_ntop(AF_INET6, &ipv6.sin6_addr, text.data(), text.size());
    return {text.data(), ntohs(ipv6.sin6_port)};
  }
  sockaddr_in ipv4{};
  std::memcpy(&ipv4, &record.storage, sizeof(ipv4));
  inet_ntop(AF_INET, &ipv4.sin_addr, text.data(), text.size());
  return {text.data(), ntohs(ipv4.sin_port)};
}

std::string_view AdviceFor(int systemError) {
  switch (systemError) {
    case EADDRINUSE:
      return "; another program listens there: stop it, or take another address (127.0.0.3, ...) or port "
             "(ADDRESS:PORT)";
    case EADDRNOTAVAIL:
      return "; this machine has no such address: take one of its own, or any of 127.0.0.2 to 127.255.255.254";
    case EACCES:
      return "; ports below 1024 need the rights of root";
    case EAFNOSUPPORT:
      return "; this machine speaks no IPv6: take an IPv4 address";
    default:
      return "";
  }
}

[[noreturn]] void FailToListen(const ListenAddress& address, int systemError) {
  throw ListenError("can't listen on " + Format(address) + ": " + std::generic_category().message(systemError) +
                    std::string(AdviceFor(systemError)));
}

void SetOption(int descriptor, int level, int name, int value) {
  setsockopt(descriptor, level, name, &value, sizeof(value));
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    Close();
    number_ = other.Release();
  }
  return *this;
}

int Descriptor::Release() {
  return std::exchange(number_, -1);
}

void Descriptor::Close() {
  if (number_ >= 0) {
    close(Release());
  }
}

Descriptor ListenAt(const ListenAddress& address) {
  const std::optional<Record> record = RecordOf(address);
  if (!record) {
    throw ListenError("can't listen on \"" + address.host +
                      "\": this is no numeric IPv4 or IPv6 address; write one such as 127.0.0.2");
  }
  const int family = record->storage.ss_family;
  Descriptor listener(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
  if (!listener.IsOpen()) {
    FailToListen(address, errno);
  }
  // A printer that comes back finds connections of its former life still lingering at its address.
  SetOption(listener.Number(), SOL_SOCKET, SO_REUSEADDR, 1);
  if (family == AF_INET6) {
    SetOption(listener.Number(), IPPROTO_IPV6, IPV6_V6ONLY, 1);
  }
  if (bind(listener.Number(), record->Get(), record->length) != 0 || listen(listener.Number(), kBacklog) != 0) {
    FailToListen(address, errno);
  }
  return listener;
}

ListenAddress AddressOf(const Descriptor& listener) {
  Record record;
  record.length = sizeof(record.storage);
  if (getsockname(listener.Number(), record.Get(), &record.length) != 0) {
    return {};
  }
  return AddressFrom(record);
}

AcceptResult Accept(const Descriptor& listener, AcceptedClient& client) {
  Record record;
  record.length = sizeof(record.storage);
  const int number = Uninterrupted(
      [&] { return accept4(listener.Number(), record.Get(), &record.length, SOCK_CLOEXEC | SOCK_NONBLOCK); });
  if (number < 0) {
    const bool scarce = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
    return scarce ? AcceptResult::kNoResources : AcceptResult::kNobody;
  }
  client.socket = Descriptor(number);
  client.peer = Format(AddressFrom(record));
  SetOption(number, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(number, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(number, IPPROTO_TCP, TCP_KEEPIDLE, kSilenceSeconds);
  SetOption(number, IPPROTO_TCP, TCP_KEEPINTVL, kProbeSeconds);
  SetOption(number, IPPROTO_TCP, TCP_KEEPCNT, kProbes);
  return AcceptResult::kAccepted;
}

TransferOutcome ReceiveFrom(const Descriptor& socket, std::span<std::uint8_t> bytes) {
  const ssize_t count = Uninterrupted([&] { return recv(socket.Number(), bytes.data(), bytes.size(), 0); });
  if (count > 0) {
    return {TransferState::kMoved, static_cast<std::size_t>(count)};
  }
  if (count == 0) {
    return {TransferState::kEnded, 0};
  }
  return {errno == EAGAIN ? TransferState::kWouldWait : TransferState::kBroken, 0};
}

TransferOutcome SendTo(const Descriptor& socket, std::span<const std::uint8_t> bytes) {
  const ssize_t count = Uninterrupted([&] { return send(socket.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
  if (count > 0) {
    return {TransferState::kMoved, static_cast<std::size_t>(count)};
  }
  return {count == 0 || errno == EAGAIN ? TransferState::kWouldWait : TransferState::kBroken, 0};
}

void Reset(Descriptor& socket) {
  const linger atOnce{1, 0};
  setsockopt(socket.Number(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
  socket.Close();
}

void WaitForAny(std::span<Waiting> descriptors, std::optional<std::uint64_t> milliseconds) {
  std::vector<pollfd> entries;
  entries.reserve(descriptors.size());
  for (const Waiting& waiting : descriptors) {
    const int events = (waiting.forInput ? POLLIN : 0) | (waiting.forOutput ? POLLOUT : 0);
    entries.push_back({waiting.descriptor, static_cast<short>(events), 0});
  }
  constexpr std::uint64_t kLongest = std::numeric_limits<int>::max();
  const int timeout = milliseconds ? static_cast<int>(std::min(*milliseconds, kLongest)) : -1;
  // An interrupted wait is as good as one whose time is over: the caller looks at its clock anyway.
  const int ready = poll(entries.data(), entries.size(), timeout);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const int events = ready > 0 ? entries[i].revents : 0;
    descriptors[i].hasInput = (events & POLLIN) != 0;
    descriptors[i].takesOutput = (events & POLLOUT) != 0;
    descriptors[i].isBroken = (events & (POLLERR | POLLHUP | POLLNVAL)) != 0;
  }
}

WakeUp::WakeUp() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "no pipe to end the server by");
  }
  readEnd_ = Descriptor(ends[0]);
  writeEnd_ = Descriptor(ends[1]);
}

void WakeUp::Wake() const {
  const char word = 'w';
  [[maybe_unused]] const ssize_t count = write(writeEnd_.Number(), &word, 1);
}

void WakeUp::Clear() const {
  std::array<char, 64> words{};
  [[maybe_unused]] const ssize_t count = read(readEnd_.Number(), words.data(), words.size());
}

}  // namespace sc3xx
