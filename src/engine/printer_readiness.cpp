// One question: may data go to the printer now, and does this job hold the printer?
//
// The wait is a loop of rounds. A round asks the printer once and either finds it ready or throws what stands in the
// way; the handler of that failure decides between another round and a result. Between rounds live only: whether the
// next request asks for the printer's lock, and the errors of the round before, so that only changes are reported.
// Nothing lives from call to call but the job's LockHeld.

#include <memory>
#include <optional>

#include "diag/debug_log.h"
#include "engine/engine.h"
#include "job/failure.h"
#include "monitor/options.h"
#include "monitor/printer_models.h"
#include "platform/clock.h"

namespace sc3xxmon {
namespace {

constexpr char kFunction[] = "WaitForPrinterReady";

constexpr std::uint32_t kCommErrorPauseMs = 100;
constexpr std::uint32_t kLockTakenPauseMs = 500;
constexpr std::uint32_t kStatusErrorPauseMs = 500;
constexpr std::uint32_t kErrorsPauseMs = 1000;
constexpr std::uint32_t kRecoveredPauseMs = 1000;
constexpr std::uint32_t kConnectionPauseMs = 1000;
constexpr std::uint32_t kRestartDelayMs = 2000;
constexpr std::uint32_t kMostEndsWithoutProgress = 1000;

// A round's or a handler's verdict: a result, or none for another round.
using Verdict = std::optional<Readiness>;
constexpr Verdict kNextRound = std::nullopt;

class ReadinessWait {
 public:
  explicit ReadinessWait(CLangMon& langMon)
      : langMon_(langMon),
        job_(langMon.CurrentJob()),
        acquire_(PrinterModelRow(job_->Model).asksForLockFirst),
        releaseOnError_(PrinterModelRow(job_->Model).releasesLockOnErrors || UnlockOnError != 0) {}

  Readiness Run() {
    for (;;) {
      if (const Verdict verdict = RunRound()) {
        return *verdict;
      }
    }
  }

 private:
  Verdict RunRound();
  Verdict AskPrinter();
  void ReportRecovery();

  Verdict OnLockFailed(const LockFailedException& failure);
  Verdict OnPrintStatus(const PrintStatusException& failure);
  Verdict OnStatusErrors(const StatusErrorsException& failure);
  Verdict OnCommError(const CommErrorException& failure);
  Verdict OnConnectionLost(const PrintCommException& failure);
  Verdict OnCanceled(const PrintCanceledException& failure);
  Readiness GiveUp();
  Readiness RestartJob();

  CLangMon& langMon_;
  const std::shared_ptr<CPrintJob> job_;
  bool acquire_;               // the next request asks for the printer's lock
  const bool releaseOnError_;  // the lock goes back while the printer shows errors
  PrinterErrors held_;         // of the round before
};

Verdict ReadinessWait::RunRound() {
  try {
    return AskPrinter();
  } catch (const LockFailedException& failure) {
    return OnLockFailed(failure);
  } catch (const PrintStatusException& failure) {
    return OnPrintStatus(failure);
  } catch (const StatusErrorsException& failure) {
    return OnStatusErrors(failure);
  } catch (const CommErrorException& failure) {
    return OnCommError(failure);
  } catch (const PrintCommException& failure) {
    return OnConnectionLost(failure);
  } catch (const PrintCanceledException& failure) {
    return OnCanceled(failure);
  }
}

Verdict ReadinessWait::AskPrinter() {
  if (job_->IsDeleted()) {
    throw PrintCanceledException(true);
  }
  StatusRecord record;
  langMon_.FetchSettledStatus(record, acquire_ ? kAskForLock : kAskState);
  const PrinterErrors errors = DecodePrinterErrors(record);
  if (errors.ErrorFlags != 0) {
    throw StatusErrorsException(record, errors);
  }
  ReportRecovery();
  if (record.IsTaken()) {
    if (acquire_) {
      throw LockFailedException("Printer lock failed (taken by someone else)");
    }
    acquire_ = true;
    return kNextRound;
  }
  KovaDebugPrint(At(kFunction), acquire_ ? "Lock acquired" : "Lock kept");
  if (record.HasCommError()) {
    throw CommErrorException("Comm Error");
  }
  if (record.Status() == kStatusPrinterError) {
    throw PrintStatusException(record);
  }
  job_->SetLockHeld(true);
  return acquire_ ? Readiness::kLockAcquired : Readiness::kLockKept;
}

// The round goes on with the record that showed the recovery; no new request is made for it.
void ReadinessWait::ReportRecovery() {
  if (held_.ErrorFlags == 0) {
    return;
  }
  ClearJobErrorState(langMon_, held_.ErrorFlags, true);
  held_.ErrorFlags = 0;
  platform::SleepMs(kRecoveredPauseMs);
}

// Keeps asking until the other holder lets go or the job is deleted.
Verdict ReadinessWait::OnLockFailed(const LockFailedException& failure) {
  job_->SetLockHeld(false);
  KovaDebugPrint(At(kFunction), "%s", failure.what());
  platform::SleepMs(kLockTakenPauseMs);
  return kNextRound;
}

Verdict ReadinessWait::OnPrintStatus(const PrintStatusException& failure) {
  if (langMon_.isUsb != 0 || failure.Record.HasStatusErrorBits()) {
    KovaDebugPrint(At(kFunction), "Printer status error!");
    return Readiness::kGivenUp;
  }
  KovaDebugPrint(At(kFunction), "%s", failure.what());
  platform::SleepMs(kStatusErrorPauseMs);
  return kNextRound;
}

Verdict ReadinessWait::OnStatusErrors(const StatusErrorsException& failure) {
  if (!failure.Record.IsTaken() && releaseOnError_) {
    KovaDebugPrint(At(kFunction), "Printer errors found. Releasing the lock");
    langMon_.SendEndJob();
    job_->SetLockHeld(false);
  } else {
    KovaDebugPrint(At(kFunction), "%s", failure.what());
  }
  SetJobErrorState(langMon_, failure.Record, failure.Errors.ErrorFlags & ~held_.ErrorFlags);
  LogErrorsGone(kFunction, held_.ErrorFlags & ~failure.Errors.ErrorFlags);
  held_ = failure.Errors;
  acquire_ = PrinterModelRow(job_->Model).asksForLockFirst;
  platform::SleepMs(kErrorsPauseMs);
  return kNextRound;
}

// The first time is tried again at once, with the lock request.
Verdict ReadinessWait::OnCommError(const CommErrorException& failure) {
  KovaDebugPrint(At(kFunction), "%s", failure.what());
  job_->SetLockHeld(false);
  if (acquire_) {
    platform::SleepMs(kCommErrorPauseMs);
  }
  acquire_ = true;
  return kNextRound;
}

Verdict ReadinessWait::OnConnectionLost(const PrintCommException& failure) {
  job_->SetLockHeld(false);
  if (langMon_.CanRecoverInPlace()) {
    KovaDebugPrint(At(kFunction), "%s", failure.what());
    platform::SleepMs(kConnectionPauseMs);
    return kNextRound;
  }
  const bool stuck = langMon_.LastJobId == job_->JobId && langMon_.NoProgressCount >= kMostEndsWithoutProgress;
  return stuck ? GiveUp() : RestartJob();
}

Readiness ReadinessWait::GiveUp() {
  KovaDebugPrint(At(kFunction), "Job appears to be stuck - no labels sent in %d retries. Aborting.",
                 kMostEndsWithoutProgress);
  NoteJobProgress(langMon_, 0, 0, true);
  job_->AbortState = kJobGivenUp;
  return Readiness::kGivenUp;
}

Readiness ReadinessWait::RestartJob() {
  KovaDebugPrint(At(kFunction), "Communication issues. Restarting print job.");
  job_->AbortState = kJobGivenUp;
  job_->Restart();
  langMon_.EndDocDelay = kRestartDelayMs;
  return Readiness::kStopped;
}

Verdict ReadinessWait::OnCanceled(const PrintCanceledException& failure) {
  KovaDebugPrint(At(kFunction), "%s", failure.what());
  HandleCancel(langMon_, failure.BySpooler);
  return failure.BySpooler ? Readiness::kStopped : Readiness::kCancelled;
}

}  // namespace

Readiness WaitForPrinterReady(CLangMon& langMon) {
  return ReadinessWait(langMon).Run();
}

void NoteJobProgress(CLangMon& langMon, std::uint32_t jobId, std::uint32_t count, bool bump) {
  langMon.LastAckedCount = count;
  if (jobId != langMon.LastJobId) {
    langMon.LastJobId = jobId;
    langMon.RestartCount = 0;
    langMon.NoProgressCount = 0;
    langMon.LastIoTick = 0;
    return;
  }
  if (bump) {
    ++langMon.RestartCount;
  }
  if (count != 0) {
    langMon.NoProgressCount = 0;
  } else {
    ++langMon.NoProgressCount;
  }
}

}  // namespace sc3xxmon
