// The calling thread's last-error value on a system that has none of its own: port functions and job
// functions leave the reason of a failure here, and the monitor reads and writes it through the host table.
#pragma once

#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xx {

// Codes that the programs use beyond those of spooler_abi.h, with the platform's numbers.
inline constexpr DWORD kErrorInvalidHandle = 6;
inline constexpr DWORD kErrorNotReady = 21;
inline constexpr DWORD kErrorBrokenPipe = 109;
inline constexpr DWORD kErrorDeviceNotConnected = 1167;
inline constexpr DWORD kErrorInvalidPrinterName = 1801;

// Of sockets, as the monitor's network transport leaves them.
inline constexpr DWORD kFirstSocketCode = 10000;
inline constexpr DWORD kLastSocketCode = 11999;
inline constexpr DWORD kErrorInvalidArgument = 10022;
inline constexpr DWORD kErrorNoAddressToConnect = 10049;
inline constexpr DWORD kErrorConnectionTimedOut = 10060;
inline constexpr DWORD kErrorConnectionRefused = 10061;

DWORD LastErrorCode();
void SetLastErrorCode(DWORD code);

// What a code means, in a few words for a person, with the code itself behind it.
std::string DescribeErrorCode(DWORD code);

}  // namespace sc3xx
