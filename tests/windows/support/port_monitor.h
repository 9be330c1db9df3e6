// A port monitor as a module of its own: a library with a port table in it, under whatever file name it is loaded. Its one
// port keeps what is written and answers like a printer of a desktop model that is ready.
#pragma once

#include "sc3xxmon/spooler_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

// What the library exports, by name.
typedef MONITOR2* (*PortMonitorTableFunction)(void);               // PortMonitorTable
typedef const BYTE* (*PortMonitorWrittenFunction)(size_t* count);  // PortMonitorWritten

#ifdef __cplusplus
}
#endif
