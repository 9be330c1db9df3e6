// The quickest printer that a network can have: takes everything, looks at no more than where commands begin, and
// answers every request at once with "ready". What is measured over it is the sender alone.
//
// One connection after another, on a thread of its own.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>

#include "bench/streams.h"
#include "bench/tcp_end.h"

namespace sc3xxmon::bench {

// Finds the requests in a stream that comes in pieces of any size.
class RequestFinder {
 public:
  // Gives the letters of the requests that end in the piece, in order, to `found`.
  template <class Found>
  void Look(Bytes piece, Found found);

 private:
  bool Head(std::uint8_t byte);

  std::uint8_t head_[17] = {};
  std::size_t headSize_ = 0;
  std::size_t bodyLeft_ = 0;
};

class FastSink {
 public:
  explicit FastSink(std::uint16_t port);
  ~FastSink();
  FastSink(const FastSink&) = delete;
  FastSink& operator=(const FastSink&) = delete;

  const std::string& Address() const { return door_.Address(); }

  // Keeps what the next connection brings. Take it when that has ended.
  void Record();
  Stream Recorded();

  // Waits until so many connections have come and been taken in to their end.
  void Await(std::size_t connections);

 private:
  void Serve();
  void Take(TcpEnd& end, bool keeps);

  TcpDoor door_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::size_t connections_ = 0;
  bool keepsNext_ = false;
  Stream recorded_;
  Stream buffer_;
  std::thread thread_;
};

}  // namespace sc3xxmon::bench
