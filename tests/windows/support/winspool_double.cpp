// The functions of winspool.drv that the monitor imports, under the system's own names; they hand everything on.
#include "support/winspool_double.h"

namespace {

Sc3xxHost spooler{};

BOOL NotSupported() {
  SetLastError(ERROR_NOT_SUPPORTED);
  return FALSE;
}

// A host tells the reason of a failure in its own way; callers find it in the system's.
BOOL Told(BOOL result) {
  if (result == FALSE && spooler.GetLastError != nullptr) {
    SetLastError(spooler.GetLastError(spooler.context));
  }
  return result;
}

}  // namespace

void Sc3xxSetSpooler(const Sc3xxHost* host) {
  spooler = host != nullptr ? *host : Sc3xxHost{};
}

extern "C" {

BOOL WINAPI DoubleOpenPrinterW(LPWSTR name, HANDLE* printer, void* defaults) {
  return spooler.OpenPrinterW != nullptr ? Told(spooler.OpenPrinterW(spooler.context, name, printer, defaults))
                                         : NotSupported();
}

BOOL WINAPI DoubleGetJobW(HANDLE printer, DWORD job, DWORD level, LPBYTE data, DWORD size, LPDWORD needed) {
  return spooler.GetJobW != nullptr ? Told(spooler.GetJobW(spooler.context, printer, job, level, data, size, needed))
                                    : NotSupported();
}

BOOL WINAPI DoubleSetJobW(HANDLE printer, DWORD job, DWORD level, LPBYTE data, DWORD command) {
  return spooler.SetJobW != nullptr ? Told(spooler.SetJobW(spooler.context, printer, job, level, data, command))
                                    : NotSupported();
}

BOOL WINAPI DoubleClosePrinter(HANDLE printer) {
  return spooler.ClosePrinter != nullptr ? Told(spooler.ClosePrinter(spooler.context, printer)) : NotSupported();
}

}  // extern "C"
