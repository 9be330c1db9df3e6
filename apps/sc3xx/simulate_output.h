// What `sc3xx simulate` leaves on disk: the pictures of a printer's labels, and the transcript of all printers.
//
// Both go on where an earlier run ended, since a simulator that is killed and started again is one story: pictures take
// the next numbers, the transcript grows at its end. A picture is there whole or not at all.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "simulator/print_record.h"

namespace sc3xx {

class LabelFolder {
 public:
  // Makes the folder. Throws InputError.
  explicit LabelFolder(std::filesystem::path folder);

  // Gives the file; empty for a label without dots, which has a number all the same. Throws InputError.
  std::string Add(const simulator::PrintedLabel& label);

 private:
  std::filesystem::path folder_;
  std::size_t last_ = 0;
};

class TranscriptFile {
 public:
  // Both throw InputError.
  explicit TranscriptFile(const std::string& path);
  void Add(const std::vector<simulator::Exchange>& exchanges, const std::string& printer);

 private:
  const std::string path_;
  std::ofstream stream_;
};

}  // namespace sc3xx
