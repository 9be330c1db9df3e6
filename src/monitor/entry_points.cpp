// The whole surface towards the spooler. Each entry point logs, turns the port key into its object, and calls that
// object's operations; the order of the calls, the refused arguments and the last-error codes are owned here.

#include "diag/debug_log.h"
#include "diag/debug_settings.h"
#include "engine/engine.h"
#include "job/failure.h"
#include "monitor/langmon.h"
#include "monitor/library_load.h"
#include "monitor/module_handle.h"
#include "monitor/options.h"
#include "platform/clock.h"
#include "platform/last_error.h"
#include "platform/module.h"
#include "printer/port_timeouts.h"

namespace sc3xxmon {
namespace {

constexpr DWORD kProcessDetach = 0;
constexpr DWORD kProcessAttach = 1;

HANDLE ToHandle(PortKey key) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(key));  // NOLINT(performance-no-int-to-ptr): a key
}

std::shared_ptr<CLangMon> Find(HANDLE port) {
  return CLangMon::FindLangMon(static_cast<PortKey>(reinterpret_cast<std::uintptr_t>(port)));
}

// Opens the port below. On failure the object is gone again and the last error is the port's.
bool OpenPortBelow(const MONITOR2& table, HANDLE monitorPort, LPWSTR portName, PortKey key, HANDLE* port) {
  if (table.pfnOpenPort(monitorPort, portName, port) != 0) {
    return true;
  }
  KovaDebugPrint(At("SCMon_OpenPortEx"), "OpenPort failed (0x%x)", platform::LastError());
  CLangMon::RemoveLangMon(key);
  return false;
}

BOOL WINAPI SCMon_OpenPortEx(HANDLE, HANDLE hMonitorPort, LPWSTR pPortName, LPWSTR pPrinterName, HANDLE* pHandle,
                             MONITOR2* pMonitor2) {
  constexpr char kFunction[] = "SCMon_OpenPortEx";
  MONITOR2 table{};
  std::uint32_t isUsb = 1;
  if (!CLangMon::ValidateMonitor(pPortName, pMonitor2, &table, &isUsb)) {
    return FALSE;
  }
  KovaDebugPrint(At(kFunction), "port=%ws; printer=%ws, isUsb=%d", static_cast<const wchar_t*>(pPortName),
                 static_cast<const wchar_t*>(pPrinterName), isUsb);
  PortKey key = 0;
  if (!CLangMon::AddLangMon(pPortName, &key, false)) {
    KovaDebugPrint(At(kFunction), "CLangMon::AddLangMon failed: entry already exists");
    platform::SetLastErrorCode(ERROR_BUSY);
    return FALSE;
  }
  HANDLE port = nullptr;
  if (!OpenPortBelow(table, hMonitorPort, pPortName, key, &port)) {
    return FALSE;
  }
  const auto langMon = CLangMon::FindLangMon(key);
  langMon->hPort = port;
  langMon->Monitor = table;
  langMon->isUsb = isUsb;
  COMMTIMEOUTS timeouts = PortTimeouts(PortReadTimeout, PortWriteTimeout);
  if (!langMon->SetTimeouts(&timeouts)) {
    KovaDebugPrint(At(kFunction), "SetTimeouts failed");
  }
  *pHandle = ToHandle(key);
  return TRUE;
}

// Any failure leaves the port as if the document had never been asked for; the last error stays the failing call's.
// The printer is free for others before the job closes its own handle to it.
BOOL StartDocument(CLangMon& langMon, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo) {
  std::shared_ptr<CPrintJob> job;
  try {
    job = std::make_shared<CPrintJob>(jobId, printerName);
    if (!langMon.StartDoc(printerName, jobId, level, docInfo)) {
      throw Exception("StartDocPort failed");
    }
    langMon.PushJob(job);
    return TRUE;
  } catch (const std::exception& failure) {
    KovaDebugPrint(At("SCMon_StartDocPort"), "%s", failure.what());
    langMon.ReleaseHostSync();
    return FALSE;
  }
}

BOOL WINAPI SCMon_StartDocPort(HANDLE hPort, LPWSTR pPrinterName, DWORD JobId, DWORD Level, LPBYTE pDocInfo) {
  constexpr char kFunction[] = "SCMon_StartDocPort";
  KovaDebugPrint(At(kFunction), "printer=%ws; dwJobId=%d; dwLevel=%d", static_cast<const wchar_t*>(pPrinterName), JobId,
                 Level);
  if (!CLangMon::ValidateDocInfo(pPrinterName, Level, pDocInfo)) {
    return FALSE;
  }
  const auto langMon = Find(hPort);
  if (langMon == nullptr) {
    return FALSE;
  }
  if (!langMon->AcquireHostSync(pPrinterName)) {
    platform::SetLastErrorCode(ERROR_BUSY);
    KovaDebugPrint(At(kFunction), "StartDocPort is busy - canst start new doc");
    return FALSE;
  }
  return StartDocument(*langMon, pPrinterName, JobId, Level, pDocInfo);
}

BOOL WINAPI SCMon_WritePort(HANDLE hPort, LPBYTE pBuffer, DWORD cbBuf, LPDWORD pcbWritten) {
  constexpr char kFunction[] = "SCMon_WritePort";
  KovaDebugPrint(At(kFunction), "");
  const auto langMon = Find(hPort);
  if (langMon == nullptr) {
    return FALSE;
  }
  const BOOL result = SC_WritePort2(*langMon, pBuffer, cbBuf, pcbWritten);
  KovaDebugPrint(At(kFunction), "SC_WritePort2 returned %d, written %d bytes", result, *pcbWritten);
  return result;
}

BOOL WINAPI SCMon_ReadPort(HANDLE hPort, LPBYTE pBuffer, DWORD cbBuf, LPDWORD pcbRead) {
  constexpr char kFunction[] = "SCMon_ReadPort";
  KovaDebugPrint(At(kFunction), "");
  const auto langMon = Find(hPort);
  if (langMon == nullptr) {
    return FALSE;
  }
  std::uint32_t read = *pcbRead;
  const bool succeeded = langMon->RecvForSpooler(pBuffer, cbBuf, &read);
  *pcbRead = read;
  const BOOL result = succeeded ? TRUE : FALSE;
  KovaDebugPrint(At(kFunction), "ReadPort returned %d, read %d bytes", result, read);
  return result;
}

// The printer is still inside this job and has to be told that it ended. The job is off the stack by now, so that the
// cancel sequence sends its form feed to every model, the tape ones too.
void EndJobAtPrinter(CLangMon& langMon, const CPrintJob& job) {
  if (job.HeaderSent == 0 || job.FooterSent != 0) {
    return;
  }
  if (!job.IsDeleted() && job.AbortState != kJobAbortedBySpooler) {
    langMon.SendEndJob();
  } else {
    langMon.SendCancelSequence();
  }
}

void EndJob(CLangMon& langMon, const CPrintJob& job) {
  EndJobAtPrinter(langMon, job);
  if (langMon.isUsb == 0) {
    job.MarkSentToPrinter();
  }
  job.MarkLastPageEjected();
  NoteJobProgress(langMon, job.JobId, job.LabelsAcked, true);
  KovaDebugPrint(At("SCMon_EndDocPort"), "Last page ejected");
}

void SleepEndDocDelay(CLangMon& langMon) {
  const std::uint32_t delay = langMon.EndDocDelay;
  if (delay == 0) {
    return;
  }
  langMon.EndDocDelay = 0;
  KovaDebugPrint(At("SCMon_EndDocPort"), "Delay for %d ms", delay);
  platform::SleepMs(delay);
}

BOOL WINAPI SCMon_EndDocPort(HANDLE hPort) {
  constexpr char kFunction[] = "SCMon_EndDocPort";
  KovaDebugPrint(At(kFunction), "");
  const auto langMon = Find(hPort);
  if (langMon == nullptr) {
    return FALSE;
  }
  const auto job = langMon->PopJob();
  if (job != nullptr) {
    EndJob(*langMon, *job);
  } else {
    KovaDebugPrint(At(kFunction), "ERROR: No jobs to remove");
  }
  langMon->EndDoc();
  SleepEndDocDelay(*langMon);
  langMon->ReleaseHostSync();
  return TRUE;
}

BOOL WINAPI SCMon_ClosePort(HANDLE hPort) {
  KovaDebugPrint(At("SCMon_ClosePort"), "");
  const auto langMon = Find(hPort);
  if (langMon == nullptr) {
    return FALSE;
  }
  langMon->ClosePortChain();
  CLangMon::RemoveLangMon(static_cast<PortKey>(reinterpret_cast<std::uintptr_t>(hPort)));
  return TRUE;
}

// Nothing is torn down here: ports that are open stay open.
void WINAPI SCMon_Shutdown(HANDLE) {}

constexpr MONITOR2 MonitorTable() {
  MONITOR2 table{};
  table.cbSize = sizeof(MONITOR2);
  table.pfnOpenPortEx = SCMon_OpenPortEx;
  table.pfnStartDocPort = SCMon_StartDocPort;
  table.pfnWritePort = SCMon_WritePort;
  table.pfnReadPort = SCMon_ReadPort;
  table.pfnEndDocPort = SCMon_EndDocPort;
  table.pfnClosePort = SCMon_ClosePort;
  table.pfnShutdown = SCMon_Shutdown;
  return table;
}

constexpr MONITOR2 kMonitorTable = MonitorTable();

constexpr char kBuildDate[] = __DATE__;
constexpr char kBuildTime[] = __TIME__;

void LogStart() {
  constexpr char kFunction[] = "InitializePrintMonitor2";
  KovaDebugPrint(At(kFunction), "Initialized SC3xx Language Monitor v%s-%s built on %s %s", version::kVersion,
                 version::kConfiguration, kBuildDate, kBuildTime);
  KovaDebugPrint(At(kFunction), "Debug: %d; Trace: %d; Test: %d;", DebugLevel(), TraceWord(), FlagWord());
}

void LogOptions() {
  KovaDebugPrint(At("InitializePrintMonitor2"),
                 "Options: DispatchMode=%d; CompressMode=%d; ReadTimeout=%d; WriteTimeout=%d; Chunk=%d; HOffset=%d; "
                 "TTrim:=%d",
                 LabelDispatchMode, LabelCompressMode, PortReadTimeout, PortWriteTimeout, PdChunkSize, HorzLabelOffset,
                 TrimTapeLabel);
}

}  // namespace

void LibraryLoad(HINSTANCE module, DWORD reason) {
  switch (reason & 0xFFFF) {
    case kProcessAttach:
      platform::DisableThreadNotifications(module);
      moduleHandle = module;
      break;
    case kProcessDetach:
      KovaDebugPrint(At("DllMain"), "Date[%s] Time[%s] Detach SC SC3xx Language Monitor ", kBuildDate, kBuildTime);
      break;
    default:
      break;
  }
}

}  // namespace sc3xxmon

MONITOR2* WINAPI InitializePrintMonitor2(PMONITORINIT pMonitorInit, HANDLE* phMonitor) {
  using namespace sc3xxmon;
  ReadDebugSettings(ModuleHandle());
  LogStart();
  ReadOptions();
  LogOptions();
  *phMonitor = nullptr;
  if (pMonitorInit->bLocal == 0) {
    platform::SetLastErrorCode(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  return const_cast<MONITOR2*>(&kMonitorTable);  // the spooler's signature has no const; it only reads
}
