// The spooler's job side, played by a winspool.drv of our own that lies beside the test program.
#pragma once

#include "sc3xxmon/host.h"

#ifdef __cplusplus
extern "C" {
#endif

// Who answers OpenPrinterW, GetJobW, SetJobW and ClosePrinter. Null: every call fails with 50 (ERROR_NOT_SUPPORTED).
void Sc3xxSetSpooler(const Sc3xxHost* host);

#ifdef __cplusplus
}
#endif
