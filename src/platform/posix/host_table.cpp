#include "platform/posix/host_table.h"

#include <cstddef>
#include <cstring>

namespace sc3xxmon::platform {
namespace {

// Written before any port exists and only read afterwards, like the options.
Sc3xxHost currentHost{};

}  // namespace

const Sc3xxHost& Host() {
  return currentHost;
}

}  // namespace sc3xxmon::platform

int Sc3xxSetHost(const Sc3xxHost* host) {
  using sc3xxmon::platform::currentHost;
  if (host == nullptr) {
    currentHost = Sc3xxHost{};
    return 1;
  }
  if (host->size < offsetof(Sc3xxHost, OpenPrinterW) + sizeof(host->OpenPrinterW)) {
    return 0;
  }
  Sc3xxHost copy{};
  // Whole members only: half a function's address is no function.
  const std::size_t known = host->size / sizeof(void*) * sizeof(void*);
  std::memcpy(&copy, host, known < sizeof(copy) ? known : sizeof(copy));
  currentHost = copy;
  return 1;
}
