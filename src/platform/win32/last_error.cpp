#include "platform/last_error.h"

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

std::uint32_t LastError() {
  return GetLastError();
}

void SetLastErrorCode(std::uint32_t code) {
  SetLastError(code);
}

}  // namespace sc3xxmon::platform
