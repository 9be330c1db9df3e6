#include "fuzz/wire_check.h"

#include <lz4.h>

#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "monitor/options.h"

namespace sc3xxmon::fuzz {
namespace {

using Bytes = std::span<const std::uint8_t>;

bool Same(Bytes one, Bytes other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

bool StartsWith(Bytes bytes, Bytes front) {
  return bytes.size() >= front.size() && Same(bytes.first(front.size()), front);
}

bool IsRequestOrCommand(Bytes bytes) {
  if (bytes.size() == 1 && bytes[0] == 'V') {
    return true;  // the one request whose rest is written again when a port takes part of it
  }
  if (bytes.size() < 2 || bytes[0] != 0x1B) {
    return false;
  }
  if (bytes.size() == 3) {
    return bytes[1] == 'A' && bytes[2] <= 2;
  }
  constexpr std::uint8_t kLetters[] = {'V', 'Q', 'E', 'G'};
  return bytes.size() == 2 && std::find(std::begin(kLetters), std::end(kLetters), bytes[1]) != std::end(kLetters);
}

std::uint32_t Little32(Bytes bytes, std::size_t at) {
  return bytes[at] | std::uint32_t{bytes[at + 1]} << 8 | std::uint32_t{bytes[at + 2]} << 16 |
         std::uint32_t{bytes[at + 3]} << 24;
}

// The ten bytes that tell a raster's shape, and the raster behind them.
Bytes Descriptor(const NaiveLabel& label) {
  return Bytes(label.data).subspan(label.DescriptorOffset(), 10);
}
// Cut at the label's end: the geometry of a compressed raster of no bytes may promise more than there is.
Bytes Raster(const NaiveLabel& label) {
  const Bytes rest = Bytes(label.data).subspan(label.DescriptorOffset() + 10);
  return rest.first(std::min<std::size_t>(rest.size(), label.RasterSize()));
}

// A raster that may be cut or compressed on its way. An ESC Z that announces no bytes counts as one that isn't
// compressed.
bool IsPlainRaster(const NaiveLabel& label) {
  return label.raster && label.compressedSize == 0;
}

bool DecompressesTo(Bytes block, Bytes raster) {
  std::vector<char> out(raster.size() + 1);
  const int size = LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), out.data(),
                                       static_cast<int>(block.size()), static_cast<int>(out.size()));
  return size == static_cast<int>(raster.size()) &&
         std::equal(raster.begin(), raster.end(), reinterpret_cast<const std::uint8_t*>(out.data()));
}

// The label's own bytes before and behind its raster command, as far as they are sent.
struct Surroundings {
  Bytes before;
  Bytes behind;
};

Surroundings Around(const NaiveLabel& label, Bytes span) {
  const std::size_t skipped = label.data.size() - span.size();
  const std::size_t end = label.DescriptorOffset() + 10 + label.RasterSize();
  const Bytes behind = end <= label.data.size() ? Bytes(label.data).subspan(end) : Bytes{};
  return {span.first(label.raster->offset - skipped), behind};
}

bool IsCompressedForm(Bytes bytes, const NaiveLabel& label, Bytes span) {
  if (!IsPlainRaster(label) || Raster(label).size() < label.RasterSize()) {
    return false;
  }
  constexpr std::size_t kHead = 17;
  const auto [before, behind] = Around(label, span);
  if (!StartsWith(bytes, before) || bytes.size() < before.size() + kHead + behind.size()) {
    return false;
  }
  const Bytes head = bytes.subspan(before.size(), kHead);
  const Bytes block = bytes.subspan(before.size() + kHead, bytes.size() - before.size() - kHead - behind.size());
  return head[0] == 0x1B && head[1] == 'Z' && head[2] == 3 && Little32(head, 3) == block.size() &&
         Same(head.subspan(7), Descriptor(label)) && Same(bytes.last(behind.size()), behind) &&
         DecompressesTo(block, Raster(label));
}

}  // namespace

Bytes WireCheck::SendSpan(const NaiveLabel& label) const {
  return Bytes(label.data).subspan(SendIPHs != 0 ? 0 : label.iphLength);
}

bool WireCheck::AreTwins(const NaiveLabel& one, const NaiveLabel& other) const {
  return Same(SendSpan(one), SendSpan(other));
}

void WireCheck::Expect(Bytes piece) {
  const std::size_t before = parser_.labels.size();
  parser_.ProcessData(piece);
  for (std::size_t number = before; number < parser_.labels.size() && !twins_; ++number) {
    const auto same = [&](const NaiveLabel& other) { return AreTwins(other, parser_.labels[number]); };
    twins_ = std::any_of(parser_.labels.begin(), parser_.labels.begin() + static_cast<std::ptrdiff_t>(number), same);
  }
}

void WireCheck::OnWrite(Bytes bytes, bool succeeded) {
  // Nothing comes between a chunk's head and its lines, which may look like any command.
  const bool linesAreNext = chunks_ && !chunks_->expectedLines.empty();
  if (linesAreNext) {
    FUZZ_CHECK(TakeChunkPart(bytes, succeeded));
    return;
  }
  if (IsRequestOrCommand(bytes)) {
    footerWritten_ = footerWritten_ || (succeeded && Same(bytes, parser_.jobFooter));
    return;
  }
  if (TakeChunkPart(bytes, succeeded) || TakeLabel(bytes, succeeded)) {
    return;
  }
  if (Same(bytes, parser_.jobHeader)) {
    return;
  }
  FUZZ_CHECK(Same(bytes, parser_.jobFooter));
  FUZZ_CHECK(acknowledged_ == parser_.labels.size());
  footerWritten_ = footerWritten_ || succeeded;
}

bool WireCheck::IsWholeLabel(Bytes bytes, std::size_t number) const {
  const NaiveLabel& label = parser_.labels[number];
  const Bytes span = SendSpan(label);
  return Same(bytes, span) || IsCompressedForm(bytes, label, span);
}

bool WireCheck::IsChunkedHead(Bytes bytes, std::size_t number) const {
  const NaiveLabel& label = parser_.labels[number];
  return IsPlainRaster(label) && PdChunkSize > 0 && PdChunkSize < label.LineCount() &&
         Same(bytes, Around(label, SendSpan(label)).before);
}

// From the oldest label that isn't acknowledged up to the one behind the last that went out: none is passed over, and
// none comes again once it is done with. Looked for first where it should stand.
bool WireCheck::TakeLabel(Bytes bytes, bool succeeded) {
  out_.resize(parser_.labels.size());
  const auto firstNeverOut = static_cast<std::size_t>(std::find(out_.begin(), out_.end(), false) - out_.begin());
  const std::size_t end = twins_ ? parser_.labels.size() : std::min(firstNeverOut + 1, parser_.labels.size());
  std::vector<std::size_t> candidates;
  if (next_ >= acknowledged_ && next_ < end) {
    candidates.push_back(next_);
  }
  for (std::size_t number = acknowledged_; number < end; ++number) {
    candidates.push_back(number);
  }
  for (const std::size_t number : candidates) {
    if (IsWholeLabel(bytes, number)) {
      chunks_.reset();
      if (succeeded) {
        NoteOut(number);
      }
      return true;
    }
    if (IsChunkedHead(bytes, number)) {
      chunks_.reset();
      if (succeeded) {
        BeginChunks(number);
      }
      return true;
    }
  }
  return false;
}

void WireCheck::NoteOut(std::size_t number) {
  for (std::size_t other = 0; other < (twins_ ? out_.size() : 0); ++other) {
    out_[other] = out_[other] || AreTwins(parser_.labels[other], parser_.labels[number]);
  }
  out_[number] = true;
  next_ = number + 1;
}

void WireCheck::BeginChunks(std::size_t number) {
  const NaiveLabel& label = parser_.labels[number];
  chunks_ = ChunkedLabel{number, label.LineCount(), Raster(label), {}};
}

bool WireCheck::TakeChunkPart(Bytes bytes, bool succeeded) {
  if (!chunks_) {
    return false;
  }
  const NaiveLabel& label = parser_.labels[chunks_->number];
  const bool atEnd = chunks_->linesLeft == 0 && chunks_->expectedLines.empty();
  if (atEnd && Same(bytes, Around(label, SendSpan(label)).behind)) {
    chunks_.reset();
    return true;
  }
  if (!chunks_->expectedLines.empty() && Same(bytes, chunks_->expectedLines)) {
    chunks_->expectedLines = {};
  } else if (!chunks_->expectedLines.empty() || !TakeChunkHead(bytes)) {
    return false;
  }
  if (succeeded && chunks_->linesLeft == 0 && chunks_->expectedLines.empty()) {
    NoteOut(chunks_->number);
  }
  if (!succeeded) {
    chunks_.reset();
  }
  return true;
}

bool WireCheck::TakeChunkHead(Bytes bytes) {
  const NaiveLabel& label = parser_.labels[chunks_->number];
  const std::uint32_t lines = std::min(chunks_->linesLeft, PdChunkSize);
  const Bytes descriptor = Descriptor(label);
  if (lines == 0 || bytes.size() != 12 || bytes[0] != 0x1B || bytes[1] != 'D' || bytes[2] != 1 ||
      bytes[3] != descriptor[1] || Little32(bytes, 4) != lines || !Same(bytes.subspan(8), descriptor.subspan(6))) {
    return false;
  }
  chunks_->linesLeft -= lines;
  const std::uint32_t size = label.LineBytes() * lines;
  const bool reaches = size <= chunks_->rasterLeft.size();
  chunks_->expectedLines = reaches ? chunks_->rasterLeft.first(size) : Bytes{};
  chunks_->rasterLeft = reaches ? chunks_->rasterLeft.subspan(size) : Bytes{};
  return true;
}

void WireCheck::OnAcknowledged(std::size_t labels) {
  FUZZ_CHECK(labels <= parser_.labels.size());
  out_.resize(parser_.labels.size());
  for (; acknowledged_ < labels; ++acknowledged_) {
    FUZZ_CHECK(out_[acknowledged_]);
  }
}

}  // namespace sc3xxmon::fuzz
