#include "simulation/job_plan.h"

#include <algorithm>

namespace sc3xxmon::simulation {
namespace {

void Append(ByteString& out, const ByteString& bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

void AppendLittle32(ByteString& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

}  // namespace

ByteString RasterPlan::Descriptor() const {
  ByteString out{bitsPerDot, flags};
  AppendLittle32(out, lines);
  AppendLittle32(out, dotsPerLine);
  return out;
}

ByteString RasterPlan::Command() const {
  ByteString out{0x1B, static_cast<std::uint8_t>(block.empty() ? 'D' : 'Z')};
  if (!block.empty()) {
    out.push_back(3);
    AppendLittle32(out, static_cast<std::uint32_t>(block.size()));
  }
  Append(out, Descriptor());
  Append(out, block.empty() ? dots : block);
  return out;
}

ByteString LabelPlan::Bytes() const {
  ByteString out = between;
  Append(out, front);
  for (const auto& part : {firstRaster, raster}) {
    if (part) {
      Append(out, part->Command());
    }
  }
  Append(out, back);
  return out;
}

ByteString LabelPlan::PrintedDots() const {
  ByteString out;
  for (const auto& part : {firstRaster, raster}) {
    if (part) {
      Append(out, part->dots);
    }
  }
  return out;
}

std::uint32_t LabelPlan::PrintedLines() const {
  std::uint32_t lines = 0;
  for (const auto& part : {firstRaster, raster}) {
    lines += part && part->LineBytes() > 0 ? part->lines : 0;
  }
  return lines;
}

ByteString JobPlan::Stream() const {
  ByteString out = header;
  for (const LabelPlan& label : labels) {
    Append(out, label.Bytes());
  }
  Append(out, footer);
  return out;
}

bool JobPlan::FooterComesWhole() const {
  const std::size_t size = Stream().size();
  const std::size_t firstCommandEnd = size - footer.size() + 2;
  std::size_t end = 0;
  for (std::size_t piece = 0; end < firstCommandEnd; ++piece) {
    end += std::max(pieces[piece % pieces.size()], 1u);
  }
  return end >= size;
}

}  // namespace sc3xxmon::simulation
