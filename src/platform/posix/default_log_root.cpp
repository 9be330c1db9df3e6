#include "platform/posix/default_log_root.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

constexpr char kFolder[] = "/sc3xxmon";

// The value of a variable that names a folder from the root on; any other counts as unset.
std::string FolderVariable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
  return value != nullptr && *value == '/' ? value : "";
}

std::string HomeFolder() {
  constexpr std::size_t kEntryRoom = 16384;
  std::string home = FolderVariable("HOME");
  if (!home.empty()) {
    return home;
  }
  std::vector<char> room(kEntryRoom);
  passwd entry{};
  passwd* found = nullptr;
  const bool known = getpwuid_r(geteuid(), &entry, room.data(), room.size(), &found) == 0 && found != nullptr;
  return known && found->pw_dir != nullptr ? found->pw_dir : "";
}

}  // namespace

std::wstring UserLogRoot() {
  const std::string state = FolderVariable("XDG_STATE_HOME");
  if (!state.empty()) {
    return FromUtf8(state + kFolder);
  }
  const std::string home = HomeFolder();
  return home.empty() ? std::wstring() : FromUtf8(home + "/.local/state" + kFolder);
}

std::wstring DefaultLogRoot() {
  return geteuid() == 0 ? FromUtf8(std::string("/var/log") + kFolder) : UserLogRoot();
}

}  // namespace sc3xxmon::platform
