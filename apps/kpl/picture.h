// Pictures as a print head sees them: one bit a dot, set is black.
//
// ReadPicture takes PNG (any colour type and depth) and PBM (P1 and P4) and brings them to that form, in this
// order: transparent parts are laid over white, colour becomes grey, the picture is turned, brought to the
// label's width, and its greys become black and white dots.
//
// Threads: none; free functions without shared state. Errors: InputError, with the file named.
// Memory: at most three bytes a dot of the source while reading; one bit a dot afterwards.
#ifndef SC3XX_APPS_KPL_PICTURE_H
#define SC3XX_APPS_KPL_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "apps/kpl/input_file.h"

namespace sc3xx {

// Line 0 leaves the printer first. A line is LineBytes bytes, leftmost dot in the highest bit; the bits
// behind the last dot of a line are zero. This is the layout of a raster in KPL.
struct Picture {
  std::uint32_t width = 0;   // dots across the head
  std::uint32_t height = 0;  // lines along the feed
  std::vector<std::uint8_t> raster;

  std::size_t LineBytes() const { return (std::size_t{width} + 7) / 8; }
  bool IsBlack(std::uint32_t x, std::uint32_t y) const;
  void SetBlack(std::uint32_t x, std::uint32_t y);

  friend bool operator==(const Picture&, const Picture&) = default;
};

// An all-white picture.
Picture BlankPicture(std::uint32_t width, std::uint32_t height);

// How greys become dots.
enum class Dithering {
  kThreshold,       // darker than the threshold is black: right for line art, text and bar codes
  kOrdered,         // a fixed 8x8 pattern: even greys, and the same picture always gives the same dots
  kFloydSteinberg,  // error diffusion: right for photographs
};

// Clockwise, in the direction of reading.
enum class Rotation { kNone, kQuarter, kHalf, kThreeQuarters };

// How a picture comes to the label's width. Its height follows only where it is scaled.
enum class Fit {
  kPad,    // narrower: centred between white margins; wider: an error. No dot changes, so bar codes stay
           // readable.
  kCrop,   // narrower: as kPad; wider: cut by the same amount on both sides
  kScale,  // scaled in proportion to exactly the width, by area averages
};

// The widest heads of the family print four inches and a little at 300 dpi.
inline constexpr std::uint32_t kMaxLabelDots = 1280;
// The longest label whose length a 16-bit operand can tell; 0xFFFF stands for "open".
inline constexpr std::uint32_t kMaxLabelLines = 65534;
inline constexpr std::uint64_t kMaxSourcePixels = std::uint64_t{64} << 20;

struct PictureOptions {
  std::optional<std::uint32_t> width = std::nullopt;  // dots of the label; absent: the picture's own
  Fit fit = Fit::kPad;
  Rotation rotation = Rotation::kNone;
  Dithering dithering = Dithering::kThreshold;
  std::uint8_t threshold = 128;  // kThreshold only: greys below are black, 0 is black and 255 white
  bool invert = false;           // black for white, after dithering

  // Limits. The first two hold for the finished label, the last for the source before a single pixel is
  // decoded.
  std::uint32_t maxDots = kMaxLabelDots;
  std::uint32_t maxLines = kMaxLabelLines;
  std::uint64_t maxSourcePixels = kMaxSourcePixels;
};

// Throws InputError if `file` is no picture, is damaged or cut off, or breaks a limit. A damaged picture
// never gives a partial result.
Picture ReadPicture(const InputFile& file, const PictureOptions& options = {});

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_PICTURE_H
