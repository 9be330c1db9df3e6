// The channel that a debugger listens to.
#pragma once

namespace sc3xxmon::platform {

// Hands over one zero-ended text; no line end is added. Never fails visibly. Any thread.
void WriteDebugChannel(const char* text);

}  // namespace sc3xxmon::platform
