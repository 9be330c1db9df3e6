#include "apps/kpl/picture.h"

#include <algorithm>
#include <utility>

#include "apps/kpl/grey_picture.h"
#include "apps/kpl/input_error.h"

namespace sc3xx {
namespace {

constexpr std::uint8_t kLeftmostDot = 0x80;

std::uint8_t DotMask(std::uint32_t x) {
  return static_cast<std::uint8_t>(kLeftmostDot >> (x % 8));
}

GreyPicture ReadGrey(const InputFile& file, std::uint64_t maxPixels) {
  RequirePicture(file);
  return file.kind == InputKind::kPng ? ReadPng(file, maxPixels) : ReadPbm(file, maxPixels);
}

void RequireWidthOption(const PictureOptions& options) {
  if (options.width && (*options.width == 0 || *options.width > options.maxDots)) {
    throw InputError("a label width of " + std::to_string(*options.width) + " dots can't be printed; choose 1 to " +
                     std::to_string(options.maxDots));
  }
}

std::uint32_t ScaledHeight(const GreyPicture& picture, std::uint32_t width) {
  const std::uint64_t height = (std::uint64_t{picture.height} * width + picture.width / 2) / picture.width;
  return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(height, 1, UINT32_MAX));
}

void RequireLength(const std::string& name, std::uint32_t lines, const PictureOptions& options) {
  if (lines > options.maxLines) {
    throw InputError(name + ": the label would be " + std::to_string(lines) + " lines long, but at most " +
                     std::to_string(options.maxLines) + " are possible; cut the picture into several labels");
  }
}

void RequireFits(const std::string& name, std::uint32_t dots, std::uint32_t widest, const char* whose) {
  if (dots > widest) {
    throw InputError(name + ": is " + std::to_string(dots) + " dots wide, but " + whose + " is at most " +
                     std::to_string(widest) +
                     " dots; turn it by a quarter if its text runs along the feed, or have it scaled or cropped");
  }
}

GreyPicture FittedToWidth(const std::string& name, GreyPicture picture, const PictureOptions& options) {
  if (!options.width) {
    RequireFits(name, picture.width, options.maxDots, "a label");
    return picture;
  }
  const std::uint32_t width = *options.width;
  if (options.fit == Fit::kScale) {
    const std::uint32_t height = ScaledHeight(picture, width);
    RequireLength(name, height, options);  // before the memory for it is taken
    return Scaled(picture, width, height);
  }
  if (options.fit == Fit::kPad) {
    RequireFits(name, picture.width, width, "this label");
  }
  return Centred(picture, width);
}

void Invert(Picture& picture) {
  Picture result = BlankPicture(picture.width, picture.height);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      if (!picture.IsBlack(x, y)) {
        result.SetBlack(x, y);
      }
    }
  }
  picture = std::move(result);
}

}  // namespace

bool Picture::IsBlack(std::uint32_t x, std::uint32_t y) const {
  return (raster[y * LineBytes() + x / 8] & DotMask(x)) != 0;
}

void Picture::SetBlack(std::uint32_t x, std::uint32_t y) {
  raster[y * LineBytes() + x / 8] |= DotMask(x);
}

Picture BlankPicture(std::uint32_t width, std::uint32_t height) {
  Picture picture{width, height, {}};
  picture.raster.resize(picture.LineBytes() * height);
  return picture;
}

Picture ReadPicture(const InputFile& file, const PictureOptions& options) {
  RequireWidthOption(options);
  GreyPicture grey = Rotated(ReadGrey(file, options.maxSourcePixels), options.rotation);
  grey = FittedToWidth(file.name, std::move(grey), options);
  RequireLength(file.name, grey.height, options);
  Picture picture = Dithered(grey, options.dithering, options.threshold);
  if (options.invert) {
    Invert(picture);
  }
  return picture;
}

}  // namespace sc3xx
