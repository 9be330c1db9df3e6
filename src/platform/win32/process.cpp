#include "platform/process.h"

#include <lmcons.h>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

std::uint32_t CurrentProcessId() {
  return GetCurrentProcessId();
}

std::wstring CurrentUserName(std::size_t limit) {
  std::wstring name(UNLEN + 1, L'\0');
  auto size = static_cast<DWORD>(name.size());
  if (GetUserNameW(name.data(), &size) == FALSE || size == 0) {
    return {};
  }
  name.resize(size - 1 < limit ? size - 1 : limit);
  return name;
}

std::wstring CurrentCommandLine() {
  return GetCommandLineW();
}

}  // namespace sc3xxmon::platform
