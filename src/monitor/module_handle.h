// The handle of this library's own module, as the loader gave it; off Windows its first byte in memory.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

inline HINSTANCE moduleHandle = nullptr;

inline HINSTANCE ModuleHandle() {
  return moduleHandle;
}

}  // namespace sc3xxmon
