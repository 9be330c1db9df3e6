#include "apps/server/printer_server.h"

#include <algorithm>
#include <utility>

namespace sc3xx {
namespace {

constexpr std::size_t kPieceBytes = 64u << 10;
constexpr std::uint64_t kRestMs = 1000;
// In one round; whoever knocks without end must not keep the others waiting.
constexpr std::size_t kMostAccepted = 64;

}  // namespace

PrinterServer::PrinterServer(ServerHooks hooks) : hooks_(std::move(hooks)), buffer_(kPieceBytes) {}

PrinterServer::~PrinterServer() = default;

std::uint64_t PrinterServer::Now() const {
  const auto passed = std::chrono::steady_clock::now() - begin_;
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

ListenAddress PrinterServer::Add(simulator::PrinterSettings settings, const ListenAddress& address,
                                 const ServiceLimits& limits) {
  Station station(std::move(settings), limits);
  station.listener = ListenAt(address);
  station.address = AddressOf(station.listener);
  stations_.push_back(std::move(station));
  return stations_.back().address;
}

void PrinterServer::Run(std::optional<std::chrono::milliseconds> atMost) {
  if (atMost) {
    endMs_ = Now() + static_cast<std::uint64_t>(atMost->count());
  }
  stopped_ = false;
  for (;;) {
    for (std::size_t printer = 0; printer < stations_.size(); ++printer) {
      Serve(printer);
    }
    if (hooks_.round) {
      hooks_.round();
    }
    if (stopped_ || (endMs_ && Now() >= *endMs_)) {
      break;
    }
    Wait();
  }
  SwitchOff();
}

void PrinterServer::Stop() {
  wakeUp_.Wake();
}

std::optional<std::uint64_t> PrinterServer::Patience() const {
  const std::uint64_t now = Now();
  std::optional<std::uint64_t> until = endMs_;
  const auto consider = [&until](std::optional<std::uint64_t> time) {
    if (time && (!until || *time < *until)) {
      until = time;
    }
  };
  for (const Station& station : stations_) {
    consider(station.service.NextEvent());
    if (station.restUntilMs > now) {
      consider(station.restUntilMs);
    }
  }
  if (!until) {
    return std::nullopt;
  }
  return *until > now ? *until - now : 0;
}

// The places in waiting_: the end of everything, then for each printer its door, if that is open, and its connections.
void PrinterServer::Wait() {
  waiting_.clear();
  waiting_.push_back({wakeUp_.Number(), true});
  const std::uint64_t now = Now();
  for (const Station& station : stations_) {
    waiting_.push_back({now < station.restUntilMs ? -1 : station.listener.Number(), true});
    for (const Connection& connection : station.connections) {
      waiting_.push_back({connection.socket.Number(), station.service.Room(connection.client) > 0,
                          !station.service.Outgoing(connection.client).empty()});
    }
  }
  WaitForAny(waiting_, Patience());
  if (waiting_[0].hasInput) {
    wakeUp_.Clear();
    stopped_ = true;
  }
  std::size_t place = 1;
  for (Station& station : stations_) {
    ++place;
    for (Connection& connection : station.connections) {
      connection.hasInput = waiting_[place].hasInput;
      connection.isBroken = waiting_[place].isBroken;
      ++place;
    }
  }
}

void PrinterServer::Serve(std::size_t printer) {
  Station& station = stations_[printer];
  station.service.Advance(Now());
  FollowPower(printer);
  Admit(printer);
  for (Connection& connection : station.connections) {
    Receive(station, connection);
  }
  for (Connection& connection : station.connections) {
    Send(printer, connection);
  }
  // A power cut shuts the door before anybody learns of it. Whoever leaves may bring the next change.
  do {
    FollowPower(printer);
  } while (EndConnections(station));
  DeliverNews(printer);
}

void PrinterServer::FollowPower(std::size_t printer) {
  Station& station = stations_[printer];
  if (!station.service.PoweredOn()) {
    station.listener.Close();
    return;
  }
  if (station.listener.IsOpen() || Now() < station.restUntilMs) {
    return;
  }
  try {
    station.listener = ListenAt(station.address);
    station.trouble.clear();
  } catch (const ListenError& error) {
    station.restUntilMs = Now() + kRestMs;
    TellTrouble(printer, error.what());
  }
}

void PrinterServer::Admit(std::size_t printer) {
  Station& station = stations_[printer];
  if (Now() < station.restUntilMs) {
    return;
  }
  AcceptedClient client;
  for (std::size_t count = 0; count < kMostAccepted && station.listener.IsOpen(); ++count) {
    const AcceptResult result = Accept(station.listener, client);
    if (result == AcceptResult::kNobody) {
      return;
    }
    if (result == AcceptResult::kNoResources) {
      station.restUntilMs = Now() + kRestMs;
      return TellTrouble(printer, "no more connections: the system has no descriptors to spare (see ulimit -n)");
    }
    const std::optional<simulator::ClientId> id = station.service.Admit(Now());
    if (!id) {
      if (station.service.PoweredOn()) {
        TellTrouble(printer, "clients are refused: there are " + std::to_string(station.service.Clients()) +
                                 " already, and there may be no more");
      }
      client.socket.Close();
      continue;
    }
    station.trouble.clear();
    Tell(printer, "client " + std::to_string(*id) + " is " + client.peer);
    station.connections.push_back({std::move(client.socket), *id, true, false});
  }
}

void PrinterServer::Receive(Station& station, Connection& connection) {
  const std::size_t room = std::min(station.service.Room(connection.client), buffer_.size());
  if (room == 0 || !connection.hasInput) {
    return;
  }
  connection.hasInput = false;
  const TransferOutcome outcome = ReceiveFrom(connection.socket, std::span(buffer_).first(room));
  switch (outcome.state) {
    case TransferState::kMoved:
      // What came before a connection broke is still the printer's.
      connection.isBroken = false;
      return station.service.Receive(connection.client, std::span(buffer_).first(outcome.count), Now());
    case TransferState::kEnded:
      return station.service.EndInput(connection.client, Now());
    case TransferState::kBroken:
      connection.isBroken = true;
      return;
    case TransferState::kWouldWait:
      return;
  }
}

void PrinterServer::Send(std::size_t printer, Connection& connection) {
  DeliverNews(printer);
  PrinterService& service = stations_[printer].service;
  const std::span<const std::uint8_t> bytes = service.Outgoing(connection.client);
  if (bytes.empty() || connection.isBroken) {
    return;
  }
  const TransferOutcome outcome = SendTo(connection.socket, bytes);
  connection.isBroken = outcome.state == TransferState::kBroken;
  service.Sent(connection.client, outcome.count, Now());
}

bool PrinterServer::EndConnections(Station& station) {
  const std::size_t ended = std::erase_if(station.connections, [&](Connection& connection) {
    const ServiceEnd end = station.service.EndOf(connection.client);
    if (end == ServiceEnd::kNone && !connection.isBroken) {
      return false;
    }
    if (end == ServiceEnd::kReset) {
      Reset(connection.socket);
    }
    connection.socket.Close();
    station.service.Leave(connection.client, Now());
    return true;
  });
  return ended > 0;
}

void PrinterServer::DeliverNews(std::size_t printer) {
  simulator::VirtualPrinter& machine = stations_[printer].service.Printer();
  machine.TakeEvents();
  const PrinterNews news{machine.TakePrinted(), machine.TakeDropped(), machine.TakeTranscript()};
  if (hooks_.news && !news.IsEmpty()) {
    hooks_.news(printer, news);
  }
}

void PrinterServer::SwitchOff() {
  for (std::size_t printer = 0; printer < stations_.size(); ++printer) {
    Station& station = stations_[printer];
    station.listener.Close();
    station.service.SwitchOff(Now());
    DeliverNews(printer);
    station.connections.clear();
  }
}

void PrinterServer::Tell(std::size_t printer, const std::string& what) const {
  if (hooks_.told) {
    hooks_.told(printer, what);
  }
}

void PrinterServer::TellTrouble(std::size_t printer, const std::string& what) {
  if (std::exchange(stations_[printer].trouble, what) != what) {
    Tell(printer, what);
  }
}

}  // namespace sc3xx
