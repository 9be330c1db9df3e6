// What happens when the loader brings the library in and takes it out.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

// The body of DllMain. Of `reason` the low 16 bits count: 1 remembers the module, 0 writes a line to the log, anything
// else does nothing. Runs under the loader's lock.
void LibraryLoad(HINSTANCE module, DWORD reason);

}  // namespace sc3xxmon
