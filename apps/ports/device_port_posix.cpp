#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

#include "apps/ports/device_port.h"
#include "apps/spooler/last_error.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

using Clock = std::chrono::steady_clock;

// What holds until the monitor sets its own: the monitor's defaults.
constexpr COMMTIMEOUTS kFirstTimeouts = {0, 1, 15000, 1, 15000};
// More than this isn't a late answer but a device that talks without being asked.
constexpr std::size_t kMostStaleBytes = 65536;
// A device file may say "readable" and then give nothing; this is how long to leave it alone before asking
// again.
constexpr int kEmptyReadPauseMs = 10;

struct ErrorPair {
  int systemError;
  DWORD code;
};

constexpr ErrorPair kErrorCodes[] = {{ENOENT, ERROR_FILE_NOT_FOUND},
                                     {EACCES, ERROR_ACCESS_DENIED},
                                     {EPERM, ERROR_ACCESS_DENIED},
                                     {EBUSY, ERROR_BUSY},
                                     {ENODEV, kErrorDeviceNotConnected},
                                     {ENXIO, kErrorDeviceNotConnected},
                                     {ECONNRESET, kErrorDeviceNotConnected},
                                     {ESHUTDOWN, kErrorDeviceNotConnected},
                                     {EPIPE, kErrorBrokenPipe},
                                     {ECONNREFUSED, kErrorNotReady},
                                     {EAGAIN, kErrorNotReady},
                                     {ETIMEDOUT, ERROR_TIMEOUT}};

DWORD CodeOf(int systemError) {
  for (const ErrorPair& pair : kErrorCodes) {
    if (pair.systemError == systemError) {
      return pair.code;
    }
  }
  return ERROR_GEN_FAILURE;
}

std::string_view AdviceFor(int systemError) {
  switch (systemError) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
      return "; check that the printer is plugged in and switched on, and the device's name";
    case EACCES:
    case EPERM:
      return "; the user needs the right to read and write it (often by joining the group lp)";
    case EBUSY:
      return "; another program has the printer open";
    case ECONNREFUSED:
    case EAGAIN:
      return "; check that the program that plays the printer is running and accepts connections";
    default:
      return "";
  }
}

// Repeats a system call that a signal interrupted.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

DevicePort& PortOf(HANDLE handle) {
  return *static_cast<DevicePort*>(handle);
}

}  // namespace

// The moment at which a transfer has taken too long; none for no limit.
struct DevicePort::Limit {
  std::optional<Clock::time_point> end;

  static Limit ForTransfer(DWORD multiplier, DWORD constant, DWORD size) {
    const std::uint64_t milliseconds = std::uint64_t{multiplier} * size + constant;
    return milliseconds == 0 ? Limit{} : After(milliseconds);
  }

  static Limit After(std::uint64_t milliseconds) {
    return Limit{Clock::now() + std::chrono::milliseconds(milliseconds)};
  }

  // For poll: whole milliseconds, rounded up so that the wait doesn't end early; -1 for ever.
  int PollTimeout() const {
    if (!end) {
      return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, static_cast<long long>(std::numeric_limits<int>::max())));
  }

  bool Passed() const { return end && Clock::now() >= *end; }

  Limit EarlierOf(const Limit& other) const { return !end || (other.end && *other.end < *end) ? other : *this; }
};

DevicePort::DevicePort(std::string path) : path_(std::move(path)), timeouts_(kFirstTimeouts) {}

DevicePort::~DevicePort() {
  CloseDevice();
}

PortBelow DevicePort::Below() {
  return {Table(), this, L"usb:" + sc3xxmon::platform::FromUtf8(path_)};
}

MONITOR2* DevicePort::Table() {
  static MONITOR2 table = [] {
    MONITOR2 filled{};
    filled.cbSize = sizeof(filled);
    filled.pfnOpenPort = [](HANDLE monitorPort, LPWSTR, HANDLE* port) -> BOOL {
      *port = monitorPort;
      return PortOf(monitorPort).Open();
    };
    filled.pfnStartDocPort = [](HANDLE port, LPWSTR, DWORD, DWORD, LPBYTE) -> BOOL {
      return PortOf(port).StartDocument();
    };
    filled.pfnWritePort = [](HANDLE port, LPBYTE buffer, DWORD size, LPDWORD written) -> BOOL {
      return PortOf(port).Write(buffer, size, written);
    };
    filled.pfnReadPort = [](HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read) -> BOOL {
      return PortOf(port).Read(buffer, size, read);
    };
    filled.pfnEndDocPort = [](HANDLE) -> BOOL { return TRUE; };
    filled.pfnClosePort = [](HANDLE port) -> BOOL {
      PortOf(port).CloseDevice();
      return TRUE;
    };
    filled.pfnSetPortTimeOuts = [](HANDLE port, LPCOMMTIMEOUTS timeouts, DWORD) -> BOOL {
      PortOf(port).timeouts_ = *timeouts;
      return TRUE;
    };
    return filled;
  }();
  return &table;
}

bool DevicePort::Fail(int systemError, const std::string& words) {
  trouble_ = path_ + ": " + words;
  SetLastErrorCode(CodeOf(systemError));
  return false;
}

bool DevicePort::FailTimedOut(const char* what, DWORD count, DWORD size) {
  return Fail(ETIMEDOUT, std::string("the printer ") + what + " " + std::to_string(count) + " of " +
                             std::to_string(size) + " bytes in time");
}

bool DevicePort::Open() {
  CloseDevice();
  struct stat info {};
  if (Uninterrupted([&] { return stat(path_.c_str(), &info); }) != 0) {
    const int systemError = errno;
    return Fail(systemError, std::generic_category().message(systemError) + std::string(AdviceFor(systemError)));
  }
  if (!S_ISCHR(info.st_mode) && !S_ISSOCK(info.st_mode)) {
    return Fail(EINVAL, "neither a printer's device file nor a socket; give a path such as /dev/usb/lp0");
  }
  isSocket_ = S_ISSOCK(info.st_mode);
  return isSocket_ ? ConnectSocket() : OpenDevice();
}

bool DevicePort::OpenDevice() {
  descriptor_ = Uninterrupted([&] { return open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY); });
  if (descriptor_ < 0) {
    const int systemError = errno;
    return Fail(systemError, std::generic_category().message(systemError) + std::string(AdviceFor(systemError)));
  }
  termios line{};
  if (tcgetattr(descriptor_, &line) == 0) {  // a serial line would otherwise translate line ends and echo
    cfmakeraw(&line);
    tcsetattr(descriptor_, TCSANOW, &line);
  }
  return true;
}

bool DevicePort::ConnectSocket() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof(address.sun_path)) {
    return Fail(ENAMETOOLONG, "the path is too long for a socket; the limit is " +
                                  std::to_string(sizeof(address.sun_path) - 1) + " bytes");
  }
  std::memcpy(address.sun_path, path_.data(), path_.size());
  const void* const anyAddress = &address;
  descriptor_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0 || Uninterrupted([&] {
                           return connect(descriptor_, static_cast<const sockaddr*>(anyAddress), sizeof(address));
                         }) != 0) {
    const int systemError = errno;
    CloseDevice();
    return Fail(systemError, std::generic_category().message(systemError) + std::string(AdviceFor(systemError)));
  }
  return true;
}

void DevicePort::CloseDevice() {
  if (descriptor_ >= 0) {
    close(descriptor_);  // also after an interruption it is gone; closing it again could hit another's
    descriptor_ = -1;
  }
}

// The device is gone: what was open is of no use any more.
bool DevicePort::Lose(int systemError) {
  CloseDevice();
  return Fail(systemError,
              "the printer went away: " + std::generic_category().message(systemError) + "; check its cable");
}

// What was lost since the last document is opened anew.
bool DevicePort::StartDocument() {
  return (descriptor_ >= 0 && DropStaleInput()) || Open();
}

// An answer that came after its reader gave up would be taken for the answer to this document's first request. False if
// the printer has gone.
bool DevicePort::DropStaleInput() {
  BYTE stale[512];
  for (std::size_t dropped = 0; dropped < kMostStaleBytes;) {
    const ssize_t count = Uninterrupted([&] { return read(descriptor_, stale, sizeof(stale)); });
    if (count < 0) {
      return errno == EAGAIN || errno == EWOULDBLOCK;
    }
    if (count == 0) {
      return !isSocket_ && !HungUp();
    }
    dropped += static_cast<std::size_t>(count);
  }
  return true;
}

DevicePort::Readiness DevicePort::WaitFor(short events, const Limit& limit) {
  if (limit.Passed()) {  // even if the device says "ready" again and again without moving a byte
    return Readiness::kTimedOut;
  }
  pollfd waited{descriptor_, events, 0};
  const int count = Uninterrupted([&] { return poll(&waited, 1, limit.PollTimeout()); });
  if (count == 0) {
    return Readiness::kTimedOut;
  }
  return (waited.revents & events) != 0 ? Readiness::kReady : Readiness::kHungUp;
}

// An empty read alone doesn't tell a device with nothing to say from a line whose other end is gone.
bool DevicePort::HungUp() const {
  pollfd looked{descriptor_, 0, 0};
  return Uninterrupted([&] { return poll(&looked, 1, 0); }) > 0 &&
         (looked.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

bool DevicePort::Write(const BYTE* buffer, DWORD size, DWORD* written) {
  *written = 0;
  if (descriptor_ < 0) {
    return Fail(ENODEV, "the printer isn't connected");
  }
  const Limit limit =
      Limit::ForTransfer(timeouts_.WriteTotalTimeoutMultiplier, timeouts_.WriteTotalTimeoutConstant, size);
  while (*written < size) {
    const BYTE* const rest = buffer + *written;
    const std::size_t length = size - *written;
    const ssize_t count = Uninterrupted(
        [&] { return isSocket_ ? send(descriptor_, rest, length, MSG_NOSIGNAL) : write(descriptor_, rest, length); });
    if (count > 0) {
      *written += static_cast<DWORD>(count);
      continue;
    }
    if (count < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
      return Lose(errno);
    }
    const Readiness readiness = WaitFor(POLLOUT, limit);
    if (readiness != Readiness::kReady) {
      return readiness == Readiness::kTimedOut ? FailTimedOut("took only", *written, size) : Lose(ENODEV);
    }
  }
  return true;
}

bool DevicePort::Read(BYTE* buffer, DWORD size, DWORD* read) {
  *read = 0;
  if (descriptor_ < 0) {
    return Fail(ENODEV, "the printer isn't connected");
  }
  const Limit limit =
      Limit::ForTransfer(timeouts_.ReadTotalTimeoutMultiplier, timeouts_.ReadTotalTimeoutConstant, size);
  Limit silence = limit;
  while (*read < size) {
    const ssize_t count = Uninterrupted([&] { return ::read(descriptor_, buffer + *read, size - *read); });
    if (count > 0) {
      *read += static_cast<DWORD>(count);
      silence =
          timeouts_.ReadIntervalTimeout == 0 ? limit : limit.EarlierOf(Limit::After(timeouts_.ReadIntervalTimeout));
      continue;
    }
    if (count == 0 && isSocket_) {
      return Lose(EPIPE);
    }
    if (count < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
      return Lose(errno);
    }
    if (count == 0 && HungUp()) {
      return Lose(ENODEV);
    }
    if (count == 0) {
      poll(nullptr, 0, kEmptyReadPauseMs);
    }
    const Readiness readiness = WaitFor(POLLIN, silence);
    if (readiness == Readiness::kHungUp) {
      return Lose(ENODEV);
    }
    if (readiness == Readiness::kTimedOut) {
      return *read > 0 || FailTimedOut("answered", *read, size);
    }
  }
  return true;
}

}  // namespace sc3xx
