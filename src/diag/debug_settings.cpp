#include "diag/debug_settings.h"

#include "diag/debug_block.h"
#include "diag/log_file.h"
#include "platform/named_values.h"

namespace sc3xxmon {
namespace {

constexpr wchar_t kDebugKey[] = L"Software\\KOVA\\Debug";

struct FlagSetting {
  const wchar_t* name;
  diag::TestFlag flag;
};

constexpr FlagSetting kFlagSettings[] = {
    {L"NoDeviceIO", diag::kNoDeviceIO},
    {L"BypassMode", diag::kBypassMode},
    {L"DontLock", diag::kDontLock},
    {L"NoMediaCheck", diag::kNoMediaCheck},
};

// Reads a value of at most four bytes into `word`; a shorter one leaves the word's upper bytes as they are.
// The size word is set for each read anew: left as a read stored it, it would refuse the values behind a short one.
bool ReadWord(HANDLE key, const wchar_t* name, DWORD& word) {
  DWORD size = sizeof(word);
  return platform::QueryKeyValue(key, name, reinterpret_cast<LPBYTE>(&word), &size) == 0;
}

void ReadValues(HANDLE key) {
  DWORD word = 0;
  if (ReadWord(key, L"DebugLevel", word) && word <= kDebugLevelFile) {
    diag::debugLevel.exchange(word);
  }
  if (ReadWord(key, L"TraceDetail", word)) {
    diag::traceWord.exchange(word | 1);
  }
  for (const FlagSetting& setting : kFlagSettings) {
    if (ReadWord(key, setting.name, word) && word == 1) {
      diag::flagWord.exchange(FlagWord() | setting.flag);
    }
  }
}

}  // namespace

void SetUpLog(HINSTANCE module) {
  if (DebugLevel() == kDebugLevelShared && !JoinSharedLog()) {
    diag::debugLevel.exchange(kDebugLevelFile);
  }
  if (DebugLevel() == kDebugLevelFile) {
    InitLogFile(module);
  }
}

void ReadDebugSettings(HINSTANCE module) {
  diag::debugLevel.exchange(kDebugLevelOff);
  diag::traceWord.exchange(1);
  HANDLE key = platform::OpenKey(kDebugKey);
  if (key == nullptr) {
    return;
  }
  ReadValues(key);
  platform::CloseKey(key);
  SetUpLog(module);
}

}  // namespace sc3xxmon
