#include "support/child_process.h"
#include "support/log_root.h"

namespace sc3xxmon::test {

LogRoot::LogRoot() {
  static int count = 0;
  root_ = std::filesystem::temp_directory_path() /
          ("sc3xxmon-log-" + std::to_string(ProcessId()) + "-" + std::to_string(++count));
  std::filesystem::create_directories(root_ / "Logs");
}

LogRoot::~LogRoot() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

}  // namespace sc3xxmon::test
