#include "stream/kpl_parser.h"

#include <algorithm>

#include "diag/debug_log.h"
#include "monitor/options.h"
#include "stream/kpl_iterator.h"

namespace sc3xxmon {
namespace {

// Larger storage isn't kept for later use: a label that large is rare, and its storage would stand beside others.
constexpr std::size_t kMostKeptRoom = std::size_t{1} << 20;

CKplIterator Walk(std::span<const std::uint8_t> bytes, std::uint64_t from) {
  return {bytes.data() + from, bytes.size() - from};
}

}  // namespace

std::int32_t CKplParser::ProcessData(const void* data, std::uint64_t size) {
  const Bytes span(static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(size));
  KovaDebugPrint(At("CKplParser::ProcessData"), "Appending data: old=%d, delta=%d", buffer_.size(), size);
  const Progress before = CurrentProgress();
  try {
    Take(span);
  } catch (...) {
    GoBackTo(before);
    throw;
  }
  return static_cast<std::int32_t>(size);
}

void CKplParser::Take(Bytes span) {
  if (buffer_.empty()) {
    CutSteps(span);
    AppendToBuffer(span);
    return;
  }
  const std::optional<std::size_t> missing = MissingToWhole();
  if (missing && *missing <= span.size()) {
    AppendToBuffer(span.first(*missing));
    labelScan_.position = buffer_.size();
    TakeBehindHeld(span.subspan(*missing));
  } else {
    TakeBehindBuffer(span);
  }
}

// All that is held are whole commands of one label: those behind them are cut where they lie.
void CKplParser::TakeBehindHeld(Bytes span) {
  if (CutLabel(span, buffer_.size()) == ParseResult::kDone) {
    CutLabels(span);
    CutFooter(span);
    ReplaceBuffer(span);
    return;
  }
  AppendToBuffer(span);
  Bytes pending = buffer_;
  CutFooter(pending);
  DropFromBuffer(pending.size());
}

void CKplParser::TakeBehindBuffer(Bytes span) {
  AppendToBuffer(span);
  Bytes pending = buffer_;
  CutSteps(pending);
  DropFromBuffer(pending.size());
}

// Bytes that have yet to arrive until what is pending are whole commands of one label, none of which ends it: those of a
// raster, since no other command announces more than its head. None if that can't be told.
std::optional<std::size_t> CKplParser::MissingToWhole() const {
  if (!labelScan_.indexFound) {
    return std::nullopt;
  }
  const Bytes open = Bytes(buffer_).subspan(labelScan_.position);
  if (open.empty()) {
    return 0;
  }
  const std::uint64_t announced = kpl::AnnouncedLength(open);
  return announced > open.size() ? std::optional(static_cast<std::size_t>(announced - open.size())) : std::nullopt;
}

CKplParser::Progress CKplParser::CurrentProgress() const {
  return {buffer_.size(), JobHeader.size(), JobFooter.size(), Labels.size(), LabelsParsed,
          ParserState,    ParserQParameter, OpenLengthLabels, headerScan_,   labelScan_};
}

// A call only ever adds to these, up to the moment when nothing can fail any more. But for one thing: the buffer's storage
// may have become the first label's record, which then has all of what was pending at its front.
void CKplParser::GoBackTo(const Progress& before) noexcept {
  if (buffer_.size() < before.pending) {
    buffer_ = std::move(Labels[before.labels].Data);
  }
  buffer_.resize(before.pending);
  JobHeader.resize(before.header);
  JobFooter.resize(before.footer);
  Labels.erase(Labels.begin() + static_cast<std::ptrdiff_t>(before.labels), Labels.end());
  LabelsParsed = before.labelsParsed;
  ParserState = before.state;
  ParserQParameter = before.qParameter;
  OpenLengthLabels = before.openLengthLabels;
  headerScan_ = before.headerScan;
  labelScan_ = before.labelScan;
}

void CKplParser::CutSteps(Bytes& pending) {
  if (ParserState < kParserHeader) {
    CutJobHeader(pending);
  }
  if (ParserState == kParserHeader || ParserState == kParserLabels) {
    CutLabels(pending);
  }
  CutFooter(pending);
}

// Goes on where a label's end was taken for the footer's beginning, too.
void CKplParser::CutLabels(Bytes& pending) {
  while (CutLabel(pending) == ParseResult::kDone) {
  }
}

void CKplParser::CutFooter(Bytes& pending) {
  if (ParserState == kParserHeader || ParserState == kParserLabels) {
    FindJobFooter(pending);
  }
  if (ParserState >= kParserFooter) {
    JobFooter.insert(JobFooter.end(), pending.begin(), pending.end());
    pending = {};
    ForgetScans();
  }
}

ParseResult CKplParser::TryParseJobHeader() {
  Bytes pending = buffer_;
  const ParseResult result = CutJobHeader(pending);
  DropFromBuffer(pending.size());
  return result;
}

ParseResult CKplParser::TryParseLabel() {
  Bytes pending = buffer_;
  const ParseResult result = CutLabel(pending);
  DropFromBuffer(pending.size());
  return result;
}

ParseResult CKplParser::TryParseJobFooter() {
  return FindJobFooter(buffer_);
}

ParseResult CKplParser::CutJobHeader(Bytes& pending) {
  if (ParserState >= kParserHeader) {
    return ParseResult::kNotApplicable;
  }
  CKplIterator it = Walk(pending, headerScan_);
  if (headerScan_ == 0) {
    if (it.AtEnd()) {
      return ParseResult::kNotEnoughData;
    }
    if (it.Current.Letter() != 's') {
      KovaDebugPrint(At("CKplParser::TryParseJobHeader"), "Not a job header: %X-%X", it.Current.Data[0],
                     it.Current.Letter());
      return ParseResult::kNoMatch;
    }
    headerScan_ = it.Current.Length;
    ++it;
  }
  for (; !it.AtEnd(); ++it) {
    const ParseResult noted = NoteHeaderCommand(it.Current);
    if (noted == ParseResult::kNoMatch) {
      return noted;
    }
    if (noted == ParseResult::kDone) {
      JobHeader.assign(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(headerScan_));
      pending = pending.subspan(headerScan_);
      ForgetScans();
      ParserState = kParserHeader;
      KovaDebugPrint(At("CKplParser::TryParseJobHeader"), "Got header (%d bytes). Remained in buffer %d",
                     JobHeader.size(), pending.size());
      return ParseResult::kDone;
    }
    headerScan_ += it.Current.Length;
  }
  return ParseResult::kNotEnoughData;
}

// kDone: the header ends before this command. kNotEnoughData: look at the next one.
ParseResult CKplParser::NoteHeaderCommand(const KplCommand& command) {
  switch (command.Letter()) {
    case 'D':
    case 'Z':
      KovaDebugPrint(At("CKplParser::TryParseJobHeader"), "Unexpected varlen command: %d", command.Letter());
      return ParseResult::kNoMatch;
    case 'L':
      OpenLengthLabels = OpenLengthLabels || command.Operand16() == 0xFFFF;
      return ParseResult::kNotEnoughData;
    case 'q':
      ParserQParameter = command.Data[2];
      return ParseResult::kNotEnoughData;
    case 'n':
      return ParseResult::kDone;
    default:
      return ParseResult::kNotEnoughData;
  }
}

ParseResult CKplParser::CutLabel(Bytes& pending, std::size_t held) {
  if (ParserState < kParserHeader) {
    return ParseResult::kNotApplicable;
  }
  for (CKplIterator it = Walk(pending, labelScan_.position - held); !it.AtEnd(); ++it) {
    const std::uint64_t position = labelScan_.position;
    switch (JudgeLabelCommand(labelScan_, it.Current)) {
      case LabelCommand::kGoOn:
        labelScan_.position += it.Current.Length;
        break;
      case LabelCommand::kNoLabel:
        KovaDebugPrint(At("CKplParser::TryParseLabel"), "Not a label index: %X-%X", it.Current.Data[0],
                       it.Current.Letter());
        return ParseResult::kNoMatch;
      case LabelCommand::kEndsBehind:
        TakeLabel(pending, held, position + it.Current.Length, position);
        return ParseResult::kDone;
      case LabelCommand::kEndsBefore:
        TakeLabel(pending, held, position, position);
        return ParseResult::kDone;
    }
  }
  return ParseResult::kNotEnoughData;
}

// Between-labels commands are good only in front of later labels: the first one starts where the job header ended, at
// its ESC n.
CKplParser::LabelCommand CKplParser::JudgeLabelCommand(LabelScan& scan, const KplCommand& command) const {
  const std::uint8_t letter = command.Letter();
  if (!scan.indexFound) {
    if (ParserState >= kParserLabels && kpl::IsBetweenLabels(letter)) {
      scan.betweenLabels += static_cast<std::uint32_t>(command.Length);
      return LabelCommand::kGoOn;
    }
    scan.indexFound = letter == 'n';
    return scan.indexFound ? LabelCommand::kGoOn : LabelCommand::kNoLabel;
  }
  switch (letter) {
    case 'G':
    case 'p':
      return LabelCommand::kEndsBehind;
    case 'n':
    case 'Q':
    case 'E':
      return LabelCommand::kEndsBefore;
    default:
      return LabelCommand::kGoOn;
  }
}

// Takes the label off the front of what is held and pending. `endPosition` is where the ending command stands, which is
// never in what is held.
//
// Whether the footer follows is read from the ending command's letter at the place where it stood, after the label has
// gone from the front: the rest has moved down by the label's size, so that the byte there may be one of the rest, and
// a value of Q or E there counts. Where the rest doesn't reach that far, the letter itself still stands. A rest that
// holds such a byte goes out as footer, unparsed: kept, since every version has cut such streams so. The rest need not
// be moved to know the byte.
void CKplParser::TakeLabel(Bytes& pending, std::size_t held, std::uint64_t labelSize, std::uint64_t endPosition) {
  const std::uint32_t betweenLabels = labelScan_.betweenLabels;
  const std::uint8_t letter = pending[endPosition + 1 - held];
  const Bytes rest = pending.subspan(labelSize - held);
  const std::uint8_t byteAfterMove = endPosition + 1 < rest.size() ? rest[endPosition + 1] : letter;

  KeepLabel(pending.first(labelSize - held), held, betweenLabels);
  pending = rest;
  ForgetScans();
  ++LabelsParsed;
  ParserState = byteAfterMove == 'Q' || byteAfterMove == 'E' ? kParserFooter : kParserLabels;
  KovaDebugPrint(At("CKplParser::TryParseLabel"), "Got label (%d/%d bytes). state=%d", labelSize, betweenLabels,
                 ParserState);
}

// Of a label in pieces, `bytes` are its last. What has become its record need not be copied into one, unless most of the
// storage would be empty.
void CKplParser::KeepLabel(Bytes bytes, std::size_t held, std::uint32_t betweenLabels) {
  if (held > 0) {
    AppendToBuffer(bytes);
    bytes = buffer_;
  }
  const bool handsOver = held > 0 && buffer_.capacity() / 2 <= buffer_.size();
  KplLabel& label =
      handsOver ? Labels.emplace_back(std::move(buffer_), betweenLabels) : Labels.emplace_back(bytes, betweenLabels);
  if (label.RasterSize() == 0 && PrintEmptyLabel == 0) {
    KovaDebugPrint(At("CKplParser::TryParseLabel"), "Label is empty. Discarding %d bytes.", label.Data.size());
    if (handsOver) {
      buffer_ = std::move(label.Data);
    }
    Labels.pop_back();
    return;
  }
  DumpLabelRaster(label);
}

ParseResult CKplParser::FindJobFooter(Bytes pending) {
  if (ParserState < kParserHeader) {
    return ParseResult::kNotApplicable;
  }
  const CKplIterator it = Walk(pending, 0);
  if (it.AtEnd()) {
    return ParseResult::kNotEnoughData;
  }
  switch (it.Current.Letter()) {
    case 'n':
      return ParseResult::kNoMatch;  // a label is still coming
    case 'Q':
    case 'E':
      KovaDebugPrint(At("CKplParser::TryParseJobFooter"), "Got footer");
      ParserState = kParserFooter;
      return ParseResult::kDone;
    default:
      KovaDebugPrint(At("CKplParser::TryParseJobFooter"), "Not a footer command in the buffer: %X-%X",
                     it.Current.Data[0], it.Current.Letter());
      return ParseResult::kNoMatch;
  }
}

void CKplParser::MarkSent(KplLabel& label) {
  if (!label.sent_) {
    label.sent_ = true;
    ++sentCount_;
  }
}

void CKplParser::RevertSentLabels() {
  const std::uint32_t reverted = sentCount_;
  for (auto label = Labels.begin(); sentCount_ > 0; ++label) {
    if (label->sent_) {
      ++label->Retries;
      label->sent_ = false;
      --sentCount_;
    }
  }
  if (reverted > 0) {
    KovaDebugPrint(At("CKplParser::RevertSentLabels"), "Reverted %d sent labels", reverted);
  }
}

std::uint32_t CKplParser::AckFirstLabel() {
  if (Labels.empty() || !Labels.front().sent_) {
    return 0;
  }
  const std::uint32_t attempts = Labels.front().Retries + 1;
  KeepStorageOf(Labels.front());
  Labels.pop_front();
  --sentCount_;
  ++LabelsAcked;
  return attempts;
}

KplLabel* CKplParser::FirstUnsentLabel() {
  if (UnsentLabelCount() == 0) {
    return nullptr;
  }
  return &*std::find_if(Labels.begin(), Labels.end(), [](const KplLabel& label) { return !label.sent_; });
}

KplLabel* CKplParser::FirstSentLabel() {
  if (sentCount_ == 0) {
    return nullptr;
  }
  return &*std::find_if(Labels.begin(), Labels.end(), [](const KplLabel& label) { return label.sent_; });
}

void CKplParser::Reset() {
  buffer_.clear();
  JobHeader.clear();
  JobFooter.clear();
  Labels.clear();
  sentCount_ = 0;
  ParserState = kParserNone;
  LabelsParsed = 0;
  LabelsAcked = 0;
  ForgetScans();
}

void CKplParser::AppendToBuffer(Bytes bytes) {
  if (buffer_.empty()) {
    ReplaceBuffer(bytes);
    return;
  }
  if (bytes.size() > buffer_.capacity() - buffer_.size()) {
    buffer_.reserve(RoomFor(buffer_, buffer_.size() + bytes.size()));
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

// Where the buffer's own storage doesn't do, the spare one takes its place, made larger if need be. Nothing is lost while
// that can fail.
void CKplParser::ReplaceBuffer(Bytes bytes) {
  if (bytes.size() > buffer_.capacity() || buffer_.capacity() - bytes.size() > kMostKeptRoom) {
    spare_.clear();
    spare_.reserve(RoomFor(bytes, bytes.size()));
    buffer_ = std::move(spare_);
  }
  buffer_.assign(bytes.begin(), bytes.end());
}

// The room for `needed` bytes that begin with `pending`, at whose front the label step has begun. The storage of a label in
// pieces becomes its record, so that it gets the room that its raster's head announces. Where that is little, as in a
// label of many small rasters, it grows by an eighth: each time the label is there twice, and doubling would have it there
// three times.
std::size_t CKplParser::RoomFor(Bytes pending, std::size_t needed) const {
  constexpr std::uint64_t kBelievedLength = std::uint64_t{64} << 20;  // beyond any label; a damaged head says anything
  constexpr std::uint64_t kFormFeedRoom = 16;
  const std::uint64_t scanned = std::min<std::uint64_t>(labelScan_.position, pending.size());
  const std::uint64_t announced = scanned + kpl::AnnouncedLength(pending.subspan(scanned));
  const std::size_t stepped = needed + needed / 8;
  return announced <= kBelievedLength ? std::max(stepped, static_cast<std::size_t>(announced + kFormFeedRoom))
                                      : stepped;
}

// What a label that is done with leaves behind serves the next one, while it is still in the processor's cache.
void CKplParser::KeepStorageOf(KplLabel& label) {
  if (label.Data.capacity() > spare_.capacity() && label.Data.capacity() <= kMostKeptRoom) {
    spare_.swap(label.Data);
  }
}

void CKplParser::DropFromBuffer(std::size_t kept) {
  if (kept == buffer_.size()) {
    return;
  }
  buffer_.erase(buffer_.begin(), buffer_.end() - static_cast<std::ptrdiff_t>(kept));
  if (buffer_.capacity() - kept > kMostKeptRoom) {
    buffer_.shrink_to_fit();
  }
}

void CKplParser::ForgetScans() {
  headerScan_ = 0;
  labelScan_ = {};
}

}  // namespace sc3xxmon
