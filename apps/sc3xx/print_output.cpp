#include "apps/sc3xx/print_output.h"

#include <algorithm>
#include <system_error>

#include "apps/kpl/input_error.h"
#include "simulator/label_picture.h"
#include "simulator/transcript.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPicturePrefix = "label-";
constexpr std::string_view kPictureSuffix = ".png";

std::string PictureName(std::size_t number) {
  const std::string digits = std::to_string(number);
  const std::size_t zeros = digits.size() < 3 ? 3 - digits.size() : 0;
  return std::string(kPicturePrefix) + std::string(zeros, '0') + digits + std::string(kPictureSuffix);
}

bool IsPictureName(const std::string& name) {
  if (name.size() < kPicturePrefix.size() + 3 + kPictureSuffix.size() || !name.starts_with(kPicturePrefix) ||
      !name.ends_with(kPictureSuffix)) {
    return false;
  }
  const auto digits =
      std::string_view(name).substr(kPicturePrefix.size(), name.size() - kPicturePrefix.size() - kPictureSuffix.size());
  return std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
}

[[noreturn]] void FailOn(const fs::path& path, const std::error_code& error) {
  throw InputError("--out " + path.string() + ": " + (error ? error.message() : "can't be written") +
                   "; name a folder that may be written");
}

void RemoveFormerPictures(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> former;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (IsPictureName(entry.path().filename().string())) {
      former.push_back(entry.path());
    }
  }
  for (const fs::path& path : former) {
    if (!error) {
      fs::remove(path, error);
    }
  }
  if (error) {
    FailOn(folder, error);
  }
}

}  // namespace

PrintOutput::PrintOutput(const std::string& folder) : folder_(folder), transcriptPath_(folder_ / "transcript.jsonl") {
  std::error_code error;
  fs::create_directories(folder_, error);
  if (error || !fs::is_directory(folder_, error)) {
    FailOn(folder_, error ? error : std::make_error_code(std::errc::not_a_directory));
  }
  transcript_.open(transcriptPath_, std::ios::binary | std::ios::trunc);
  if (!transcript_) {
    FailOn(transcriptPath_, {});
  }
  RemoveFormerPictures(folder_);
}

void PrintOutput::Add(const std::vector<simulator::PrintedLabel>& labels) {
  for (const simulator::PrintedLabel& label : labels) {
    ++labels_;
    if (label.raster.empty()) {
      withoutPicture_.push_back("label " + std::to_string(labels_) + " has no dots and so no picture");
      continue;
    }
    const fs::path file = folder_ / PictureName(labels_);
    const std::string trouble = simulator::WritePng(simulator::ViewOf(label), file);
    if (!trouble.empty()) {
      throw InputError("--out: " + trouble);
    }
    pictures_.push_back(file.string());
  }
}

void PrintOutput::Add(const std::vector<simulator::Exchange>& exchanges) {
  transcript_ << simulator::ToJsonLines(exchanges) << std::flush;
  if (!transcript_) {
    FailOn(transcriptPath_, {});
  }
}

}  // namespace sc3xx
