#include "platform/module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string_view>

#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

std::wstring WithoutFolder(std::string_view path) {
  return FromUtf8(path.substr(path.rfind('/') + 1));
}

std::wstring ProgramFileName() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
  return length < 0 ? std::wstring() : WithoutFolder({path, static_cast<std::size_t>(length)});
}

}  // namespace

std::wstring ModuleFileNameOf(const void* function) {
  Dl_info info{};
  if (function == nullptr || dladdr(function, &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  return WithoutFolder(info.dli_fname);
}

std::wstring ModuleFileName(HINSTANCE module) {
  return module != nullptr ? ModuleFileNameOf(module) : ProgramFileName();
}

void DisableThreadNotifications(HINSTANCE) {}

}  // namespace sc3xxmon::platform
