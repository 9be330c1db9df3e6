#include "apps/server/printer_service.h"

#include <algorithm>
#include <utility>

namespace sc3xx {

using simulator::ClientId;
using simulator::TransferDirection;
using simulator::TransferPlan;

PrinterService::PrinterService(simulator::PrinterSettings settings, const ServiceLimits& limits)
    : limits_(limits), printer_(std::move(settings)) {}

const PrinterService::Client* PrinterService::Find(ClientId id) const {
  const auto found = clients_.find(id);
  return found == clients_.end() ? nullptr : &found->second;
}

PrinterService::Client* PrinterService::Find(ClientId id) {
  const auto found = clients_.find(id);
  return found == clients_.end() ? nullptr : &found->second;
}

std::optional<ClientId> PrinterService::Admit(std::uint64_t now) {
  Advance(now);
  if (!PoweredOn() || clients_.size() >= limits_.clients) {
    return std::nullopt;
  }
  const ClientId id = printer_.Connect(now);
  clients_.try_emplace(id);
  return id;
}

std::size_t PrinterService::Room(ClientId id) const {
  const Client* client = Find(id);
  if (client == nullptr || client->inputEnded || client->breaks || client->end != ServiceEnd::kNone) {
    return 0;
  }
  return limits_.inputBytes - std::min(limits_.inputBytes, client->input.size());
}

// What comes in at once counts as one write of a port, so that faults of transfers have something to hit.
void PrinterService::Receive(ClientId id, std::span<const std::uint8_t> bytes, std::uint64_t now) {
  Advance(now);
  Client* client = Find(id);
  if (client == nullptr || client->end != ServiceEnd::kNone) {
    return;
  }
  const TransferPlan plan = printer_.BeginTransfer(id, TransferDirection::kWrite, now);
  bytes = bytes.first(std::min(bytes.size(), plan.limit.value_or(bytes.size())));
  client->input.insert(client->input.end(), bytes.begin(), bytes.end());
  client->breaks = plan.fails;
  Work(now);
}

void PrinterService::EndInput(ClientId id, std::uint64_t now) {
  Advance(now);
  if (Client* client = Find(id)) {
    client->inputEnded = true;
    Work(now);
  }
}

void PrinterService::Leave(ClientId id, std::uint64_t now) {
  if (Client* client = Find(id)) {
    End(id, *client, ServiceEnd::kReset, now);
    clients_.erase(id);
  }
  Advance(now);
}

std::span<const std::uint8_t> PrinterService::Outgoing(ClientId id) const {
  const Client* client = Find(id);
  return client == nullptr ? std::span<const std::uint8_t>() : client->outgoing;
}

void PrinterService::Sent(ClientId id, std::size_t count, std::uint64_t now) {
  Client* client = Find(id);
  if (client == nullptr) {
    return;
  }
  count = std::min(count, client->outgoing.size());
  client->outgoing.erase(client->outgoing.begin(), client->outgoing.begin() + static_cast<std::ptrdiff_t>(count));
  Advance(now);
}

ServiceEnd PrinterService::EndOf(ClientId id) const {
  const Client* client = Find(id);
  const bool waitsForAnswers = client != nullptr && client->end == ServiceEnd::kClose && !client->outgoing.empty();
  return client == nullptr || waitsForAnswers ? ServiceEnd::kNone : client->end;
}

void PrinterService::Advance(std::uint64_t now) {
  printer_.Advance(now);
  Work(now);
}

void PrinterService::SwitchOff(std::uint64_t now) {
  printer_.SwitchOff(now);
  for (auto& [id, client] : clients_) {
    End(id, client, ServiceEnd::kClose, now);
  }
  clients_.clear();
}

// One client's bytes may change what another is told, and a label may pull the plug for all: look again at everybody
// until a round changes nothing.
void PrinterService::Work(std::uint64_t now) {
  for (std::uint64_t before = UINT64_MAX; before != printer_.Counts().bytesReceived + printer_.Counts().bytesSent;) {
    before = printer_.Counts().bytesReceived + printer_.Counts().bytesSent;
    for (auto& [id, client] : clients_) {
      Work(id, client, now);
    }
  }
  // Counted, since a short one may be over by now.
  if (std::exchange(powerCuts_, printer_.Counts().powerCuts) != printer_.Counts().powerCuts) {
    for (auto& [id, client] : clients_) {
      End(id, client, ServiceEnd::kReset, now);
    }
  }
}

void PrinterService::Work(ClientId id, Client& client, std::uint64_t now) {
  if (client.end != ServiceEnd::kNone) {
    return;
  }
  for (bool moved = true; moved && client.end == ServiceEnd::kNone;) {
    moved = Feed(id, client, now);
    moved = TakeAnswers(id, client, now) || moved;
  }
  if (!client.input.empty() || client.end != ServiceEnd::kNone) {
    return;
  }
  if (client.breaks) {
    End(id, client, ServiceEnd::kReset, now);
  } else if (client.inputEnded) {
    End(id, client, ServiceEnd::kClose, now);
  }
}

bool PrinterService::Feed(ClientId id, Client& client, std::uint64_t now) {
  if (client.input.empty()) {
    return false;
  }
  const std::size_t taken = printer_.Write(id, client.input, now);
  client.input.erase(client.input.begin(), client.input.begin() + static_cast<std::ptrdiff_t>(taken));
  return taken > 0;
}

bool PrinterService::TakeAnswers(ClientId id, Client& client, std::uint64_t now) {
  const std::size_t held = client.outgoing.size();
  const std::size_t due = printer_.Readable(id, now);
  if (due == 0 || held >= limits_.outgoingBytes) {
    return false;
  }
  const TransferPlan plan = printer_.BeginTransfer(id, TransferDirection::kRead, now);
  if (plan.fails) {
    End(id, client, ServiceEnd::kReset, now);
    return false;
  }
  client.outgoing.resize(held + std::min(due, limits_.outgoingBytes - held));
  const std::size_t given = printer_.Read(id, std::span(client.outgoing).subspan(held), now);
  client.outgoing.resize(held + given);
  return given > 0;
}

// The printer is told at once, so that the lock is free for the next one; the connection ends when the caller gets to
// it.
void PrinterService::End(ClientId id, Client& client, ServiceEnd end, std::uint64_t now) {
  if (client.end != ServiceEnd::kNone) {
    if (end == ServiceEnd::kReset) {
      client.end = end;
      client.outgoing.clear();
    }
    return;
  }
  client.end = end;
  client.input = {};
  if (end == ServiceEnd::kReset) {
    client.outgoing.clear();
  }
  printer_.Disconnect(id, now);
}

}  // namespace sc3xx
