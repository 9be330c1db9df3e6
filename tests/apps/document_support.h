// Small documents for the tests of the document side: bytes from hexadecimal text, PNG files built chunk by chunk so
// that a test can damage them where it likes, pictures drawn with characters, and a scratch folder.
#ifndef SC3XX_TESTS_APPS_DOCUMENT_SUPPORT_H
#define SC3XX_TESTS_APPS_DOCUMENT_SUPPORT_H

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "apps/kpl/input_error.h"
#include "apps/kpl/input_file.h"
#include "apps/kpl/picture.h"

namespace document_support {

using Bytes = std::vector<std::uint8_t>;

// "1B 73 01": white space between the bytes is free.
Bytes Hex(std::string_view text);
Bytes Text(std::string_view text);
Bytes Joined(std::initializer_list<Bytes> parts);

// '#' is black, '.' is white; all rows equally long.
sc3xx::Picture Drawn(const std::vector<std::string>& rows);
std::vector<std::string> RowsOf(const sc3xx::Picture& picture);

// The same picture each time for a seed; about half of its dots are black.
sc3xx::Picture Noise(std::uint32_t width, std::uint32_t height, std::uint32_t seed);

enum class PngColour : std::uint8_t { kGrey = 0, kRgb = 2, kPalette = 3, kGreyAlpha = 4, kRgba = 6 };

Bytes PngChunk(std::string_view type, const Bytes& data);
Bytes PngHead(std::uint32_t width, std::uint32_t height, std::uint8_t bits, PngColour colour);
// `rows` are the packed rows; each gets the filter byte 0.
Bytes PngData(const std::vector<Bytes>& rows);
Bytes PngSignature();
Bytes PngEnd();
// A whole file of the pieces above.
Bytes Png(std::uint32_t width, std::uint32_t height, std::uint8_t bits, PngColour colour,
          const std::vector<Bytes>& rows);

// A parsed file named "test".
sc3xx::InputFile Input(Bytes bytes);

// The text of the InputError that `action` throws; fails the test and gives "" if it throws none.
template <typename Action>
std::string ErrorOf(Action action);

void ReportMissingError();

template <typename Action>
std::string ErrorOf(Action action) {
  try {
    action();
  } catch (const sc3xx::InputError& error) {
    return error.what();
  }
  ReportMissingError();
  return {};
}

// A folder of its own, removed with all that is in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::string Write(const std::string& name, const Bytes& bytes) const;

 private:
  std::filesystem::path path_;
};

}  // namespace document_support

#endif  // SC3XX_TESTS_APPS_DOCUMENT_SUPPORT_H
