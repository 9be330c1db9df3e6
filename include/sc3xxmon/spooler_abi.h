/*
 * The print spooler's types and constants, under the same names on every system.
 *
 * On Windows they come from the platform's headers; elsewhere this header declares the ones that a print language
 * monitor and its hosts need, with the same layout on a 64-bit machine except that wchar_t has 32 bits.
 * The port function table MONITOR2 is the project's own type on every system, since some SDK headers end it one
 * slot early. Plain C11 and C++20.
 *
 * Off Windows a port function reports the reason of a failure through Sc3xxHost::SetLastError (host.h), where Windows
 * has the thread's own last-error value.
 */
#ifndef SC3XXMON_SPOOLER_ABI_H
#define SC3XXMON_SPOOLER_ABI_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <winspool.h>

/* The platform's headers define these words as macros; several of them are names of ours. */
#undef StartDoc
#undef GetJob
#undef SetJob
#undef AddPrinter
#undef GetPrinter
#undef OpenPrinter
#undef AddPort
#undef EnumPorts
#undef AddMonitor
#undef ERROR

#else /* not Windows */

#ifdef __cplusplus
extern "C" {
#endif

#define WINAPI

typedef int BOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef wchar_t WCHAR;
typedef wchar_t* LPWSTR;
typedef const wchar_t* LPCWSTR;
typedef BYTE* LPBYTE;
typedef DWORD* LPDWORD;
typedef void* LPVOID;
typedef void* HANDLE;
typedef HANDLE* LPHANDLE;
typedef HANDLE HINSTANCE;
typedef DWORD ACCESS_MASK;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

/* Last-error values. */
#define ERROR_SUCCESS 0u
#define ERROR_FILE_NOT_FOUND 2u
#define ERROR_ACCESS_DENIED 5u
#define ERROR_GEN_FAILURE 31u
#define ERROR_NOT_SUPPORTED 50u
#define ERROR_INVALID_PARAMETER 87u
#define ERROR_INSUFFICIENT_BUFFER 122u
#define ERROR_INVALID_LEVEL 124u
#define ERROR_BUSY 170u
#define ERROR_MORE_DATA 234u
#define ERROR_TIMEOUT 1460u
#define ERROR_PRINT_CANCELLED 63u
#define ERROR_INVALID_PRINT_MONITOR 3007u

/* Status bits of a job. */
#define JOB_STATUS_PAUSED 0x00000001u
#define JOB_STATUS_ERROR 0x00000002u
#define JOB_STATUS_DELETING 0x00000004u
#define JOB_STATUS_SPOOLING 0x00000008u
#define JOB_STATUS_PRINTING 0x00000010u
#define JOB_STATUS_OFFLINE 0x00000020u
#define JOB_STATUS_PAPEROUT 0x00000040u
#define JOB_STATUS_PRINTED 0x00000080u
#define JOB_STATUS_DELETED 0x00000100u
#define JOB_STATUS_BLOCKED_DEVQ 0x00000200u
#define JOB_STATUS_USER_INTERVENTION 0x00000400u
#define JOB_STATUS_RESTART 0x00000800u
#define JOB_STATUS_COMPLETE 0x00001000u

/* Commands to a job. */
#define JOB_CONTROL_PAUSE 1u
#define JOB_CONTROL_RESUME 2u
#define JOB_CONTROL_CANCEL 3u
#define JOB_CONTROL_RESTART 4u
#define JOB_CONTROL_DELETE 5u
#define JOB_CONTROL_SENT_TO_PRINTER 6u
#define JOB_CONTROL_LAST_PAGE_EJECTED 7u

#define JOB_POSITION_UNSPECIFIED 0u

typedef struct SYSTEMTIME {
  WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
} SYSTEMTIME;

typedef struct JOB_INFO_1W {
  DWORD JobId;
  LPWSTR pPrinterName;
  LPWSTR pMachineName;
  LPWSTR pUserName;
  LPWSTR pDocument;
  LPWSTR pDatatype;
  LPWSTR pStatus;
  DWORD Status;
  DWORD Priority;
  DWORD Position;
  DWORD TotalPages;
  DWORD PagesPrinted;
  SYSTEMTIME Submitted;
} JOB_INFO_1W;

typedef struct JOB_INFO_2W {
  DWORD JobId;
  LPWSTR pPrinterName;
  LPWSTR pMachineName;
  LPWSTR pUserName;
  LPWSTR pDocument;
  LPWSTR pNotifyName;
  LPWSTR pDatatype;
  LPWSTR pPrintProcessor;
  LPWSTR pParameters;
  LPWSTR pDriverName;
  void* pDevMode;
  LPWSTR pStatus;
  void* pSecurityDescriptor;
  DWORD Status;
  DWORD Priority;
  DWORD Position;
  DWORD StartTime;
  DWORD UntilTime;
  DWORD TotalPages;
  DWORD Size;
  SYSTEMTIME Submitted;
  DWORD Time;
  DWORD PagesPrinted;
} JOB_INFO_2W;

/* What a driver was asked for. The monitor can show it in its log and reads none of it. */
typedef struct DEVMODEW {
  WCHAR dmDeviceName[32];
  WORD dmSpecVersion;
  WORD dmDriverVersion;
  WORD dmSize;
  WORD dmDriverExtra;
  DWORD dmFields;
  int16_t dmOrientation;
  int16_t dmPaperSize;
  int16_t dmPaperLength;
  int16_t dmPaperWidth;
  int16_t dmScale;
  int16_t dmCopies;
  int16_t dmDefaultSource;
  int16_t dmPrintQuality;
  int16_t dmColor;
  int16_t dmDuplex;
  int16_t dmYResolution;
  int16_t dmTTOption;
  int16_t dmCollate;
  WCHAR dmFormName[32];
  WORD dmLogPixels;
  DWORD dmBitsPerPel;
  DWORD dmPelsWidth;
  DWORD dmPelsHeight;
  DWORD dmDisplayFlags;
  DWORD dmDisplayFrequency;
  DWORD dmICMMethod;
  DWORD dmICMIntent;
  DWORD dmMediaType;
  DWORD dmDitherType;
  DWORD dmReserved1;
  DWORD dmReserved2;
  DWORD dmPanningWidth;
  DWORD dmPanningHeight;
} DEVMODEW;

typedef struct DOC_INFO_1W {
  LPWSTR pDocName;
  LPWSTR pOutputFile;
  LPWSTR pDatatype;
} DOC_INFO_1W;

/* Time-outs of a port, in milliseconds. */
typedef struct COMMTIMEOUTS {
  DWORD ReadIntervalTimeout;
  DWORD ReadTotalTimeoutMultiplier;
  DWORD ReadTotalTimeoutConstant;
  DWORD WriteTotalTimeoutMultiplier;
  DWORD WriteTotalTimeoutConstant;
} COMMTIMEOUTS, *LPCOMMTIMEOUTS;

#ifdef __cplusplus
}
#endif

#endif /* not Windows */

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A port's function table, 23 slots in 184 bytes on a 64-bit machine. A slot may be null. Every function gives
 * non-zero for success; on failure the last-error value says why.
 */
typedef struct Sc3xxMonitor2 {
  DWORD cbSize;
  BOOL(WINAPI* pfnEnumPorts)
  (HANDLE hMonitor, LPWSTR pName, DWORD Level, LPBYTE pPorts, DWORD cbBuf, LPDWORD pcbNeeded, LPDWORD pcReturned);
  BOOL(WINAPI* pfnOpenPort)(HANDLE hMonitor, LPWSTR pName, HANDLE* pHandle);
  BOOL(WINAPI* pfnOpenPortEx)
  (HANDLE hMonitor, HANDLE hMonitorPort, LPWSTR pPortName, LPWSTR pPrinterName, HANDLE* pHandle,
   struct Sc3xxMonitor2* pMonitor2);
  BOOL(WINAPI* pfnStartDocPort)(HANDLE hPort, LPWSTR pPrinterName, DWORD JobId, DWORD Level, LPBYTE pDocInfo);
  BOOL(WINAPI* pfnWritePort)(HANDLE hPort, LPBYTE pBuffer, DWORD cbBuf, LPDWORD pcbWritten);
  BOOL(WINAPI* pfnReadPort)(HANDLE hPort, LPBYTE pBuffer, DWORD cbBuf, LPDWORD pcbRead);
  BOOL(WINAPI* pfnEndDocPort)(HANDLE hPort);
  BOOL(WINAPI* pfnClosePort)(HANDLE hPort);
  BOOL(WINAPI* pfnAddPort)(HANDLE hMonitor, LPWSTR pName, void* hWnd, LPWSTR pMonitorName);
  BOOL(WINAPI* pfnAddPortEx)(HANDLE hMonitor, LPWSTR pName, DWORD Level, LPBYTE pBuffer, LPWSTR pMonitorName);
  BOOL(WINAPI* pfnConfigurePort)(HANDLE hMonitor, LPWSTR pName, void* hWnd, LPWSTR pPortName);
  BOOL(WINAPI* pfnDeletePort)(HANDLE hMonitor, LPWSTR pName, void* hWnd, LPWSTR pPortName);
  BOOL(WINAPI* pfnGetPrinterDataFromPort)
  (HANDLE hPort, DWORD ControlID, LPWSTR pValueName, LPWSTR lpInBuffer, DWORD cbInBuffer, LPWSTR lpOutBuffer,
   DWORD cbOutBuffer, LPDWORD lpcbReturned);
  BOOL(WINAPI* pfnSetPortTimeOuts)(HANDLE hPort, LPCOMMTIMEOUTS lpCTO, DWORD reserved);
  BOOL(WINAPI* pfnXcvOpenPort)(HANDLE hMonitor, LPCWSTR pszObject, ACCESS_MASK GrantedAccess, HANDLE* phXcv);
  DWORD(WINAPI* pfnXcvDataPort)
  (HANDLE hXcv, LPCWSTR pszDataName, LPBYTE pInputData, DWORD cbInputData, LPBYTE pOutputData, DWORD cbOutputData,
   LPDWORD pcbOutputNeeded);
  BOOL(WINAPI* pfnXcvClosePort)(HANDLE hXcv);
  void(WINAPI* pfnShutdown)(HANDLE hMonitor);
  DWORD(WINAPI* pfnSendRecvBidiDataFromPort)
  (HANDLE hPort, DWORD dwAccessBit, LPCWSTR pAction, void* pReqData, void** ppResData);
  DWORD(WINAPI* pfnNotifyUsedPorts)(HANDLE hMonitor, DWORD cPorts, LPCWSTR* ppszPorts);
  DWORD(WINAPI* pfnNotifyUnusedPorts)(HANDLE hMonitor, DWORD cPorts, LPCWSTR* ppszPorts);
  DWORD(WINAPI* pfnPowerEvent)(HANDLE hMonitor, DWORD event, void* pSettings);
} MONITOR2, *LPMONITOR2;

/* What the spooler hands to InitializePrintMonitor2. Of its fields the monitor reads bLocal alone. */
typedef struct Sc3xxMonitorInit {
  DWORD cbSize;
  HANDLE hSpooler;
  HANDLE hckRegistryRoot;
  void* pMonitorReg;
  BOOL bLocal;
  LPCWSTR pszServerName;
} MONITORINIT, *PMONITORINIT;

#ifdef __cplusplus
}
static_assert(sizeof(void*) != 8 || sizeof(MONITOR2) == 184, "the port table has 23 slots");
#else
_Static_assert(sizeof(void*) != 8 || sizeof(MONITOR2) == 184, "the port table has 23 slots");
#endif

/* ------------------------------------------------------------------------------------------ the exported door */

#ifdef _WIN32
#ifdef SC3XXMON_BUILDING_LIBRARY
#define SC3XXMON_EXPORT __declspec(dllexport)
#else
#define SC3XXMON_EXPORT
#endif
#else
#define SC3XXMON_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Reads the settings and gives the monitor's static port table, or null with last error 50 (ERROR_NOT_SUPPORTED)
 * when pMonitorInit->bLocal is 0. *phMonitor becomes null. Call it once, before any other thread uses the table.
 * The table lives as long as the library is loaded. Of its slots pfnOpenPortEx, pfnStartDocPort, pfnWritePort,
 * pfnReadPort, pfnEndDocPort, pfnClosePort and pfnShutdown are filled.
 *
 * A write blocks for as long as the printer's trouble lasts; a result of 0 means that the buffer was not taken or
 * that the document is to be ended.
 */
SC3XXMON_EXPORT MONITOR2* WINAPI InitializePrintMonitor2(PMONITORINIT pMonitorInit, HANDLE* phMonitor);

#ifdef __cplusplus
}
#endif

#endif
