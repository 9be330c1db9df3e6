#include <new>
#include <string>

#include "monitor/langmon.h"
#include "platform/named_event.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kSyncTimeoutMs = 5000;
constexpr std::size_t kLongestEventName = 1023;

// One event a printer, in the namespace that all processes of the machine share. Null if it can't be had, for want of
// memory too: the event is a help, not a condition, and a machine without it still prints.
HANDLE OpenSyncEvent(const wchar_t* printerName) noexcept try {
  return platform::CreateNamedEvent(
      (std::wstring(L"Global\\KOVA.Sc3xxSync.") + printerName).substr(0, kLongestEventName));
} catch (const std::bad_alloc&) {
  return nullptr;
}

bool Exchange(std::atomic<std::uint32_t>& word, std::uint32_t from, std::uint32_t to) {
  return word.compare_exchange_strong(from, to);
}

}  // namespace

bool CLangMon::AcquireHostSync(const wchar_t* printerName) {
  if (!Exchange(DocBusy, 0, 1)) {
    return false;
  }
  if (printerName == nullptr || *printerName == L'\0') {
    return true;
  }
  SyncEvent = OpenSyncEvent(printerName);
  if (SyncEvent == nullptr || platform::WaitForNamedEvent(SyncEvent, kSyncTimeoutMs)) {
    return true;
  }
  // The handle stays as it is: closed by whoever releases next, or overwritten by the next document's start.
  Exchange(DocBusy, 1, 0);
  return false;
}

bool CLangMon::ReleaseHostSync() {
  const bool wasBusy = Exchange(DocBusy, 1, 0);
  if (SyncEvent != nullptr) {
    platform::SignalNamedEvent(SyncEvent);
    platform::CloseNamedEvent(SyncEvent);
    SyncEvent = nullptr;
  }
  return wasBusy;
}

}  // namespace sc3xxmon
