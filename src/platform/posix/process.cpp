#include "platform/process.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include "platform/text.h"

namespace sc3xxmon::platform {

std::uint32_t CurrentProcessId() {
  return static_cast<std::uint32_t>(getpid());
}

std::wstring CurrentUserName(std::size_t limit) {
  constexpr std::size_t kEntryRoom = 16384;
  std::vector<char> room(kEntryRoom);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, room.data(), room.size(), &found) != 0 || found == nullptr) {
    return {};
  }
  return FromUtf8(found->pw_name).substr(0, limit);
}

std::wstring CurrentCommandLine() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::string line{std::istreambuf_iterator<char>(file), {}};
  if (!line.empty() && line.back() == '\0') {
    line.pop_back();
  }
  std::replace(line.begin(), line.end(), '\0', ' ');
  return FromUtf8(line);
}

}  // namespace sc3xxmon::platform
