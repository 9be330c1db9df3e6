// Pictures on their way to dots: eight bits a pixel, 0 black and 255 white. Internal to the document side.
//
// Threads: none; free functions without shared state. Errors: InputError from the readers; the rest can't
// fail.
#ifndef SC3XX_APPS_KPL_GREY_PICTURE_H
#define SC3XX_APPS_KPL_GREY_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/kpl/input_file.h"
#include "apps/kpl/picture.h"

namespace sc3xx {

inline constexpr std::uint8_t kWhite = 255;
inline constexpr std::uint8_t kBlack = 0;

struct GreyPicture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;  // row by row, width * height of them

  std::uint8_t At(std::uint32_t x, std::uint32_t y) const { return pixels[std::size_t{y} * width + x]; }
  std::uint8_t& At(std::uint32_t x, std::uint32_t y) { return pixels[std::size_t{y} * width + x]; }
};

GreyPicture WhiteGreyPicture(std::uint32_t width, std::uint32_t height);

// The two readers. `maxPixels` is checked against the picture's head, before memory is taken for the pixels.
GreyPicture ReadPng(const InputFile& file, std::uint64_t maxPixels);
GreyPicture ReadPbm(const InputFile& file, std::uint64_t maxPixels);

// Throws InputError if a picture named `name` of this size is empty or has more than `maxPixels`.
void RequireSourceSize(const std::string& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels);

GreyPicture Rotated(GreyPicture picture, Rotation rotation);

// Area averages: each pixel of the result is the mean of what it covers, weighted by how much of it. Neither
// size is 0.
GreyPicture Scaled(const GreyPicture& picture, std::uint32_t width, std::uint32_t height);

// Centred on a white ground of `width`; what stands over on both sides is cut. An odd dot goes to the right.
GreyPicture Centred(const GreyPicture& picture, std::uint32_t width);

Picture Dithered(const GreyPicture& picture, Dithering dithering, std::uint8_t threshold);

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_GREY_PICTURE_H
