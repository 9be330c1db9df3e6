#include "simulator/label_picture.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <fstream>
#include <limits>
#include <system_error>

namespace simulator {
namespace {

constexpr png_uint_32 kDotsPerMetre = 11811;  // 300 dots an inch

struct Output {
  std::vector<std::uint8_t> bytes;
  std::string error;
};

void Append(png_structp png, png_bytep data, png_size_t size) {
  auto* output = static_cast<Output*>(png_get_io_ptr(png));
  output->bytes.insert(output->bytes.end(), data, data + size);
}

void KeepError(png_structp png, png_const_charp message) {
  static_cast<Output*>(png_get_error_ptr(png))->error = message;
  png_longjmp(png, 1);
}

void IgnoreWarning(png_structp /*png*/, png_const_charp /*message*/) {}

std::string CheckRaster(const RasterView& raster) {
  if (raster.lines == 0 || raster.dotsPerLine == 0) return "the label is blank: it has no dots to draw";
  const unsigned bits = raster.bitsPerDot;
  if (bits != 1 && bits != 2 && bits != 4 && bits != 8) {
    return "can't draw " + std::to_string(bits) + " bits a dot; 1, 2, 4 and 8 can be drawn";
  }
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  if (raster.lines > kMost || raster.dotsPerLine > kMost) return "the label is too large for a picture";
  const std::uint64_t lineBytes = (std::uint64_t{bits} * raster.dotsPerLine + 7) / 8;
  if (raster.bytes.size() / lineBytes < raster.lines) return "the raster is shorter than its lines say";
  return {};
}

void WriteHead(png_structp png, png_infop info, const RasterView& raster) {
  png_set_user_limits(png, 0x7FFFFFFF, 0x7FFFFFFF);
  png_set_IHDR(png, info, raster.dotsPerLine, raster.lines, raster.bitsPerDot, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_pHYs(png, info, kDotsPerMetre, kDotsPerMetre, PNG_RESOLUTION_METER);
  png_write_info(png, info);
}

// A set bit is a black dot, and black is 0 in a grey picture.
void WriteLines(png_structp png, const RasterView& raster, std::vector<std::uint8_t>& line) {
  for (std::uint32_t number = 0; number < raster.lines; ++number) {
    const auto* from = raster.bytes.data() + std::size_t{number} * line.size();
    std::transform(from, from + line.size(), line.begin(),
                   [](std::uint8_t dots) { return static_cast<std::uint8_t>(~dots); });
    png_write_row(png, line.data());
  }
}

// libpng leaves by longjmp: nothing with a destructor may live in this function, nor in those above while they call it.
bool WritePicture(png_structp png, png_infop info, const RasterView& raster, std::vector<std::uint8_t>& line) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  WriteHead(png, info, raster);
  WriteLines(png, raster, line);
  png_write_end(png, info);
  return true;
}

}  // namespace

RasterView ViewOf(const PrintedLabel& label) {
  return {label.raster, label.dotsPerLine, label.lines, label.bitsPerDot};
}

std::variant<std::vector<std::uint8_t>, PictureError> EncodePng(const RasterView& raster) {
  std::string problem = CheckRaster(raster);
  if (!problem.empty()) return PictureError{std::move(problem)};
  Output output;
  std::vector<std::uint8_t> line((std::size_t{raster.bitsPerDot} * raster.dotsPerLine + 7) / 8);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, KeepError, IgnoreWarning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  bool done = false;
  if (info != nullptr) {
    png_set_write_fn(png, &output, Append, nullptr);
    done = WritePicture(png, info, raster, line);
  }
  png_destroy_write_struct(&png, &info);
  if (!done) return PictureError{"the picture can't be encoded: " + output.error};
  return std::move(output.bytes);
}

std::string WritePng(const RasterView& raster, const std::filesystem::path& file) {
  auto encoded = EncodePng(raster);
  if (const auto* error = std::get_if<PictureError>(&encoded)) return file.string() + ": " + error->message;
  const auto& bytes = std::get<std::vector<std::uint8_t>>(encoded);
  errno = 0;
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  const bool opened = stream.is_open();
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (stream) return {};
  const int reason = errno;
  std::error_code ignored;
  if (opened) std::filesystem::remove(file, ignored);
  const std::string why = reason == 0 ? "unknown reason" : std::generic_category().message(reason);
  return file.string() + ": can't write the picture: " + why;
}

}  // namespace simulator
