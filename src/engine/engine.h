// The job engine: what happens inside a write call of the spooler.
//
// SC_WritePort2 is its only entry. It parses what came, sends what has become sendable, and holds the call for as long
// as the printer's trouble lasts; there is no thread, no timer and no queue. All of it runs on the spooler's thread for
// the port, one call at a time, without a lock. What it needs from outside is in CLangMon: the port's table, the current
// job, the clock.
//
// Failures travel as exceptions of the printing family and are caught at few places: WaitForPrinterReady lets none of
// them out, DispatchLabels and CheckLastLabelStatus turn them into results. A failure of another class (no memory)
// passes through to the caller of SC_WritePort2.
#pragma once

#include <cstdint>
#include <span>

#include "monitor/langmon.h"

namespace sc3xxmon {

// ---------------------------------------------------------------------------------------- write_pipeline.cpp

// Takes one buffer of the stream. 0 with *written untouched: nothing was taken (no job, with last error 87; job closed;
// printer not to be had). Otherwise *written is `length` and the buffer is the monitor's; 0 then means that the job
// can't go on now. In bypass mode *written and the result are the port's.
BOOL SC_WritePort2(CLangMon& langMon, const void* buffer, std::uint32_t length, DWORD* written);

// ------------------------------------------------------------------------------------- printer_readiness.cpp

enum class Readiness : std::uint32_t {
  kLockAcquired = 0,  // ready; the last request asked for the lock and won it
  kLockKept = 1,      // ready; nobody had to be asked
  kStopped = 2,       // the spooler deleted the job, or has been asked to restart it
  kCancelled = 3,     // the job was cancelled at the printer
  kGivenUp = 4,       // the printer is in a status error, or the job is stuck
};

inline bool MayGoOn(Readiness readiness) {
  return readiness == Readiness::kLockAcquired || readiness == Readiness::kLockKept;
}

// Stays until the printer is ready for this job or the job can't go on. Blocks without limit while the printer is in a
// state that a person can mend; a deleted job is noticed within one round.
Readiness WaitForPrinterReady(CLangMon& langMon);

// The counters that tell a restarting job from a stuck one.
void NoteJobProgress(CLangMon& langMon, std::uint32_t jobId, std::uint32_t count, bool bump);

// ----------------------------------------------------------------------------------------- label_dispatch.cpp

enum class DispatchResult : std::uint32_t {
  kAllSent = 0,     // no unsent label is left; one may be unacknowledged
  kCommFailed = 1,  // sent labels are reverted: wait for the printer and call again
  kCancelled = 2,   // stop
};

DispatchResult DispatchLabels(CLangMon& langMon);

// ------------------------------------------------------------------------------------------ label_sending.cpp

// True if the header is out or there is none to send yet; false if the send failed.
bool SendPrintJobHeader(CLangMon& langMon);

// Sends a label whole, its raster compressed where printer, connection and option allow it. False for a null label.
// Throws PrintCommException.
bool SendLabel(CLangMon& langMon, KplLabel* label);

// True for the models that take a label in chunks of lines, as the option says. Each of their labels is acknowledged
// before the next one goes out.
bool UsesChunkedPath(const CPrintJob& job);

// Sends a label in chunks of `chunkLines` raster lines, at least 1, with a status exchange after each, and returns when the printer has answered
// for the last. False for a null label. Throws PrintCommException, PrintCanceledException.
bool SendLabelChunked(CLangMon& langMon, KplLabel* label, std::uint32_t chunkLines);

// Sends a span; `tag` names it in the log. True if it was sent or is empty. A port that takes less than all of it and
// reports success goes unnoticed.
bool SendLabelData(CLangMon& langMon, std::span<const std::uint8_t> bytes, const char* tag);

// ---------------------------------------------------------------------------------------- job_error_state.cpp

// Shows the first of `flags` on the job, by fixed precedence.
void SetJobErrorState(CLangMon& langMon, const StatusRecord& record, std::uint32_t flags);
// Reports that the errors in `flags` have gone; with `resume` the job goes back to printing.
void ClearJobErrorState(CLangMon& langMon, std::uint32_t flags, bool resume);
// Only the log lines of that, under the name of `function`: for errors that have gone while others stand.
void LogErrorsGone(const char* function, std::uint32_t flags);

// ------------------------------------------------------------------------------------------------ job_end.cpp

// Collects the printer's answer for the last label. False: stop, the footer is not to be sent.
bool CheckLastLabelStatus(CLangMon& langMon);
// The one reaction to a cancelled job, whoever noticed it.
void HandleCancel(CLangMon& langMon, bool bySpooler);

}  // namespace sc3xxmon
