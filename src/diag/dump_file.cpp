#include "diag/dump_file.h"

#include <exception>

#include "diag/log_file.h"
#include "diag/text_format.h"
#include "platform/local_time.h"
#include "platform/log_folder.h"
#include "platform/process.h"
#include "platform/text.h"

namespace sc3xxmon {
namespace {

constexpr std::size_t kRootSize = 260;  // of the folder above, with its terminator

std::wstring DumpFolder() {
  const std::wstring root = platform::LogRoot(kRootSize);
  if (root.empty()) {
    return {};
  }
  std::wstring folder = platform::AppendToPath(root, L"Logs\\KOVA");
  const bool there = !folder.empty() && (platform::FolderExists(folder) || platform::MakeLogFolder(folder));
  return there ? folder : std::wstring();
}

}  // namespace

std::wstring MakeDumpPath(const std::string& name) try {
  const std::wstring folder = DumpFolder();
  if (folder.empty()) {
    return {};
  }
  const platform::LocalTime now = platform::CurrentLocalTime();
  const std::string file = FormatToString("%04d-%02d-%02d_%02d-%02d-%02d_%d_%s", now.year, now.month, now.day, now.hour,
                                          now.minute, now.second, platform::CurrentProcessId(), name.c_str());
  return platform::AppendToPath(folder, platform::FromUtf8(file));
} catch (const std::exception&) {
  return {};  // no memory for a path
}

bool AppendToDump(const std::wstring& path, std::span<const std::uint8_t> bytes) try {
  platform::File file = OpenLogFile(path.c_str());
  return file.IsOpen() && WriteAll(file, bytes.data(), bytes.size()) && !bytes.empty();
} catch (const std::exception&) {
  return false;
}

}  // namespace sc3xxmon
