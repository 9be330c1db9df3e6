#include "bench/fast_sink.h"

#include <algorithm>
#include <array>
#include <utility>

#include "stream/kpl_command.h"

namespace sc3xxmon::bench {
namespace {

constexpr std::size_t kBufferBytes = 256u << 10;
constexpr std::uint8_t kBayGood = 8;

std::uint32_t Little32(const std::uint8_t* bytes) {
  return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

// Of the commands that the benchmarks' jobs have.
std::size_t HeadSize(std::uint8_t letter) {
  switch (letter) {
    case 's':
      return 6;
    case 'n':
      return 4;
    case 'D':
      return 12;
    case 'A':
      return 3;
    default:
      return 2;
  }
}

void Answer(const TcpEnd& end, std::uint8_t letter) {
  std::array<std::uint8_t, 34> answer{};
  const bool isStatus = letter == 'A';
  answer[10] = isStatus ? kBayGood : 0;
  end.Send(Bytes(answer).first(isStatus ? 32 : 34));
}

}  // namespace

// True when the head is whole.
bool RequestFinder::Head(std::uint8_t byte) {
  head_[headSize_++] = byte;
  return headSize_ > 1 && headSize_ == HeadSize(head_[1]);
}

template <class Found>
void RequestFinder::Look(Bytes piece, Found found) {
  while (!piece.empty()) {
    if (bodyLeft_ > 0) {
      const std::size_t skipped = std::min(bodyLeft_, piece.size());
      bodyLeft_ -= skipped;
      piece = piece.subspan(skipped);
      continue;
    }
    const bool isWhole = Head(piece.front());
    piece = piece.subspan(1);
    if (!isWhole) {
      continue;
    }
    headSize_ = 0;
    if (head_[1] == 'D') {
      bodyLeft_ = (std::size_t{head_[2]} * Little32(head_ + 8) + 7) / 8 * Little32(head_ + 4);
    } else if (head_[1] == 'A' || head_[1] == 'V') {
      found(head_[1]);
    }
  }
}

FastSink::FastSink(std::uint16_t port) : door_(port), buffer_(kBufferBytes), thread_([this] { Serve(); }) {}

FastSink::~FastSink() {
  door_.Shut();
  thread_.join();
}

void FastSink::Record() {
  const std::lock_guard lock(mutex_);
  keepsNext_ = true;
}

Stream FastSink::Recorded() {
  const std::lock_guard lock(mutex_);
  return std::exchange(recorded_, {});
}

void FastSink::Await(std::size_t connections) {
  std::unique_lock lock(mutex_);
  ended_.wait(lock, [&] { return connections_ >= connections; });
}

void FastSink::Serve() {
  for (TcpEnd end; door_.Accept(end);) {
    bool keeps = false;
    {
      const std::lock_guard lock(mutex_);
      keeps = std::exchange(keepsNext_, false);
    }
    Take(end, keeps);
    end.Close();
    const std::lock_guard lock(mutex_);
    ++connections_;
    ended_.notify_all();
  }
}

void FastSink::Take(TcpEnd& end, bool keeps) {
  RequestFinder finder;
  while (const std::size_t count = end.Receive(buffer_.data(), buffer_.size())) {
    const Bytes piece = Bytes(buffer_).first(count);
    finder.Look(piece, [&end](std::uint8_t letter) { Answer(end, letter); });
    if (keeps) {
      recorded_.insert(recorded_.end(), piece.begin(), piece.end());
    }
  }
}

}  // namespace sc3xxmon::bench
