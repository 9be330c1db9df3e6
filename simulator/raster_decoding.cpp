#include "simulator/raster_decoding.h"

#include <lz4.h>

namespace simulator {

std::optional<std::vector<std::uint8_t>> DecodeRaster(std::span<const std::uint8_t> block, std::size_t size) {
  if (size == 0) return std::vector<std::uint8_t>{};
  // A byte of an LZ4 block yields at most 255: what promises more is broken, and needs no memory to find out.
  if (size > LZ4_MAX_INPUT_SIZE || block.size() > LZ4_MAX_INPUT_SIZE || size / 256 > block.size()) return std::nullopt;
  std::vector<std::uint8_t> raster(size);
  const int made =
      LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(raster.data()),
                          static_cast<int>(block.size()), static_cast<int>(size));
  if (made < 0 || static_cast<std::size_t>(made) != size) return std::nullopt;
  return raster;
}

}  // namespace simulator
