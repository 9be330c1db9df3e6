// Keeps the printer fed without ever being far ahead of what is known to have printed.
//
// On the desktop models at most two labels are sent and unacknowledged: the one that the printer works on and the one
// behind it. The request for a label's status goes out in front of the next label and its response is read behind it:
//
//   label 1 | request | label 2 | response: label 1 | request | label 3 | response: label 2 | ...
//
// so that the printer never waits for a label while labels are at hand. The last one stays open, across write calls if
// need be, until the next label or the job's end settles it. On the tape models a label is settled before the next one
// begins.

#include "diag/debug_log.h"
#include "engine/engine.h"
#include "engine/label_acknowledgement.h"
#include "job/failure.h"
#include "monitor/options.h"

namespace sc3xxmon {
namespace {

constexpr char kFunction[] = "DispatchLabels";
constexpr std::uint32_t kMostLabelsInFlight = 2;

// Sends the next label. True if a label has been answered for.
bool SendDesktopLabel(CLangMon& langMon, CPrintJob& job) {
  if (job.IsDeleted()) {
    throw PrintCanceledException(true);
  }
  if (job.SentLabelCount() > 0) {
    langMon.SendInflightStatusRequest();
  }
  SendLabel(langMon, job.FirstUnsentLabel());
  if (job.SentLabelCount() < kMostLabelsInFlight) {
    return false;
  }
  langMon.AdjustPortTimeouts();
  StatusRecord record;
  langMon.GetInflightStatusResponse(record, true, true);
  return true;
}

void DispatchAll(CLangMon& langMon, CPrintJob& job) {
  while (job.UnsentLabelCount() > 0) {
    if (UsesChunkedPath(job)) {
      SendLabelChunked(langMon, job.FirstUnsentLabel(), PdChunkSize);
    } else if (!SendDesktopLabel(langMon, job)) {
      continue;
    }
    // One less than sent and acknowledged together: with one label still open that is the label just acknowledged. On
    // the chunked path, where none stays open, it comes to one less than that, and the log has always read so.
    AcknowledgeFirstLabel(langMon, job, JOB_STATUS_PRINTING, At(kFunction), job.SentLabelCount() + job.LabelsAcked - 1);
  }
}

}  // namespace

DispatchResult DispatchLabels(CLangMon& langMon) {
  const auto job = langMon.CurrentJob();
  try {
    DispatchAll(langMon, *job);
    return DispatchResult::kAllSent;
  } catch (const PrintCommException& failure) {
    KovaDebugPrint(At(kFunction), "%s", failure.what());
    job->RevertSentLabels();
    return DispatchResult::kCommFailed;
  } catch (const PrintCanceledException& failure) {
    KovaDebugPrint(At(kFunction), "%s", failure.what());
    HandleCancel(langMon, failure.BySpooler);
    return DispatchResult::kCancelled;
  }
}

}  // namespace sc3xxmon
