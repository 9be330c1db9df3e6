// Read access to named values below HKEY_LOCAL_MACHINE, or to what stands for it off Windows (the host's value query,
// else the TOML configuration file). Nothing in the system writes a value.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// Opens a key for reading; null if it doesn't exist or can't be read. Close it with CloseKey.
HANDLE OpenKey(LPCWSTR path);

// Reads a value into `data` of *size bytes; *size takes the value's length. With a null `data` it only asks for the
// length. 0 is success, ERROR_MORE_DATA means that the buffer is too small and nothing was stored. The value's type
// is neither asked for nor checked.
LONG QueryKeyValue(HANDLE key, LPCWSTR name, LPBYTE data, LPDWORD size);

void CloseKey(HANDLE key);

}  // namespace sc3xxmon::platform
