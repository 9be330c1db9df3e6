#include "job/print_job.h"

#include "diag/debug_settings.h"
#include "diag/dump_file.h"
#include "diag/text_format.h"
#include "job/failure.h"
#include "job/spooler_job_info.h"
#include "monitor/printer_models.h"
#include "platform/last_error.h"
#include "platform/spooler.h"

namespace sc3xxmon {

CPrintJob::CPrintJob(std::uint32_t jobId, const wchar_t* printerName)
    : CKplParser(jobId), PrinterName(printerName != nullptr ? printerName : L""), JobId(jobId) {
  // A null name stays null for the spooler, where it means the local print server.
  LPWSTR name = printerName != nullptr ? PrinterName.data() : nullptr;
  if (platform::SpoolerOpenPrinter(name, &PrinterHandle) == 0) {
    throw Exception("OpenPrinter failed");
  }
  const auto info = ReadJobInfo2(PrinterHandle, JobId);
  if (!info) {
    // The handle stays open for the life of the process: closing it is the destructor's, which doesn't run here.
    throw Exception("Failed to get driver info");
  }
  Model = ModelFromDriverName(info->pDriverName);
  if (TraceHasJobDump()) {
    DumpPath = MakeDumpPath(FormatToString("job-%u.prn", JobId));
  }
}

CPrintJob::~CPrintJob() {
  if (PrinterHandle != nullptr) {
    platform::SpoolerClosePrinter(PrinterHandle);
  }
}

std::uint32_t CPrintJob::QueryStatus() const {
  const auto info = ReadJobInfo1(PrinterHandle, JobId);
  return info ? info->Status : 0;
}

BOOL CPrintJob::SetJobCmd(std::uint32_t command, std::uint32_t level, void* jobInfo) const {
  const BOOL result = platform::SpoolerSetJob(PrinterHandle, JobId, level, static_cast<LPBYTE>(jobInfo), command);
  if (result == 0) {
    KovaDebugPrint(At("CPrintJob::SetJobCmd"), "SetJob(%d) failed: %d", command, platform::LastError());
  }
  return result;
}

void CPrintJob::Resume() const {
  KovaDebugPrint(At("CPrintJob::Resume"), "");
  SetJobCmd(JOB_CONTROL_RESUME, 0, nullptr);
}

void CPrintJob::Restart() const {
  KovaDebugPrint(At("CPrintJob::Restart"), "");
  SetJobCmd(JOB_CONTROL_RESTART, 0, nullptr);
}

void CPrintJob::Delete() const {
  KovaDebugPrint(At("CPrintJob::Delete"), "");
  SetJobCmd(JOB_CONTROL_DELETE, 0, nullptr);
}

void CPrintJob::MarkSentToPrinter() const {
  KovaDebugPrint(At("CPrintJob::MarkSentToPrinter"), "");
  SetJobCmd(JOB_CONTROL_SENT_TO_PRINTER, 0, nullptr);
}

void CPrintJob::MarkLastPageEjected() const {
  KovaDebugPrint(At("CPrintJob::MarkLastPageEjected"), "");
  SetJobCmd(JOB_CONTROL_LAST_PAGE_EJECTED, 0, nullptr);
}

void CPrintJob::SetJobState(std::uint32_t statusWord, std::uint32_t pagesPrinted) const {
  const auto info = ReadJobInfo1(PrinterHandle, JobId);
  if (!info) {
    return;
  }
  info->Position = JOB_POSITION_UNSPECIFIED;
  info->Status = statusWord;
  info->pStatus = nullptr;
  info->PagesPrinted = pagesPrinted;
  platform::SpoolerSetJob(PrinterHandle, JobId, 1, reinterpret_cast<LPBYTE>(info.Get()), 0);
}

void CPrintJob::SetJobMessage(std::uint32_t statusWord, wchar_t* text) const {
  const auto info = ReadJobInfo1(PrinterHandle, JobId);
  if (!info || (info->Status & statusWord) != 0) {
    return;
  }
  info->Position = JOB_POSITION_UNSPECIFIED;
  info->Status = statusWord | JOB_STATUS_USER_INTERVENTION;
  info->pStatus = text;
  platform::SpoolerSetJob(PrinterHandle, JobId, 1, reinterpret_cast<LPBYTE>(info.Get()), 0);
}

void CPrintJob::SetFwInfo(const FwInfo& info) {
  FwName = info.FwName;
  FwType = info.FwType;
  FwNumber1 = info.FwNumber1;
  FwNumber2 = info.FwNumber2;
  FwNumber3 = info.FwNumber3;
  FwNumber4 = info.FwNumber4;
  FwModel = info.FwModel;
  if (HasFwInfo() && FwModel != 0 && FwModel != Model) {
    Model = FwModel;
    KovaDebugPrint(At("CPrintJob::SetFwInfo"), "Overriding printer model based on f/w info: %d", Model);
  }
}

void CPrintJob::SetLockHeld(bool held) {
  LockHeld = held ? 1 : 0;
  if (!held) {
    HeaderSent = 0;
    StatusInFlight = 0;
    RevertSentLabels();
  }
}

bool CPrintJob::DumpData(std::span<const std::uint8_t> bytes) const {
  if (!TraceHasJobDump() || DebugLevel() == kDebugLevelDebugger || DumpPath.empty()) {
    return false;
  }
  return AppendToDump(DumpPath, bytes);
}

}  // namespace sc3xxmon
