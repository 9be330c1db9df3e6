// PNG, through libpng's simplified interface: it catches its own errors, so that no long jump crosses our
// objects.
#include <png.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "apps/kpl/grey_picture.h"
#include "apps/kpl/input_error.h"

namespace sc3xx {
namespace {

constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kChunkFrameBytes = 12;  // length, type, check sum

[[noreturn]] void Damaged(const std::string& name, const std::string& why) {
  throw InputError(name + ": is a damaged PNG picture: " + why + "; copy or export it again");
}

std::uint32_t BigEndian32(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return std::uint32_t{bytes[offset]} << 24 | std::uint32_t{bytes[offset + 1]} << 16 |
         std::uint32_t{bytes[offset + 2]} << 8 | std::uint32_t{bytes[offset + 3]};
}

// A chunk's type for a message; bytes that aren't letters are a sign of damage themselves.
std::string ChunkType(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::string type;
  for (std::size_t index = offset; index < offset + 4; ++index) {
    const char letter = static_cast<char>(bytes[index]);
    const bool isLetter = (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
    type += isLetter ? letter : '?';
  }
  return type;
}

// libpng is content once it has the pixels and says little of where a file ends; a person who copied half a
// file wants to hear just that. So the chunks are counted here first.
void RequireWhole(const InputFile& file) {
  const std::span<const std::uint8_t> bytes = file.bytes;
  std::size_t offset = kSignatureBytes;
  while (bytes.size() - offset >= kChunkFrameBytes) {
    const std::uint64_t length = BigEndian32(bytes, offset);
    const std::string type = ChunkType(bytes, offset + 4);
    if (length > bytes.size() - offset - kChunkFrameBytes) {
      Damaged(file.name, "it is cut off at byte " + std::to_string(bytes.size()) + ", inside the chunk " + type +
                             " that begins at byte " + std::to_string(offset));
    }
    if (type == "IEND") {
      return;
    }
    offset += kChunkFrameBytes + static_cast<std::size_t>(length);
  }
  Damaged(file.name, "it is cut off at byte " + std::to_string(bytes.size()) + ", before its end mark");
}

class PngImage {
 public:
  explicit PngImage(const InputFile& file) : name_(file.name) {
    image_.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image_, file.bytes.data(), file.bytes.size()) == 0) {
      Damaged(name_, image_.message);
    }
  }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;
  ~PngImage() { png_image_free(&image_); }

  std::uint32_t Width() const { return image_.width; }
  std::uint32_t Height() const { return image_.height; }

  void ReadGreyOverWhite(std::vector<std::uint8_t>& pixels) {
    image_.format = PNG_FORMAT_GRAY;
    image_.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // without a gamma of their own, 16 bits mean the same as 8
    const png_color white{kWhite, kWhite, kWhite};
    if (png_image_finish_read(&image_, &white, pixels.data(), 0, nullptr) == 0) {
      Damaged(name_, image_.message);
    }
  }

 private:
  std::string name_;
  png_image image_{};
};

}  // namespace

GreyPicture ReadPng(const InputFile& file, std::uint64_t maxPixels) {
  RequireWhole(file);
  PngImage image(file);
  RequireSourceSize(file.name, image.Width(), image.Height(), maxPixels);
  GreyPicture picture = WhiteGreyPicture(image.Width(), image.Height());
  image.ReadGreyOverWhite(picture.pixels);
  return picture;
}

}  // namespace sc3xx
