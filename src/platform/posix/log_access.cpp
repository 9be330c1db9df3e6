#include "platform/posix/log_access.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <vector>

namespace sc3xxmon::platform {
namespace {

std::optional<gid_t> PrintingGroup() {
  constexpr std::size_t kEntryRoom = 16384;
  std::vector<char> room(kEntryRoom);
  group entry{};
  group* found = nullptr;
  if (getgrnam_r("lp", &entry, room.data(), room.size(), &found) != 0 || found == nullptr) {
    return std::nullopt;
  }
  return found->gr_gid;
}

bool GiveToPrintingGroup(int descriptor) {
  const std::optional<gid_t> printing = PrintingGroup();
  return printing && fchown(descriptor, static_cast<uid_t>(-1), *printing) == 0;
}

}  // namespace

void RestrictLogAccess(int descriptor, LogItem item) {
  constexpr mode_t kFileForOwner = 0600;
  constexpr mode_t kFileForGroup = 0660;
  constexpr mode_t kFolderForOwner = 0700;
  constexpr mode_t kFolderForGroup = 02770;
  const bool shared = GiveToPrintingGroup(descriptor);
  if (item == LogItem::kFolder) {
    fchmod(descriptor, shared ? kFolderForGroup : kFolderForOwner);
  } else {
    fchmod(descriptor, shared ? kFileForGroup : kFileForOwner);
  }
}

// Access is set on the folder itself, not on whatever may have its name a moment later.
bool MakeRestrictedFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0) {
    return errno == EEXIST;
  }
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder >= 0) {
    RestrictLogAccess(folder, LogItem::kFolder);
    close(folder);
  }
  return true;
}

}  // namespace sc3xxmon::platform
