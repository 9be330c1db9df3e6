#include "apps/sc3xx/picture_files.h"

#include <charconv>

#include "apps/kpl/input_error.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "label-";
constexpr std::string_view kSuffix = ".png";
constexpr std::size_t kFewestDigits = 3;

}  // namespace

std::string PictureName(std::size_t number) {
  const std::string digits = std::to_string(number);
  const std::size_t zeros = digits.size() < kFewestDigits ? kFewestDigits - digits.size() : 0;
  return std::string(kPrefix) + std::string(zeros, '0') + digits + std::string(kSuffix);
}

std::optional<std::size_t> PictureNumber(std::string_view fileName) {
  if (fileName.size() < kPrefix.size() + kFewestDigits + kSuffix.size() || !fileName.starts_with(kPrefix) ||
      !fileName.ends_with(kSuffix)) {
    return std::nullopt;
  }
  const std::string_view digits = fileName.substr(kPrefix.size(), fileName.size() - kPrefix.size() - kSuffix.size());
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() ? std::optional(number) : std::nullopt;
}

void MakeOutputFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error || !fs::is_directory(folder, error)) {
    FailOnOutput(folder, error ? error : std::make_error_code(std::errc::not_a_directory));
  }
}

void FailOnOutput(const fs::path& path, const std::error_code& error) {
  throw InputError("--out " + path.string() + ": " + (error ? error.message() : "can't be written") +
                   "; name a folder that may be written");
}

}  // namespace sc3xx
