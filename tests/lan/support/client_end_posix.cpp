#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "lan/support/client_end.h"
#include "lan/support/signal.h"

namespace sc3xxmon::test {
namespace {

bool HasName(int descriptor, const void* address, socklen_t length) {
  sockaddr_storage name{};
  socklen_t nameLength = sizeof(name);
  return getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &nameLength) == 0 && nameLength == length &&
         std::memcmp(&name, address, length) == 0;
}

int DescriptorNamed(const void* address, socklen_t length) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename().string());
    if (HasName(descriptor, address, length)) {
      return descriptor;
    }
  }
  return -1;
}

}  // namespace

ClientEnd::ClientEnd(int descriptor) {
  static_assert(sizeof(address_) >= sizeof(sockaddr_storage));
  socklen_t length = sizeof(address_);
  if (getpeername(descriptor, reinterpret_cast<sockaddr*>(address_), &length) == 0) {
    length_ = length;
    descriptor_ = DescriptorNamed(address_, length_);
  }
}

bool ClientEnd::IsStillThere() const {
  return descriptor_ >= 0 && HasName(descriptor_, address_, length_);
}

bool ClientEnd::Shows(short events) const {
  pollfd entry{descriptor_, events, 0};
  return poll(&entry, 1, 0) > 0 && (entry.revents & (events | POLLHUP | POLLERR)) != 0;
}

template <class Done>
void ClientEnd::Await(Done done) const {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (IsStillThere() && !done()) {
    if (std::chrono::steady_clock::now() > end) {
      throw std::runtime_error("what the printer did never arrived at the other end");
    }
    std::this_thread::yield();
  }
}

void ClientEnd::AwaitReset() const {
  Await([this] { return Shows(0); });
}

void ClientEnd::AwaitClosed() const {
  Await([this] { return Shows(POLLRDHUP); });
}

void ClientEnd::AwaitBytes(std::size_t unread) const {
  Await([this, unread] {
    int count = 0;
    return ioctl(descriptor_, FIONREAD, &count) != 0 || static_cast<std::size_t>(count) >= unread;
  });
}

}  // namespace sc3xxmon::test
