#include "lan/tcp_port.h"

#include <exception>

#include "diag/debug_log.h"
#include "lan/lan_printer.h"
#include "monitor/options.h"
#include "platform/last_error.h"

namespace sc3xxmon {
namespace {

LanPrinterKey ToKey(HANDLE port) {
  return static_cast<LanPrinterKey>(reinterpret_cast<std::uintptr_t>(port));
}

std::shared_ptr<CLanPrinter> RequirePrinter(HANDLE port) {
  auto printer = CLanPrinter::GetPrinter(ToKey(port));
  if (printer == nullptr) {
    throw CommunicationException("No printer found with given port key");
  }
  return printer;
}

// Runs a port function's body; a failure is logged under the function's name and gives 0.
template <class Body>
BOOL Guarded(const char* function, Body body) try {
  return body() ? TRUE : FALSE;
} catch (const std::exception& failure) {
  KovaDebugPrint(At(function), "%s", failure.what());
  return FALSE;
}

BOOL WINAPI Tcp_OpenPort(HANDLE, LPWSTR pName, HANDLE* pHandle) {
  if (pHandle == nullptr || pName == nullptr) {
    return FALSE;
  }
  return Guarded("Tcp_OpenPort", [&] {
    const auto key = static_cast<std::uintptr_t>(CLanPrinter::AddPrinter(pName));
    *pHandle = reinterpret_cast<HANDLE>(key);  // NOLINT(performance-no-int-to-ptr): a key
    return true;
  });
}

// Every document has a connection of its own, made here and closed at its end.
BOOL WINAPI Tcp_StartDocPort(HANDLE hPort, LPWSTR pPrinterName, DWORD, DWORD, LPBYTE) {
  return Guarded("Tcp_StartDocPort", [&] { return RequirePrinter(hPort)->StartDoc(pPrinterName); });
}

BOOL WINAPI Tcp_EndDocPort(HANDLE hPort) {
  return Guarded("Tcp_EndDocPort", [&] {
    RequirePrinter(hPort)->CloseConnection();
    return true;
  });
}

BOOL WINAPI Tcp_ClosePort(HANDLE hPort) {
  return Guarded("Tcp_ClosePort", [&] {
    RequirePrinter(hPort)->CloseConnection();
    CLanPrinter::RemovePrinter(ToKey(hPort));
    return true;
  });
}

BOOL WINAPI Tcp_SetPortTimeOuts(HANDLE hPort, LPCOMMTIMEOUTS lpCTO, DWORD) {
  if (lpCTO == nullptr) {
    platform::SetLastErrorCode(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  return Guarded("Tcp_SetPortTimeOuts", [&] {
    return RequirePrinter(hPort)->SetTimeouts(lpCTO->ReadTotalTimeoutConstant, lpCTO->WriteTotalTimeoutConstant);
  });
}

// A write's failure is told, a read's isn't: the callers of reads word it themselves.
enum class Tell : bool { kNothing, kFailures };

// One attempt on whatever connection stands. `transfer` gives the bytes it moved. A failure drops the connection.
template <class Transfer>
BOOL TransferOnce(CLanPrinter& printer, const char* function, Tell tell, LPDWORD moved, Transfer transfer) try {
  const std::uint32_t count = transfer();
  if (moved != nullptr) {
    *moved = count;
  }
  return TRUE;
} catch (const std::exception& failure) {
  printer.CloseConnection();
  if (tell == Tell::kFailures) {
    KovaDebugPrint(At(function), "%s", failure.what());
  }
  return FALSE;
}

// At most two attempts, the second on a connection made for it: a connection from an earlier call may have died since,
// one that was made for this transfer has not.
template <class Transfer>
BOOL TransferRecovering(CLanPrinter& printer, const char* function, Tell tell, LPDWORD moved, Transfer transfer) {
  bool fresh = true;
  const auto attempt = [&] {
    fresh = true;  // stays so where no connection can be made
    return TransferOnce(printer, function, tell, moved, [&] {
      fresh = printer.OpenConnection();
      return transfer();
    });
  };
  const BOOL result = attempt();
  return result != FALSE || fresh ? result : attempt();
}

BOOL WritePort_Recover(CLanPrinter& printer, const void* buffer, DWORD size, LPDWORD written) {
  return TransferRecovering(printer, "WritePort_Recover", Tell::kFailures, written,
                            [&] { return printer.Write(buffer, size); });
}

BOOL ReadPort_Recover(CLanPrinter& printer, void* buffer, DWORD size, LPDWORD read) {
  return TransferRecovering(printer, "ReadPort_Recover", Tell::kNothing, read,
                            [&] { return printer.Read(buffer, size); });
}

BOOL WritePort_Simple(CLanPrinter& printer, const void* buffer, DWORD size, LPDWORD written) {
  return TransferOnce(printer, "WritePort_Simple", Tell::kFailures, written,
                      [&] { return printer.Write(buffer, size); });
}

BOOL ReadPort_Simple(CLanPrinter& printer, void* buffer, DWORD size, LPDWORD read) {
  return TransferOnce(printer, "ReadPort_Simple", Tell::kNothing, read, [&] { return printer.Read(buffer, size); });
}

BOOL WINAPI Tcp_WritePort(HANDLE hPort, LPBYTE pBuffer, DWORD cbBuf, LPDWORD pcbWritten) {
  const auto printer = CLanPrinter::GetPrinter(ToKey(hPort));
  if (printer == nullptr) {
    return FALSE;
  }
  return SendIPHs != 0 ? WritePort_Recover(*printer, pBuffer, cbBuf, pcbWritten)
                       : WritePort_Simple(*printer, pBuffer, cbBuf, pcbWritten);
}

BOOL WINAPI Tcp_ReadPort(HANDLE hPort, LPBYTE pBuffer, DWORD cbBuf, LPDWORD pcbRead) {
  const auto printer = CLanPrinter::GetPrinter(ToKey(hPort));
  if (printer == nullptr) {
    return FALSE;
  }
  return SendIPHs != 0 ? ReadPort_Recover(*printer, pBuffer, cbBuf, pcbRead)
                       : ReadPort_Simple(*printer, pBuffer, cbBuf, pcbRead);
}

}  // namespace

MONITOR2 LanPortTable() {
  MONITOR2 table{};
  table.cbSize = sizeof(MONITOR2);
  table.pfnOpenPort = Tcp_OpenPort;
  table.pfnStartDocPort = Tcp_StartDocPort;
  table.pfnWritePort = Tcp_WritePort;
  table.pfnReadPort = Tcp_ReadPort;
  table.pfnEndDocPort = Tcp_EndDocPort;
  table.pfnClosePort = Tcp_ClosePort;
  table.pfnSetPortTimeOuts = Tcp_SetPortTimeOuts;
  return table;
}

}  // namespace sc3xxmon
