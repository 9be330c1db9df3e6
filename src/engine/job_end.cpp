// A label is finished only when the printer has answered for it. While labels keep coming that answer rides in front of
// the next one; the last label has none behind it and is asked for here, before the footer goes out.

#include "diag/debug_log.h"
#include "engine/engine.h"
#include "engine/label_acknowledgement.h"
#include "job/failure.h"

namespace sc3xxmon {
namespace {

constexpr char kFunction[] = "CheckLastLabelStatus";
constexpr std::uint32_t kCancelDelayMs = 500;

enum class LastLabel : std::uint8_t { kSettled, kOpen, kStop };

// Sends the last label again after a failed exchange. kOpen: it is out and has to be asked for.
LastLabel SendAgain(CLangMon& langMon, CPrintJob& job) {
  if (!MayGoOn(WaitForPrinterReady(langMon))) {
    return LastLabel::kStop;
  }
  KplLabel* label = job.FirstUnsentLabel();
  if (label == nullptr) {
    return LastLabel::kSettled;
  }
  if (!SendPrintJobHeader(langMon)) {
    throw PrintCommException("Failed to sent job headers");
  }
  SendLabel(langMon, label);
  langMon.AdjustPortTimeouts();
  return LastLabel::kOpen;
}

LastLabel SettleLastLabel(CLangMon& langMon, CPrintJob& job, bool retry) try {
  if (retry) {
    const LastLabel sent = SendAgain(langMon, job);
    if (sent != LastLabel::kOpen) {
      return sent;
    }
  }
  StatusRecord record;
  langMon.FetchStatus(record, kAskState, true, true);
  AcknowledgeFirstLabel(langMon, job, JOB_STATUS_COMPLETE, At(kFunction), job.SentLabelCount() + job.LabelsAcked);
  return LastLabel::kSettled;
} catch (const PrintCommException& failure) {
  KovaDebugPrint(At(kFunction), "%s", failure.what());
  job.RevertSentLabels();
  return LastLabel::kOpen;
} catch (const PrintCanceledException& failure) {
  KovaDebugPrint(At(kFunction), "%s", failure.what());
  HandleCancel(langMon, failure.BySpooler);
  return LastLabel::kStop;
}

}  // namespace

bool CheckLastLabelStatus(CLangMon& langMon) {
  const auto job = langMon.CurrentJob();
  if (UsesChunkedPath(*job)) {
    job->SetJobState(JOB_STATUS_COMPLETE, job->LabelsAcked);
    return true;
  }
  KovaDebugPrint(At(kFunction), "Footer received. Checking last label status");
  LastLabel last = SettleLastLabel(langMon, *job, false);
  while (last == LastLabel::kOpen) {
    last = SettleLastLabel(langMon, *job, true);
  }
  return last == LastLabel::kSettled;
}

void HandleCancel(CLangMon& langMon, bool bySpooler) {
  const auto job = langMon.CurrentJob();
  if (bySpooler) {
    job->AbortState = kJobAbortedBySpooler;
    if (job->FooterSent == 0) {
      job->FooterSent = langMon.SendCancelSequence() ? 1 : 0;
    }
    return;
  }
  job->AbortState = kJobCancelledAtPrinter;
  job->FooterSent = 1;
  job->Delete();
  langMon.SendEndJob();
  langMon.EndDocDelay = kCancelDelayMs;
}

}  // namespace sc3xxmon
