// The event is a file in the machine's shared memory with three locks on it and one byte in it.
//
// Byte 0 of the lock range is a short critical section. Byte 1 is held, shared, by whoever has taken the event, for as
// long as it lives. The file's one byte says whether the event was signalled since it was last taken. The event is
// free if it was signalled, or if nobody holds byte 1: that covers a fresh file as well as a holder that died. A plain
// file lock would do for admission and death; the byte is there because anybody may signal the event, not only the
// one who took it.
//
// Byte 2 is held, shared, by everybody who has the event open. The last one to close removes the file. Who opened it
// just before that sees, once it holds byte 2, that the file has no name any more, and opens again.
//
// Locks belong to the open file, not to the process, so that two ports in one process exclude each other too.

#include "platform/named_event.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "platform/clock.h"
#include "platform/posix/shared_memory.h"

namespace sc3xxmon::platform {
namespace {

constexpr std::uint32_t kPollMs = 10;
constexpr int kSignalAttempts = 1000;
constexpr std::uint32_t kSignalPauseMs = 1;
constexpr off_t kCriticalByte = 0;
constexpr off_t kHolderByte = 1;
constexpr off_t kOpenByte = 2;
constexpr char kSignalled = 'S';
constexpr char kTaken = 'T';

// The handle is the descriptor plus one, so that descriptor 0 isn't a null handle.
HANDLE ToHandle(int descriptor) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor) + 1);  // NOLINT(performance-no-int-to-ptr)
}
int ToDescriptor(HANDLE event) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(event) - 1);
}

bool Lock(int descriptor, int command, short type, off_t byte) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = byte;
  range.l_len = 1;
  int result = 0;
  do {
    result = fcntl(descriptor, command, &range);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// True if another open file has a lock on the byte.
bool HeldElsewhere(int descriptor, off_t byte) {
  struct flock range {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = byte;
  range.l_len = 1;
  return fcntl(descriptor, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

void StoreState(int descriptor, char state) {
  // A full shared memory leaves the old state: the event then frees itself when its holder closes.
  [[maybe_unused]] const ssize_t written = pwrite(descriptor, &state, 1, 0);
}

bool WasSignalled(int descriptor) {
  char state = kTaken;
  return pread(descriptor, &state, 1, 0) == 1 && state == kSignalled;
}

bool TryTake(int descriptor) {
  if (!Lock(descriptor, F_OFD_SETLK, F_WRLCK, kCriticalByte)) {
    return false;
  }
  const bool isFree = WasSignalled(descriptor) || !HeldElsewhere(descriptor, kHolderByte);
  if (isFree) {
    StoreState(descriptor, kTaken);
    Lock(descriptor, F_OFD_SETLK, F_RDLCK, kHolderByte);
  }
  Lock(descriptor, F_OFD_SETLK, F_UNLCK, kCriticalByte);
  return isFree;
}

// An existing file is opened without O_CREAT: in a sticky folder the system may refuse that flag on another user's
// file.
int OpenShared(const char* path) {
  constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
  for (int attempt = 0; attempt < 2; ++attempt) {
    int descriptor = open(path, kFlags);
    if (descriptor >= 0 || errno != ENOENT) {
      return descriptor;
    }
    descriptor = open(path, kFlags | O_CREAT | O_EXCL, 0666);
    if (descriptor >= 0) {
      // Anybody on the machine may print, so anybody may use the event, whatever the creator's mask says.
      fchmod(descriptor, 0666);
      return descriptor;
    }
    if (errno != EEXIST) {
      return -1;
    }
  }
  return -1;
}

bool HasName(int descriptor) {
  struct stat state {};
  return fstat(descriptor, &state) == 0 && state.st_nlink > 0;
}

// The path of an open file, which the kernel knows.
std::string PathOf(int descriptor) {
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path, sizeof(path));
  return length < 0 ? std::string() : std::string(path, static_cast<std::size_t>(length));
}

}  // namespace

HANDLE CreateNamedEvent(const std::wstring& name) {
  const std::string path = SharedMemoryPath(name);
  for (;;) {
    const int descriptor = OpenShared(path.c_str());
    if (descriptor < 0) {
      return nullptr;
    }
    Lock(descriptor, F_OFD_SETLK, F_RDLCK, kOpenByte);
    if (HasName(descriptor)) {
      return ToHandle(descriptor);
    }
    close(descriptor);
  }
}

bool WaitForNamedEvent(HANDLE event, std::uint32_t timeoutMs) {
  const int descriptor = ToDescriptor(event);
  const std::uint64_t deadline = TickCountMs() + timeoutMs;
  while (!TryTake(descriptor)) {
    if (TickCountMs() >= deadline) {
      return false;
    }
    SleepMs(kPollMs);
  }
  return true;
}

// Not without end: whoever stopped in there, the end of a document must not hang on it.
void SignalNamedEvent(HANDLE event) {
  const int descriptor = ToDescriptor(event);
  for (int attempt = 0; attempt < kSignalAttempts; ++attempt) {
    if (Lock(descriptor, F_OFD_SETLK, F_WRLCK, kCriticalByte)) {
      break;
    }
    SleepMs(kSignalPauseMs);
  }
  StoreState(descriptor, kSignalled);
  Lock(descriptor, F_OFD_SETLK, F_UNLCK, kHolderByte);
  Lock(descriptor, F_OFD_SETLK, F_UNLCK, kCriticalByte);
}

void CloseNamedEvent(HANDLE event) {
  const int descriptor = ToDescriptor(event);
  // A file that stays does no harm, so nothing is waited for here; and another user's file can't be removed.
  const bool alone = Lock(descriptor, F_OFD_SETLK, F_WRLCK, kCriticalByte) && !HeldElsewhere(descriptor, kOpenByte);
  if (alone && HasName(descriptor)) {
    unlink(PathOf(descriptor).c_str());
  }
  close(descriptor);
}

}  // namespace sc3xxmon::platform
