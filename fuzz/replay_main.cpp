// Runs a fuzz target over kept inputs, without libFuzzer: each argument is a file, or a folder whose files are all run.
// A finding ends the process; an input that can't be read is an error, and so is running nothing.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_target.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const fs::path& path) {
  if (!fs::is_directory(path)) {
    return {path};
  }
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    if (entry.is_regular_file()) {
      files.push_back(entry.path());
    }
  }
  return files;
}

bool Replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.good() && !file.eof()) {
    std::fprintf(stderr, "%s can't be read\n", path.c_str());
    return false;
  }
  // Told before, so that the last line before a finding names its input.
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) try {
  std::size_t count = 0;
  for (int argument = 1; argument < argc; ++argument) {
    for (const fs::path& path : FilesOf(argv[argument])) {
      if (!Replay(path)) {
        return 1;
      }
      ++count;
    }
  }
  std::printf("%zu inputs replayed\n", count);
  return count > 0 ? 0 : 1;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "%s\n", failure.what());
  return 1;
}
