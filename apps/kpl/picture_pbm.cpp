// PBM in its two forms: P1 writes a dot as the character 0 or 1, P4 as a bit. In both, 1 is black.
#include <algorithm>
#include <string_view>

#include "apps/kpl/grey_picture.h"
#include "apps/kpl/input_error.h"

namespace sc3xx {
namespace {

bool IsSpace(std::uint8_t byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

class PbmReader {
 public:
  PbmReader(const InputFile& file, std::uint64_t maxPixels)
      : name_(file.name), bytes_(file.bytes), maxPixels_(maxPixels) {}

  GreyPicture Read() {
    const bool packed = bytes_[1] == '4';
    position_ = 2;
    const std::uint32_t width = Number("width");
    const std::uint32_t height = Number("height");
    RequireSourceSize(name_, width, height, maxPixels_);
    RequireEnoughBytes(width, height, packed);
    GreyPicture picture = WhiteGreyPicture(width, height);
    packed ? ReadPacked(picture) : ReadPlain(picture);
    RequireEnd();
    return picture;
  }

 private:
  [[noreturn]] void Damaged(const std::string& why) const {
    throw InputError(name_ + ": is a damaged PBM picture: " + why + "; copy or export it again");
  }

  std::string Here() const { return " at byte " + std::to_string(position_); }

  bool AtEnd() const { return position_ == bytes_.size(); }

  void SkipSpaceAndComments() {
    while (!AtEnd() && (IsSpace(bytes_[position_]) || bytes_[position_] == '#')) {
      if (bytes_[position_] == '#') {
        SkipComment();
      } else {
        ++position_;
      }
    }
  }

  void SkipComment() {
    while (!AtEnd() && bytes_[position_] != '\n' && bytes_[position_] != '\r') {
      ++position_;
    }
  }

  std::uint32_t Number(const std::string& what) {
    constexpr std::uint32_t kBeyondAnyPicture = 100'000'000;
    SkipSpaceAndComments();
    const std::size_t begin = position_;
    std::uint32_t number = 0;
    for (; !AtEnd() && bytes_[position_] >= '0' && bytes_[position_] <= '9'; ++position_) {
      number = std::min(number * 10 + (bytes_[position_] - std::uint32_t{'0'}), kBeyondAnyPicture);
    }
    if (position_ == begin) {
      Damaged(AtEnd() ? "it is cut off before its " + what : "no number for its " + what + Here());
    }
    if (!AtEnd() && !IsSpace(bytes_[position_]) && bytes_[position_] != '#') {
      Damaged("no white space behind its " + what + Here());
    }
    return number;
  }

  // A head of twenty bytes must not make us take memory for a picture that can't be there.
  void RequireEnoughBytes(std::uint32_t width, std::uint32_t height, bool packed) const {
    const std::uint64_t line = packed ? (std::uint64_t{width} + 7) / 8 : width;
    const std::uint64_t separator = packed ? 1 : 0;
    const std::uint64_t left = bytes_.size() - position_;
    if (left < line * height + separator) {
      Damaged("it is cut off at byte " + std::to_string(bytes_.size()) + ": " + std::to_string(width) + " x " +
              std::to_string(height) + " dots need at least " + std::to_string(line * height + separator - left) +
              " bytes more");
    }
  }

  void ReadPacked(GreyPicture& picture) {
    ++position_;  // exactly one white space stands between the head and the bits
    for (std::uint32_t y = 0; y < picture.height; ++y) {
      for (std::uint32_t x = 0; x < picture.width; ++x) {
        if ((bytes_[position_ + x / 8] & (0x80 >> (x % 8))) != 0) {
          picture.At(x, y) = kBlack;
        }
      }
      position_ += (std::size_t{picture.width} + 7) / 8;
    }
  }

  void ReadPlain(GreyPicture& picture) {
    for (std::size_t dot = 0; dot < picture.pixels.size(); ++dot) {
      SkipSpaceAndComments();
      if (AtEnd()) {
        Damaged("it is cut off after " + std::to_string(dot) + " of " + std::to_string(picture.pixels.size()) +
                " dots");
      }
      if (bytes_[position_] != '0' && bytes_[position_] != '1') {
        Damaged("neither 0 nor 1" + Here());
      }
      picture.pixels[dot] = bytes_[position_++] == '1' ? kBlack : kWhite;
    }
  }

  // More data means that the head told another size than the data has, or a second picture that would go
  // missing.
  void RequireEnd() {
    SkipSpaceAndComments();
    if (AtEnd()) {
      return;
    }
    const auto kind = KindOfInput(bytes_.subspan(position_));
    if (kind == InputKind::kPbm) {
      throw InputError(name_ + ": holds more than one picture, the second" + Here() +
                       "; split it into files of one picture each");
    }
    Damaged("data behind its last dot," + Here());
  }

  const std::string& name_;
  std::span<const std::uint8_t> bytes_;
  std::uint64_t maxPixels_;
  std::size_t position_ = 0;
};

}  // namespace

GreyPicture ReadPbm(const InputFile& file, std::uint64_t maxPixels) {
  return PbmReader(file, maxPixels).Read();
}

}  // namespace sc3xx
