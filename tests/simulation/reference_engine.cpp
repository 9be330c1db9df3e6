// The reference's decisions: when the printer is ready, what goes out, what becomes of it.
#include <lz4.h>

#include <algorithm>

#include "simulation/reference_monitor.h"

namespace sc3xxmon::simulation {
namespace {

constexpr std::uint32_t kMostEndsWithoutProgress = 1000;

void Append(ByteString& out, const ByteString& bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

void AppendLittle32(ByteString& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

// What stands before the raster that the monitor works on.
ByteString BeforeRaster(const LabelPlan& plan, bool withBetween) {
  ByteString out = withBetween ? plan.between : ByteString{};
  Append(out, plan.front);
  if (plan.firstRaster) {
    Append(out, plan.firstRaster->Command());
  }
  return out;
}

}  // namespace

// --- readiness

ReferenceMonitor::Wait ReferenceMonitor::WaitForPrinter() {
  bool acquire = job_->model == 1;
  std::uint32_t held = 0;
  for (;;) {
    try {
      if (const auto wait = Round(acquire, held)) {
        return *wait;
      }
    } catch (const CommFailure&) {
      return OnConnectionLost();
    } catch (const Cancelled& cancelled) {
      HandleCancel(cancelled.bySpooler);
      return cancelled.bySpooler ? Wait::kStopped : Wait::kCancelled;
    }
  }
}

std::optional<ReferenceMonitor::Wait> ReferenceMonitor::Round(bool& acquire, std::uint32_t& held) {
  if (Deleted()) {
    throw Cancelled{true};
  }
  const Status status = FetchSettledStatus(acquire ? 1 : 0);
  if (status.Errors() != 0) {
    return OnErrors(status, acquire, held);
  }
  Recover(held);
  if (status.Taken()) {
    if (acquire) {
      LoseLock();
      world_.host.Sleep(500);
    }
    acquire = true;
    return std::nullopt;
  }
  if (status.CommError()) {
    return OnCommError(acquire);
  }
  if (status.status == 2) {
    return Wait::kGivenUp;
  }
  job_->lockHeld = true;
  return acquire ? Wait::kAcquired : Wait::kKept;
}

std::optional<ReferenceMonitor::Wait> ReferenceMonitor::OnErrors(const Status& status, bool& acquire,
                                                                 std::uint32_t& held) {
  if (!status.Taken() && (job_->model == 9 || unlockOnError_)) {
    Send(test::Bytes("1B 51"));
    LoseLock();
  }
  ShowError(status, status.Errors() & ~held);
  held = status.Errors();
  acquire = job_->model == 1;
  world_.host.Sleep(1000);
  return std::nullopt;
}

void ReferenceMonitor::Recover(std::uint32_t& held) {
  if (held == 0) {
    return;
  }
  if (!job_->Tape()) {
    Send(test::Bytes("1B 47"));
  }
  SetState(JOB_STATUS_PRINTING, 0);
  world_.host.TakeCommand(job_->plan->id, JOB_CONTROL_RESUME);
  held = 0;
  world_.host.Sleep(1000);
}

std::optional<ReferenceMonitor::Wait> ReferenceMonitor::OnCommError(bool& acquire) {
  LoseLock();
  if (acquire) {
    world_.host.Sleep(100);
  }
  acquire = true;
  return std::nullopt;
}

ReferenceMonitor::Wait ReferenceMonitor::OnConnectionLost() {
  LoseLock();
  job_->abortState = 1;
  if (lastJobId_ == job_->plan->id && endsWithoutProgress_ >= kMostEndsWithoutProgress) {
    NoteProgress(0, 0, true);
    return Wait::kGivenUp;
  }
  world_.host.TakeCommand(job_->plan->id, JOB_CONTROL_RESTART);
  endDelayMs_ = 2000;
  return Wait::kStopped;
}

void ReferenceMonitor::HandleCancel(bool bySpooler) {
  if (bySpooler) {
    job_->abortState = 2;
    job_->footerSent = job_->footerSent || SendCancelSequence(!job_->Tape());
    return;
  }
  job_->abortState = 3;
  job_->footerSent = true;
  world_.host.TakeCommand(job_->plan->id, JOB_CONTROL_DELETE);
  Send(test::Bytes("1B 51"));
  endDelayMs_ = 500;
}

void ReferenceMonitor::LoseLock() {
  job_->lockHeld = job_->headerSent = job_->statusInFlight = false;
  Revert();
}

void ReferenceMonitor::Revert() {
  for (OpenLabel& label : job_->labels) {
    label.sent = false;
  }
}

// --- dispatch

std::size_t ReferenceMonitor::SentCount() const {
  return static_cast<std::size_t>(
      std::count_if(job_->labels.begin(), job_->labels.end(), [](const OpenLabel& label) { return label.sent; }));
}

ReferenceMonitor::OpenLabel* ReferenceMonitor::FirstUnsent() {
  const auto found =
      std::find_if(job_->labels.begin(), job_->labels.end(), [](const OpenLabel& label) { return !label.sent; });
  return found == job_->labels.end() ? nullptr : &*found;
}

bool ReferenceMonitor::SendHeader() {
  if (job_->headerSent || !HeaderComplete()) {
    return true;
  }
  job_->headerSent = Send(job_->plan->header);
  return job_->headerSent;
}

// Header, then labels, as far as they have come; false when the write is to end with 0.
bool ReferenceMonitor::SendAll() {
  for (;;) {
    int result = SendHeader() ? 0 : 1;
    if (result == 0 && !job_->headerSent) {
      return true;
    }
    if (result == 0) {
      result = Dispatch();
    }
    if (result == 0) {
      return true;
    }
    if (result == 2 || !GoesOn(WaitForPrinter())) {
      return false;
    }
  }
}

// 0 nothing left, 1 to be tried again, 2 cancelled.
int ReferenceMonitor::Dispatch() {
  try {
    while (FirstUnsent() != nullptr) {
      if (Chunked()) {
        DispatchOnTape();
      } else if (!DispatchOnDesktop()) {
        continue;
      }
      Acknowledge(JOB_STATUS_PRINTING);
    }
    return 0;
  } catch (const CommFailure&) {
    Revert();
    return 1;
  } catch (const Cancelled& cancelled) {
    HandleCancel(cancelled.bySpooler);
    return 2;
  }
}

void ReferenceMonitor::DispatchOnTape() {
  OpenLabel& label = *FirstUnsent();
  const bool whole =
      !label.plan->raster || !label.plan->raster->block.empty() || chunkLines_ >= label.plan->raster->lines;
  if (whole) {
    SendOrFail(WireForm(*label.plan));
    FetchStatus(2, true);
  } else {
    SendInChunks(label);
  }
  label.sent = true;
}

bool ReferenceMonitor::DispatchOnDesktop() {
  if (Deleted()) {
    throw Cancelled{true};
  }
  if (SentCount() > 0) {
    RequestInFlight();
  }
  SendWhole(*FirstUnsent());
  if (SentCount() < 2) {
    return false;
  }
  AdjustTimeouts();
  ResponseInFlight();
  return true;
}

void ReferenceMonitor::Acknowledge(std::uint32_t status) {
  if (!job_->labels.empty() && job_->labels.front().sent) {
    job_->labels.erase(job_->labels.begin());
    ++job_->acknowledged;
  }
  SetState(status, job_->acknowledged);
  NoteProgress(job_->plan->id, 1, false);
}

// --- wire forms

bool ReferenceMonitor::MayCompress() const {
  const bool byModel =
      (job_->model >= 4 && job_->model <= 7) || (job_->model >= 1 && job_->model <= 3 && job_->firmwareCompresses);
  return byModel && (compressMode_ & 1) != 0;
}

ByteString ReferenceMonitor::Compressed(const LabelPlan& plan) const {
  const ByteString& dots = plan.raster->dots;
  const auto bound = static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(dots.size())));
  ByteString block(std::max(bound, dots.size()));
  const int size =
      LZ4_compress_default(reinterpret_cast<const char*>(dots.data()), reinterpret_cast<char*>(block.data()),
                           static_cast<int>(dots.size()), static_cast<int>(block.size()));
  block.resize(static_cast<std::size_t>(size));
  ByteString out = BeforeRaster(plan, sendBetween_);
  Append(out, test::Bytes("1B 5A 03"));
  AppendLittle32(out, static_cast<std::uint32_t>(block.size()));
  Append(out, plan.raster->Descriptor());
  Append(out, block);
  Append(out, plan.back);
  return out;
}

ByteString ReferenceMonitor::WireForm(const LabelPlan& plan) const {
  if (!plan.Empty() && plan.raster->block.empty() && MayCompress()) {
    return Compressed(plan);
  }
  ByteString out = BeforeRaster(plan, sendBetween_);
  if (plan.raster) {
    Append(out, plan.raster->Command());
  }
  Append(out, plan.back);
  return out;
}

void ReferenceMonitor::SendWhole(OpenLabel& label) {
  SendOrFail(WireForm(*label.plan));
  label.sent = true;
}

void ReferenceMonitor::SendInChunks(OpenLabel& label) {
  const RasterPlan& raster = *label.plan->raster;
  SendOrFail(BeforeRaster(*label.plan, sendBetween_));
  for (std::uint32_t line = 0; line < raster.lines; line += chunkLines_) {
    if (Deleted()) {
      throw Cancelled{true};
    }
    const std::uint32_t lines = std::min(chunkLines_, raster.lines - line);
    ByteString head{0x1B, 'D', 1, raster.flags};
    AppendLittle32(head, lines);
    AppendLittle32(head, raster.dotsPerLine);
    SendOrFail(head);
    const auto from = raster.dots.begin() + static_cast<std::ptrdiff_t>(std::size_t{line} * raster.LineBytes());
    SendOrFail(ByteString(from, from + static_cast<std::ptrdiff_t>(std::size_t{lines} * raster.LineBytes())));
    if (line > 0) {
      ResponseInFlight();
    }
    RequestInFlight();
  }
  SendOrFail(label.plan->back);
  ResponseInFlight();
}

// --- the last label

bool ReferenceMonitor::SettleLastLabel() {
  if (Chunked()) {
    SetState(JOB_STATUS_COMPLETE, job_->acknowledged);
    return true;
  }
  for (bool again = false;; again = true) {
    try {
      return SettleOnce(again);
    } catch (const CommFailure&) {
      Revert();
    } catch (const Cancelled& cancelled) {
      HandleCancel(cancelled.bySpooler);
      return false;
    }
  }
}

bool ReferenceMonitor::SettleOnce(bool again) {
  if (again) {
    if (!GoesOn(WaitForPrinter())) {
      return false;
    }
    OpenLabel* label = FirstUnsent();
    if (label == nullptr) {
      return true;
    }
    if (!SendHeader()) {
      throw CommFailure{};
    }
    SendWhole(*label);
    AdjustTimeouts();
  }
  FetchStatus(0, true);
  Acknowledge(JOB_STATUS_COMPLETE);
  return true;
}

}  // namespace sc3xxmon::simulation
