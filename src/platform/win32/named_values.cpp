#include "platform/named_values.h"

namespace sc3xxmon::platform {

HANDLE OpenKey(LPCWSTR path) {
  HKEY key = nullptr;
  return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) == ERROR_SUCCESS ? key : nullptr;
}

LONG QueryKeyValue(HANDLE key, LPCWSTR name, LPBYTE data, LPDWORD size) {
  return RegQueryValueExW(static_cast<HKEY>(key), name, nullptr, nullptr, data, size);
}

void CloseKey(HANDLE key) {
  RegCloseKey(static_cast<HKEY>(key));
}

}  // namespace sc3xxmon::platform
