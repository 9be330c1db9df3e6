#include "platform/spooler.h"

namespace sc3xxmon::platform {

BOOL SpoolerOpenPrinter(LPWSTR printerName, HANDLE* printer) {
  return OpenPrinterW(printerName, printer, nullptr);
}

BOOL SpoolerGetJob(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
  return GetJobW(printer, jobId, level, job, size, needed);
}

BOOL SpoolerSetJob(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD command) {
  return SetJobW(printer, jobId, level, job, command);
}

BOOL SpoolerClosePrinter(HANDLE printer) {
  return ClosePrinter(printer);
}

}  // namespace sc3xxmon::platform
