// What the monitor needs to know of loaded modules.
#pragma once

#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// The file name, without its folder, of the module that holds the code at `function`; empty if there is none.
std::wstring ModuleFileNameOf(const void* function);
// The same of a module by its handle, which off Windows is its first byte in memory; of the program for null.
std::wstring ModuleFileName(HINSTANCE module);

// Tells the loader that `module` wants no word of threads that come and go. No effect off Windows.
void DisableThreadNotifications(HINSTANCE module);

}  // namespace sc3xxmon::platform
