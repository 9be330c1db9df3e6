#include "monitor/registry_key.h"

#include <cstring>
#include <vector>

#include "platform/named_values.h"

namespace sc3xxmon {

RegistryKey::RegistryKey(const std::wstring& path) {
  if (!path.empty()) {
    handle_ = platform::OpenKey(path.c_str());
  }
}

RegistryKey::~RegistryKey() {
  Close();
}

void RegistryKey::Close() {
  if (handle_ != nullptr) {
    platform::CloseKey(handle_);
    handle_ = nullptr;
  }
}

std::uint32_t RegistryKey::ReadDword(const wchar_t* name, std::uint32_t defaultValue) const {
  DWORD value = defaultValue;
  DWORD size = sizeof(value);
  if (handle_ == nullptr || platform::QueryKeyValue(handle_, name, reinterpret_cast<LPBYTE>(&value), &size) != 0) {
    return defaultValue;
  }
  return value;
}

std::wstring RegistryKey::ReadString(const wchar_t* name) const {
  if (handle_ == nullptr) {
    return {};
  }
  DWORD size = 0;
  const LONG asked = platform::QueryKeyValue(handle_, name, nullptr, &size);
  if (asked != 0 && asked != static_cast<LONG>(ERROR_MORE_DATA)) {
    return {};
  }
  // Zeroed and one character longer than the data, since a text may come without its terminator or end in half a
  // character.
  std::wstring text(size / sizeof(wchar_t) + 2, L'\0');
  if (platform::QueryKeyValue(handle_, name, reinterpret_cast<LPBYTE>(text.data()), &size) != 0) {
    return {};
  }
  text.resize(std::wcslen(text.c_str()));
  return text;
}

std::uint32_t ReadDwordOnce(const std::wstring& path, const wchar_t* name, std::uint32_t defaultValue) {
  return RegistryKey(path).ReadDword(name, defaultValue);
}

std::wstring ReadStringOnce(const std::wstring& path, const wchar_t* name) {
  return RegistryKey(path).ReadString(name);
}

}  // namespace sc3xxmon
