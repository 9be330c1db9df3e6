#include "platform/spooler.h"

#include "platform/last_error.h"
#include "platform/posix/host_table.h"

namespace sc3xxmon::platform {
namespace {

BOOL NotSupported() {
  SetLastErrorCode(ERROR_NOT_SUPPORTED);
  return FALSE;
}

}  // namespace

BOOL SpoolerOpenPrinter(LPWSTR printerName, HANDLE* printer) {
  const Sc3xxHost& host = Host();
  return host.OpenPrinterW != nullptr ? host.OpenPrinterW(host.context, printerName, printer, nullptr) : NotSupported();
}

BOOL SpoolerGetJob(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
  const Sc3xxHost& host = Host();
  return host.GetJobW != nullptr ? host.GetJobW(host.context, printer, jobId, level, job, size, needed)
                                 : NotSupported();
}

BOOL SpoolerSetJob(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD command) {
  const Sc3xxHost& host = Host();
  return host.SetJobW != nullptr ? host.SetJobW(host.context, printer, jobId, level, job, command) : NotSupported();
}

BOOL SpoolerClosePrinter(HANDLE printer) {
  const Sc3xxHost& host = Host();
  return host.ClosePrinter != nullptr ? host.ClosePrinter(host.context, printer) : NotSupported();
}

}  // namespace sc3xxmon::platform
