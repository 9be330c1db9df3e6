// Virtual printers on the network: each listens at an address of its own and serves many clients, all of them from one
// thread that waits for whatever comes next. What a client is told and when is PrinterService's business; here are the
// sockets and the real clock.
//
// A printer whose power goes resets its connections and stops listening until the power is back. A printed label is
// handed out before any answer that speaks of it leaves, so that whoever kills this program loses none of them.
//
// Threads: Add and Run on one; Stop from any. Blocking: Run only.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/server/listen_address.h"
#include "apps/server/printer_service.h"
#include "apps/server/tcp.h"

namespace sc3xx {

// What has come of a printer since the last time.
struct PrinterNews {
  std::vector<simulator::PrintedLabel> printed;
  std::vector<simulator::DroppedLabel> dropped;
  std::vector<simulator::Exchange> exchanges;

  bool IsEmpty() const { return printed.empty() && dropped.empty() && exchanges.empty(); }
};

// Any of them may be empty. They run on the thread of Run; what they throw ends it. Printers are counted from 0 in the
// order of Add.
struct ServerHooks {
  std::function<void(std::size_t printer, const PrinterNews& news)> news;
  std::function<void(std::size_t printer, const std::string& what)> told;  // about its network
  std::function<void()> round;  // everything that came has been dealt with, and the server is about to wait
};

class PrinterServer {
 public:
  // Throws std::system_error when the system has no descriptors left.
  explicit PrinterServer(ServerHooks hooks);
  ~PrinterServer();
  PrinterServer(const PrinterServer&) = delete;
  PrinterServer& operator=(const PrinterServer&) = delete;

  // The printer listens when this returns. Gives the address with the real port. Throws ListenError, or
  // std::invalid_argument when no printer can have these settings.
  ListenAddress Add(simulator::PrinterSettings settings, const ListenAddress& address,
                    const ServiceLimits& limits = {});

  // Serves until Stop, or for so long; then switches the printers off in order and closes everything.
  void Run(std::optional<std::chrono::milliseconds> atMost = std::nullopt);
  void Stop();

  std::size_t Size() const { return stations_.size(); }
  const PrinterService& Service(std::size_t printer) const { return stations_[printer].service; }

 private:
  struct Connection {
    Descriptor socket;
    simulator::ClientId client = simulator::kNobody;
    bool hasInput = false;
    bool isBroken = false;
  };

  struct Station {
    Station(simulator::PrinterSettings settings, const ServiceLimits& limits) : service(std::move(settings), limits) {}
    PrinterService service;
    ListenAddress address;
    Descriptor listener;
    std::uint64_t restUntilMs = 0;  // the door stays shut: something was wrong with listening or accepting
    std::string trouble;            // told already
    std::vector<Connection> connections;
  };

  std::uint64_t Now() const;
  void Wait();
  std::optional<std::uint64_t> Patience() const;
  void Serve(std::size_t printer);
  void FollowPower(std::size_t printer);
  void Admit(std::size_t printer);
  void Receive(Station& station, Connection& connection);
  void Send(std::size_t printer, Connection& connection);
  bool EndConnections(Station& station);
  void DeliverNews(std::size_t printer);
  void SwitchOff();
  void Tell(std::size_t printer, const std::string& what) const;
  void TellTrouble(std::size_t printer, const std::string& what);

  const ServerHooks hooks_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  WakeUp wakeUp_;
  std::vector<Station> stations_;
  std::vector<Waiting> waiting_;
  std::vector<std::uint8_t> buffer_;
  std::optional<std::uint64_t> endMs_;
  bool stopped_ = false;
};

}  // namespace sc3xx
