// A printer that does what a script says, behind a real socket: for what a printer in good order never does. Each
// connection runs its script on a thread of its own; whatever goes wrong there fails the test.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "lan/support/loopback.h"
#include "lan/support/signal.h"
#include "support/bytes.h"

namespace sc3xxmon::test {

// The printer's end of one connection. Every wait has the test's patience as its limit, and throws past it.
class Peer {
 public:
  explicit Peer(int descriptor) : descriptor_(descriptor) {}
  ~Peer() { Close(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // Exactly so many bytes.
  ByteString Take(std::size_t count);
  // What is there, up to `most`; empty once the other side has closed.
  ByteString TakeSome(std::size_t most);
  // All bytes until the other side closes. Throws if it resets the connection.
  ByteString TakeAll();
  void Give(const ByteString& bytes);
  // Both return when the other end, in this process, has seen it.
  void Close();
  void Reset();
  // Until the other side has closed or reset; bytes that come meanwhile are dropped.
  void AwaitEnd();

 private:
  int descriptor_;
};

class PeerServer {
 public:
  using Script = std::function<void(Peer&)>;

  // Listens from the first moment. `receiveBuffer` as for LoopbackListener.
  explicit PeerServer(int receiveBuffer = 0);
  // Waits for the scripts.
  ~PeerServer();
  PeerServer(const PeerServer&) = delete;
  PeerServer& operator=(const PeerServer&) = delete;

  // What the next connections do, in order. A connection without a script waits until the other side closes.
  PeerServer& Next(Script script);

  const std::wstring& Address() const { return listener_.Address(); }

  // Waits until so many connections have come, counted from the first, and their scripts have ended.
  void Await(std::size_t connections);

  // Takes what connections still wait at the door, refuses all later ones, and waits for the scripts. Gives how many
  // connections there were.
  std::size_t Finish();

 private:
  void Serve();
  static void Run(int descriptor, const Script& script);
  Script NextScript();  // under the lock
  void Join();

  LoopbackListener listener_;
  int wake_[2];
  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<Script> scripts_;
  std::vector<std::thread> connections_;
  std::size_t connectionCount_ = 0;
  std::thread door_;
};

}  // namespace sc3xxmon::test
