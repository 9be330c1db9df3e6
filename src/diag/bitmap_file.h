// A Windows bitmap file of 1 bit a dot: the picture that a label dump is.
//
// The writer is kept simple on purpose: it steps through its source by rows of whole bytes, width / 8 rounded down. A
// raster whose width is no multiple of 8 has longer lines than that and comes out skewed. Fails in silence.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace sc3xxmon {

// The file head and the info head, as far as they differ from picture to picture.
struct BitmapHeads {
  std::uint32_t biSizeImage = 0;
  std::int32_t biWidth = 0;
  std::int32_t biHeight = 0;
  std::uint16_t biBitCount = 1;
  std::uint32_t biClrUsed = 2;

  static constexpr std::size_t kSize = 54;
  std::array<std::uint8_t, kSize> Bytes() const;
};

// The heads of a picture of `lineCount` lines with 1 bit a dot and two colours.
BitmapHeads HeadsFor(std::uint32_t dotsPerLine, std::uint32_t lineCount);

// Writes the picture, last row first. `colours` holds biClrUsed entries. Where `rows` ends early, a row consists of what is
// there, and of its padding to a multiple of four bytes all the same. `paddedRows`: the rows of the source have that
// padding already. False if the file couldn't be made.
bool WriteBitmapFile(const std::wstring& path, const BitmapHeads& heads, std::span<const std::uint32_t> colours,
                     std::span<const std::uint8_t> rows, bool paddedRows);

}  // namespace sc3xxmon
