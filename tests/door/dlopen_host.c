/*
 * A host in plain C: loads the monitor by its file name, finds the two functions that it exports, and prints a job of two
 * labels through callbacks alone. The printer that it plays answers that all is well.
 *
 *   dlopen_host libsc3xxmon.so
 *
 * Exit 0 when the job went through, byte for byte; else a line that says what didn't happen, and 1.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "sc3xxmon/host.h"
#include "sc3xxmon/spooler_abi.h"

#define JOB_ID 42u
#define DRIVER_NAME L"KOVA Scrivelo 310 Swift"

typedef MONITOR2*(WINAPI* InitializeFunction)(PMONITORINIT, HANDLE*);
typedef int (*SetHostFunction)(const Sc3xxHost*);

/* Everything that the host is: one job, one clock, one port with the bytes that it was given. */
typedef struct World {
  DWORD lastError;
  uint64_t now;
  DWORD status;
  DWORD pagesPrinted;
  DWORD lastCommand;
  int openPrinters;
  int openPorts;
  int openDocuments;
  BYTE wire[1024];
  size_t wireLength;
} World;

static World world;

static void Require(int condition, const char* what) {
  if (!condition) {
    fprintf(stderr, "dlopen_host: %s\n", what);
    exit(1);
  }
}

/* ------------------------------------------------------------------------------------------------- the spooler */

static BOOL OpenPrinterOf(void* context, LPWSTR name, HANDLE* printer, void* defaults) {
  Require(context == &world && defaults == NULL && wcscmp(name, L"Labels") == 0, "OpenPrinterW got strange arguments");
  world.openPrinters++;
  *printer = &world.openPrinters;
  return TRUE;
}

static BOOL ClosePrinterOf(void* context, HANDLE printer) {
  (void)context;
  Require(printer == &world.openPrinters, "ClosePrinter got a strange handle");
  world.openPrinters--;
  return TRUE;
}

static BOOL GetJobOf(void* context, HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
  (void)context;
  (void)printer;
  Require(jobId == JOB_ID && (level == 1 || level == 2), "GetJobW got strange arguments");
  *needed = level == 1 ? (DWORD)sizeof(JOB_INFO_1W) : (DWORD)(sizeof(JOB_INFO_2W) + sizeof(DRIVER_NAME));
  if (size < *needed) {
    world.lastError = ERROR_INSUFFICIENT_BUFFER;
    return FALSE;
  }
  memset(job, 0, *needed);
  if (level == 1) {
    JOB_INFO_1W info = {0};
    info.JobId = jobId;
    info.Status = world.status;
    info.PagesPrinted = world.pagesPrinted;
    memcpy(job, &info, sizeof(info));
  } else {
    JOB_INFO_2W info = {0};
    memcpy(job + sizeof(info), DRIVER_NAME, sizeof(DRIVER_NAME));
    info.JobId = jobId;
    info.pDriverName = (LPWSTR)(void*)(job + sizeof(info));
    memcpy(job, &info, sizeof(info));
  }
  return TRUE;
}

static BOOL SetJobOf(void* context, HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD command) {
  (void)context;
  (void)printer;
  Require(jobId == JOB_ID, "SetJobW got a strange job");
  if (level == 0) {
    world.lastCommand = command;
    return TRUE;
  }
  JOB_INFO_1W info;
  memcpy(&info, job, sizeof(info));
  world.status = info.Status;
  world.pagesPrinted = info.PagesPrinted;
  return TRUE;
}

static LONG QueryValueOf(void* context, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
  (void)context;
  (void)key;
  (void)name;
  (void)data;
  (void)size;
  return (LONG)ERROR_FILE_NOT_FOUND;
}

static uint64_t TickCountOf(void* context) {
  (void)context;
  return world.now;
}

static void SleepOf(void* context, uint32_t milliseconds) {
  (void)context;
  world.now += milliseconds;
}

static DWORD GetLastErrorOf(void* context) {
  (void)context;
  return world.lastError;
}

static void SetLastErrorOf(void* context, DWORD code) {
  (void)context;
  world.lastError = code;
}

static void DebugOutputOf(void* context, const char* text) {
  (void)context;
  fputs(text, stderr);
}

/* ---------------------------------------------------------------------------------------------------- the port */

static BOOL OpenPortOf(HANDLE monitor, LPWSTR name, HANDLE* port) {
  Require(monitor == &world && wcscmp(name, L"USB001") == 0, "pfnOpenPort got strange arguments");
  world.openPorts++;
  *port = &world.openPorts;
  return TRUE;
}

static BOOL StartDocPortOf(HANDLE port, LPWSTR printer, DWORD jobId, DWORD level, LPBYTE info) {
  Require(port == &world.openPorts && jobId == JOB_ID && level == 1 && info != NULL && printer != NULL,
          "pfnStartDocPort got strange arguments");
  world.openDocuments++;
  return TRUE;
}

static BOOL WritePortOf(HANDLE port, LPBYTE bytes, DWORD size, LPDWORD written) {
  Require(port == &world.openPorts, "pfnWritePort got a strange handle");
  Require(world.wireLength + size <= sizeof(world.wire), "too many bytes reached the port");
  memcpy(world.wire + world.wireLength, bytes, size);
  world.wireLength += size;
  *written = size;
  return TRUE;
}

/* A ready printer: status 0, labels in the bay. */
static BOOL ReadPortOf(HANDLE port, LPBYTE bytes, DWORD size, LPDWORD count) {
  Require(port == &world.openPorts, "pfnReadPort got a strange handle");
  memset(bytes, 0, size);
  if (size == 32) {
    bytes[10] = 8;
  }
  *count = size;
  return TRUE;
}

static BOOL EndDocPortOf(HANDLE port) {
  (void)port;
  world.openDocuments--;
  return TRUE;
}

static BOOL ClosePortOf(HANDLE port) {
  (void)port;
  world.openPorts--;
  return TRUE;
}

/* ----------------------------------------------------------------------------------------------------- the job */

#define LABEL(index) 0x1B, 'n', index, 0, 0x1B, 'D', 1, 0, 2, 0, 0, 0, 8, 0, 0, 0, 0xF0, 0x0F, 0x1B, 'G'
#define JOB_START 0x1B, 's', 1, 0, 0, 0
#define END_OF_JOB 0x1B, 'Q'

static const BYTE stream[] = {JOB_START, LABEL(1), LABEL(2), END_OF_JOB};
static const BYTE expected[] = {0x1B, 'A', 0,        0x1B, 'V', JOB_START, LABEL(1),  0x1B,
                                'A',  2,   LABEL(2), 0x1B, 'A', 0,         END_OF_JOB};

static void* Find(void* library, const char* name) {
  void* symbol = dlsym(library, name);
  Require(symbol != NULL, name);
  return symbol;
}

static void SetHostOf(void* library) {
  Sc3xxHost host = {0};
  host.size = (uint32_t)sizeof(host);
  host.context = &world;
  host.OpenPrinterW = OpenPrinterOf;
  host.GetJobW = GetJobOf;
  host.SetJobW = SetJobOf;
  host.ClosePrinter = ClosePrinterOf;
  host.QueryValue = QueryValueOf;
  host.TickCount = TickCountOf;
  host.Sleep = SleepOf;
  host.GetLastError = GetLastErrorOf;
  host.SetLastError = SetLastErrorOf;
  host.DebugOutput = DebugOutputOf;
  SetHostFunction setHost;
  *(void**)(&setHost) = Find(library, "Sc3xxSetHost");
  Require(setHost(&host) == 1, "Sc3xxSetHost refused the table");
}

static MONITOR2* LoadMonitor(void* library) {
  InitializeFunction initialize;
  *(void**)(&initialize) = Find(library, "InitializePrintMonitor2");
  MONITORINIT init = {0};
  init.cbSize = (DWORD)sizeof(init);
  init.bLocal = TRUE;
  HANDLE handle = NULL;
  MONITOR2* monitor = initialize(&init, &handle);
  Require(monitor != NULL && monitor->cbSize == sizeof(MONITOR2), "InitializePrintMonitor2 gave no table");
  return monitor;
}

static void Print(MONITOR2* monitor) {
  MONITOR2 port = {0};
  port.cbSize = (DWORD)sizeof(port);
  port.pfnOpenPort = OpenPortOf;
  port.pfnStartDocPort = StartDocPortOf;
  port.pfnWritePort = WritePortOf;
  port.pfnReadPort = ReadPortOf;
  port.pfnEndDocPort = EndDocPortOf;
  port.pfnClosePort = ClosePortOf;

  wchar_t portName[] = L"USB001";
  wchar_t printer[] = L"Labels";
  DOC_INFO_1W info = {0};
  HANDLE key = NULL;
  Require(monitor->pfnOpenPortEx(NULL, &world, portName, printer, &key, &port) != 0, "the port couldn't be opened");
  Require(monitor->pfnStartDocPort(key, printer, JOB_ID, 1, (LPBYTE)&info) != 0, "the document couldn't be started");
  for (size_t at = 0; at < sizeof(stream); at += 7) {
    BYTE piece[7];
    DWORD size = (DWORD)(sizeof(stream) - at < sizeof(piece) ? sizeof(stream) - at : sizeof(piece));
    DWORD written = 0;
    memcpy(piece, stream + at, size);
    Require(monitor->pfnWritePort(key, piece, size, &written) != 0 && written == size, "a write was refused");
  }
  Require(monitor->pfnEndDocPort(key) != 0, "the document couldn't be ended");
  Require(monitor->pfnClosePort(key) != 0, "the port couldn't be closed");
}

int main(int argc, char** argv) {
  Require(argc == 2, "usage: dlopen_host LIBRARY");
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  Require(library != NULL, "the library couldn't be loaded");
  SetHostOf(library);
  Print(LoadMonitor(library));

  Require(world.wireLength == sizeof(expected) && memcmp(world.wire, expected, sizeof(expected)) == 0,
          "the bytes at the port are not the ones of the job");
  Require(world.pagesPrinted == 2 && world.status == JOB_STATUS_COMPLETE,
          "the spooler doesn't show two printed labels");
  Require(world.lastCommand == JOB_CONTROL_LAST_PAGE_EJECTED, "the last page isn't marked as ejected");
  Require(world.openPrinters == 0 && world.openPorts == 0 && world.openDocuments == 0, "something was left open");
  Require(dlclose(library) == 0, "the library couldn't be unloaded");
  puts("printed 2 labels through the library's two functions");
  return 0;
}
