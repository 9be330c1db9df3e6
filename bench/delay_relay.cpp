#include "bench/delay_relay.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>

namespace sc3xxmon::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPieceBytes = 64u << 10;

// Pieces on their way; an empty one is the end.
class Line {
 public:
  void Put(Stream piece, Clock::time_point arrival) {
    const std::lock_guard lock(mutex_);
    pieces_.push_back({std::move(piece), arrival});
    came_.notify_one();
  }

  Stream Take() {
    std::unique_lock lock(mutex_);
    came_.wait(lock, [this] { return !pieces_.empty(); });
    auto [piece, arrival] = std::move(pieces_.front());
    pieces_.pop_front();
    lock.unlock();
    std::this_thread::sleep_until(arrival);
    return piece;
  }

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<std::pair<Stream, Clock::time_point>> pieces_;
};

}  // namespace

DelayRelay::DelayRelay(std::uint16_t port, std::string target, std::uint16_t targetPort,
                       std::chrono::milliseconds delay)
    : door_(port), target_(std::move(target)), targetPort_(targetPort), delay_(delay), thread_([this] { Serve(); }) {}

DelayRelay::~DelayRelay() {
  door_.Shut();
  thread_.join();
}

void DelayRelay::Serve() {
  TcpEnd client;
  if (!door_.Accept(client)) {
    return;
  }
  const TcpEnd printer = TcpEnd::ConnectTo(target_, targetPort_);
  printer.SendAtOnce(true);
  std::thread back([&] { PassOn(printer, client); });
  PassOn(client, printer);
  back.join();
}

void DelayRelay::PassOn(const TcpEnd& from, const TcpEnd& to) const {
  Line line;
  std::thread reader([&] {
    for (Stream piece(1); !piece.empty();) {
      piece.resize(kPieceBytes);
      piece.resize(from.Receive(piece.data(), piece.size()));
      line.Put(piece, Clock::now() + delay_);
    }
  });
  bool open = true;
  for (Stream piece = line.Take(); !piece.empty(); piece = line.Take()) {
    try {
      if (open) {
        to.Send(piece);
      }
    } catch (const std::exception&) {  // the other side is gone; what still comes for it is dropped
      open = false;
    }
  }
  reader.join();
  to.EndOutput();
}

}  // namespace sc3xxmon::bench
