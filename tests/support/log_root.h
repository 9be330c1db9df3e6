// The folder that a log lies below, with the folder "Logs" in it, and what a log left there. Where the host says where
// logs lie it is a folder of its own, gone with its object. On Windows it is the system's own folder: what a log left
// goes with the object, and one object at a time lives on the machine. No system header here.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace sc3xxmon::test {

class LogRoot {
 public:
  LogRoot();
  ~LogRoot();
  LogRoot(const LogRoot&) = delete;
  LogRoot& operator=(const LogRoot&) = delete;

  const std::filesystem::path& Path() const { return root_; }
  std::wstring Name() const { return root_.wstring(); }
  std::filesystem::path Folder() const { return root_ / "Logs" / "KOVA"; }

  // The files in the log folder, in the order of their names; none if it isn't there.
  std::vector<std::filesystem::path> Files() const {
    std::vector<std::filesystem::path> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(Folder(), ignored)) {
      files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
  }
  // Those whose names end so.
  std::vector<std::filesystem::path> Files(const std::string& ending) const {
    std::vector<std::filesystem::path> files = Files();
    std::erase_if(files, [&](const auto& file) { return !file.string().ends_with(ending); });
    return files;
  }

 private:
  std::filesystem::path root_;
};

inline ByteString BytesOfFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return ByteString(std::istreambuf_iterator<char>(file), {});
}

inline std::string TextOfFile(const std::filesystem::path& path) {
  const ByteString bytes = BytesOfFile(path);
  return {bytes.begin(), bytes.end()};
}

// The lines of a text that ends in a line end; what comes behind the last line end is a line of its own.
inline std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

}  // namespace sc3xxmon::test
