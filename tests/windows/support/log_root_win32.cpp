#include "sc3xxmon/spooler_abi.h"

#include "support/log_root.h"

namespace sc3xxmon::test {

LogRoot::LogRoot() {
  wchar_t windows[MAX_PATH] = {};
  GetWindowsDirectoryW(windows, MAX_PATH);
  root_ = windows;
  std::filesystem::remove_all(Folder());
  std::filesystem::create_directories(Folder().parent_path());
}

LogRoot::~LogRoot() {
  std::error_code ignored;
  std::filesystem::remove_all(Folder(), ignored);
}

}  // namespace sc3xxmon::test
