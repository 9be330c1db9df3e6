#include "monitor/options.h"

#include <algorithm>

#include "monitor/registry_key.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kAnyValue = 0xFFFFFFFF;

struct Option {
  const wchar_t* name;
  std::uint32_t* target;
  std::uint32_t defaultValue;
  std::uint32_t least;
  std::uint32_t most;
};

constexpr Option kOptions[] = {
    {L"LabelCompressMode", &LabelCompressMode, 3, 0, kAnyValue},
    {L"PortReadTimeout", &PortReadTimeout, 15000, 1000, 60000},
    {L"PortWriteTimeout", &PortWriteTimeout, 15000, 1000, 60000},
    {L"MinBatteryLevel", &MinBatteryLevel, 20, 5, 50},
    {L"CheckLockedPrinter", &CheckLockedPrinter, 1, 0, kAnyValue},
    {L"SendIPHs", &SendIPHs, 1, 0, kAnyValue},
    {L"PrintEmptyLabel", &PrintEmptyLabel, 0, 0, kAnyValue},
    {L"UnlockOnError", &UnlockOnError, 0, 0, kAnyValue},
    {L"RecoverLanComm", &RecoverLanComm, 0, 0, kAnyValue},
    {L"TrimTapeLabel", &TrimTapeLabel, 0, 0, kAnyValue},
    {L"HorzLabelOffset", &HorzLabelOffset, 0, 0, kAnyValue},
    {L"PdChunkSize", &PdChunkSize, 200, 0, kAnyValue},
};

}  // namespace

void ReadOptions() {
  LabelDispatchMode = 0;
  const RegistryKey key(kOptionsKey);
  const auto mode = static_cast<std::int32_t>(key.ReadDword(L"LabelDispatchMode", 0));
  if (mode <= 1) {
    LabelDispatchMode = mode;
  }
  for (const Option& option : kOptions) {
    *option.target = std::clamp(key.ReadDword(option.name, option.defaultValue), option.least, option.most);
  }
}

}  // namespace sc3xxmon
