// Clients, room and time.
#include "simulator/machine.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace simulator {
namespace {

// A client that asks and never reads gets no further than this.
constexpr std::size_t kMostUnreadBytes = 64u << 10;

const PrinterModel& ModelOf(const PrinterSettings& settings) {
  const std::string problem = CheckSettings(settings);
  if (!problem.empty()) throw std::invalid_argument(problem);
  return *FindModel(settings.model);
}

std::uint64_t RoundUpToMilliseconds(Microseconds time) {
  return time / 1000 + (time % 1000 == 0 ? 0 : 1);
}

}  // namespace

VirtualPrinter::Machine::Machine(PrinterSettings given) : settings(std::move(given)), model(ModelOf(settings)) {
  for (const Fault& fault : settings.faults) faults_.Add(fault);
}

VirtualPrinter::Machine::Client* VirtualPrinter::Machine::Find(ClientId id) {
  const auto found = clients_.find(id);
  return found == clients_.end() ? nullptr : &found->second;
}

ClientId VirtualPrinter::Machine::Connect(std::uint64_t now) {
  Advance(now);
  const ClientId id = ++lastClient_;
  clients_.try_emplace(id, id, settings.maxLabelBytes);
  TellHere(id, "connected", "a client opened the printer");
  return id;
}

void VirtualPrinter::Machine::Disconnect(ClientId id, std::uint64_t now) {
  Advance(now);
  Client* client = Find(id);
  if (client == nullptr) return;
  const bool cutShort = client->reader.InRaster();
  if (client->open && !cutShort) {
    // What a host was told is taken must come out, although it can no longer say how the label ends.
    if (model.tape && client->open->acknowledged) {
      ResolveOrphan(std::nullopt);
      orphan_ = std::move(client->open);
      client->open.reset();
    } else if (!model.tape && client->open->label.rasterCommands > 0) {
      EndLabel(*client, LabelEnd::kDisconnect);
    }
  }
  DropOpen(*client, DropReason::kDisconnected);
  for (LabelInWork& work : queue_) {
    if (work.label.client == id) work.acknowledged = IsAcknowledged(work);
  }
  if (lockHolder == id) FreeLock();
  clients_.erase(id);
  TellHere(id, "disconnected", "a client closed the printer");
  Settle();
}

TransferPlan VirtualPrinter::Machine::BeginTransfer(ClientId id, TransferDirection direction, std::uint64_t now) {
  Advance(now);
  ++counts.transferCalls;
  Apply(faults_.Begin(FaultTrigger::kCall, counts.transferCalls, now_));
  const TransferPlan plan = Find(id) == nullptr ? TransferPlan{true, 0} : PlanTransfer(direction);
  Settle();
  return plan;
}

// The first fault that has a say in the call plays its part and is used up by it.
TransferPlan VirtualPrinter::Machine::PlanTransfer(TransferDirection direction) {
  struct Part {
    FaultKind kind;
    bool inWrites;
    bool inReads;
    bool fails;
  };
  constexpr std::array<Part, 4> kParts{{{FaultKind::kPowerOff, true, true, true},
                                        {FaultKind::kWriteFails, true, false, true},
                                        {FaultKind::kWriteTakesPart, true, false, false},
                                        {FaultKind::kReadFails, false, true, true}}};
  for (const Part& part : kParts) {
    const Fault* fault = faults_.Standing(part.kind);
    const bool here = direction == TransferDirection::kWrite ? part.inWrites : part.inReads;
    if (fault == nullptr || !here) continue;
    const TransferPlan plan{part.fails, fault->value};
    Apply(faults_.Spend(part.kind));
    return plan;
  }
  return {};
}

// Without a limit there is always room. A label that nothing stands before goes straight to the print head.
std::size_t VirtualPrinter::Machine::Room(const Client& client) const {
  if (client.unreadBytes >= kMostUnreadBytes) return 0;
  if (!settings.receiveBufferBytes) return SIZE_MAX;
  std::uint64_t held = client.waitingBytes;
  if (!queue_.empty()) held += client.reader.HeldBytes() + (client.open ? client.open->heldBytes : 0);
  const std::size_t size = *settings.receiveBufferBytes;
  return held >= size ? 0 : size - static_cast<std::size_t>(held);
}

// A full buffer still lets a request or a control command through where a command begins, so that a host can ask what
// the matter is, and give up. Gives the bytes of that command.
std::size_t VirtualPrinter::Machine::ControlCommandAhead(const Client& client,
                                                         std::span<const std::uint8_t> bytes) const {
  if (client.reader.Incomplete() || client.unreadBytes >= kMostUnreadBytes) return 0;
  if (bytes.size() < 2 || bytes[0] != kEscape) return 0;
  const std::uint8_t letter = bytes[1];
  if (letter == 'A') return bytes.size() < 3 ? 0 : 3;
  return letter == 'V' || letter == 'G' || letter == 'E' || letter == 'Q' ? 2 : 0;
}

std::size_t VirtualPrinter::Machine::Write(ClientId id, std::span<const std::uint8_t> bytes, std::uint64_t now) {
  Advance(now);
  Client* client = Find(id);
  if (client == nullptr) return 0;
  std::size_t taken = 0;
  while (taken < bytes.size() && PoweredOn()) {
    std::size_t piece = std::min(Room(*client), bytes.size() - taken);
    if (piece == 0) piece = ControlCommandAhead(*client, bytes.subspan(taken));
    client->full = piece == 0;
    if (piece == 0) break;
    client->lastByteAt = now_;
    counts.bytesReceived += piece;
    Interpret(*client, bytes.subspan(taken, piece));
    taken += piece;
  }
  return taken;
}

std::size_t VirtualPrinter::Machine::Read(ClientId id, std::span<std::uint8_t> bytes, std::uint64_t now) {
  Advance(now);
  Client* client = Find(id);
  if (client == nullptr) return 0;
  std::size_t given = 0;
  while (given < bytes.size() && !client->answers.empty() && client->answers.front().due <= now_) {
    Answer& answer = client->answers.front();
    const std::size_t piece = std::min(bytes.size() - given, answer.bytes.size() - answer.read);
    std::copy_n(answer.bytes.begin() + static_cast<std::ptrdiff_t>(answer.read), piece,
                bytes.begin() + static_cast<std::ptrdiff_t>(given));
    answer.read += piece;
    given += piece;
    if (answer.read == answer.bytes.size()) client->answers.pop_front();
  }
  client->unreadBytes -= given;
  counts.bytesSent += given;
  if (given > 0) GiveRoom();
  return given;
}

std::size_t VirtualPrinter::Machine::Readable(ClientId id, std::uint64_t now) {
  Advance(now);
  const Client* client = Find(id);
  std::size_t readable = 0;
  if (client == nullptr) return readable;
  for (const Answer& answer : client->answers) {
    if (answer.due > now_) break;
    readable += answer.bytes.size() - answer.read;
  }
  return readable;
}

void VirtualPrinter::Machine::Advance(std::uint64_t now) {
  RunUntil(FromMilliseconds(now));
}

void VirtualPrinter::Machine::RunUntil(Microseconds time) {
  if (time < now_) time = now_;
  for (auto next = NextChange(); next && *next <= time; next = NextChange()) {
    now_ = std::max(now_, *next);
    Apply(faults_.EndDue(now_));
    Apply(faults_.Begin(FaultTrigger::kTime, Now(), now_));
    Apply(faults_.EndDue(now_));  // a fault whose whole time is already past
    EndSilences();
    Settle();
  }
  now_ = time;
}

std::optional<Microseconds> VirtualPrinter::Machine::NextChange() const {
  std::optional<Microseconds> next = faults_.NextChange();
  const auto consider = [&next](std::optional<Microseconds> time) {
    if (time && (!next || *time < *next)) next = time;
  };
  if (!queue_.empty() && queue_.front().printing) consider(queue_.front().finishAt);
  for (const auto& [id, client] : clients_) consider(SilenceEnds(client));
  return next;
}

std::optional<std::uint64_t> VirtualPrinter::Machine::NextEvent() const {
  std::optional<Microseconds> next = NextChange();
  for (const auto& [id, client] : clients_) {
    for (const Answer& answer : client.answers) {
      if (answer.due <= now_) continue;
      if (!next || answer.due < *next) next = answer.due;
      break;
    }
  }
  if (!next) return std::nullopt;
  return RoundUpToMilliseconds(std::max(*next, now_));
}

// Silence counts from the last byte, and not while the printer itself takes none.
std::optional<Microseconds> VirtualPrinter::Machine::SilenceEnds(const Client& client) const {
  if (settings.incompleteCommandTimeoutMs == 0 || !client.reader.Incomplete() || client.full) return std::nullopt;
  return AddSaturated(client.lastByteAt, FromMilliseconds(settings.incompleteCommandTimeoutMs));
}

void VirtualPrinter::Machine::EndSilences() {
  for (auto& [id, client] : clients_) {
    const auto ends = SilenceEnds(client);
    if (ends && *ends <= now_) DropIncomplete(client);
  }
}

void VirtualPrinter::Machine::Settle() {
  for (bool moved = true; moved;) {
    moved = Print();
    moved = AnswerAll() || moved;
  }
  GiveRoom();
}

// A client that stood before a full buffer may write again; its silence begins now.
void VirtualPrinter::Machine::GiveRoom() {
  for (auto& [id, client] : clients_) {
    if (!client.full || Room(client) == 0) continue;
    client.full = false;
    client.lastByteAt = now_;
  }
}

FaultId VirtualPrinter::Machine::AddFault(const Fault& fault) {
  const std::string problem = CheckFault(settings, fault);
  if (!problem.empty()) throw std::invalid_argument(problem);
  return faults_.Add(fault);
}

void VirtualPrinter::Machine::ClearFault(FaultId fault, std::uint64_t now) {
  Advance(now);
  Apply(faults_.Clear(fault));
  Settle();
}

void VirtualPrinter::Machine::ClearFaults(std::uint64_t now) {
  Advance(now);
  Apply(faults_.ClearAll());
  Settle();
}

bool VirtualPrinter::Machine::JobOpen(ClientId id) const {
  const auto found = clients_.find(id);
  return found != clients_.end() && found->second.jobOpen;
}

std::size_t VirtualPrinter::Machine::JobsOpen() const {
  return static_cast<std::size_t>(
      std::count_if(clients_.begin(), clients_.end(), [](const auto& entry) { return entry.second.jobOpen; }));
}

bool VirtualPrinter::Machine::Idle() const {
  return queue_.empty() && !orphan_ && std::all_of(clients_.begin(), clients_.end(), [](const auto& entry) {
           const Client& client = entry.second;
           return !client.open && client.requests.empty() && client.answers.empty() && !client.reader.Incomplete();
         });
}

PrinterView VirtualPrinter::Machine::View() const {
  PrinterView view;
  view.poweredOn = PoweredOn();
  view.stopped = faults_.Stops();
  view.printing = !queue_.empty() && queue_.front().printing && !view.stopped;
  view.labelsWaiting = queue_.size();
  view.jobsOpen = JobsOpen();
  view.lockHolder = lockHolder;
  if (!view.poweredOn) {
    view.state = "power off";
  } else if (view.stopped) {
    view.state = DescribeReport(ShownState(), Form());
  } else if (view.printing) {
    view.state = "printing label " + std::to_string(queue_.front().label.index);
  } else {
    view.state = view.jobsOpen > 0 ? "waiting for data" : "ready";
  }
  return view;
}

void VirtualPrinter::Machine::Tell(ClientId client, Direction direction, const char* kind, std::uint64_t length,
                                   std::span<const std::uint8_t> bytes, std::string meaning) {
  if (!settings.transcript) return;
  Exchange exchange;
  exchange.timeMs = Now();
  exchange.client = client;
  exchange.direction = direction;
  exchange.kind = kind;
  exchange.length = length;
  exchange.bytes.assign(bytes.begin(), bytes.end());
  exchange.meaning = std::move(meaning);
  transcript.push_back(std::move(exchange));
}

void VirtualPrinter::Machine::TellHere(ClientId client, const char* kind, std::string meaning) {
  Tell(client, Direction::kAtPrinter, kind, 0, {}, std::move(meaning));
}

}  // namespace simulator
