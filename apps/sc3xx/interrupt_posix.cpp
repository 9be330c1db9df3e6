#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <system_error>
#include <utility>

#include "apps/sc3xx/interrupt.h"

namespace sc3xx {
namespace {

constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kLeaveAtOnce = 130;  // what shells give a program that Ctrl-C ended

// A handler may do little more than write a byte; the listener's thread does the rest.
std::array<int, 2> wakePipe = {-1, -1};
std::array<struct sigaction, kSignals.size()> formerActions;
std::atomic<int> interrupts{0};
static_assert(std::atomic<int>::is_always_lock_free, "used inside a signal handler");

void HandleSignal(int) {
  if (interrupts.fetch_add(1) > 0) {
    _exit(kLeaveAtOnce);
  }
  const int savedError = errno;
  const char wake = 'i';
  [[maybe_unused]] const ssize_t count = write(wakePipe[1], &wake, 1);
  errno = savedError;
}

char ReadByte(int descriptor) {
  char byte = 0;
  ssize_t count = -1;
  do {
    count = read(descriptor, &byte, 1);
  } while (count < 0 && errno == EINTR);
  return count == 1 ? byte : '\0';
}

}  // namespace

void InterruptWatch::Listen(int pipe, const std::function<void()>& onFirst) {
  if (ReadByte(pipe) == 'i') {
    onFirst();
  }
}

InterruptWatch::InterruptWatch(std::function<void()> onFirst) {
  if (pipe2(wakePipe.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "no pipe for Ctrl-C");
  }
  interrupts = 0;
  listener_ = std::thread([pipe = wakePipe[0], run = std::move(onFirst)] { Listen(pipe, run); });
  struct sigaction action {};
  action.sa_handler = HandleSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &action, &formerActions[i]);
    if (kSignals[i] == SIGHUP && formerActions[i].sa_handler == SIG_IGN) {  // as nohup left it
      sigaction(SIGHUP, &formerActions[i], nullptr);
    }
  }
}

InterruptWatch::~InterruptWatch() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &formerActions[i], nullptr);
  }
  const char end = 'e';
  [[maybe_unused]] const ssize_t count = write(wakePipe[1], &end, 1);
  listener_.join();
  close(wakePipe[0]);
  close(wakePipe[1]);
  wakePipe = {-1, -1};
}

}  // namespace sc3xx
