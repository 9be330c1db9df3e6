// From the open label to paper.
#include <algorithm>
#include <cmath>
#include <utility>

#include "simulator/machine.h"

namespace simulator {
namespace {

std::string LabelWords(const PrintedLabel& label) {
  std::string words = "label " + std::to_string(label.index);
  if (label.lines == 0) return words + ", blank";
  words += ", " + std::to_string(label.lines) + " lines of " + std::to_string(label.dotsPerLine) + " dots";
  return label.compressed ? words + ", compressed" : words;
}

// Its host sends it again, or a person wanted it gone.
bool IsLoss(DropReason reason) {
  return reason != DropReason::kCancelled && reason != DropReason::kBegunAnew;
}

}  // namespace

void VirtualPrinter::Machine::EndLabel(Client& client, LabelEnd end) {
  LabelInWork work = std::move(*client.open);
  client.open.reset();
  work.label.end = end;
  work.label.receivedMs = Now();
  if (work.malformed) return NoteDropped(work, DropReason::kMalformed, work.acknowledged);
  if (work.acknowledged) client.acknowledgedBelow = work.sequence + 1;
  Tell(client.id, Direction::kToPrinter, "label", work.heldBytes, {}, LabelWords(work.label));
  Enqueue(std::move(work));
}

void VirtualPrinter::Machine::Enqueue(LabelInWork&& work) {
  if (Client* client = Find(work.label.client)) client->waitingBytes += work.heldBytes;
  queue_.push_back(std::move(work));
}

void VirtualPrinter::Machine::DropOpen(Client& client, DropReason reason) {
  if (!client.open) return;
  const LabelInWork work = std::move(*client.open);
  client.open.reset();
  NoteDropped(work, reason, work.acknowledged);
}

// The label that a vanished client left open: its host comes back and begins it again, or goes on behind it.
void VirtualPrinter::Machine::ResolveOrphan(std::optional<std::uint16_t> nextIndex) {
  if (!orphan_) return;
  LabelInWork work = std::move(*orphan_);
  orphan_.reset();
  work.asked = work.jobBegunAnew = true;
  if (nextIndex && BeganAnew(work, *nextIndex)) return NoteDropped(work, DropReason::kBegunAnew, true);
  work.label.end = LabelEnd::kDisconnect;
  work.label.receivedMs = Now();
  Enqueue(std::move(work));
}

void VirtualPrinter::Machine::NoteDropped(const LabelInWork& work, DropReason reason, bool acknowledged) {
  const PrintedLabel& label = work.label;
  dropped.push_back({label.index, label.client, label.job, Now(), reason, acknowledged});
  ++counts.labelsDropped;
  if (acknowledged && IsLoss(reason)) ++counts.labelsLost;
  TellHere(label.client, "label dropped", "label " + std::to_string(label.index) + ": " + Name(reason));
}

void VirtualPrinter::Machine::RemoveFromQueue(std::size_t place, DropReason reason) {
  const LabelInWork& work = queue_[place];
  NoteDropped(work, reason, IsAcknowledged(work));
  Client* client = Find(work.label.client);
  if (client != nullptr && !work.begun) client->waitingBytes -= work.heldBytes;
  queue_.erase(queue_.begin() + static_cast<std::ptrdiff_t>(place));
}

bool VirtualPrinter::Machine::IsAcknowledged(const LabelInWork& work) const {
  const auto client = clients_.find(work.label.client);
  if (client == clients_.end()) return work.acknowledged;
  return work.sequence < client->second.acknowledgedBelow;
}

// A host that comes back to a label begins it with the same index; one that starts its job over, with the job's first.
bool VirtualPrinter::Machine::BeganAnew(const LabelInWork& open, std::uint16_t index) const {
  if (!open.asked) return false;
  return index == open.label.index || (open.jobBegunAnew && index == open.firstIndexOfJob);
}

// The next label is about to begin; gives true when a fault changed with that.
bool VirtualPrinter::Machine::TellLabelBegins() {
  const std::uint64_t ahead = queue_.size() - (!queue_.empty() && queue_.front().begun ? 1 : 0);
  return TellLabelBegins(begunLabels_ + ahead + 1);
}

bool VirtualPrinter::Machine::TellLabelBegins(std::uint64_t number) {
  const FaultBoard::Changes changes = faults_.Begin(FaultTrigger::kLabel, number, now_);
  Apply(changes);
  return !changes.empty();
}

// Prints what can be printed now; gives true when a label was finished.
bool VirtualPrinter::Machine::Print() {
  bool finished = false;
  while (!queue_.empty()) {
    LabelInWork& front = queue_.front();
    if (faults_.Stops()) {
      front.printing = false;
      return finished;
    }
    if (!front.begun && TellLabelBegins(begunLabels_ + 1)) continue;  // the queue may be another now
    if (!front.printing) StartFront();
    if (front.finishAt > now_) return finished;
    FinishFront();
    AnswerAll();  // what is out is acknowledged before the next label can go wrong
    finished = true;
  }
  return finished;
}

void VirtualPrinter::Machine::StartFront() {
  LabelInWork& front = queue_.front();
  if (!front.begun) {
    front.begun = true;
    ++begunLabels_;
    if (Client* client = Find(front.label.client)) client->waitingBytes -= front.heldBytes;
  }
  front.printing = true;
  front.label.startedMs = Now();
  front.finishAt = AddSaturated(now_, PrintingTime(front.label));
}

void VirtualPrinter::Machine::FinishFront() {
  PrintedLabel label = std::move(queue_.front().label);
  queue_.pop_front();
  label.finishedMs = Now();
  ++counts.labelsPrinted;
  TellHere(label.client, "label printed", LabelWords(label));
  printed.push_back(std::move(label));
}

Microseconds VirtualPrinter::Machine::PrintingTime(const PrintedLabel& label) const {
  if (!settings.millimetresPerSecond) return 0;
  const double seconds = label.lines / kLinesPerMillimetre / *settings.millimetresPerSecond;
  // Far beyond any label; keeps the conversion in range for absurd speeds.
  constexpr double kMost = 1e12;
  return static_cast<Microseconds>(std::llround(std::min(seconds * 1e6, kMost)));
}

}  // namespace simulator
