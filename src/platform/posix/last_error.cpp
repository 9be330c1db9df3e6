#include "platform/last_error.h"

#include "platform/posix/host_table.h"

namespace sc3xxmon::platform {
namespace {

thread_local std::uint32_t ownLastError = 0;

}  // namespace

std::uint32_t LastError() {
  return Host().GetLastError != nullptr ? Host().GetLastError(Host().context) : ownLastError;
}

void SetLastErrorCode(std::uint32_t code) {
  if (Host().SetLastError != nullptr) {
    Host().SetLastError(Host().context, code);
    return;
  }
  ownLastError = code;
}

}  // namespace sc3xxmon::platform
