#include "platform/debug_channel.h"

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

void WriteDebugChannel(const char* text) {
  OutputDebugStringA(text);
}

}  // namespace sc3xxmon::platform
