// A printer's name that no other test has, at the same time or ever: the event that admits one document for a printer
// is the machine's, not the process's. Takes the event away again when it goes.
#pragma once

#include <filesystem>
#include <random>
#include <string>

namespace sc3xxmon::test {

class UniquePrinter {
 public:
  UniquePrinter() = default;
  ~UniquePrinter() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(kEventFolder, ignored)) {
      if (entry.path().filename().string().find(tag_) != std::string::npos) {
        std::filesystem::remove(entry.path(), ignored);
      }
    }
  }
  UniquePrinter(const UniquePrinter&) = delete;
  UniquePrinter& operator=(const UniquePrinter&) = delete;

  const std::wstring& Name() const { return name_; }

  // Makes it impossible to create the event: a folder stands in its place. False where that can't be done.
  bool BlockEvent() const {
    std::error_code failed;
    std::filesystem::create_directory(kEventFolder + ("/Global%5CKOVA.Sc3xxSync." + tag_), failed);
    return !failed;
  }

 private:
  static constexpr char kEventFolder[] = "/dev/shm";  // where the events are kept off Windows

  const std::string tag_ =
      "Test" + std::to_string(std::random_device{}()) + "x" + std::to_string(std::random_device{}());
  const std::wstring name_{tag_.begin(), tag_.end()};
};

}  // namespace sc3xxmon::test
