#include "apps/sc3xx/log_output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "apps/sc3xx/process.h"
#include "platform/local_time.h"
#include "platform/posix/default_log_root.h"
#include "platform/posix/log_access.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

namespace fs = std::filesystem;
namespace platform = sc3xxmon::platform;

constexpr std::uint32_t kTraceLabelDump = 16;
constexpr std::size_t kLongestRoot = 259;  // the dumps' limit; the log alone would bear a little more

std::wstring ConfiguredRoot(const platform::SettingsFile& settings) {
  DWORD size = 0;
  if (settings.Query(L"", L"LogRoot", nullptr, &size) != 0 || size < sizeof(wchar_t)) {
    return {};
  }
  std::wstring text(size / sizeof(wchar_t), L'\0');
  void* const bytes = text.data();
  settings.Query(L"", L"LogRoot", static_cast<LPBYTE>(bytes), &size);
  return text.substr(0, text.find(L'\0'));
}

// Makes a folder that isn't there. False if something is in the way.
bool MakeFolder(const fs::path& folder, std::error_code& error) {
  if (!fs::is_directory(folder, error) && !platform::MakeRestrictedFolder(folder.string())) {
    error = std::error_code(errno, std::generic_category());
  }
  return fs::is_directory(folder, error);
}

// The names begin with a time: an earlier process of the same number left earlier ones.
std::string StartOfProcess() {
  const platform::LocalTime start = platform::ProcessStartLocalTime();
  char text[40];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02d_%02d-%02d-%02d", start.year, start.month, start.day, start.hour,
                start.minute, start.second);
  return text;
}

bool IsOfThisProcess(const std::string& name, const std::string& start) {
  const std::string process = "_" + std::to_string(ProcessNumber()) + "_";
  return name.size() > start.size() && name.compare(start.size(), process.size(), process) == 0 &&
         name.substr(0, start.size()) >= start;
}

}  // namespace

fs::path LogRootOf(const platform::SettingsFile& settings) {
  const std::wstring configured = ConfiguredRoot(settings);
  return platform::ToUtf8(configured.empty() ? platform::DefaultLogRoot() : configured);
}

bool WritesLogFiles(const platform::SettingsFile& settings) {
  const std::uint32_t level = settings.Number(platform::kDebugKey, L"DebugLevel", 0);
  const std::uint32_t trace = settings.Number(platform::kDebugKey, L"TraceDetail", 0);
  return level == 2 || (level == 1 && (trace & kTraceLabelDump) != 0);
}

std::string PrepareLogRoot(const fs::path& root) {
  const std::string name = root.string();
  if (root.empty()) {
    return "there is no folder for the log, since you have no home; name one with --log-root";
  }
  if (platform::FromUtf8(name).size() > kLongestRoot) {
    return "the path has " + std::to_string(platform::FromUtf8(name).size()) + " characters; a log root has at most " +
           std::to_string(kLongestRoot);
  }
  std::error_code error;
  if (root.is_relative()) {
    return name + " is no path from the root on; write the whole path";
  }
  if (fs::exists(root, error) && !fs::is_directory(root, error)) {
    return name + " is a file; name a folder";
  }
  if (fs::exists(root / "Logs", error) && !fs::is_directory(root / "Logs", error)) {
    return (root / "Logs").string() + " is a file, where the folder of the logs belongs; name another root";
  }
  fs::create_directories(root.parent_path(), error);
  for (const fs::path& folder : {root, root / "Logs"}) {
    error.clear();
    if (!MakeFolder(folder, error)) {
      return folder.string() + " can't be made: " + (error ? error.message() : "something is in its place") +
             "; name a folder that may be written";
    }
  }
  return {};
}

LogFiles FindLogFiles(const fs::path& root) {
  const std::string start = StartOfProcess();
  LogFiles files;
  std::vector<fs::path> found;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(root / "Logs" / "KOVA", ignored)) {
    if (IsOfThisProcess(entry.path().filename().string(), start)) {
      found.push_back(entry.path());
    }
  }
  std::sort(found.begin(), found.end());
  for (const fs::path& path : found) {
    const std::string ending = path.extension().string();
    if (ending == ".log") {
      files.log = path.string();
    } else if (ending == ".prn") {
      files.jobDumps.push_back(path.string());
    } else if (ending == ".bmp") {
      files.labelDumps.push_back(path.string());
    }
  }
  return files;
}

}  // namespace sc3xx
