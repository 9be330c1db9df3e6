#include "apps/spooler/last_error.h"

#include <string_view>

namespace sc3xx {
namespace {

thread_local DWORD lastErrorCode = 0;

struct CodeWords {
  DWORD code;
  std::string_view words;
};

constexpr CodeWords kWords[] = {
    {ERROR_SUCCESS, "no reason given"},
    {ERROR_FILE_NOT_FOUND, "not found"},
    {ERROR_ACCESS_DENIED, "access denied"},
    {kErrorInvalidHandle, "invalid handle"},
    {kErrorNotReady, "not ready"},
    {ERROR_GEN_FAILURE, "the device failed"},
    {ERROR_NOT_SUPPORTED, "not supported"},
    {ERROR_PRINT_CANCELLED, "print cancelled"},
    {ERROR_INVALID_PARAMETER, "invalid parameter"},
    {kErrorBrokenPipe, "the other side closed the connection"},
    {ERROR_INSUFFICIENT_BUFFER, "buffer too small"},
    {ERROR_INVALID_LEVEL, "invalid level"},
    {ERROR_BUSY, "busy"},
    {ERROR_MORE_DATA, "more data"},
    {kErrorDeviceNotConnected, "the device isn't connected"},
    {ERROR_TIMEOUT, "timed out"},
    {kErrorInvalidPrinterName, "no printer of that name"},
    {ERROR_INVALID_PRINT_MONITOR, "invalid print monitor"},
    {10013, "the system forbids the connection"},
    {kErrorInvalidArgument, "the address can't be used"},
    {10024, "too many files and sockets are open"},
    {10047, "this computer has no addresses of that family"},
    {kErrorNoAddressToConnect, "no address that can be connected to"},
    {10050, "this computer's network is down"},
    {10051, "no way leads to that network"},
    {10053, "the connection was given up"},
    {10054, "the printer broke the connection off"},
    {10055, "the system has no room for the connection"},
    {997, "the printer doesn't answer in time"},
    {kErrorConnectionTimedOut, "nobody answers at the address"},
    {kErrorConnectionRefused, "connection refused"},
    {10064, "the host is down"},
    {10065, "no way leads to that host"},
};

}  // namespace

DWORD LastErrorCode() {
  return lastErrorCode;
}

void SetLastErrorCode(DWORD code) {
  lastErrorCode = code;
}

std::string DescribeErrorCode(DWORD code) {
  for (const CodeWords& entry : kWords) {
    if (entry.code == code) {
      return std::string(entry.words) + " (error " + std::to_string(code) + ")";
    }
  }
  return "error " + std::to_string(code);
}

}  // namespace sc3xx
