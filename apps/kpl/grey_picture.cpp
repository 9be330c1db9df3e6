#include "apps/kpl/grey_picture.h"

#include <algorithm>
#include <utility>

#include "apps/kpl/input_error.h"

namespace sc3xx {
namespace {

// One line of `count` pixels, `stride` apart, brought to `newCount` pixels, `newStride` apart.
//
// Both lines are measured in units of 1 / (count * newCount) of their length: an old pixel covers newCount
// units and a new one count units. The weights are therefore whole numbers, and the same picture gives the
// same greys everywhere.
struct LineScale {
  std::size_t count;
  std::size_t stride;
  std::size_t newCount;
  std::size_t newStride;

  void operator()(const std::uint8_t* source, std::uint8_t* target) const {
    if (count == 0) {
      return;
    }
    for (std::size_t index = 0; index < newCount; ++index) {
      target[index * newStride] = MeanOf(source, index);
    }
  }

 private:
  std::uint8_t MeanOf(const std::uint8_t* source, std::size_t index) const {
    const std::uint64_t begin = std::uint64_t{index} * count;
    const std::uint64_t end = begin + count;
    std::uint64_t sum = 0;
    for (std::uint64_t pixel = begin / newCount; pixel * newCount < end; ++pixel) {
      const std::uint64_t covered = std::min(end, (pixel + 1) * newCount) - std::max(begin, pixel * newCount);
      sum += covered * source[pixel * stride];
    }
    return static_cast<std::uint8_t>((sum + count / 2) / count);
  }
};

GreyPicture ScaledAcross(const GreyPicture& picture, std::uint32_t width) {
  GreyPicture result = WhiteGreyPicture(width, picture.height);
  const LineScale scale{picture.width, 1, width, 1};
  for (std::size_t y = 0; y < picture.height; ++y) {
    scale(picture.pixels.data() + y * picture.width, result.pixels.data() + y * width);
  }
  return result;
}

GreyPicture ScaledAlong(const GreyPicture& picture, std::uint32_t height) {
  GreyPicture result = WhiteGreyPicture(picture.width, height);
  const LineScale scale{picture.height, picture.width, height, picture.width};
  for (std::size_t x = 0; x < picture.width; ++x) {
    scale(picture.pixels.data() + x, result.pixels.data() + x);
  }
  return result;
}

GreyPicture QuarterTurned(const GreyPicture& picture) {
  GreyPicture result = WhiteGreyPicture(picture.height, picture.width);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      result.At(picture.height - 1 - y, x) = picture.At(x, y);
    }
  }
  return result;
}

}  // namespace

GreyPicture WhiteGreyPicture(std::uint32_t width, std::uint32_t height) {
  return GreyPicture{width, height, std::vector<std::uint8_t>(std::size_t{width} * height, kWhite)};
}

void RequireSourceSize(const std::string& name, std::uint64_t width, std::uint64_t height, std::uint64_t maxPixels) {
  const std::string size = std::to_string(width) + " x " + std::to_string(height);
  if (width == 0 || height == 0) {
    throw InputError(name + ": the picture is empty (" + size + " dots); nothing can be printed of it");
  }
  if (width > maxPixels / height) {
    throw InputError(name + ": the picture is too large to read (" + size + " dots, at most " +
                     std::to_string(maxPixels) + " together); reduce it to the size of the label first");
  }
}

GreyPicture Rotated(GreyPicture picture, Rotation rotation) {
  switch (rotation) {
    case Rotation::kNone:
      break;
    case Rotation::kQuarter:
      return QuarterTurned(picture);
    case Rotation::kHalf:
      std::reverse(picture.pixels.begin(), picture.pixels.end());
      break;
    case Rotation::kThreeQuarters: {
      GreyPicture turned = QuarterTurned(picture);
      std::reverse(turned.pixels.begin(), turned.pixels.end());
      return turned;
    }
  }
  return picture;
}

GreyPicture Scaled(const GreyPicture& picture, std::uint32_t width, std::uint32_t height) {
  // The direction that shrinks goes first, so that the picture in between is never the larger one.
  if (width <= picture.width) {
    return ScaledAlong(ScaledAcross(picture, width), height);
  }
  return ScaledAcross(ScaledAlong(picture, height), width);
}

GreyPicture Centred(const GreyPicture& picture, std::uint32_t width) {
  GreyPicture result = WhiteGreyPicture(width, picture.height);
  const std::uint32_t common = std::min(width, picture.width);
  const std::size_t from = (picture.width - common) / 2;
  const std::size_t to = (width - common) / 2;
  for (std::size_t y = 0; y < picture.height; ++y) {
    const auto* source = picture.pixels.data() + y * picture.width + from;
    std::copy_n(source, common, result.pixels.data() + y * width + to);
  }
  return result;
}

}  // namespace sc3xx
