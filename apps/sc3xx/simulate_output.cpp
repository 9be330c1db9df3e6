#include "apps/sc3xx/simulate_output.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "apps/kpl/input_error.h"
#include "apps/sc3xx/picture_files.h"
#include "simulator/label_picture.h"
#include "simulator/transcript.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;

}  // namespace

LabelFolder::LabelFolder(fs::path folder) : folder_(std::move(folder)) {
  MakeOutputFolder(folder_);
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_, error)) {
    last_ = std::max(last_, PictureNumber(entry.path().filename().string()).value_or(0));
  }
  if (error) {
    FailOnOutput(folder_, error);
  }
}

std::string LabelFolder::Add(const simulator::PrintedLabel& label) {
  ++last_;
  if (label.raster.empty()) {
    return {};
  }
  const fs::path file = folder_ / PictureName(last_);
  const fs::path unfinished = folder_ / (PictureName(last_) + ".part");
  const std::string trouble = simulator::WritePng(simulator::ViewOf(label), unfinished);
  if (!trouble.empty()) {
    throw InputError("--out: " + trouble);
  }
  std::error_code error;
  fs::rename(unfinished, file, error);
  if (error) {
    FailOnOutput(file, error);
  }
  return file.string();
}

TranscriptFile::TranscriptFile(const std::string& path) : path_(path), stream_(path, std::ios::binary | std::ios::app) {
  if (!stream_) {
    throw InputError("--transcript " + path_ + ": can't be written; name a file in a folder that may be written");
  }
}

void TranscriptFile::Add(const std::vector<simulator::Exchange>& exchanges, const std::string& printer) {
  stream_ << simulator::ToJsonLines(exchanges, printer) << std::flush;
  if (!stream_) {
    throw InputError("--transcript " + path_ + ": can't be written any more; look whether the disk is full");
  }
}

}  // namespace sc3xx
