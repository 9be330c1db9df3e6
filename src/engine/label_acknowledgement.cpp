#include "engine/label_acknowledgement.h"

#include "engine/engine.h"

namespace sc3xxmon {

void AcknowledgeFirstLabel(CLangMon& langMon, CPrintJob& job, std::uint32_t jobStatus, At at,
                           std::uint32_t labelNumber) {
  const std::uint32_t attempts = job.AckFirstLabel();
  job.SetJobState(jobStatus, job.LabelsAcked);
  NoteJobProgress(langMon, job.JobId, 1, false);
  // ACK are the labels acknowledged; NAK are those sent whose answer hasn't come: the printer has no negative one.
  KovaDebugPrint(at, "Status for label #%d acknowledged(%d attempts). Total in job: %d; ACK: %d; NAK: %d; UNSENT: %d",
                 labelNumber, attempts, job.LabelsParsed, job.LabelsAcked, job.SentLabelCount(),
                 job.UnsentLabelCount());
}

}  // namespace sc3xxmon
