#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/log_access.h"
#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

// Not blocking: a pipe in the file's place would hold the opener until somebody reads from it.
constexpr int kOpenFlags = O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

// A second name would be a link in another coat.
bool IsPlainFileOfOurs(int descriptor) {
  struct stat state {};
  return fstat(descriptor, &state) == 0 && S_ISREG(state.st_mode) && state.st_uid == geteuid() && state.st_nlink == 1;
}

int OpenExisting(const char* path, int flags) {
  const int descriptor = open(path, kOpenFlags | flags);
  if (descriptor >= 0 && !IsPlainFileOfOurs(descriptor)) {
    close(descriptor);
    errno = EPERM;
    return -1;
  }
  return descriptor;
}

int MakeNew(const char* path, int flags) {
  const int descriptor = open(path, kOpenFlags | flags | O_CREAT | O_EXCL, 0600);
  if (descriptor >= 0) {
    RestrictLogAccess(descriptor, LogItem::kFile);
  }
  return descriptor;
}

// Twice, since a file can come or go between the two looks.
int OpenOrMake(const std::wstring& path, int flags) {
  const std::string name = ToUtf8(path);
  for (int attempt = 0; attempt < 2; ++attempt) {
    int descriptor = OpenExisting(name.c_str(), flags);
    if (descriptor >= 0 || errno != ENOENT) {
      return descriptor;
    }
    descriptor = MakeNew(name.c_str(), flags);
    if (descriptor >= 0 || errno != EEXIST) {
      return descriptor;
    }
  }
  return -1;
}

}  // namespace

File File::OpenAtEnd(const std::wstring& path) {
  return File(OpenOrMake(path, O_APPEND));
}

// Emptied once it is known to be ours, not while it is opened.
File File::CreateEmpty(const std::wstring& path) {
  const int descriptor = OpenOrMake(path, 0);
  if (descriptor >= 0 && ftruncate(descriptor, 0) != 0) {
    close(descriptor);
    return {};
  }
  return File(descriptor);
}

File::~File() {
  if (IsOpen()) {
    close(static_cast<int>(handle_));
  }
}

std::size_t File::Write(const void* bytes, std::size_t size) {
  ssize_t written = -1;
  do {
    written = write(static_cast<int>(handle_), bytes, size);
  } while (written < 0 && errno == EINTR);
  return written < 0 ? 0 : static_cast<std::size_t>(written);
}

}  // namespace sc3xxmon::platform
