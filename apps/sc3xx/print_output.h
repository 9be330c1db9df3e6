// The folder of `sc3xx print --out`: a PNG of each label that the virtual printer printed, numbered in the order of
// printing, and the transcript of its conversation as JSON lines.
//
// Pictures that an earlier run left (label-NNN.png) go first, so that the folder shows one run and not two.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "simulator/print_record.h"

namespace sc3xx {

class PrintOutput {
 public:
  // Makes the folder and opens the transcript at once: a folder that can't be written is to be told before anything is
  // printed. Throws InputError.
  explicit PrintOutput(const std::string& folder);

  // Throw InputError; what was written stays.
  void Add(const std::vector<simulator::PrintedLabel>& labels);
  void Add(const std::vector<simulator::Exchange>& exchanges);

  const std::vector<std::string>& Pictures() const { return pictures_; }
  std::string TranscriptPath() const { return transcriptPath_.string(); }
  // One text for each label that has no picture: it had no raster.
  const std::vector<std::string>& WithoutPicture() const { return withoutPicture_; }

 private:
  const std::filesystem::path folder_;
  const std::filesystem::path transcriptPath_;
  std::ofstream transcript_;
  std::size_t labels_ = 0;
  std::vector<std::string> pictures_;
  std::vector<std::string> withoutPicture_;
};

}  // namespace sc3xx
