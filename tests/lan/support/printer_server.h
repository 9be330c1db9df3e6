// A virtual printer behind a real socket, with many clients, one for each connection. It prints in no time, and what a
// connection brought before it died stays with the printer, as it does with a real one: a label that came whole, or
// lacks no more than its form feed, is printed; one that was cut short is not.
//
// It can cut its first connection at any byte, and it tells when it has dealt with everything, so that a test can go on
// step by step and the same cut gives the same run.
//
// Threads: one of its own. Everything here may be called from any thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "lan/support/client_end.h"
#include "lan/support/loopback.h"
#include "simulator/virtual_printer.h"
#include "support/bytes.h"

namespace sc3xxmon::test {

enum class CutKind { kReset, kClose };

// Where the first connection is cut: after so many bytes have reached the printer, or after so many bytes of its answers
// have got out. Bytes behind that point are swallowed. The connection ends `callsLater` port calls after the one in which
// the point was reached.
struct Cut {
  CutKind kind = CutKind::kReset;
  std::size_t at = 0;
  bool countsAnswers = false;
  std::size_t callsLater = 0;
};

class PrinterServer {
 public:
  // `listener` brings an address that was taken before.
  explicit PrinterServer(const simulator::PrinterSettings& settings, std::optional<Cut> cut = std::nullopt,
                         std::unique_ptr<LoopbackListener> listener = std::make_unique<LoopbackListener>());
  ~PrinterServer();
  PrinterServer(const PrinterServer&) = delete;
  PrinterServer& operator=(const PrinterServer&) = delete;

  const std::wstring& Address() const { return listener_->Address(); }

  // Drops all connections by a reset, and refuses new ones until it is back.
  void GoAway();
  void ComeBack();

  // Waits until the clients have closed their connections, and gives how many there were. No more are accepted.
  std::size_t Finish();

  // --- what came of it
  // The printer, while nothing else is done to it.
  template <class Use>
  auto WithPrinter(Use use) {
    const std::lock_guard lock(mutex_);
    Wake();  // there may be something to answer now
    return use(printer_);
  }
  // All bytes of a connection, counted from 1, whether the printer got them or not, and all bytes of answers to it.
  ByteString Taken(std::size_t connection) const;
  ByteString Given(std::size_t connection) const;

  // --- step by step, from the client's thread, after each of its calls
  struct ClientView {
    std::size_t connections = 0;  // made so far
    bool isConnected = false;     // over the last of them
    std::size_t sent = 0;         // bytes over it
    std::size_t read = 0;
  };
  // Waits until the printer has dealt with all that the client did, and the client's end shows what the printer did.
  void AwaitSettled(const ClientView& view);
  // One port call more is over. True if that ends a connection, so that there is something new to wait for.
  bool CallMade();

 private:
  struct Connection {
    Connection(int openDescriptor, simulator::ClientId id)
        : descriptor(openDescriptor), client(id), end(openDescriptor) {}
    int descriptor;  // -1 once it is over
    simulator::ClientId client;
    ClientEnd end;
    ByteString taken;
    ByteString given;
    bool isCut = false;
    bool wasCutInThisCall = false;
    std::size_t callsLeft = 0;
    bool closedByPrinter = false;
  };

  void Serve();
  bool WaitForWork();
  void AcceptAll();
  void TakeFrom(Connection& connection);
  void Feed(Connection& connection, const std::uint8_t* bytes, std::size_t size);
  void Answer(Connection& connection);
  bool MayCut(const Connection& connection, bool answers) const;
  void ReachCut(Connection& connection);
  void EndByPrinter(Connection& connection, CutKind kind);
  void End(Connection& connection);
  void FollowPresence();
  void AwaitPresence(bool away);
  bool AllOver() const;
  void Wake() const;
  bool IsSettled(const ClientView& view) const;

  simulator::VirtualPrinter printer_;
  const std::optional<Cut> cut_;
  const std::unique_ptr<LoopbackListener> listener_;
  int wake_[2];
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Connection> connections_;
  bool shallBeAway_ = false;
  bool isAway_ = false;
  bool isFinishing_ = false;
  std::thread thread_;
};

}  // namespace sc3xxmon::test
