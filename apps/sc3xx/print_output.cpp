#include "apps/sc3xx/print_output.h"

#include <system_error>

#include "apps/kpl/input_error.h"
#include "apps/sc3xx/picture_files.h"
#include "simulator/label_picture.h"
#include "simulator/transcript.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;

void RemoveFormerPictures(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> former;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (PictureNumber(entry.path().filename().string())) {
      former.push_back(entry.path());
    }
  }
  for (const fs::path& path : former) {
    if (!error) {
      fs::remove(path, error);
    }
  }
  if (error) {
    FailOnOutput(folder, error);
  }
}

}  // namespace

PrintOutput::PrintOutput(const std::string& folder) : folder_(folder), transcriptPath_(folder_ / "transcript.jsonl") {
  MakeOutputFolder(folder_);
  transcript_.open(transcriptPath_, std::ios::binary | std::ios::trunc);
  if (!transcript_) {
    FailOnOutput(transcriptPath_, {});
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
    FailOnOutput(transcriptPath_, {});
  }
}

}  // namespace sc3xx
