#include "apps/sc3xx/setting_override.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <system_error>

#include "apps/sc3xx/usage_error.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

std::vector<std::string_view> AllNames() {
  std::vector<std::string_view> names(platform::kOptionNames.begin(), platform::kOptionNames.end());
  names.insert(names.end(), platform::kDebugNames.begin(), platform::kDebugNames.end());
  return names;
}

bool Holds(std::span<const std::string_view> names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

[[noreturn]] void RefuseName(std::string_view name) {
  const std::vector<std::string_view> names = AllNames();
  const std::string_view guess = platform::ClosestName(name, names);
  throw UsageError("--set: there is no option or debug setting \"" + std::string(name) + "\"" +
                   (guess.empty() ? "." : "; did you mean " + std::string(guess) + "?") +
                   " Known are: " + platform::JoinNames(names));
}

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const std::string_view digits = hexadecimal ? text.substr(2) : text;
  // from_chars would take "0x-1" for a number.
  if (digits.empty() || (hexadecimal && digits.front() == '-')) {
    return std::nullopt;
  }
  std::int64_t number = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
  if (error != std::errc() || end != digits.data() + digits.size() ||
      number < std::numeric_limits<std::int32_t>::min() || number > std::numeric_limits<std::uint32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(number);
}

}  // namespace

SettingOverride ParseSettingOverride(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    throw UsageError("--set: \"" + std::string(text) + "\" lacks a value; write NAME=VALUE, such as SendIPHs=0");
  }
  const std::string_view name = text.substr(0, equals);
  const std::string_view value = text.substr(equals + 1);
  const bool isOption = Holds(platform::kOptionNames, name);
  if (!isOption && !Holds(platform::kDebugNames, name)) {
    RefuseName(name);
  }
  const std::optional<std::uint32_t> number = ParseNumber(value);
  if (!number) {
    throw UsageError("--set: the value of " + std::string(name) +
                     " must be a whole number of at most 32 bits, "
                     "decimal or 0x hexadecimal, but is \"" +
                     std::string(value) + "\"");
  }
  return {isOption ? platform::kOptionsKey : platform::kDebugKey, std::string(name), *number};
}

std::string SettingNamesHelp() {
  return "Options for --set: " + platform::JoinNames(platform::kOptionNames) +
         ".\nDebug settings for --set: " + platform::JoinNames(platform::kDebugNames) + ".";
}

void ApplyOverrides(const std::vector<SettingOverride>& overrides, platform::SettingsFile& settings) {
  for (const SettingOverride& entry : overrides) {
    settings.SetNumber(entry.key, platform::FromUtf8(entry.name), entry.value);
  }
}

std::vector<std::string> RemarksOn(const std::vector<SettingOverride>& overrides,
                                   const platform::SettingsFile& settings) {
  const std::uint32_t level = settings.Number(platform::kDebugKey, L"DebugLevel", 0);
  std::vector<std::string> remarks;
  if (level > 2) {
    remarks.push_back("DebugLevel " + std::to_string(level) + " counts as 0; the levels are 0, 1 and 2");
  }
  const bool off = level == 0 || level > 2;
  for (const SettingOverride& entry : overrides) {
    if (off && entry.key == platform::kDebugKey && entry.name != "DebugLevel" && entry.value != 0) {
      remarks.push_back(entry.name + " has no effect while DebugLevel is 0; add --set DebugLevel=1");
    }
  }
  return remarks;
}

}  // namespace sc3xx
