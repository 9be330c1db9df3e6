#include <mutex>
#include <unordered_map>

#include "diag/debug_log.h"
#include "job/failure.h"
#include "monitor/langmon.h"

namespace sc3xxmon {
namespace {

constexpr std::size_t kFirstBuckets = 8;

using Table = std::unordered_map<PortKey, std::shared_ptr<CLangMon>>;

// The lock guards the table and the key counter. It is held for a search, an insertion or a removal, never across a
// port call.
std::mutex LangMonMutex;
Table LangMonTable{kFirstBuckets};
PortKey LastPortKey = 0;

Table::const_iterator FindByName(const wchar_t* portName) {
  auto at = LangMonTable.begin();
  while (at != LangMonTable.end() && at->second->Name != portName) {
    ++at;
  }
  return at;
}

}  // namespace

bool CLangMon::AddLangMon(const wchar_t* portName, PortKey* key, bool allowExisting) {
  const wchar_t* name = portName != nullptr ? portName : L"";
  const std::lock_guard lock(LangMonMutex);
  const auto existing = FindByName(name);
  if (existing != LangMonTable.end()) {
    if (allowExisting) {
      *key = existing->first;
    }
    return allowExisting;
  }
  try {
    auto langMon = std::make_shared<CLangMon>(name);
    LangMonTable.emplace(++LastPortKey, std::move(langMon));
    *key = LastPortKey;
    return true;
  } catch (const Exception& failure) {
    KovaDebugPrint(At("CLangMon::AddLangMon"), "CLangMon creation failed: %s", failure.what());
    return false;
  }
}

std::shared_ptr<CLangMon> CLangMon::FindLangMon(PortKey key) {
  const std::lock_guard lock(LangMonMutex);
  const auto at = LangMonTable.find(key);
  return at != LangMonTable.end() ? at->second : nullptr;
}

bool CLangMon::RemoveLangMon(PortKey key) {
  std::shared_ptr<CLangMon> removed;  // dies after the lock is given back
  const std::lock_guard lock(LangMonMutex);
  const auto at = LangMonTable.find(key);
  if (at == LangMonTable.end()) {
    return false;
  }
  removed = std::move(at->second);
  LangMonTable.erase(at);
  return true;
}

}  // namespace sc3xxmon
