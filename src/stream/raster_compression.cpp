#include "stream/raster_compression.h"

#include <lz4.h>

#include <algorithm>
#include <limits>

namespace sc3xxmon {
namespace {

// LZ4 counts in int.
constexpr std::size_t kMostBytes = std::numeric_limits<int>::max();

// A work space beyond that can't be filled anyway.
int Capacity(const ByteVector& bytes) {
  return static_cast<int>(std::min(bytes.size(), kMostBytes));
}

}  // namespace

ByteVector CompressRaster(std::span<const std::uint8_t> raster) {
  if (raster.data() == nullptr || raster.empty() || raster.size() > LZ4_MAX_INPUT_SIZE) {
    return {};
  }
  const int size = static_cast<int>(raster.size());
  ByteVector block(static_cast<std::size_t>(std::max(LZ4_compressBound(size), size)));
  const int written = LZ4_compress_default(reinterpret_cast<const char*>(raster.data()),
                                           reinterpret_cast<char*>(block.data()), size, Capacity(block));
  if (written <= 0) {
    return {};
  }
  block.resize(static_cast<std::size_t>(written));
  return block;
}

ByteVector DecompressRaster(std::span<const std::uint8_t> compressed, std::uint32_t expectedSize) {
  constexpr std::size_t kSpare = 4096;
  if (compressed.data() == nullptr || compressed.empty() || compressed.size() > kMostBytes) {
    return {};
  }
  ByteVector raster(std::max<std::size_t>(compressed.size(), expectedSize) + kSpare);
  const int written =
      LZ4_decompress_safe(reinterpret_cast<const char*>(compressed.data()), reinterpret_cast<char*>(raster.data()),
                          static_cast<int>(compressed.size()), Capacity(raster));
  if (written < 1) {
    return {};
  }
  raster.resize(static_cast<std::size_t>(written));
  return raster;
}

}  // namespace sc3xxmon
