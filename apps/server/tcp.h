// TCP as a server needs it: sockets that listen and are accepted, none of which ever blocks, one wait for all of them,
// and a way to end that wait from another thread.
//
// Threads: each object belongs to one, but Wake() may be called from any thread. Descriptors are closed by their owners
// and aren't inherited by programs that this one starts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "apps/server/listen_address.h"

namespace sc3xx {

// A printer can't be put on the network. The text says where, why and what to do.
class ListenError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Owns a descriptor of the system.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  void Close();
  int Release();
  bool IsOpen() const { return number_ >= 0; }
  int Number() const { return number_; }

 private:
  int number_ = -1;
};

// Throws ListenError.
Descriptor ListenAt(const ListenAddress& address);
// Where a listening socket really is, for one that took any free port.
ListenAddress AddressOf(const Descriptor& listener);

struct AcceptedClient {
  Descriptor socket;
  std::string peer;  // address and port
};

enum class AcceptResult { kAccepted, kNobody, kNoResources };

// kNoResources: the system has no descriptor or memory to spare; the client waits at the door.
AcceptResult Accept(const Descriptor& listener, AcceptedClient& client);

enum class TransferState {
  kMoved,      // `count` bytes, at least one
  kWouldWait,  // none now
  kEnded,      // nothing more will come
  kBroken,     // the connection is gone
};

struct TransferOutcome {
  TransferState state = TransferState::kWouldWait;
  std::size_t count = 0;
};

TransferOutcome ReceiveFrom(const Descriptor& socket, std::span<std::uint8_t> bytes);
TransferOutcome SendTo(const Descriptor& socket, std::span<const std::uint8_t> bytes);

// The other side sees the connection break, at once.
void Reset(Descriptor& socket);

struct Waiting {
  int descriptor = -1;
  bool forInput = false;
  bool forOutput = false;
  // what came of it
  bool hasInput = false;
  bool takesOutput = false;
  bool isBroken = false;
};

// Waits until one of the descriptors is as wanted or broken, or the time is over; without a time, for ever.
void WaitForAny(std::span<Waiting> descriptors, std::optional<std::uint64_t> milliseconds);

// Ends a WaitForAny that has its descriptor among the others.
class WakeUp {
 public:
  // Throws std::system_error.
  WakeUp();
  void Wake() const;
  void Clear() const;
  int Number() const { return readEnd_.Number(); }

 private:
  Descriptor readEnd_;
  Descriptor writeEnd_;
};

}  // namespace sc3xx
