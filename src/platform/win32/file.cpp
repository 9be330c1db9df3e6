#include "platform/file.h"

#include <shlwapi.h>

#include <algorithm>
#include <optional>

#include "sc3xxmon/spooler_abi.h"

#include "platform/win32/security.h"

namespace sc3xxmon::platform {
namespace {

constexpr DWORD kLargestWrite = DWORD{1} << 30;

std::intptr_t ToNumber(HANDLE file) {
  return reinterpret_cast<std::intptr_t>(file);
}
HANDLE ToHandle(std::intptr_t file) {
  return reinterpret_cast<HANDLE>(file);
}

void MoveToEnd(HANDLE file) {
  LARGE_INTEGER size{};
  if (GetFileSizeEx(file, &size) != FALSE) {
    SetFilePointerEx(file, size, nullptr, FILE_BEGIN);
  }
}

}  // namespace

// An existing file keeps the access that it has.
File File::OpenAtEnd(const std::wstring& path) {
  std::optional<LogSecurity> security;
  if (PathFileExistsW(path.c_str()) == FALSE) {
    security.emplace();
  }
  HANDLE file = CreateFileW(path.c_str(), FILE_ALL_ACCESS, FILE_SHARE_READ, security ? security->Attributes() : nullptr,
                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    MoveToEnd(file);
  }
  return File(ToNumber(file));
}

File File::CreateEmpty(const std::wstring& path) {
  return File(
      ToNumber(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

File::~File() {
  if (IsOpen()) {
    CloseHandle(ToHandle(handle_));
  }
}

std::size_t File::Write(const void* bytes, std::size_t size) {
  DWORD written = 0;
  WriteFile(ToHandle(handle_), bytes, static_cast<DWORD>(std::min<std::size_t>(size, kLargestWrite)), &written,
            nullptr);
  return written;
}

}  // namespace sc3xxmon::platform
