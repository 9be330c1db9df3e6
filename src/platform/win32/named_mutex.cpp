#include "platform/named_mutex.h"

#include "platform/win32/security.h"

namespace sc3xxmon::platform {

HANDLE CreateNamedMutex(const std::wstring& name) {
  LogSecurity security;
  return CreateMutexW(security.Attributes(), FALSE, name.c_str());
}

// A mutex whose owner ended is owned by the waiter all the same: taken for a failure it would never be given back.
bool TakeNamedMutex(HANDLE mutex, std::uint32_t timeoutMs) {
  if (mutex == nullptr) {
    return false;
  }
  const DWORD result = WaitForSingleObject(mutex, timeoutMs);
  return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

void ReleaseNamedMutex(HANDLE mutex) {
  ReleaseMutex(mutex);
}

void CloseNamedMutex(HANDLE mutex) {
  CloseHandle(mutex);
}

}  // namespace sc3xxmon::platform
