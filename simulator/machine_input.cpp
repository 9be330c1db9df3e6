// What a client's commands do.
#include <utility>

#include "simulator/machine.h"
#include "simulator/raster_decoding.h"

namespace simulator {
namespace {

constexpr std::size_t kMostMalformedKept = 1000;

std::string RasterWords(const RasterHead& head) {
  return std::to_string(head.lines) + " lines of " + std::to_string(head.dotsPerLine) + " dots";
}

}  // namespace

// A power cut in the middle takes the rest of the bytes with it.
void VirtualPrinter::Machine::Interpret(Client& client, std::span<const std::uint8_t> bytes) {
  while (PoweredOn()) {
    switch (client.reader.Next(bytes)) {
      case KplReader::Step::kNeedMore:
        return;
      case KplReader::Step::kMalformed:
        NoteMalformed(client, client.reader.MalformedOffset(), client.reader.Reason());
        if (client.open && client.reader.RasterWasTooLarge()) client.open->malformed = true;
        break;
      case KplReader::Step::kCommand:
        Command(client);
        Settle();
        break;
    }
  }
}

void VirtualPrinter::Machine::Command(Client& client) {
  switch (client.reader.Letter()) {
    case 's':
      return StartJob(client);
    case 'n':
      return BeginLabel(client);
    case 'D':
    case 'Z':
      return AddRaster(client);
    case 'G':
      return FormFeed(client, LabelEnd::kShortFormFeed);
    case 'p':
      return FormFeed(client, LabelEnd::kTear);
    case 'E':
      return FormFeed(client, LabelEnd::kLongFormFeed);
    case 'Q':
      return EndJob(client);
    case 'A':
      return AskStatus(client);
    case 'V':
      return AskFirmware(client);
    default:
      return OtherCommand(client);
  }
}

void VirtualPrinter::Machine::StartJob(Client& client) {
  client.discard.reset();
  client.leading.clear();
  client.firstIndexOfJob.reset();
  if (client.open) client.open->asked = client.open->jobBegunAnew = true;
  Tell(client.id, Direction::kToPrinter, "start of job", client.reader.Head().size(), client.reader.Head(), "");
  if (!MayPrint(client)) return;
  client.jobOpen = true;
  client.job = static_cast<std::uint32_t>(++counts.jobsStarted);
  AddEvent(PrinterEventKind::kJobStarted, client);
  KeepCommand(client);
}

// Whether a client's label data counts. The first that comes while nobody has the lock takes it.
bool VirtualPrinter::Machine::MayPrint(Client& client) {
  if (lockHolder != kNobody && lockHolder != client.id && !client.discard) {
    client.discard = Discard{kStatusRefused, false};
  }
  if (client.discard) return false;
  TakeLock(client.id);
  return true;
}

void VirtualPrinter::Machine::TakeLock(ClientId id) {
  if (lockHolder != kNobody) return;
  lockHolder = id;
  TellHere(id, "lock taken", id == kSomebodyElse ? "somebody else has the printer" : "the client has the printer");
}

void VirtualPrinter::Machine::FreeLock() {
  TellHere(lockHolder, "lock free", "the printer is free for others");
  lockHolder = kNobody;
}

void VirtualPrinter::Machine::BeginLabel(Client& client) {
  const std::uint16_t index = client.reader.Operand();
  ResolveOrphan(index);
  if (client.open && BeganAnew(*client.open, index)) {
    DropOpen(client, DropReason::kBegunAnew);
  } else if (client.open) {
    EndLabel(client, LabelEnd::kNextLabel);
  }
  LabelInWork work;
  work.label.index = index;
  work.label.client = client.id;
  work.label.job = client.jobOpen ? client.job : 0;
  work.label.leading = std::exchange(client.leading, {});
  if (!MayPrint(client)) return NoteDropped(work, DropReason::kRefused, false);
  if (!client.firstIndexOfJob) client.firstIndexOfJob = index;
  work.firstIndexOfJob = client.firstIndexOfJob;
  work.sequence = client.nextSequence++;
  client.open = std::move(work);
  KeepCommand(client);
}

void VirtualPrinter::Machine::AddRaster(Client& client) {
  if (!client.open) {
    if (!client.discard) NoteMalformed(client, client.reader.Offset(), "raster outside a label");
    return;
  }
  KeepCommand(client);
  LabelInWork& open = *client.open;
  open.acknowledged = false;
  open.asked = false;
  ++open.label.rasterCommands;
  const RasterHead head = client.reader.Raster();
  std::string problem;
  if (client.reader.Letter() == 'D') {
    JoinRaster(open, std::move(client.reader.Body()), head, problem);
  } else {
    open.label.compressed = true;
    // A line beyond the limit makes the product too large as well; asked first, so that nothing wraps.
    const bool tooLong =
        head.LineBytes() > settings.maxLabelBytes || head.LineBytes() * head.lines > settings.maxLabelBytes;
    auto raster = tooLong ? std::nullopt
                          : DecodeRaster(client.reader.Body(), static_cast<std::size_t>(head.LineBytes() * head.lines));
    if (tooLong) problem = "compressed raster of " + RasterWords(head) + " is beyond the limit of a label";
    if (!tooLong && !raster) problem = "compressed raster doesn't give " + RasterWords(head);
    open.malformed = open.malformed || !problem.empty();
    if (raster) JoinRaster(open, std::move(*raster), head, problem);
  }
  if (!problem.empty()) NoteMalformed(client, client.reader.Offset(), problem);
  if (model.tape && open.label.rasterCommands == 1) TellLabelBegins();
}

// Chunks of a label have one width; a raster of another width can't be laid below and is left out.
bool VirtualPrinter::Machine::JoinRaster(LabelInWork& open, std::vector<std::uint8_t> raster, const RasterHead& head,
                                         std::string& problem) {
  PrintedLabel& label = open.label;
  if (label.lines == 0) {
    label.bitsPerDot = head.bitsPerDot;
    label.rasterFlags = head.flags;
    label.dotsPerLine = head.dotsPerLine;
  } else if (head.bitsPerDot != label.bitsPerDot || head.dotsPerLine != label.dotsPerLine) {
    problem = "raster of " + RasterWords(head) + " inside a label of " + std::to_string(label.dotsPerLine) + " dots";
    return false;
  }
  if (label.raster.size() + raster.size() > settings.maxLabelBytes) {
    problem = "the label's rasters are beyond the limit of a label";
    open.malformed = true;
    label.raster = {};
    return false;
  }
  if (label.raster.empty()) {
    label.raster = std::move(raster);
  } else {
    label.raster.insert(label.raster.end(), raster.begin(), raster.end());
  }
  if (head.LineBytes() > 0) label.lines += head.lines;
  return true;
}

void VirtualPrinter::Machine::FormFeed(Client& client, LabelEnd end) {
  const bool isLong = end == LabelEnd::kLongFormFeed;
  if (client.open) {
    if (!isLong) KeepCommand(client);
    EndLabel(client, end);
    if (!isLong) return;
  }
  if (isLong) ResolveOrphan(std::nullopt);
  if (end == LabelEnd::kTear || (!isLong && client.discard)) return;
  Tell(client.id, Direction::kToPrinter, isLong ? "long form feed" : "short form feed", client.reader.Head().size(),
       client.reader.Head(), "");
  AddEvent(isLong ? PrinterEventKind::kLongFormFeed : PrinterEventKind::kShortFormFeed, client);
}

void VirtualPrinter::Machine::EndJob(Client& client) {
  Tell(client.id, Direction::kToPrinter, "end of job", client.reader.Head().size(), client.reader.Head(), "");
  if (client.open) EndLabel(client, LabelEnd::kEndOfJob);
  ResolveOrphan(std::nullopt);
  if (client.jobOpen) ++counts.jobsEnded;
  AddEvent(PrinterEventKind::kJobEnded, client);
  client.jobOpen = false;
  client.leading.clear();
  client.firstIndexOfJob.reset();
  client.discard.reset();
  client.lostBytes = false;
  if (lockHolder == client.id) FreeLock();
}

void VirtualPrinter::Machine::OtherCommand(Client& client) {
  if (!client.discard) KeepCommand(client);
}

// Counts a command to the open label, or to what leads to the next one, and keeps its bytes if they are wanted.
void VirtualPrinter::Machine::KeepCommand(Client& client) {
  const std::span<const std::uint8_t> head = client.reader.Head();
  const std::vector<std::uint8_t>& body = client.reader.Body();
  const std::size_t size = head.size() + body.size();
  std::vector<std::uint8_t>* kept = &client.leading;
  if (client.open) {
    LabelInWork& open = *client.open;
    open.heldBytes += size;
    kept = &open.label.commands;
    if (open.heldBytes > settings.maxLabelBytes && !open.malformed) {
      NoteMalformed(client, client.reader.Offset(), "label beyond the limit");
      open.malformed = true;
    }
    if (open.malformed) return;
  }
  if (!settings.keepCommandBytes || kept->size() + size > settings.maxLabelBytes) return;
  kept->insert(kept->end(), head.begin(), head.end());
  kept->insert(kept->end(), body.begin(), body.end());
}

void VirtualPrinter::Machine::DropIncomplete(Client& client) {
  const bool inRaster = client.reader.InRaster();
  if (client.reader.Letter() != 0) {
    NoteMalformed(client, client.reader.Offset(), "command stops in its middle");
  }
  if (client.jobOpen || client.open) client.lostBytes = true;
  client.reader.Drop();
  if (inRaster) DropOpen(client, DropReason::kCutShort);
}

void VirtualPrinter::Machine::NoteMalformed(Client& client, std::uint64_t offset, std::string reason) {
  ++counts.malformed;
  if (malformed.size() >= kMostMalformedKept) return;
  TellHere(client.id, "malformed", "byte " + std::to_string(offset) + ": " + reason);
  malformed.push_back({client.id, Now(), offset, std::move(reason)});
}

void VirtualPrinter::Machine::AddEvent(PrinterEventKind kind, const Client& client) {
  events.push_back({kind, Now(), client.id, client.jobOpen ? client.job : 0});
}

}  // namespace simulator
