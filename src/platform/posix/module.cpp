#include "platform/module.h"

#include <dlfcn.h>

#include <string_view>

#include "platform/text.h"

namespace sc3xxmon::platform {

std::wstring ModuleFileNameOf(const void* function) {
  Dl_info info{};
  if (function == nullptr || dladdr(function, &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  const std::string_view path = info.dli_fname;
  return FromUtf8(path.substr(path.rfind('/') + 1));
}

void DisableThreadNotifications(HINSTANCE) {}

}  // namespace sc3xxmon::platform
