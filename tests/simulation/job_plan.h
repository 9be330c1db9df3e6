// A job as the simulation made it up: the stream that the spooler is given, and what of it is to come out on paper.
// Plain data.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "support/bytes.h"

namespace sc3xxmon::simulation {

using test::ByteString;

struct RasterPlan {
  std::uint8_t bitsPerDot = 1;
  std::uint8_t flags = 0;
  std::uint32_t lines = 0;
  std::uint32_t dotsPerLine = 0;
  ByteString dots;
  ByteString block;  // the dots as an LZ4 block, for a raster that the driver compressed itself

  std::uint32_t LineBytes() const { return (std::uint32_t{bitsPerDot} * dotsPerLine + 7) / 8; }
  ByteString Descriptor() const;  // the ten bytes that both raster commands share
  ByteString Command() const;     // ESC D, or ESC Z where there is a block
};

struct LabelPlan {
  std::uint16_t index = 0;
  ByteString between;                     // commands between the label before and this one
  ByteString front;                       // ESC n and what stands before the raster
  std::optional<RasterPlan> firstRaster;  // of a label with two
  std::optional<RasterPlan> raster;       // the one that the monitor works on; none: an empty label
  ByteString back;                        // what stands behind it, the end command included
  bool ended = true;                      // by ESC G or ESC p of its own

  bool Empty() const { return !raster || raster->dots.empty(); }
  ByteString Bytes() const;
  ByteString PrintedDots() const;
  std::uint32_t PrintedLines() const;
};

struct JobPlan {
  std::uint32_t id = 0;
  ByteString header;
  bool openLength = false;  // the header says that labels have no fixed length
  std::vector<LabelPlan> labels;
  ByteString footer;
  std::vector<std::uint32_t> pieces;  // sizes of the spooler's buffers, used in turn
  std::optional<std::uint64_t> deleteAfterMs;

  ByteString Stream() const;
  // The monitor sends of the footer what has come when its first command is whole; the rest stays with it. So the end of
  // the job reaches the printer only in a footer that comes in one piece.
  bool FooterComesWhole() const;
};

}  // namespace sc3xxmon::simulation
