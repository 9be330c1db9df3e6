// LZ4 blocks of label rasters. Failures give an empty vector; nothing throws but the allocator.
#pragma once

#include <cstdint>
#include <span>

#include "stream/byte_vector.h"

namespace sc3xxmon {

// One LZ4 block of `raster`; empty if the span is empty or can't be compressed. An incompressible raster gives a block
// larger than itself: whether to use it is the caller's business.
ByteVector CompressRaster(std::span<const std::uint8_t> raster);

// The bytes of one LZ4 block. `expectedSize` only sizes the work space, with some to spare: the result may be longer or
// shorter, and is empty if the block is damaged or doesn't fit.
ByteVector DecompressRaster(std::span<const std::uint8_t> compressed, std::uint32_t expectedSize);

}  // namespace sc3xxmon
