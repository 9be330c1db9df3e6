#include "platform/log_folder.h"

#include <shlwapi.h>

#include "sc3xxmon/spooler_abi.h"

#include "platform/win32/security.h"

namespace sc3xxmon::platform {

std::wstring LogRoot(std::size_t limit) {
  std::wstring path(limit, L'\0');
  const UINT length = GetWindowsDirectoryW(path.data(), static_cast<UINT>(limit));
  if (length == 0 || length >= limit) {
    return {};
  }
  path.resize(length);
  return path;
}

std::wstring AppendToPath(const std::wstring& folder, std::wstring_view names) {
  wchar_t path[MAX_PATH] = {};
  if (folder.size() >= MAX_PATH) {
    return {};
  }
  folder.copy(path, folder.size());
  return PathAppendW(path, std::wstring(names).c_str()) != FALSE ? std::wstring(path) : std::wstring();
}

bool FolderExists(const std::wstring& path) {
  return PathIsDirectoryW(path.c_str()) != FALSE;
}

bool MakeLogFolder(const std::wstring& path) {
  LogSecurity security;
  return CreateDirectoryW(path.c_str(), security.Attributes()) != FALSE || GetLastError() == ERROR_ALREADY_EXISTS;
}

}  // namespace sc3xxmon::platform
