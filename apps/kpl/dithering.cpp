// Greys to dots, in three ways. All of them leave pure black and pure white as they are, so that line art on
// a white ground comes out the same whichever is chosen.
#include <algorithm>
#include <array>
#include <vector>

#include "apps/kpl/grey_picture.h"

namespace sc3xx {
namespace {

Picture ByThreshold(const GreyPicture& picture, std::uint8_t threshold) {
  Picture dots = BlankPicture(picture.width, picture.height);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      if (picture.At(x, y) < threshold) {
        dots.SetBlack(x, y);
      }
    }
  }
  return dots;
}

// The 8x8 matrix of Bayer: each rank from 0 to 63 once, neighbours in rank far apart in place.
std::uint32_t BayerRank(std::uint32_t x, std::uint32_t y) {
  std::uint32_t rank = 0;
  for (std::uint32_t bit = 0; bit < 3; ++bit) {
    const std::uint32_t across = (x >> bit) & 1;
    const std::uint32_t down = (y >> bit) & 1;
    rank = (rank << 2) | ((across ^ down) << 1) | down;
  }
  return rank;
}

Picture ByPattern(const GreyPicture& picture) {
  Picture dots = BlankPicture(picture.width, picture.height);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      // Thresholds from 2 to 254 in steps of 4: black lies below all of them, white above.
      if (picture.At(x, y) < BayerRank(x & 7, y & 7) * 4 + 2) {
        dots.SetBlack(x, y);
      }
    }
  }
  return dots;
}

// What a pixel is darker or lighter than the dot that stands for it is handed on to the four neighbours not
// yet decided: 7, 3, 5 and 1 sixteenths. Every other line runs backwards, which keeps worms out of even
// greys.
class ErrorDiffusion {
 public:
  explicit ErrorDiffusion(const GreyPicture& picture)
      : picture_(picture), here_(picture.width + 2), below_(picture.width + 2) {}

  Picture Run() {
    Picture dots = BlankPicture(picture_.width, picture_.height);
    for (std::uint32_t y = 0; y < picture_.height; ++y) {
      for (std::uint32_t step = 0; step < picture_.width; ++step) {
        Decide(y % 2 == 0 ? step : picture_.width - 1 - step, y, y % 2 == 0 ? 1 : -1, dots);
      }
      here_.swap(below_);
      std::fill(below_.begin(), below_.end(), 0);
    }
    return dots;
  }

 private:
  void Decide(std::uint32_t x, std::uint32_t y, int direction, Picture& dots) {
    const int grey = picture_.At(x, y);
    // A pure pixel is what it is: an error left over from greys beside it must not speckle a white ground.
    const int wanted = grey == kWhite || grey == kBlack ? grey : grey + here_[x + 1] / 16;
    const bool black = wanted < 128;
    if (black) {
      dots.SetBlack(x, y);
    }
    const int error = wanted - (black ? kBlack : kWhite);
    const std::size_t centre = std::size_t{x} + 1;
    const std::size_t ahead = direction > 0 ? centre + 1 : centre - 1;
    const std::size_t behind = direction > 0 ? centre - 1 : centre + 1;
    here_[ahead] += error * 7;
    below_[behind] += error * 3;
    below_[centre] += error * 5;
    below_[ahead] += error;
  }

  const GreyPicture& picture_;
  std::vector<int> here_;  // sixteenths, one place of margin on each side
  std::vector<int> below_;
};

}  // namespace

Picture Dithered(const GreyPicture& picture, Dithering dithering, std::uint8_t threshold) {
  switch (dithering) {
    case Dithering::kThreshold:
      break;
    case Dithering::kOrdered:
      return ByPattern(picture);
    case Dithering::kFloydSteinberg:
      return ErrorDiffusion(picture).Run();
  }
  return ByThreshold(picture, threshold);
}

}  // namespace sc3xx
