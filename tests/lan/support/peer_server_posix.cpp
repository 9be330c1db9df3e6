#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "lan/support/client_end.h"
#include "lan/support/peer_server.h"

namespace sc3xxmon::test {
namespace {

constexpr std::size_t kPiece = 65536;

void AwaitEvent(int descriptor, short events) {
  pollfd entry{descriptor, events, 0};
  const auto patience = std::chrono::milliseconds(kPatience).count();
  if (poll(&entry, 1, static_cast<int>(patience)) <= 0) {
    throw std::runtime_error("nothing happens on a connection");
  }
}

}  // namespace

ByteString Peer::TakeSome(std::size_t most) {
  AwaitEvent(descriptor_, POLLIN);
  ByteString bytes(most);
  const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), 0);
  if (count < 0) {
    throw std::runtime_error("the connection was reset");
  }
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

ByteString Peer::Take(std::size_t count) {
  ByteString bytes;
  while (bytes.size() < count) {
    const ByteString more = TakeSome(std::min(count - bytes.size(), kPiece));
    if (more.empty()) {
      throw std::runtime_error("the connection closed before all bytes came");
    }
    bytes.insert(bytes.end(), more.begin(), more.end());
  }
  return bytes;
}

ByteString Peer::TakeAll() {
  ByteString bytes;
  for (;;) {
    const ByteString more = TakeSome(kPiece);
    if (more.empty()) {
      return bytes;
    }
    bytes.insert(bytes.end(), more.begin(), more.end());
  }
}

void Peer::Give(const ByteString& bytes) {
  if (send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the connection takes no bytes");
  }
}

void Peer::Close() {
  if (descriptor_ >= 0) {
    const ClientEnd client(descriptor_);
    close(std::exchange(descriptor_, -1));
    client.AwaitClosed();
  }
}

void Peer::Reset() {
  const ClientEnd client(descriptor_);
  const linger atOnce{1, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
  close(std::exchange(descriptor_, -1));
  client.AwaitReset();
}

void Peer::AwaitEnd() {
  std::uint8_t dropped[65536];
  ssize_t count = 0;
  do {
    AwaitEvent(descriptor_, POLLIN);
    count = recv(descriptor_, dropped, sizeof(dropped), 0);
  } while (count > 0);
}

PeerServer::PeerServer(int receiveBuffer) {
  if (pipe(wake_) != 0) {
    throw std::runtime_error("no pipe for a server");
  }
  listener_.Listen(receiveBuffer);
  door_ = std::thread([this] { Serve(); });
}

PeerServer::~PeerServer() {
  Finish();
  close(wake_[0]);
  close(wake_[1]);
}

PeerServer& PeerServer::Next(Script script) {
  const std::lock_guard lock(mutex_);
  scripts_.push_back(std::move(script));
  return *this;
}

std::size_t PeerServer::Finish() {
  if (door_.joinable()) {
    const char word = 'x';
    if (write(wake_[1], &word, 1) != 1) {
      ADD_FAILURE() << "a server can't be told to end";
    }
    door_.join();
  }
  Join();
  return connectionCount_;
}

void PeerServer::Await(std::size_t connections) {
  {
    std::unique_lock lock(mutex_);
    if (!came_.wait_for(lock, kPatience, [&] { return connectionCount_ >= connections; })) {
      throw std::runtime_error("a printer waits for a connection in vain");
    }
  }
  Join();
}

void PeerServer::Join() {
  std::vector<std::thread> running;
  {
    const std::lock_guard lock(mutex_);
    running.swap(connections_);
  }
  for (std::thread& connection : running) {
    connection.join();
  }
}

// What waits at the door is served before the word to end is heard.
void PeerServer::Serve() {
  for (;;) {
    pollfd entries[] = {{listener_.Descriptor(), POLLIN, 0}, {wake_[0], POLLIN, 0}};
    if (poll(entries, 2, -1) < 0 && errno != EINTR) {
      return;
    }
    if ((entries[0].revents & POLLIN) != 0) {
      const int descriptor = accept4(listener_.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
      if (descriptor >= 0) {
        const std::lock_guard lock(mutex_);
        ++connectionCount_;
        // Chosen here and not by the thread: scripts go to connections in the order of their coming.
        connections_.emplace_back([descriptor, script = NextScript()] { Run(descriptor, script); });
        came_.notify_all();
      }
    } else if ((entries[1].revents & POLLIN) != 0) {
      listener_.Refuse();
      return;
    }
  }
}

PeerServer::Script PeerServer::NextScript() {
  if (scripts_.empty()) {
    return [](Peer& silent) { silent.AwaitEnd(); };
  }
  Script script = std::move(scripts_.front());
  scripts_.pop_front();
  return script;
}

void PeerServer::Run(int descriptor, const Script& script) try {
  Peer peer(descriptor);
  script(peer);
} catch (const std::exception& failure) {
  ADD_FAILURE() << "at the printer's end: " << failure.what();
}

}  // namespace sc3xxmon::test
