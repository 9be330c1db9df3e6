// Undoing the compression of a raster: one raw LZ4 block of known result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace simulator {

// The decompressed bytes, or nothing when the block is broken or doesn't give exactly `size` bytes.
// An empty block gives an empty raster.
std::optional<std::vector<std::uint8_t>> DecodeRaster(std::span<const std::uint8_t> block, std::size_t size);

}  // namespace simulator
