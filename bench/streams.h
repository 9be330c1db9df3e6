// Jobs to measure with: whole streams in memory, the same at every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sc3xxmon::bench {

using Stream = std::vector<std::uint8_t>;
using Bytes = std::span<const std::uint8_t>;

// Dots and lines of a label, one bit a dot.
struct LabelSize {
  std::uint32_t dots = 0;
  std::uint32_t lines = 0;

  std::size_t RasterBytes() const { return std::size_t{(dots + 7) / 8} * lines; }
  // In the stream: index, raster head, raster, form feed.
  std::size_t StreamBytes() const { return 4 + 12 + RasterBytes() + 2; }
};

// A parcel label of four by six inches at 300 dpi.
inline constexpr LabelSize kParcelLabel{1200, 1800};
// As little as a label can be.
inline constexpr LabelSize kTinyLabel{16, 4};

// Header, `count` labels, end of job.
Stream MakeJob(std::size_t count, LabelSize size);

// Dots as labels have them: bars, lines of text, and much white.
Stream LabelRaster(LabelSize size);

// Calls `take` with the stream's pieces, in order.
template <class Take>
void InPieces(Bytes stream, std::size_t pieceSize, Take take) {
  while (!stream.empty()) {
    const std::size_t size = pieceSize < stream.size() ? pieceSize : stream.size();
    take(stream.first(size));
    stream = stream.subspan(size);
  }
}

inline constexpr std::size_t kSpoolerPiece = 64 * 1024;

}  // namespace sc3xxmon::bench
