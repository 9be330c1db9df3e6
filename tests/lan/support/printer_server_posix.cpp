#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "lan/support/printer_server.h"
#include "lan/support/signal.h"

namespace sc3xxmon::test {
namespace {

// The printer's clock stands still: it prints in no time, and nothing of it is waited for.
constexpr std::uint64_t kNow = 0;

}  // namespace

PrinterServer::PrinterServer(const simulator::PrinterSettings& settings, std::optional<Cut> cut,
                             std::unique_ptr<LoopbackListener> listener)
    : printer_(settings), cut_(cut), listener_(std::move(listener)) {
  if (pipe(wake_) != 0) {
    throw std::runtime_error("no pipe for a printer");
  }
  listener_->Listen();
  thread_ = std::thread([this] { Serve(); });
}

PrinterServer::~PrinterServer() {
  Finish();
  close(wake_[0]);
  close(wake_[1]);
}

void PrinterServer::Wake() const {
  const char word = 'x';
  [[maybe_unused]] const ssize_t count = write(wake_[1], &word, 1);
}

std::size_t PrinterServer::Finish() {
  if (thread_.joinable()) {
    {
      const std::lock_guard lock(mutex_);
      isFinishing_ = true;
    }
    Wake();
    thread_.join();
  }
  return connections_.size();
}

void PrinterServer::GoAway() {
  AwaitPresence(true);
}

void PrinterServer::ComeBack() {
  AwaitPresence(false);
}

void PrinterServer::AwaitPresence(bool away) {
  std::unique_lock lock(mutex_);
  shallBeAway_ = away;
  Wake();
  if (!changed_.wait_for(lock, kPatience, [&] { return isAway_ == away; })) {
    throw std::runtime_error("a printer neither goes nor comes");
  }
}

ByteString PrinterServer::Taken(std::size_t connection) const {
  const std::lock_guard lock(mutex_);
  return connections_.at(connection - 1).taken;
}

ByteString PrinterServer::Given(std::size_t connection) const {
  const std::lock_guard lock(mutex_);
  return connections_.at(connection - 1).given;
}

bool PrinterServer::AllOver() const {
  return std::all_of(connections_.begin(), connections_.end(),
                     [](const Connection& connection) { return connection.descriptor < 0; });
}

// --- the printer's thread

// False past the patience of a test that is finishing.
bool PrinterServer::WaitForWork() {
  std::vector<pollfd> entries{{wake_[0], POLLIN, 0}};
  bool finishing = false;
  {
    const std::lock_guard lock(mutex_);
    if (!isAway_) {
      entries.push_back({listener_->Descriptor(), POLLIN, 0});
    }
    for (const Connection& connection : connections_) {
      if (connection.descriptor >= 0) {
        entries.push_back({connection.descriptor, POLLIN, 0});
      }
    }
    finishing = isFinishing_;
  }
  const auto patience = std::chrono::milliseconds(kPatience).count();
  const int ready = poll(entries.data(), entries.size(), finishing ? static_cast<int>(patience) : -1);
  if ((entries[0].revents & POLLIN) != 0) {
    std::array<char, 64> words;
    [[maybe_unused]] const ssize_t count = read(wake_[0], words.data(), words.size());
  }
  return ready != 0;
}

// Connections are served from the oldest to the newest, each until nothing more is there: a client closes one before it
// opens the next, and the printer sees it in that order.
void PrinterServer::Serve() {
  for (;;) {
    const bool hasWork = WaitForWork();
    const std::lock_guard lock(mutex_);
    if (!isAway_) {
      AcceptAll();
    }
    for (Connection& connection : connections_) {
      TakeFrom(connection);
      Answer(connection);
    }
    FollowPresence();
    changed_.notify_all();
    if (isFinishing_ && (AllOver() || !hasWork)) {
      return;
    }
  }
}

void PrinterServer::FollowPresence() {
  if (shallBeAway_ == isAway_) {
    return;
  }
  isAway_ = shallBeAway_;
  if (!isAway_) {
    return listener_->Listen();
  }
  for (Connection& connection : connections_) {
    if (connection.descriptor >= 0) {
      EndByPrinter(connection, CutKind::kReset);
    }
  }
  listener_->Refuse();
}

void PrinterServer::AcceptAll() {
  pollfd entry{listener_->Descriptor(), POLLIN, 0};
  while (poll(&entry, 1, 0) > 0) {
    const int descriptor = accept4(listener_->Descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0) {
      return;
    }
    connections_.emplace_back(descriptor, printer_.Connect(kNow));
    if (MayCut(connections_.back(), false) && cut_->at == 0) {
      ReachCut(connections_.back());
    }
  }
}

void PrinterServer::TakeFrom(Connection& connection) {
  std::array<std::uint8_t, 65536> bytes;
  while (connection.descriptor >= 0) {
    const bool due = connection.isCut && connection.callsLeft == 0;
    const ssize_t count = recv(connection.descriptor, bytes.data(), bytes.size(), 0);
    if (count > 0) {
      Feed(connection, bytes.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EAGAIN) {
      End(connection);
    } else if (due) {
      EndByPrinter(connection, cut_->kind);
    } else {
      return;
    }
  }
}

bool PrinterServer::MayCut(const Connection& connection, bool answers) const {
  return cut_ && cut_->countsAnswers == answers && &connection == &connections_.front() && !connection.isCut;
}

void PrinterServer::Feed(Connection& connection, const std::uint8_t* bytes, std::size_t size) {
  std::size_t wanted = connection.isCut ? 0 : size;
  const bool mayCut = MayCut(connection, false) && cut_->at <= connection.taken.size() + size;
  if (mayCut) {
    wanted = cut_->at - connection.taken.size();
  }
  connection.taken.insert(connection.taken.end(), bytes, bytes + size);
  printer_.Write(connection.client, {bytes, wanted}, kNow);
  Answer(connection);
  if (mayCut) {
    ReachCut(connection);
  }
}

void PrinterServer::Answer(Connection& connection) {
  std::array<std::uint8_t, 4096> bytes;
  std::size_t count = printer_.Read(connection.client, bytes, kNow);
  if (count == 0 || connection.isCut || connection.descriptor < 0) {
    return;
  }
  const bool cuts = MayCut(connection, true) && cut_->at <= connection.given.size() + count;
  if (cuts) {
    count = cut_->at - connection.given.size();
  }
  send(connection.descriptor, bytes.data(), count, MSG_NOSIGNAL);
  connection.given.insert(connection.given.end(), bytes.data(), bytes.data() + count);
  if (cuts) {
    ReachCut(connection);
  }
}

// The end itself comes once all that is here has been swallowed: a close with bytes unread would be a reset.
void PrinterServer::ReachCut(Connection& connection) {
  connection.isCut = connection.wasCutInThisCall = true;
  connection.callsLeft = cut_->callsLater;
}

void PrinterServer::EndByPrinter(Connection& connection, CutKind kind) {
  const int descriptor = connection.descriptor;
  if (kind == CutKind::kReset) {
    const linger atOnce{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
  }
  connection.closedByPrinter = kind == CutKind::kClose;
  End(connection);
  if (kind == CutKind::kReset) {
    connection.end.AwaitReset();
  } else {
    connection.end.AwaitClosed();
  }
}

void PrinterServer::End(Connection& connection) {
  printer_.Disconnect(connection.client, kNow);
  close(std::exchange(connection.descriptor, -1));
}

// --- step by step

bool PrinterServer::IsSettled(const ClientView& view) const {
  if (connections_.size() != view.connections) {
    return false;
  }
  for (std::size_t i = 0; i < connections_.size(); ++i) {
    const Connection& connection = connections_[i];
    const bool isCurrent = i + 1 == connections_.size() && view.isConnected;
    if (connection.descriptor >= 0 && (!isCurrent || connection.taken.size() != view.sent)) {
      return false;
    }
    if (connection.descriptor >= 0 && connection.isCut && connection.callsLeft == 0) {
      return false;
    }
  }
  return true;
}

void PrinterServer::AwaitSettled(const ClientView& view) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [&] { return IsSettled(view); })) {
    throw std::runtime_error("a printer never came to rest");
  }
  if (!view.isConnected || connections_.empty()) {
    return;
  }
  const Connection& current = connections_.back();
  if (current.descriptor < 0 && current.closedByPrinter && view.sent > current.taken.size()) {
    current.end.AwaitReset();  // bytes for a connection that is closed on the other side bring a reset back
    return;
  }
  if (current.descriptor >= 0) {
    current.end.AwaitBytes(current.given.size() - view.read);
  }
}

bool PrinterServer::CallMade() {
  const std::lock_guard lock(mutex_);
  bool ends = false;
  for (Connection& connection : connections_) {
    const bool counts = connection.isCut && !std::exchange(connection.wasCutInThisCall, false);
    if (counts && connection.callsLeft > 0) {
      ends = --connection.callsLeft == 0;
    }
  }
  Wake();
  return ends;
}

}  // namespace sc3xxmon::test
