// Requests and answers. A request waits in its client's line until it can be answered; what the answer says decides
// about the labels before it (see virtual_printer.h).
#include <algorithm>
#include <limits>
#include <utility>

#include "simulator/machine.h"

namespace simulator {
namespace {

constexpr std::uint8_t kWhenPrinted = 2;  // operand of ESC A
constexpr std::uint8_t kTakeLock = 1;

const char* StatusKind(std::uint8_t operand) {
  switch (operand) {
    case 0:
      return "status request 0";
    case 1:
      return "status request 1";
    case 2:
      return "status request 2";
    default:
      return "status request";
  }
}

}  // namespace

void VirtualPrinter::Machine::AskStatus(Client& client) {
  const std::uint8_t operand = client.reader.Head()[2];
  Tell(client.id, Direction::kToPrinter, StatusKind(operand), 3, client.reader.Head(), "");
  if (!model.tape && client.open && client.open->label.rasterCommands > 0) {
    EndLabel(client, LabelEnd::kStatusRequest);
    Settle();  // so that what stands before the request happens before it
    if (!PoweredOn()) return;
  }
  Request request;
  request.operand = operand;
  request.labelsBefore = client.nextSequence;
  if (client.open) {
    request.labelsBefore = client.open->sequence;
    request.openSequence = client.open->sequence;
    request.openRasters = client.open->label.rasterCommands;
    if (operand != kWhenPrinted) client.open->asked = true;
  }
  AskedFor(client, request);
}

void VirtualPrinter::Machine::AskFirmware(Client& client) {
  Tell(client.id, Direction::kToPrinter, "firmware request", 2, client.reader.Head(), "");
  Request request;
  request.letter = 'V';
  AskedFor(client, request);
}

void VirtualPrinter::Machine::AskedFor(Client& client, Request request) {
  ++counts.exchanges;
  Apply(faults_.Begin(FaultTrigger::kExchange, counts.exchanges, now_));
  if (!PoweredOn()) return;
  if (request.letter == 'A') {
    LeaveDiscard(client, request);
    if (cancelNextRequest_) {
      request.forcedStatus = kStatusCancelled;
      cancelNextRequest_ = false;
    }
    const Fault* status = faults_.Standing(FaultKind::kStatus);
    const bool refused = status != nullptr && (status->value == kStatusTaken || status->value == kStatusRefused);
    if (request.operand == kTakeLock && !request.forcedStatus && !refused) TakeLock(client.id);
  }
  client.requests.push_back(request);
}

// What was thrown away must be said once, at the first answer that its host could take for an acknowledgement. ESC A 2
// is no sign that the host knows; ESC A 0 and 1 are, since it comes back to them only after a bad answer.
void VirtualPrinter::Machine::LeaveDiscard(Client& client, Request& request) {
  if (!client.discard) return;
  const Discard discard = *client.discard;
  if (request.operand == kWhenPrinted) {
    request.forcedStatus = discard.status;
    client.discard->reported = true;
    return;
  }
  const bool must = request.operand == kTakeLock ? discard.status == kStatusCancelled : true;
  if (!discard.reported && must) request.forcedStatus = discard.status;
  client.discard.reset();
}

bool VirtualPrinter::Machine::AnswerAll() {
  bool moved = false;
  for (auto& [id, client] : clients_) {
    while (!client.requests.empty() && AnswerNext(client)) moved = true;
  }
  return moved;
}

// Answers the front request of the client's line; false while it has to wait.
bool VirtualPrinter::Machine::AnswerNext(Client& client) {
  const Request request = client.requests.front();
  if (request.letter == 'V') {
    client.requests.pop_front();
    Send(client, BuildFirmwareAnswer(settings.firmware, model), "firmware", std::string(model.shortName));
    return true;
  }
  const StatusReport report = MakeReport(client, request);
  const bool passes = Passes(report.status);
  if (passes && request.operand == kWhenPrinted && UnfinishedBefore(client, request)) return false;
  client.requests.pop_front();
  if (passes) {
    Acknowledge(client, request);
  } else {
    Reject(client, request, report.status);
  }
  Send(client, BuildStatusAnswer(Form(), report, model.statusAnswerBytes), "status", DescribeReport(report, Form()));
  if (request.forcedStatus) return true;
  if (report.status == kStatusError) client.lostBytes = false;
  Apply(faults_.SpendShown());
  return true;
}

StatusForm VirtualPrinter::Machine::Form() const {
  return settings.statusForm.value_or(model.statusForm);
}

// The state of the printer's parts, whoever asks.
StatusReport VirtualPrinter::Machine::ShownState() const {
  const auto byteOf = [this](FaultKind kind, std::uint8_t good) {
    const Fault* fault = faults_.Standing(kind);
    return fault == nullptr ? good : static_cast<std::uint8_t>(fault->value);
  };
  StatusReport report;
  report.bay = byteOf(FaultKind::kBay, settings.goodBay);
  report.head = byteOf(FaultKind::kHead, 0);
  report.cutter = byteOf(FaultKind::kCutter, 0);
  if (faults_.Standing(FaultKind::kBattery) != nullptr) report.errorBits |= BatteryBit();
  if (faults_.Standing(FaultKind::kCommunication) != nullptr) report.errorBits |= CommunicationBit(Form());
  if (const Fault* bits = faults_.Standing(FaultKind::kErrorBits)) report.errorBits |= bits->value;
  report.status = byteOf(FaultKind::kStatus, faults_.Stops() ? kStatusError : kStatusReady);
  return report;
}

StatusReport VirtualPrinter::Machine::MakeReport(const Client& client, const Request& request) const {
  StatusReport report = ShownState();
  if (request.forcedStatus) {
    report.status = *request.forcedStatus;
    return report;
  }
  if (faults_.Standing(FaultKind::kStatus) != nullptr) return report;
  if (client.lostBytes) {
    report.status = kStatusError;
    report.errorBits |= CommunicationBit(Form());
  } else if (lockHolder != kNobody && lockHolder != client.id) {
    const bool cantPrint = faults_.Stops() && UnfinishedBefore(client, request);
    report.status = cantPrint ? kStatusRefused : kStatusTaken;
  }
  return report;
}

// Only the client's oldest label needs a look: the others come later in its stream.
bool VirtualPrinter::Machine::UnfinishedBefore(const Client& client, const Request& request) const {
  const auto oldest = std::find_if(queue_.begin(), queue_.end(),
                                   [&](const LabelInWork& work) { return work.label.client == client.id; });
  return oldest != queue_.end() && oldest->sequence < request.labelsBefore;
}

void VirtualPrinter::Machine::Acknowledge(Client& client, const Request& request) {
  std::uint64_t below = request.labelsBefore;
  if (request.openSequence && request.openRasters > 0) {
    const auto speaksFor = [&](const LabelInWork& work) {
      return work.label.client == client.id && work.sequence == *request.openSequence &&
             work.label.rasterCommands == request.openRasters;
    };
    if (client.open && speaksFor(*client.open)) client.open->acknowledged = true;
    if (std::any_of(queue_.rbegin(), queue_.rend(), speaksFor)) below = *request.openSequence + 1;
  }
  client.acknowledgedBelow = std::max(client.acknowledgedBelow, below);
}

// Drops what the host will send again: the labels before the request that aren't finished, and behind an ESC A 2 also
// those after it, since a host sends the next label before it reads the answer.
void VirtualPrinter::Machine::Reject(Client& client, const Request& request, std::uint8_t status) {
  std::uint64_t limit = request.labelsBefore;
  if (request.operand == kWhenPrinted) {
    const auto asksAnew = std::find_if(client.requests.begin(), client.requests.end(),
                                       [](const Request& later) { return later.AsksAnew(); });
    const bool goesOn = asksAnew != client.requests.end();
    limit = goesOn ? asksAnew->labelsBefore : std::numeric_limits<std::uint64_t>::max();
    if (!goesOn) client.discard = Discard{status, true};
    ForceFollowing(client, status);
  }
  const auto goes = [&](const LabelInWork& work) {
    return work.sequence < limit || work.sequence == request.openSequence;
  };
  for (std::size_t place = queue_.size(); place-- > 0;) {
    const LabelInWork& work = queue_[place];
    if (work.label.client != client.id) continue;
    if (IsAcknowledged(work)) break;  // and so are all before it
    if (goes(work)) RemoveFromQueue(place, DropReason::kReportedBad);
  }
  if (client.open && !client.open->acknowledged && goes(*client.open)) DropOpen(client, DropReason::kReportedBad);
}

// The requests up to the next sign that the host knows speak for labels that are gone.
void VirtualPrinter::Machine::ForceFollowing(Client& client, std::uint8_t status) {
  for (Request& later : client.requests) {
    if (later.AsksAnew()) return;
    if (later.letter == 'A') later.forcedStatus = status;
  }
}

void VirtualPrinter::Machine::Send(Client& client, std::vector<std::uint8_t> bytes, const char* kind,
                                   std::string meaning) {
  if (faults_.Standing(FaultKind::kNoAnswer) != nullptr) {
    TellHere(client.id, "answer withheld", std::move(meaning));
    return Apply(faults_.Spend(FaultKind::kNoAnswer));
  }
  Microseconds due = now_;
  if (const Fault* late = faults_.Standing(FaultKind::kLateAnswer)) {
    due = AddSaturated(now_, FromMilliseconds(late->value));
    meaning += ", " + std::to_string(late->value) + " ms late";
    Apply(faults_.Spend(FaultKind::kLateAnswer));
  }
  if (const Fault* cut = faults_.Standing(FaultKind::kShortAnswer)) {
    bytes.resize(std::min<std::size_t>(bytes.size(), cut->value));
    meaning += ", cut to " + std::to_string(bytes.size()) + " bytes";
    Apply(faults_.Spend(FaultKind::kShortAnswer));
  }
  Tell(client.id, Direction::kFromPrinter, kind, bytes.size(), bytes, std::move(meaning));
  if (bytes.empty()) return;
  if (!client.answers.empty()) due = std::max(due, client.answers.back().due);
  client.unreadBytes += bytes.size();
  client.answers.push_back({std::move(bytes), 0, due});
}

}  // namespace simulator
