// `--set NAME=VALUE`: one option or debug setting of the monitor, for this run only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/settings_file.h"

namespace sc3xx {

struct SettingOverride {
  std::wstring_view key;
  std::string name;
  std::uint32_t value = 0;
};

// VALUE is decimal, negative decimal or 0x hexadecimal, of at most 32 bits. Throws UsageError.
SettingOverride ParseSettingOverride(std::string_view text);

// The names that ParseSettingOverride takes, for --help.
std::string SettingNamesHelp();

// Puts the overrides over the settings.
void ApplyOverrides(const std::vector<SettingOverride>& overrides, sc3xxmon::platform::SettingsFile& settings);

// Remarks on settings that don't do what whoever gave them seems to expect.
std::vector<std::string> RemarksOn(const std::vector<SettingOverride>& overrides,
                                   const sc3xxmon::platform::SettingsFile& settings);

}  // namespace sc3xx
