#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <span>
#include <system_error>

#include "command_line/socket_printer.h"

namespace sc3xx::test {
namespace {

std::uint64_t NowMs() {
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

}  // namespace

SocketPrinter::SocketPrinter(std::string path, simulator::PrinterSettings settings)
    : path_(std::move(path)), printer_(std::move(settings)) {
  unlink(path_.c_str());
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path_.c_str(), sizeof(address.sun_path) - 1);
  const void* const anyAddress = &address;
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0 || bind(listener_, static_cast<const sockaddr*>(anyAddress), sizeof(address)) != 0 ||
      listen(listener_, 1) != 0 || pipe(wake_) != 0) {
    throw std::system_error(errno, std::generic_category(), path_);
  }
  thread_ = std::thread([this] { Serve(); });
}

SocketPrinter::~SocketPrinter() {
  close(wake_[1]);  // the thread sees the pipe's end
  thread_.join();
  close(wake_[0]);
  close(listener_);
  unlink(path_.c_str());
}

std::vector<simulator::PrintedLabel> SocketPrinter::Printed() {
  std::unique_lock lock(mutex_);
  disconnected_.wait(lock, [this] { return !serving_; });
  printer_.Advance(NowMs());
  return printer_.Printed();
}

void SocketPrinter::Serve() {
  for (;;) {
    pollfd waited[2] = {{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    poll(waited, 2, -1);
    if (waited[1].revents != 0) {
      return;
    }
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (connection >= 0) {
      ++connections_;
      ServeOne(connection);
      close(connection);
    }
  }
}

void SocketPrinter::ServeOne(int connection) {
  simulator::ClientId client = simulator::kNobody;
  {
    const std::lock_guard lock(mutex_);
    client = printer_.Connect(NowMs());
    serving_ = true;
  }
  std::size_t received = 0;
  for (;;) {
    pollfd waited[2] = {{connection, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    poll(waited, 2, 1);  // the printer's own time passes too
    if (waited[1].revents != 0 || !TakeBytes(connection, client, received) || !GiveAnswers(connection, client)) {
      break;
    }
  }
  const std::lock_guard lock(mutex_);
  printer_.Disconnect(client, NowMs());
  serving_ = false;
  disconnected_.notify_all();
}

bool SocketPrinter::TakeBytes(int connection, simulator::ClientId client, std::size_t& received) {
  std::uint8_t bytes[4096];
  const ssize_t count = recv(connection, bytes, sizeof(bytes), 0);
  if (count < 0) {
    return errno == EAGAIN || errno == EINTR;
  }
  received += static_cast<std::size_t>(count);
  const std::size_t limit = unplugAfter_;
  if (count == 0 || (limit != 0 && received >= limit)) {
    unplugAfter_ = 0;
    return false;
  }
  const std::lock_guard lock(mutex_);
  printer_.Write(client, std::span(bytes, static_cast<std::size_t>(count)), NowMs());
  return true;
}

bool SocketPrinter::GiveAnswers(int connection, simulator::ClientId client) {
  std::uint8_t answer[256];
  std::size_t count = 0;
  {
    const std::lock_guard lock(mutex_);
    count = printer_.Read(client, answer, NowMs());
  }
  return count == 0 || send(connection, answer, count, MSG_NOSIGNAL) == static_cast<ssize_t>(count);
}

}  // namespace sc3xx::test
