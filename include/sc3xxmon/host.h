/*
 * What a host supplies to the monitor on a system without the Windows spooler. Plain C11 and C++20.
 *
 * A host fills one Sc3xxHost, hands it to Sc3xxSetHost before InitializePrintMonitor2, and then loads the monitor as
 * any spooler would. The spooler's functions keep the platform's signatures, behind the context pointer.
 *
 * Threads: the monitor calls these functions on whichever thread called the monitor. A function must not call back
 * into the monitor.
 */
#ifndef SC3XXMON_HOST_H
#define SC3XXMON_HOST_H

#include "sc3xxmon/spooler_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Sc3xxHost {
  uint32_t size; /* sizeof(Sc3xxHost) as the host was compiled; members beyond it count as null */
  void* context; /* first argument of every function; the host owns it and keeps it alive */

  /*
   * The job side of the spooler. On failure a function gives 0 and sets the last error through SetLastError below.
   * Null members: every call fails with 50 (ERROR_NOT_SUPPORTED), so that no document can start.
   */

  /* Gives a handle for the named printer. `defaults` is always null. */
  BOOL (*OpenPrinterW)(void* context, LPWSTR printerName, HANDLE* printer, void* defaults);

  /*
   * Levels 1 (JOB_INFO_1W) and 2 (JOB_INFO_2W), in the platform's two-call form: with size 0 it fails with 122
   * (ERROR_INSUFFICIENT_BUFFER) and stores the bytes needed in `needed`; with enough room it fills `job`, the texts
   * behind the structure in the same buffer. The buffer is aligned for any type.
   */
  BOOL (*GetJobW)(void* context, HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD needed);

  /* Level 1 with a JOB_INFO_1W and command 0 sets fields; level 0 with null and a JOB_CONTROL_ command acts. */
  BOOL (*SetJobW)(void* context, HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD command);

  BOOL (*ClosePrinter)(void* context, HANDLE printer);

  /*
   * One named value, in the manner of RegQueryValueExW on a key below HKEY_LOCAL_MACHINE: `key` is the path, such as
   * L"Software\\KOVA\\SC3xx". With a null `data`, *size takes the value's length in bytes and the result is 0. With
   * too small a buffer the result is 234 (ERROR_MORE_DATA), *size takes the length, and nothing is stored. A key or
   * value that doesn't exist gives 2 (ERROR_FILE_NOT_FOUND). Texts are wchar_t, as wide as the system's.
   * A null `name` asks whether the key exists: 0 or 2.
   * The text LogRoot of the empty key L"" names the folder that log files lie below, in Logs/KOVA; without it they lie
   * below $XDG_STATE_HOME/sc3xxmon, ~/.local/state/sc3xxmon or, for root, /var/log/sc3xxmon. The folder Logs must exist.
   * Null member: the TOML file named by the environment variable SC3XXMON_CONFIG, else
   * /etc/sc3xxmon/sc3xxmon.toml.
   */
  LONG (*QueryValue)(void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size);

  /* Milliseconds of a clock that never goes back, and a sleep on it. Null members: the system's own. */
  uint64_t (*TickCount)(void* context);
  void (*Sleep)(void* context, uint32_t milliseconds);

  /*
   * The calling thread's last-error value. Port functions, the functions above and the monitor's entry points all
   * report through it. Null members: one word a thread inside the monitor, which a host can't read.
   */
  DWORD (*GetLastError)(void* context);
  void (*SetLastError)(void* context, DWORD code);

  /* The debugger channel: one zero-ended text, no line end added. Null member: standard error. */
  void (*DebugOutput)(void* context, const char* text);
} Sc3xxHost;

/*
 * Copies the table. Null brings the defaults back. Gives 1, or 0 without effect when `size` is too small to reach the
 * first function. Not to be called while a port is open.
 *
 * What the context points to has to live until the next call, or until the library is taken out: it writes to the log
 * on its way out, and closes what a port that was left open still holds.
 */
SC3XXMON_EXPORT int Sc3xxSetHost(const Sc3xxHost* host);

#ifdef __cplusplus
}
#endif

#endif
