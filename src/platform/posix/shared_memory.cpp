// While somebody has the memory of a name, the file is held by a shared lock on its first byte; who comes first to a
// file that nobody holds empties it. The lock goes with the process, so that a file which a crash left tells itself from
// one in use. Creation itself is one at a time, under a lock on the second byte.
//
// The descriptor stays open while the memory is mapped: it carries the lock. The last holder takes the name away.

#include "platform/posix/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <vector>

#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

constexpr char kFolder[] = "/dev/shm/";
constexpr std::size_t kLongestName = 200;
constexpr off_t kHolderByte = 0;
constexpr off_t kCreationByte = 1;

std::uint64_t Fnv1a(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  }
  return hash;
}

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

struct flock Range(short type, off_t byte) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = byte;
  range.l_len = 1;
  return range;
}

bool Lock(int descriptor, int command, short type, off_t byte) {
  struct flock range = Range(type, byte);
  int result = 0;
  do {
    result = fcntl(descriptor, command, &range);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool HeldElsewhere(int descriptor, off_t byte) {
  struct flock range = Range(F_WRLCK, byte);
  return fcntl(descriptor, F_OFD_GETLK, &range) != 0 || range.l_type != F_UNLCK;
}

bool IsOwnFile(int descriptor) {
  struct stat state {};
  return fstat(descriptor, &state) == 0 && S_ISREG(state.st_mode) && state.st_uid == geteuid();
}

struct Mapping {
  std::string path;
  void* memory;
  int descriptor;
};

bool HasName(int descriptor) {
  struct stat state {};
  return fstat(descriptor, &state) == 0 && state.st_nlink > 0;
}

// What this copy of the monitor has mapped. A name goes with its last holder, but never with a child that a fork made:
// the memory is still its parent's. Unmapping is the caller's.
class Mappings {
 public:
  void Add(const Mapping& mapping) {
    const std::lock_guard lock(mutex_);
    mappings_.push_back(mapping);
  }
  void Release(const void* memory) {
    const std::lock_guard lock(mutex_);
    const auto mapping = std::find_if(mappings_.begin(), mappings_.end(),
                                      [memory](const Mapping& candidate) { return candidate.memory == memory; });
    if (mapping != mappings_.end()) {
      GiveUp(*mapping);
      mappings_.erase(mapping);
    }
  }
  ~Mappings() {
    for (const Mapping& mapping : mappings_) {
      GiveUp(mapping);
    }
  }

 private:
  // The locks are given back by name: the mapping keeps the open file, and with it its locks, beyond the close. A name
  // that stays does no harm, so that nothing is waited for here.
  void GiveUp(const Mapping& mapping) const {
    const int descriptor = mapping.descriptor;
    if (getpid() == process_ && Lock(descriptor, F_OFD_SETLK, F_WRLCK, kCreationByte)) {
      Lock(descriptor, F_OFD_SETLK, F_UNLCK, kHolderByte);
      if (!HeldElsewhere(descriptor, kHolderByte)) {
        unlink(mapping.path.c_str());
      }
      Lock(descriptor, F_OFD_SETLK, F_UNLCK, kCreationByte);
    }
    close(descriptor);
  }

  const pid_t process_ = getpid();
  std::mutex mutex_;
  std::vector<Mapping> mappings_;
};

Mappings& Made() {
  static Mappings mappings;
  return mappings;
}

// The room is reserved: written to in a full shared memory, a hole would end the process.
bool MakeRoom(int descriptor, std::size_t size) {
  return ftruncate(descriptor, 0) == 0 && posix_fallocate(descriptor, 0, static_cast<off_t>(size)) == 0;
}

void* Map(int descriptor, std::size_t size) {
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

// Under the creation lock.
void* MapHeld(int descriptor, std::size_t size, bool (*initialise)(void*)) {
  const bool isNew = !HeldElsewhere(descriptor, kHolderByte);
  if (isNew && !MakeRoom(descriptor, size)) {
    return nullptr;
  }
  struct stat state {};
  if (fstat(descriptor, &state) != 0 || static_cast<std::size_t>(state.st_size) < size) {
    return nullptr;
  }
  void* const memory = Map(descriptor, size);
  if (memory != nullptr && isNew && initialise != nullptr && !initialise(memory)) {
    munmap(memory, size);
    return nullptr;
  }
  return memory;
}

}  // namespace

std::string SharedMemoryPath(const std::wstring& name) {
  const std::string text = ToUtf8(name);
  std::string out;
  for (const char c : text) {
    if (IsPlain(c)) {
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

void* MapSharedMemory(const std::wstring& name, std::size_t size, bool (*initialise)(void*)) {
  const std::string path = SharedMemoryPath(name);
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (descriptor < 0) {
    return nullptr;
  }
  void* memory = nullptr;
  bool isGone = false;  // its last holder took the name away just before the lock was had
  if (IsOwnFile(descriptor) && Lock(descriptor, F_OFD_SETLKW, F_WRLCK, kCreationByte)) {
    isGone = !HasName(descriptor);
    memory = isGone ? nullptr : MapHeld(descriptor, size, initialise);
    if (memory != nullptr) {
      Lock(descriptor, F_OFD_SETLK, F_RDLCK, kHolderByte);
      Made().Add({path, memory, descriptor});
    }
    Lock(descriptor, F_OFD_SETLK, F_UNLCK, kCreationByte);
  }
  if (memory == nullptr) {
    close(descriptor);
  }
  return isGone ? MapSharedMemory(name, size, initialise) : memory;
}

void UnmapSharedMemory(void* memory, std::size_t size) {
  Made().Release(memory);
  munmap(memory, size);
}

}  // namespace sc3xxmon::platform
