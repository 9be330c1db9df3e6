#include "simulator/kpl_reader.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace simulator {
namespace {

struct LettersOfLength {
  std::uint8_t length;
  std::string_view letters;
};

// Bytes from the ESC to the last operand; the bodies of D and Z come on top.
constexpr std::array<LettersOfLength, 7> kLengths{{
    {2, "*@EGPQUVcdeghix"},
    {3, "#ACTpq"},
    {4, "HLbmn"},
    {6, "lst"},
    {7, "X"},
    {10, "M"},
    {12, "D"},
}};

constexpr std::array<std::uint8_t, 256> MakeHeadLengths() {
  std::array<std::uint8_t, 256> lengths{};
  for (const LettersOfLength& group : kLengths) {
    for (const char letter : group.letters) lengths[static_cast<unsigned char>(letter)] = group.length;
  }
  lengths['Z'] = 17;
  return lengths;
}

constexpr auto kHeadLengths = MakeHeadLengths();

std::uint32_t Number32(const std::uint8_t* bytes) {
  return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

std::string InHex(std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  return {'0', 'x', kDigits[byte >> 4], kDigits[byte & 15u]};
}

std::string TooLarge(std::uint64_t bytes) {
  return "raster of " + std::to_string(bytes) + " bytes is beyond the limit";
}

// A head that promises more than any label has isn't taken at its word.
constexpr std::uint64_t kMostCountedOff = std::uint64_t{1} << 30;

}  // namespace

KplReader::KplReader(std::size_t maxBodyBytes) : maxBodyBytes_(maxBodyBytes) {}

void KplReader::StartAnew() {
  headSize_ = 0;
  bodyNeeded_ = 0;
  complete_ = false;
  rasterIsTooLarge_ = false;
  body_.clear();
}

void KplReader::Drop() {
  StartAnew();
  body_.shrink_to_fit();
  skipping_ = false;
}

KplReader::Step KplReader::Next(std::span<const std::uint8_t>& input) {
  if (complete_) StartAnew();
  while (!input.empty()) {
    if (bodyNeeded_ > 0) {
      TakeBody(input);
      if (bodyNeeded_ > 0) return Step::kNeedMore;
      if (rasterIsTooLarge_) return EndTooLargeRaster();
      complete_ = true;
      return Step::kCommand;
    }
    const std::uint8_t byte = input.front();
    input = input.subspan(1);
    const Step step = skipping_ ? SkipByte(byte) : TakeHeadByte(byte);
    ++position_;
    if (step != Step::kNeedMore) return step;
  }
  return Step::kNeedMore;
}

void KplReader::TakeBody(std::span<const std::uint8_t>& input) {
  const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(bodyNeeded_, input.size()));
  if (!rasterIsTooLarge_) {
    body_.insert(body_.end(), input.begin(), input.begin() + static_cast<std::ptrdiff_t>(size));
  }
  input = input.subspan(size);
  bodyNeeded_ -= size;
  position_ += size;
}

KplReader::Step KplReader::TakeHeadByte(std::uint8_t byte) {
  if (headSize_ == 0) {
    if (byte != kEscape) return Malformed(position_, "byte " + InHex(byte) + " where a command must begin");
    offset_ = position_;
  }
  if (headSize_ == 1 && kHeadLengths[byte] == 0) {
    const Step step = Malformed(offset_, "unknown command letter " + InHex(byte));
    if (byte == kEscape) SkipByte(byte);  // the second ESC may be the real one
    return step;
  }
  head_[headSize_++] = byte;
  if (headSize_ < 2 || headSize_ < kHeadLengths[head_[1]]) return Step::kNeedMore;
  return EndHead();
}

KplReader::Step KplReader::SkipByte(std::uint8_t byte) {
  if (headSize_ == 1 && kHeadLengths[byte] != 0) {
    skipping_ = false;
    return TakeHeadByte(byte);
  }
  headSize_ = 0;
  if (byte == kEscape) {
    head_[headSize_++] = byte;
    offset_ = position_;
  }
  return Step::kNeedMore;
}

KplReader::Step KplReader::EndHead() {
  std::uint64_t body = 0;
  if (Letter() == 'Z') body = Number32(&head_[3]);
  if (Letter() == 'D') {
    // A line is at most 255 * 2^32 bits, so that a product with 2^32 lines could pass 64 bits: look at the line first.
    const RasterHead raster = Raster();
    if (raster.LineBytes() > maxBodyBytes_) return Malformed(offset_, "raster line beyond the limit of a label");
    body = raster.LineBytes() * raster.lines;
  }
  if (body > kMostCountedOff) return Malformed(offset_, TooLarge(body));
  rasterIsTooLarge_ = body > maxBodyBytes_;
  bodySize_ = body;
  bodyNeeded_ = body;
  complete_ = body == 0;
  return complete_ ? Step::kCommand : Step::kNeedMore;
}

// Its bytes may look like commands, so that going on behind its head would print or answer by accident.
KplReader::Step KplReader::EndTooLargeRaster() {
  const Step step = Malformed(offset_, TooLarge(bodySize_));
  skipping_ = false;
  rasterWasTooLarge_ = true;
  return step;
}

KplReader::Step KplReader::Malformed(std::uint64_t offset, std::string reason) {
  StartAnew();
  malformedOffset_ = offset;
  reason_ = std::move(reason);
  rasterWasTooLarge_ = false;
  skipping_ = true;
  return Step::kMalformed;
}

RasterHead KplReader::Raster() const {
  const std::uint8_t* bytes = head_.data() + (Letter() == 'Z' ? 7 : 2);
  return {bytes[0], bytes[1], Number32(bytes + 2), Number32(bytes + 6)};
}

std::uint16_t KplReader::Operand() const {
  return static_cast<std::uint16_t>(head_[2] | std::uint32_t{head_[3]} << 8);
}

}  // namespace simulator
