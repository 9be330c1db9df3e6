// A printed label as a PNG: one pixel a dot, black dots on white, 300 dots an inch. One bit a dot gives a
// 1-bit grey picture; 2, 4 and 8 bits a dot give as many grey levels with 0 white; other depths are refused.
//
// No thread, no state. Failures are a text that says what, where and why; a failed file is removed again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "simulator/print_record.h"

namespace simulator {

// A raster to be drawn; `bytes` holds `lines` lines of (bitsPerDot * dotsPerLine + 7) / 8 bytes.
struct RasterView {
  std::span<const std::uint8_t> bytes;
  std::uint32_t dotsPerLine = 0;
  std::uint32_t lines = 0;
  std::uint8_t bitsPerDot = 1;
};

RasterView ViewOf(const PrintedLabel& label);

struct PictureError {
  std::string message;
};

std::variant<std::vector<std::uint8_t>, PictureError> EncodePng(const RasterView& raster);

// Empty on success, else what went wrong with which file.
std::string WritePng(const RasterView& raster, const std::filesystem::path& file);

}  // namespace simulator
