#include "fuzz/naive_parser.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace sc3xxmon::fuzz {
namespace {

// How a step went.
constexpr int kNotYet = 0;
constexpr int kSomethingElse = 1;
constexpr int kNeedMore = 2;
constexpr int kParsed = 3;

std::uint32_t Little(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value |= std::uint32_t{bytes[offset + i]} << (8 * i);
  }
  return value;
}

std::size_t FixedLength(std::uint8_t letter) {
  const auto among = [letter](std::string_view letters) {
    return letters.find(static_cast<char>(letter)) != std::string_view::npos;
  };
  if (among("*@EGPQUVcdeghix")) {
    return 2;
  }
  if (among("#ACTpq")) {
    return 3;
  }
  if (among("HLbmn")) {
    return 4;
  }
  if (among("lst")) {
    return 6;
  }
  switch (letter) {
    case 'X':
      return 7;
    case 'M':
      return 10;
    case 'D':
      return 12;
    case 'Z':
      return 17;
    default:
      return 0;
  }
}

// Rounded up without the sum that could wrap.
std::uint32_t LineBytesAt(std::span<const std::uint8_t> bytes, std::size_t descriptor) {
  const std::uint32_t bits = bytes[descriptor] * Little(bytes, descriptor + 6, 4);
  return static_cast<std::uint32_t>((std::uint64_t{bits} + 7) / 8);
}

bool IsBetweenLabels(std::uint8_t letter) {
  return std::string_view("CHLTcdeghilqt").find(static_cast<char>(letter)) != std::string_view::npos;
}

[[gnu::format(printf, 1, 2)]] std::string Line(const char* format, ...) {
  char text[160];
  va_list numbers;
  va_start(numbers, format);
  std::vsnprintf(text, sizeof(text), format, numbers);
  va_end(numbers);
  return text;
}

int Int(std::size_t number) {
  return static_cast<int>(number);
}

void FindCommands(NaiveLabel& label) {
  std::vector<std::string> ignored;
  std::size_t offset = label.iphLength;
  while (const auto command = NaiveCommandAt(label.data, offset, ignored)) {
    if (command->letter == 'n') {
      label.labelIndex = Little(label.data, offset + 2, 2);
    } else if (command->letter == 'D' || command->letter == 'Z') {
      label.raster = command;
      label.compressedSize = command->letter == 'Z' ? Little(label.data, offset + 3, 4) : 0;
    }
    offset += static_cast<std::size_t>(command->length);
  }
}

}  // namespace

std::optional<NaiveCommand> NaiveCommandAt(std::span<const std::uint8_t> bytes, std::size_t offset,
                                           std::vector<std::string>& log) {
  if (offset + 2 > bytes.size()) {
    return std::nullopt;
  }
  if (bytes[offset] != 0x1B) {
    log.push_back(Line("CKplIterator::ReadNext: Unexpected data - non-ESC: %d", bytes[offset]));
    return std::nullopt;
  }
  const std::uint8_t letter = bytes[offset + 1];
  const std::size_t fixed = FixedLength(letter);
  if (fixed == 0) {
    log.push_back(Line("CKplIterator::ReadNext: Unsupported varlen command: %d", letter));
    return std::nullopt;
  }
  if (offset + fixed > bytes.size()) {
    return std::nullopt;
  }
  std::uint64_t length = fixed;
  if (letter == 'D') {
    length += LineBytesAt(bytes, offset + 2) * Little(bytes, offset + 4, 4);
  } else if (letter == 'Z') {
    length += Little(bytes, offset + 3, 4);
  }
  if (offset + length > bytes.size()) {
    return std::nullopt;
  }
  return NaiveCommand{offset, length, letter};
}

std::uint32_t NaiveLabel::LineBytes() const {
  return LineBytesAt(data, DescriptorOffset());
}

std::uint32_t NaiveLabel::LineCount() const {
  return Little(data, DescriptorOffset() + 2, 4);
}

void NaiveParser::Append(std::span<const std::uint8_t> span) {
  log.push_back(Line("CKplParser::ProcessData: Appending data: old=%d, delta=%d", Int(size_), Int(span.size())));
  storage_.resize(std::max(storage_.size(), size_ + span.size()));
  std::copy(span.begin(), span.end(), storage_.begin() + static_cast<std::ptrdiff_t>(size_));
  size_ += span.size();
}

void NaiveParser::RemoveFront(std::size_t count) {
  std::memmove(storage_.data(), storage_.data() + count, size_ - count);
  size_ -= count;
}

void NaiveParser::ProcessData(std::span<const std::uint8_t> span) {
  Append(span);
  if (state < 1) {
    TryParseJobHeader();
  }
  if (state == 1 || state == 2) {
    while (TryParseLabel() == kParsed) {
    }
  }
  if (state == 1 || state == 2) {
    TryParseJobFooter();
  }
  if (state >= 3) {
    jobFooter.insert(jobFooter.end(), Buffer().begin(), Buffer().end());
    size_ = 0;
  }
}

int NaiveParser::TryParseJobHeader() {
  if (state >= 1) {
    return kNotYet;
  }
  auto command = NaiveCommandAt(Buffer(), 0, log);
  if (!command) {
    return kNeedMore;
  }
  if (command->letter != 's') {
    log.push_back(Line("CKplParser::TryParseJobHeader: Not a job header: %X-%X", 0x1B, command->letter));
    return kSomethingElse;
  }
  for (;;) {
    command = NaiveCommandAt(Buffer(), command->offset + static_cast<std::size_t>(command->length), log);
    if (!command) {
      return kNeedMore;
    }
    if (command->letter == 'D' || command->letter == 'Z') {
      log.push_back(Line("CKplParser::TryParseJobHeader: Unexpected varlen command: %d", command->letter));
      return kSomethingElse;
    }
    if (command->letter == 'L' && Little(Buffer(), command->offset + 2, 2) == 0xFFFF) {
      openLengthLabels = true;
    }
    if (command->letter == 'q') {
      qParameter = Buffer()[command->offset + 2];
    }
    if (command->letter == 'n') {
      break;
    }
  }
  jobHeader.assign(storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(command->offset));
  RemoveFront(command->offset);
  state = 1;
  log.push_back(Line("CKplParser::TryParseJobHeader: Got header (%d bytes). Remained in buffer %d",
                     Int(jobHeader.size()), Int(size_)));
  return kParsed;
}

int NaiveParser::TryParseLabel() {
  if (state < 1) {
    return kNotYet;
  }
  std::uint32_t betweenLabels = 0;
  bool indexFound = false;
  std::size_t offset = 0;
  while (const auto command = NaiveCommandAt(Buffer(), offset, log)) {
    const std::uint8_t letter = command->letter;
    const std::size_t behind = offset + static_cast<std::size_t>(command->length);
    if (!indexFound) {
      if (state >= 2 && IsBetweenLabels(letter)) {
        betweenLabels += static_cast<std::uint32_t>(command->length);
      } else if (letter != 'n') {
        log.push_back(Line("CKplParser::TryParseLabel: Not a label index: %X-%X", 0x1B, letter));
        return kSomethingElse;
      } else {
        indexFound = true;
      }
    } else if (letter == 'G' || letter == 'p') {
      TakeLabel(behind, offset, betweenLabels);
      return kParsed;
    } else if (letter == 'n' || letter == 'Q' || letter == 'E') {
      TakeLabel(offset, offset, betweenLabels);
      return kParsed;
    }
    offset = behind;
  }
  return kNeedMore;
}

void NaiveParser::TakeLabel(std::size_t end, std::size_t endCommand, std::uint32_t betweenLabels) {
  NaiveLabel label;
  label.data.assign(storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(end));
  label.iphLength = betweenLabels;
  FindCommands(label);
  if (label.RasterSize() == 0 && !keepEmptyLabels_) {
    log.push_back(Line("CKplParser::TryParseLabel: Label is empty. Discarding %d bytes.", Int(end)));
  } else {
    labels.push_back(std::move(label));
  }
  RemoveFront(end);
  ++labelsParsed;
  const std::uint8_t met = storage_[endCommand + 1];
  state = met == 'Q' || met == 'E' ? 3 : 2;
  log.push_back(
      Line("CKplParser::TryParseLabel: Got label (%d/%d bytes). state=%d", Int(end), Int(betweenLabels), state));
}

int NaiveParser::TryParseJobFooter() {
  if (state < 1) {
    return kNotYet;
  }
  const auto command = NaiveCommandAt(Buffer(), 0, log);
  if (!command) {
    return kNeedMore;
  }
  if (command->letter == 'n') {
    return kSomethingElse;
  }
  if (command->letter == 'Q' || command->letter == 'E') {
    log.push_back("CKplParser::TryParseJobFooter: Got footer");
    state = 3;
    return kParsed;
  }
  log.push_back(
      Line("CKplParser::TryParseJobFooter: Not a footer command in the buffer: %X-%X", 0x1B, command->letter));
  return kSomethingElse;
}

void NaiveParser::SendFirstUnsent() {
  const auto unsent = std::find_if(labels.begin(), labels.end(), [](const NaiveLabel& label) { return !label.sent; });
  if (unsent != labels.end()) {
    unsent->sent = true;
  }
}

std::uint32_t NaiveParser::AckFirstLabel() {
  if (labels.empty() || !labels.front().sent) {
    return 0;
  }
  const std::uint32_t attempts = labels.front().retries + 1;
  labels.erase(labels.begin());
  ++labelsAcked;
  return attempts;
}

void NaiveParser::RevertSentLabels() {
  std::uint32_t reverted = 0;
  for (NaiveLabel& label : labels) {
    if (label.sent) {
      label.sent = false;
      ++label.retries;
      ++reverted;
    }
  }
  if (reverted > 0) {
    log.push_back(Line("CKplParser::RevertSentLabels: Reverted %d sent labels", reverted));
  }
}

void NaiveParser::Reset() {
  size_ = 0;
  jobHeader.clear();
  jobFooter.clear();
  labels.clear();
  state = 0;
  labelsParsed = 0;
  labelsAcked = 0;
}

}  // namespace sc3xxmon::fuzz
