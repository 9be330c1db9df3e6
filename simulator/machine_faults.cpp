// What a fault does to the machine when it begins and ends. Most faults only stand on the board, and whoever prints,
// answers or transfers looks there.
#include <utility>

#include "simulator/fault_script.h"
#include "simulator/machine.h"

namespace simulator {

void VirtualPrinter::Machine::Apply(const FaultBoard::Changes& changes) {
  for (const FaultBoard::Change& change : changes) {
    TellHere(kNobody, change.begins ? "fault begins" : "fault ends", FormatFault(change.fault));
    if (change.begins) {
      BeginFault(change);
    } else {
      EndFault(change.fault);
    }
  }
}

void VirtualPrinter::Machine::BeginFault(const FaultBoard::Change& change) {
  switch (change.fault.kind) {
    case FaultKind::kLock:
      // Whoever had it loses it: what it sent so far is printed, what it sends now is refused.
      if (lockHolder != kNobody) FreeLock();
      return TakeLock(kSomebodyElse);
    case FaultKind::kCancel:
      Cancel();
      return Apply(faults_.Clear(change.id));
    case FaultKind::kPowerOff:
      return PowerOff();
    default:
      return;
  }
}

void VirtualPrinter::Machine::EndFault(const Fault& fault) {
  const bool another = faults_.Standing(fault.kind) != nullptr;
  if (fault.kind == FaultKind::kLock && !another && lockHolder == kSomebodyElse) FreeLock();
}

// Whose job the person at the printer sees.
VirtualPrinter::Machine::Client* VirtualPrinter::Machine::ClientToCancel() {
  if (!queue_.empty()) {
    if (Client* client = Find(queue_.front().label.client)) return client;
  }
  Client* holder = Find(lockHolder);
  if (holder != nullptr && (holder->jobOpen || holder->open)) return holder;
  for (auto& [id, client] : clients_) {
    if (client.jobOpen || client.open) return &client;
  }
  return nullptr;
}

void VirtualPrinter::Machine::Cancel() {
  Client* client = ClientToCancel();
  if (client == nullptr) {
    cancelNextRequest_ = true;
    return;
  }
  for (std::size_t place = queue_.size(); place-- > 0;) {
    if (queue_[place].label.client == client->id) RemoveFromQueue(place, DropReason::kCancelled);
  }
  DropOpen(*client, DropReason::kCancelled);
  client->discard = Discard{kStatusCancelled, false};
  for (Request& request : client->requests) {
    if (request.letter != 'A') continue;
    request.forcedStatus = kStatusCancelled;
    client->discard->reported = true;
    if (request.AsksAnew()) {
      client->discard.reset();  // the host knows, and what it sent behind that request is another job
      return;
    }
  }
}

void VirtualPrinter::Machine::SwitchOff(std::uint64_t now) {
  Advance(now);
  ResolveOrphan(std::nullopt);
  for (std::size_t place = queue_.size(); place-- > 0;) {
    if (!IsAcknowledged(queue_[place])) RemoveFromQueue(place, DropReason::kPowerOff);
  }
  while (!queue_.empty() && !faults_.Stops()) {
    if (!queue_.front().printing) StartFront();
    FinishFront();
  }
  PowerOff();
}

void VirtualPrinter::Machine::PowerOff() {
  ++counts.powerCuts;
  for (const LabelInWork& work : queue_) NoteDropped(work, DropReason::kPowerOff, IsAcknowledged(work));
  queue_.clear();
  if (orphan_) NoteDropped(*orphan_, DropReason::kPowerOff, true);
  orphan_.reset();
  for (auto& [id, client] : clients_) {
    DropOpen(client, DropReason::kPowerOff);
    client.reader.Drop();
    client.leading.clear();
    client.requests.clear();
    client.answers.clear();
    client.unreadBytes = 0;
    client.waitingBytes = 0;
    client.discard.reset();
    client.lostBytes = false;
    client.jobOpen = false;
    client.firstIndexOfJob.reset();
    client.full = false;
  }
  cancelNextRequest_ = false;
  if (lockHolder != kNobody && lockHolder != kSomebodyElse) FreeLock();
}

}  // namespace simulator
