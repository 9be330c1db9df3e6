#include <filesystem>

#include "support/unique_printer.h"

namespace sc3xxmon::test {
namespace {

constexpr char kEventFolder[] = "/dev/shm";  // where the events are kept

}  // namespace

UniquePrinter::~UniquePrinter() {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(kEventFolder, ignored)) {
    if (entry.path().filename().string().find(tag_) != std::string::npos) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

// A folder of that name.
bool UniquePrinter::BlockEvent() {
  std::error_code failed;
  std::filesystem::create_directory(kEventFolder + ("/Global%5CKOVA.Sc3xxSync." + tag_), failed);
  return !failed;
}

}  // namespace sc3xxmon::test
