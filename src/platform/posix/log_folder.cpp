#include "platform/log_folder.h"

#include <sys/stat.h>

#include <algorithm>

#include "platform/named_values.h"
#include "platform/posix/default_log_root.h"
#include "platform/posix/log_access.h"
#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

// A value at the root of the settings, outside of any key. Texts end in a zero character.
std::wstring ConfiguredRoot() {
  const std::wstring root;
  constexpr wchar_t kName[] = L"LogRoot";
  HANDLE key = OpenKey(root.c_str());
  DWORD size = 0;
  std::wstring text;
  if (key != nullptr && QueryKeyValue(key, kName, nullptr, &size) == 0) {
    text.resize(size / sizeof(wchar_t));
    size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    void* const bytes = text.data();
    if (QueryKeyValue(key, kName, static_cast<LPBYTE>(bytes), &size) != 0) {
      text.clear();
    }
  }
  if (key != nullptr) {
    CloseKey(key);
  }
  return text.substr(0, text.find(L'\0'));
}

}  // namespace

std::wstring LogRoot(std::size_t limit) {
  std::wstring root = ConfiguredRoot();
  if (root.empty()) {
    root = DefaultLogRoot();
  }
  return root.size() < limit ? root : std::wstring();
}

std::wstring AppendToPath(const std::wstring& folder, std::wstring_view names) {
  std::wstring below(names);
  std::replace(below.begin(), below.end(), L'\\', L'/');
  const bool ended = !folder.empty() && folder.back() == L'/';
  return folder + (ended ? L"" : L"/") + below;
}

bool FolderExists(const std::wstring& path) {
  struct stat state {};
  return stat(ToUtf8(path).c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

bool MakeLogFolder(const std::wstring& path) {
  return MakeRestrictedFolder(ToUtf8(path));
}

}  // namespace sc3xxmon::platform
