// The event is a file in the machine's shared memory with two locks on it and one byte in it.
//
// Byte 0 of the lock range is a short critical section. Byte 1 is held, shared, by whoever has taken the event, for as
// long as it lives. The file's one byte says whether the event was signalled since it was last taken. The event is
// free if it was signalled, or if nobody holds byte 1: that covers a fresh file as well as a holder that died. A plain
// file lock would do for admission and death; the byte is there because anybody may signal the event, not only the
// one who took it.
//
// Locks belong to the open file, not to the process, so that two ports in one process exclude each other too.

#include "platform/named_event.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "platform/clock.h"
#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

constexpr char kFolder[] = "/dev/shm/";
constexpr std::size_t kLongestName = 200;
constexpr std::uint32_t kPollMs = 10;
constexpr off_t kCriticalByte = 0;
constexpr off_t kHolderByte = 1;
constexpr char kSignalled = 'S';
constexpr char kTaken = 'T';

std::uint64_t Fnv1a(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  }
  return hash;
}

// Every name maps to a file name of its own: what a file system refuses is written as %XX, and a long name ends in a
// hash of the whole.
std::string FileNameOf(const std::wstring& name) {
  const std::string text = ToUtf8(name);
  std::string out;
  for (const char c : text) {
    const bool plain =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
    if (plain) {
      out += c;
      continue;
    }
    char escaped[4];
    std::snprintf(escaped, sizeof(escaped), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    out += escaped;
  }
  if (out.size() > kLongestName) {
    char hash[24];
    std::snprintf(hash, sizeof(hash), "~%016llX", static_cast<unsigned long long>(Fnv1a(text)));
    out.resize(kLongestName);
    out += hash;
  }
  return kFolder + out;
}

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

// True if another open file holds the event.
bool HeldElsewhere(int descriptor) {
  struct flock range {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = kHolderByte;
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
  const bool isFree = WasSignalled(descriptor) || !HeldElsewhere(descriptor);
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

}  // namespace

HANDLE CreateNamedEvent(const std::wstring& name) {
  const int descriptor = OpenShared(FileNameOf(name).c_str());
  return descriptor < 0 ? nullptr : ToHandle(descriptor);
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

void SignalNamedEvent(HANDLE event) {
  const int descriptor = ToDescriptor(event);
  Lock(descriptor, F_OFD_SETLKW, F_WRLCK, kCriticalByte);
  StoreState(descriptor, kSignalled);
  Lock(descriptor, F_OFD_SETLK, F_UNLCK, kHolderByte);
  Lock(descriptor, F_OFD_SETLK, F_UNLCK, kCriticalByte);
}

void CloseNamedEvent(HANDLE event) {
  close(ToDescriptor(event));
}

}  // namespace sc3xxmon::platform
