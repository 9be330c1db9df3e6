#include "platform/named_values.h"

#include <memory>
#include <string>

#include "platform/debug_channel.h"
#include "platform/posix/host_table.h"
#include "platform/posix/settings_file.h"

namespace sc3xxmon::platform {
namespace {

// The file that stands for the registry where the host has no values of its own. A file that isn't right is told once,
// and then counts as one without values: the monitor prints with its defaults.
SettingsFile LoadSettings() try { return SettingsFile::LoadDefault(); } catch (const SettingsFileError& error) {
  WriteDebugChannel(error.what());
  WriteDebugChannel("\n");
  return {};
}

// Read once, like everything that is configured: a change takes effect when the library is loaded again.
const SettingsFile& Settings() {
  static const SettingsFile settings = LoadSettings();
  return settings;
}

LONG Query(LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
  const Sc3xxHost& host = Host();
  return host.QueryValue != nullptr ? host.QueryValue(host.context, key, name, data, size)
                                    : Settings().Query(key, name, data, size);
}

}  // namespace

// A key is only its path here.
HANDLE OpenKey(LPCWSTR path) {
  DWORD size = 0;
  if (Query(path, nullptr, nullptr, &size) != static_cast<LONG>(ERROR_SUCCESS)) {
    return nullptr;
  }
  return std::make_unique<std::wstring>(path).release();
}

LONG QueryKeyValue(HANDLE key, LPCWSTR name, LPBYTE data, LPDWORD size) {
  return Query(static_cast<const std::wstring*>(key)->c_str(), name, data, size);
}

void CloseKey(HANDLE key) {
  const std::unique_ptr<std::wstring> owner(static_cast<std::wstring*>(key));
}

}  // namespace sc3xxmon::platform
