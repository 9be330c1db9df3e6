#include "simulator/fault_board.h"

#include <algorithm>
#include <limits>

namespace simulator {
namespace {

// Kinds that happen once unless their text says how long.
bool HappensOnce(FaultKind kind) {
  switch (kind) {
    case FaultKind::kShortAnswer:
    case FaultKind::kLateAnswer:
    case FaultKind::kNoAnswer:
    case FaultKind::kWriteFails:
    case FaultKind::kWriteTakesPart:
    case FaultKind::kReadFails:
    case FaultKind::kCancel:
      return true;
    default:
      return false;
  }
}

bool ShowsInStatus(FaultKind kind) {
  return kind <= FaultKind::kStatus || kind == FaultKind::kLock;
}

bool StopsPrinting(const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::kBay:
      return !IsGoodBay(fault.value);
    case FaultKind::kCutter:
      return fault.value == 4;
    case FaultKind::kHead:
    case FaultKind::kBattery:
    case FaultKind::kCommunication:
    case FaultKind::kErrorBits:
    case FaultKind::kPowerOff:
      return true;
    case FaultKind::kStatus:
      return !Passes(static_cast<std::uint8_t>(fault.value));
    default:
      return false;
  }
}

}  // namespace

Microseconds FromMilliseconds(std::uint64_t milliseconds) {
  constexpr Microseconds kMost = std::numeric_limits<Microseconds>::max();
  return milliseconds > kMost / 1000 ? kMost : milliseconds * 1000;
}

Microseconds AddSaturated(Microseconds time, Microseconds span) {
  constexpr Microseconds kMost = std::numeric_limits<Microseconds>::max();
  return span > kMost - time ? kMost : time + span;
}

FaultId FaultBoard::Add(const Fault& fault) {
  Entry entry;
  entry.id = ++lastId_;
  entry.fault = fault;
  entries_.push_back(entry);
  return entry.id;
}

void FaultBoard::Start(Entry& entry, Microseconds now) {
  const Fault& fault = entry.fault;
  entry.stands = true;
  if (fault.forMs) {
    // A fault with a time of its own counts from that time, also when the call that noticed it came later.
    const Microseconds from = fault.trigger == FaultTrigger::kTime ? FromMilliseconds(fault.at) : now;
    entry.endsAt = AddSaturated(from, FromMilliseconds(*fault.forMs));
  }
  entry.left = fault.count;
  if (!entry.left && !entry.endsAt && HappensOnce(fault.kind)) entry.left = 1;
}

FaultBoard::Changes FaultBoard::Begin(FaultTrigger trigger, std::uint64_t number, Microseconds now) {
  Changes changes;
  for (Entry& entry : entries_) {
    if (entry.stands || entry.fault.trigger != trigger || entry.fault.at > number) continue;
    Start(entry, now);
    changes.push_back({entry.id, entry.fault, true});
  }
  return changes;
}

template <class Predicate>
FaultBoard::Changes FaultBoard::EndWhere(Predicate over) {
  Changes changes;
  std::erase_if(entries_, [&](const Entry& entry) {
    if (!over(entry)) return false;
    if (entry.stands) changes.push_back({entry.id, entry.fault, false});
    return true;
  });
  return changes;
}

FaultBoard::Changes FaultBoard::EndDue(Microseconds now) {
  return EndWhere([now](const Entry& entry) { return entry.stands && entry.endsAt && *entry.endsAt <= now; });
}

FaultBoard::Changes FaultBoard::Clear(FaultId id) {
  return EndWhere([id](const Entry& entry) { return entry.id == id; });
}

FaultBoard::Changes FaultBoard::ClearAll() {
  return EndWhere([](const Entry&) { return true; });
}

const Fault* FaultBoard::Standing(FaultKind kind) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [kind](const Entry& entry) { return entry.stands && entry.fault.kind == kind; });
  return found == entries_.end() ? nullptr : &found->fault;
}

bool FaultBoard::Stands(FaultId id) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [id](const Entry& entry) { return entry.id == id && entry.stands; });
}

FaultBoard::Changes FaultBoard::Spend(FaultKind kind) {
  for (Entry& entry : entries_) {
    if (!entry.stands || entry.fault.kind != kind) continue;
    if (!entry.left || --*entry.left > 0) return {};
    return Clear(entry.id);
  }
  return {};
}

FaultBoard::Changes FaultBoard::SpendShown() {
  for (Entry& entry : entries_) {
    if (entry.stands && entry.left && ShowsInStatus(entry.fault.kind)) --*entry.left;
  }
  return EndWhere([](const Entry& entry) { return entry.stands && entry.left && *entry.left == 0; });
}

std::optional<Microseconds> FaultBoard::NextChange() const {
  std::optional<Microseconds> next;
  for (const Entry& entry : entries_) {
    std::optional<Microseconds> at = entry.endsAt;
    if (!entry.stands && entry.fault.trigger == FaultTrigger::kTime) at = FromMilliseconds(entry.fault.at);
    if (at && (!next || *at < *next)) next = at;
  }
  return next;
}

bool FaultBoard::Stops() const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [](const Entry& entry) { return entry.stands && StopsPrinting(entry.fault); });
}

}  // namespace simulator
