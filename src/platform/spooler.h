// The job side of the print spooler, in the platform's own signatures. A null result is a failure, and LastError()
// says why. Any thread. Off Windows the host supplies these; without one they fail with ERROR_NOT_SUPPORTED.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

BOOL SpoolerOpenPrinter(LPWSTR printerName, HANDLE* printer);
// Levels 1 and 2. With size 0 it fails with ERROR_INSUFFICIENT_BUFFER and stores the bytes needed.
BOOL SpoolerGetJob(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD needed);
BOOL SpoolerSetJob(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD command);
BOOL SpoolerClosePrinter(HANDLE printer);

}  // namespace sc3xxmon::platform
