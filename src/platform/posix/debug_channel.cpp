#include "platform/debug_channel.h"

#include <cstdio>

#include "platform/posix/host_table.h"

namespace sc3xxmon::platform {

void WriteDebugChannel(const char* text) {
  if (Host().DebugOutput != nullptr) {
    Host().DebugOutput(Host().context, text);
    return;
  }
  std::fputs(text, stderr);
}

}  // namespace sc3xxmon::platform
