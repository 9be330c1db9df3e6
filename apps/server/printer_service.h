// One virtual printer as it stands on a network, without the network: who its clients are, what they have sent that the
// printer has no room for yet, which answers go to whom, who is refused, and who is cut off when the power goes.
//
// Plain decisions on bytes and times, so that they can be tested without a socket or a real clock. Times are
// milliseconds on a clock that the caller keeps. Nothing blocks, nothing throws but for lack of memory. One thread at a
// time. What a client may cost is bounded: its slot, its input, its answers, and a label of the printer's limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "simulator/virtual_printer.h"

namespace sc3xx {

struct ServiceLimits {
  std::size_t clients = 32;               // at once; more are refused
  std::size_t inputBytes = 64u << 10;     // of a client that the printer has no room for; beyond it the client waits
  std::size_t outgoingBytes = 16u << 10;  // answers that a client doesn't read; beyond it the printer keeps them
};

// How a client's connection is to be ended by the printer's side.
enum class ServiceEnd {
  kNone,   // not yet
  kClose,  // in order: it said all that it wanted to say, and has all its answers
  kReset,  // the plug was pulled, or a fault broke the connection
};

class PrinterService {
 public:
  // Throws std::invalid_argument when no printer can have these settings.
  PrinterService(simulator::PrinterSettings settings, const ServiceLimits& limits);

  // A client at the door. Nothing: it is refused, because there are too many or the power is off.
  std::optional<simulator::ClientId> Admit(std::uint64_t now);

  // How many bytes to take from the client now; 0 while it has to wait, or has said that nothing more comes.
  std::size_t Room(simulator::ClientId client) const;
  // At most Room() bytes.
  void Receive(simulator::ClientId client, std::span<const std::uint8_t> bytes, std::uint64_t now);
  // Nothing more comes from the client. What came is still worked off, and its answers go out.
  void EndInput(simulator::ClientId client, std::uint64_t now);
  // The connection is gone, or has been ended as EndOf() said: the client is forgotten.
  void Leave(simulator::ClientId client, std::uint64_t now);

  // Answers for the client that are due, and how many of those bytes it has got.
  std::span<const std::uint8_t> Outgoing(simulator::ClientId client) const;
  void Sent(simulator::ClientId client, std::size_t count, std::uint64_t now);
  ServiceEnd EndOf(simulator::ClientId client) const;

  void Advance(std::uint64_t now);
  // When to call Advance again, if nothing else happens before.
  std::optional<std::uint64_t> NextEvent() const { return printer_.NextEvent(); }

  // Orderly end of everything: all clients are forgotten, and what the printer has answered for is printed at once.
  void SwitchOff(std::uint64_t now);

  bool PoweredOn() const { return printer_.PoweredOn(); }
  std::size_t Clients() const { return clients_.size(); }
  simulator::VirtualPrinter& Printer() { return printer_; }
  const simulator::VirtualPrinter& Printer() const { return printer_; }

 private:
  struct Client {
    std::vector<std::uint8_t> input;  // that the printer hasn't taken
    std::vector<std::uint8_t> outgoing;
    bool inputEnded = false;
    bool breaks = false;  // a fault ends the connection once the printer has the input
    ServiceEnd end = ServiceEnd::kNone;
  };

  const Client* Find(simulator::ClientId id) const;
  Client* Find(simulator::ClientId id);
  void Work(std::uint64_t now);
  void Work(simulator::ClientId id, Client& client, std::uint64_t now);
  bool Feed(simulator::ClientId id, Client& client, std::uint64_t now);
  bool TakeAnswers(simulator::ClientId id, Client& client, std::uint64_t now);
  void End(simulator::ClientId id, Client& client, ServiceEnd end, std::uint64_t now);

  const ServiceLimits limits_;
  simulator::VirtualPrinter printer_;
  std::map<simulator::ClientId, Client> clients_;
  std::uint64_t powerCuts_ = 0;  // that the clients have felt
};

}  // namespace sc3xx
