#include "platform/named_mutex.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

#include "platform/posix/shared_memory.h"

namespace sc3xxmon::platform {
namespace {

// Robust: the kernel gives the mutex back when its owner ends.
bool Initialise(void* memory) {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) {
    return false;
  }
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  const bool made = pthread_mutex_init(static_cast<pthread_mutex_t*>(memory), &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
  return made;
}

// The thread sanitizer of g++ 12 doesn't know the lock call with a clock, and takes what it locks for free.
#ifdef __SANITIZE_THREAD__
constexpr clockid_t kWaitClock = CLOCK_REALTIME;
int LockUntil(pthread_mutex_t* mutex, const timespec& deadline) {
  return pthread_mutex_timedlock(mutex, &deadline);
}
#else
constexpr clockid_t kWaitClock = CLOCK_MONOTONIC;
int LockUntil(pthread_mutex_t* mutex, const timespec& deadline) {
  return pthread_mutex_clocklock(mutex, kWaitClock, &deadline);
}
#endif

timespec After(std::uint32_t milliseconds) {
  constexpr long kNanosecondsInSecond = 1'000'000'000;
  timespec time{};
  clock_gettime(kWaitClock, &time);
  time.tv_sec += milliseconds / 1000;
  time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
  if (time.tv_nsec >= kNanosecondsInSecond) {
    time.tv_nsec -= kNanosecondsInSecond;
    ++time.tv_sec;
  }
  return time;
}

int LockWithin(pthread_mutex_t* mutex, std::uint32_t timeoutMs) {
  const int result = pthread_mutex_trylock(mutex);
  return result != EBUSY || timeoutMs == 0 ? result : LockUntil(mutex, After(timeoutMs));
}

}  // namespace

HANDLE CreateNamedMutex(const std::wstring& name) {
  return MapSharedMemory(name, sizeof(pthread_mutex_t), Initialise);
}

bool TakeNamedMutex(HANDLE mutex, std::uint32_t timeoutMs) {
  if (mutex == nullptr) {
    return false;
  }
  auto* const lock = static_cast<pthread_mutex_t*>(mutex);
  const int result = LockWithin(lock, timeoutMs);
  if (result == EOWNERDEAD) {
    pthread_mutex_consistent(lock);
  }
  return result == 0 || result == EOWNERDEAD;
}

void ReleaseNamedMutex(HANDLE mutex) {
  pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

void CloseNamedMutex(HANDLE mutex) {
  UnmapSharedMemory(mutex, sizeof(pthread_mutex_t));
}

}  // namespace sc3xxmon::platform
