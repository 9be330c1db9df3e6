#include "stream/reference_parser.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace sc3xxmon::test {
namespace {

constexpr char kBetweenLabels[] = "CHLTcdeghilqt";

// Length of the fixed part, 0 for a letter that isn't known.
std::uint64_t FixedPart(std::uint8_t letter) {
  switch (letter) {
    case '*':
    case '@':
    case 'E':
    case 'G':
    case 'P':
    case 'Q':
    case 'U':
    case 'V':
    case 'c':
    case 'd':
    case 'e':
    case 'g':
    case 'h':
    case 'i':
    case 'x':
      return 2;
    case '#':
    case 'A':
    case 'C':
    case 'T':
    case 'p':
    case 'q':
      return 3;
    case 'H':
    case 'L':
    case 'b':
    case 'm':
    case 'n':
      return 4;
    case 'l':
    case 's':
    case 't':
      return 6;
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

std::uint32_t Number(const std::uint8_t* bytes, int count) {
  std::uint32_t value = 0;
  for (int i = count; i > 0; --i) {
    value = value * 256 + bytes[i - 1];
  }
  return value;
}

// From the ten bytes that describe a raster.
std::uint32_t RasterBytes(const std::uint8_t* params) {
  const std::uint32_t bits = params[0] * Number(params + 6, 4);
  const auto lineBytes = static_cast<std::uint32_t>((std::uint64_t{bits} + 7) / 8);
  return lineBytes * Number(params + 2, 4);
}

bool IsOneOf(const char* letters, std::uint8_t letter) {
  return letter != 0 && std::strchr(letters, letter) != nullptr;
}

}  // namespace

void ReferenceParser::Log(const std::string& function, const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  log.push_back(function + ": " + text);
}

bool ReferenceParser::Read(std::uint64_t offset, Command& command) {
  if (offset > size_ || size_ - offset < 2) {
    return false;
  }
  const std::uint8_t* at = storage_.data() + offset;
  if (at[0] != 0x1B) {
    Log("CKplIterator::ReadNext", "Unexpected data - non-ESC: %d", at[0]);
    return false;
  }
  std::uint64_t length = FixedPart(at[1]);
  if (length == 0) {
    Log("CKplIterator::ReadNext", "Unsupported varlen command: %d", at[1]);
    return false;
  }
  if (size_ - offset < length) {
    return false;
  }
  if (at[1] == 'D') {
    length += RasterBytes(at + 2);
  } else if (at[1] == 'Z') {
    length += Number(at + 3, 4);
  }
  command = {offset, length, at[1]};
  return size_ - offset >= length;
}

void ReferenceParser::Append(const std::vector<std::uint8_t>& span) {
  if (storage_.size() < size_ + span.size()) {
    storage_.resize(size_ + span.size());
  }
  std::copy(span.begin(), span.end(), storage_.begin() + static_cast<std::ptrdiff_t>(size_));
  size_ += span.size();
}

void ReferenceParser::RemoveFront(std::uint64_t count) {
  if (size_ > count) {
    std::memmove(storage_.data(), storage_.data() + count, size_ - count);
  }
  size_ -= count;
}

std::vector<std::uint8_t> ReferenceParser::Buffer() const {
  return {storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(size_)};
}

std::int32_t ReferenceParser::ProcessData(const std::vector<std::uint8_t>& span) {
  Log("CKplParser::ProcessData", "Appending data: old=%d, delta=%d", static_cast<int>(size_),
      static_cast<int>(span.size()));
  Append(span);
  if (state < 1) {
    TryParseJobHeader();
  }
  if (state == 1 || state == 2) {
    while (TryParseLabel() == 3) {
    }
  }
  if (state == 1 || state == 2) {
    TryParseJobFooter();
  }
  if (state >= 3) {
    const auto rest = Buffer();
    jobFooter.insert(jobFooter.end(), rest.begin(), rest.end());
    size_ = 0;
  }
  return static_cast<std::int32_t>(span.size());
}

int ReferenceParser::TryParseJobHeader() {
  constexpr char kName[] = "CKplParser::TryParseJobHeader";
  if (state >= 1) {
    return 0;
  }
  Command command;
  if (!Read(0, command)) {
    return 2;
  }
  if (command.letter != 's') {
    Log(kName, "Not a job header: %X-%X", 0x1B, command.letter);
    return 1;
  }
  while (Read(command.offset + command.length, command)) {
    const std::uint8_t* operand = storage_.data() + command.offset + 2;
    if (command.letter == 'D' || command.letter == 'Z') {
      Log(kName, "Unexpected varlen command: %d", command.letter);
      return 1;
    }
    if (command.letter == 'L' && operand[0] == 0xFF && operand[1] == 0xFF) {
      openLengthLabels = true;
    }
    if (command.letter == 'q') {
      qParameter = operand[0];
    }
    if (command.letter == 'n') {
      jobHeader.assign(storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(command.offset));
      RemoveFront(command.offset);
      state = 1;
      Log(kName, "Got header (%d bytes). Remained in buffer %d", static_cast<int>(jobHeader.size()),
          static_cast<int>(size_));
      return 3;
    }
  }
  return 2;
}

int ReferenceParser::TryParseLabel() {
  constexpr char kName[] = "CKplParser::TryParseLabel";
  if (state < 1) {
    return 0;
  }
  std::uint32_t betweenLabels = 0;
  bool indexFound = false;
  std::uint64_t labelSize = 0;
  Command command;
  while (labelSize == 0) {
    if (!Read(command.offset + command.length, command)) {
      return 2;
    }
    if (indexFound) {
      if (IsOneOf("Gp", command.letter)) {
        labelSize = command.offset + command.length;
      } else if (IsOneOf("nQE", command.letter)) {
        labelSize = command.offset;
      }
    } else if (state >= 2 && IsOneOf(kBetweenLabels, command.letter)) {
      betweenLabels += static_cast<std::uint32_t>(command.length);
    } else if (command.letter == 'n') {
      indexFound = true;
    } else {
      Log(kName, "Not a label index: %X-%X", 0x1B, command.letter);
      return 1;
    }
  }
  const std::uint8_t* endingLetter = storage_.data() + command.offset + 1;
  KeepLabel(labelSize, betweenLabels);
  RemoveFront(labelSize);
  ++parsed;
  state = *endingLetter == 'Q' || *endingLetter == 'E' ? 3 : 2;
  Log(kName, "Got label (%d/%d bytes). state=%d", static_cast<int>(labelSize), static_cast<int>(betweenLabels), state);
  return 3;
}

void ReferenceParser::KeepLabel(std::uint64_t size, std::uint32_t iphLength) {
  ReferenceLabel label;
  label.data.assign(storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(size));
  label.iphLength = iphLength;
  FindCommands(label);
  if ((!label.hasRaster || label.rasterSize == 0) && !keepEmptyLabels_) {
    Log("CKplParser::TryParseLabel", "Label is empty. Discarding %d bytes.", static_cast<int>(size));
    return;
  }
  labels.push_back(label);
}

// The label's commands stand at the front of the storage, so that the same walk serves.
void ReferenceParser::FindCommands(ReferenceLabel& label) {
  Command command;
  for (std::uint64_t at = label.iphLength; at < label.data.size(); at += command.length) {
    Read(at, command);
    const std::uint8_t* bytes = label.data.data() + at;
    if (command.letter == 'n') {
      label.index = Number(bytes + 2, 2);
    }
    if (command.letter != 'D' && command.letter != 'Z') {
      continue;
    }
    const bool isPlain = command.letter == 'D';
    label.hasRaster = true;
    label.commandOffset = at;
    label.paramsOffset = at + (isPlain ? 2 : 7);
    label.compressedSize = isPlain ? 0 : Number(bytes + 3, 4);
    label.rasterSize = RasterBytes(label.data.data() + label.paramsOffset);
    label.head.assign(bytes, bytes + (isPlain ? 12 : 17));
  }
}

int ReferenceParser::TryParseJobFooter() {
  constexpr char kName[] = "CKplParser::TryParseJobFooter";
  if (state < 1) {
    return 0;
  }
  Command command;
  if (!Read(0, command)) {
    return 2;
  }
  if (command.letter == 'n') {
    return 1;
  }
  if (command.letter == 'Q' || command.letter == 'E') {
    Log(kName, "Got footer");
    state = 3;
    return 3;
  }
  Log(kName, "Not a footer command in the buffer: %X-%X", 0x1B, command.letter);
  return 1;
}

bool ReferenceParser::SendFirstUnsent() {
  for (ReferenceLabel& label : labels) {
    if (!label.sent) {
      label.sent = true;
      return true;
    }
  }
  return false;
}

void ReferenceParser::RevertSentLabels() {
  int count = 0;
  for (ReferenceLabel& label : labels) {
    if (label.sent) {
      ++label.retries;
      label.sent = false;
      ++count;
    }
  }
  if (count > 0) {
    Log("CKplParser::RevertSentLabels", "Reverted %d sent labels", count);
  }
}

std::uint32_t ReferenceParser::AckFirstLabel() {
  if (labels.empty() || !labels.front().sent) {
    return 0;
  }
  const std::uint32_t attempts = labels.front().retries + 1;
  labels.erase(labels.begin());
  ++acked;
  return attempts;
}

void ReferenceParser::Reset() {
  size_ = 0;
  jobHeader.clear();
  jobFooter.clear();
  labels.clear();
  state = 0;
  parsed = 0;
  acked = 0;
}

}  // namespace sc3xxmon::test
