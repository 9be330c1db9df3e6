#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "apps/sc3xx/process.h"

namespace sc3xx {

void IgnoreBrokenPipes() {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
}

bool IsTerminal(int descriptor) {
  return isatty(descriptor) == 1;
}

unsigned TerminalColumns(int descriptor) {
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::uint32_t ProcessNumber() {
  return static_cast<std::uint32_t>(getpid());
}

}  // namespace sc3xx
