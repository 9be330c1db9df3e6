#include <algorithm>
#include <span>

#include "diag/debug_log.h"
#include "diag/debug_settings.h"
#include "engine/engine.h"
#include "monitor/printer_models.h"
#include "stream/kpl_iterator.h"

namespace sc3xxmon {
namespace {

constexpr char kFunction[] = "SC_WritePort2";

// Logs the first and the last bytes of a buffer.
void TracePacket(std::span<const std::uint8_t> packet) {
  constexpr std::size_t kTraced = 64;
  char text[197] = "";
  const auto print = [&text](std::span<const std::uint8_t> bytes, const char* format) {
    std::size_t length = 0;
    for (const std::uint8_t byte : bytes) {
      const FormatArgument argument[] = {byte};
      length += FormatText(text + length, sizeof(text) - length, format, argument);
    }
  };
  print(packet.first(std::min(packet.size(), kTraced)), "%02X-");
  KovaDebugPrint(At(kFunction), "PKT_HDR: %s", text);
  if (packet.size() > kTraced) {
    print(packet.last(kTraced), "-%02X");
    KovaDebugPrint(At(kFunction), "PKT_FTR: %s", text);
  }
}

// Keeps the operand of the buffer's first ESC q on the models that have two rolls to choose from.
void NoteRollParameter(CPrintJob& job, std::span<const std::uint8_t> buffer) {
  if (!PrinterModelRow(job.Model).dualRoll) {
    return;
  }
  for (CKplIterator it(buffer.data(), buffer.size()); !it.AtEnd(); ++it) {
    if (it.Current.Letter() == 'q') {
      job.QParameter = it.Current.Data[2];
      return;
    }
  }
}

// Blocks until the printer is ready for this job. False if the job can't go on.
bool BecomeReady(CLangMon& langMon, CPrintJob& job, std::span<const std::uint8_t> buffer) {
  NoteRollParameter(job, buffer);
  const Readiness readiness = WaitForPrinterReady(langMon);
  KovaDebugPrint(At(kFunction), "WaitForPrinterReady returned %d", readiness);
  if (!MayGoOn(readiness)) {
    return false;
  }
  langMon.FetchFirmwareInfo();
  return true;
}

BOOL PassThrough(CLangMon& langMon, const CPrintJob& job, std::span<const std::uint8_t> buffer, DWORD* written) {
  std::uint32_t count = written != nullptr ? *written : 0;
  const bool sent = langMon.Send(buffer.data(), static_cast<std::uint32_t>(buffer.size()), &count);
  if (written != nullptr) {
    *written = count;
    buffer = buffer.first(std::min<std::size_t>(count, buffer.size()));
  }
  job.DumpData(buffer);
  return sent ? TRUE : FALSE;
}

enum class SendRound : std::uint8_t { kNothingLeft, kTryAgain, kStop };

// Header, then labels: as far as the stream has brought them.
SendRound SendWhatIsParsed(CLangMon& langMon, const CPrintJob& job) {
  if (!SendPrintJobHeader(langMon)) {
    return SendRound::kTryAgain;
  }
  if (job.HeaderSent == 0) {
    return SendRound::kNothingLeft;
  }
  switch (DispatchLabels(langMon)) {
    case DispatchResult::kAllSent:
      return SendRound::kNothingLeft;
    case DispatchResult::kCommFailed:
      return SendRound::kTryAgain;
    case DispatchResult::kCancelled:
      break;
  }
  return SendRound::kStop;
}

bool SendUntilNothingIsLeft(CLangMon& langMon, const CPrintJob& job) {
  for (;;) {
    switch (SendWhatIsParsed(langMon, job)) {
      case SendRound::kNothingLeft:
        return true;
      case SendRound::kStop:
        return false;
      case SendRound::kTryAgain:
        if (!MayGoOn(WaitForPrinterReady(langMon))) {
          return false;
        }
    }
  }
}

// Sent once: the labels are acknowledged by now, and a footer that got lost changes nothing in the job's outcome.
void SendFooter(CLangMon& langMon, CPrintJob& job) {
  const auto& footer = job.JobFooter;
  KovaDebugPrint(At(kFunction), "Sending print job footer (%d bytes)", footer.size());
  job.DumpData(footer);
  std::uint32_t written = 0;
  if (!langMon.Send(footer.data(), static_cast<std::uint32_t>(footer.size()), &written)) {
    KovaDebugPrint(At(kFunction), "Failed to send footer. No retry will be made");
  }
  job.FooterSent = 1;
  KovaDebugPrint(At(kFunction), "SC_WritePort2 done.");
}

}  // namespace

BOOL SC_WritePort2(CLangMon& langMon, const void* data, std::uint32_t length, DWORD* written) {
  if (!langMon.HasCurrentJob()) {
    return FALSE;
  }
  const std::span buffer(static_cast<const std::uint8_t*>(data), length);
  if (TraceHasPackets()) {
    TracePacket(buffer);
  }
  const auto job = langMon.CurrentJob();
  if (job->AbortState != kJobRunning) {
    return FALSE;
  }
  if (job->LockHeld == 0 && !IsDontLock() && !BecomeReady(langMon, *job, buffer)) {
    return FALSE;
  }
  if (IsBypassMode()) {
    return PassThrough(langMon, *job, buffer, written);
  }
  job->ProcessData(data, length);
  // From here on the parser holds the bytes, whatever happens: the spooler must not offer them again.
  *written = length;
  if (!SendUntilNothingIsLeft(langMon, *job)) {
    return FALSE;
  }
  if (job->ParserState < kParserFooter) {
    KovaDebugPrint(At(kFunction), "Parsed labels sent. No footer yet, exiting.");
    return TRUE;
  }
  if (job->FooterSent != 0) {
    return TRUE;
  }
  if (!CheckLastLabelStatus(langMon)) {
    return FALSE;
  }
  SendFooter(langMon, *job);
  return TRUE;
}

}  // namespace sc3xxmon
