// Services of the log for whoever debugs a module: bytes, a device mode, and who started the process with what. The
// monitor's own job path doesn't call them. Like every record they are free at debug level 0, and any thread may call.
#pragma once

#include <cstddef>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

// One line that says where the bytes lie and how many they are, then one line for each whole group of 16; a rest isn't
// shown. `function` and `line` are the caller's.
void DumpBuffer(const char* function, int line, const void* buffer, std::size_t count);

// One line for each field. Null is told as such.
void DumpDevMode(const DEVMODEW* devmode);

// "TAG: USER started 'COMMAND LINE'".
void LogStartBanner(const char* tag);

}  // namespace sc3xxmon
