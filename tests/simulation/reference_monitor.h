// The monitor told a second time, as plainly as it can be: what it has to do at every call, written without a thought for
// cost, and from the plan of a job in place of its parsed stream. The simulation runs both in worlds of their own and
// compares what happened, call by call.
//
// It covers USB ports, and debug settings that are off.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "simulation/monitor_calls.h"
#include "simulation/world.h"

namespace sc3xxmon::simulation {

class ReferenceMonitor {
 public:
  ReferenceMonitor(World& world, const Scenario& scenario);

  void Open();
  bool Start(const JobPlan& job);
  bool Write(const ByteString& bytes, std::uint32_t& written);
  void End();
  void Close();

 private:
  // What goes wrong on the way; the handlers choose by type.
  struct CommFailure {};
  struct Cancelled {
    bool bySpooler;
  };

  enum class Wait { kAcquired, kKept, kStopped, kCancelled, kGivenUp };
  static bool GoesOn(Wait wait) { return wait == Wait::kAcquired || wait == Wait::kKept; }

  struct Status {
    std::uint8_t status = 0;
    std::uint8_t bay = 0;
    std::uint8_t head = 0;
    std::uint8_t cutter = 0;
    std::uint32_t err = 0;
    bool escapeS = false;

    std::uint32_t Errors() const;  // 1 media, 2 head, 4 cutter, 8 battery
    bool CommError() const;
    bool ErrorBits() const;
    bool Passes() const { return status == 0 || status == 1 || status == 4; }
    bool Taken() const { return status == 4 || status == 5; }
  };

  struct OpenLabel {
    const LabelPlan* plan;
    bool sent = false;
  };

  struct Job {
    const JobPlan* plan = nullptr;
    std::uint32_t model = 0;
    std::uint32_t abortState = 0;
    bool lockHeld = false;
    bool headerSent = false;
    bool footerSent = false;
    bool statusInFlight = false;
    bool knowsFirmware = false;
    bool firmwareCompresses = false;
    std::uint64_t received = 0;
    std::size_t parsed = 0;         // labels cut so far, discarded ones included
    std::vector<OpenLabel> labels;  // not acknowledged
    std::uint32_t acknowledged = 0;

    bool Tape() const { return model == 8 || model == 9; }
    bool DualRoll() const { return model == 4 || model == 6; }
  };

  // --- the stream, as far as it has come
  bool HeaderComplete() const;
  std::uint64_t OffsetOfLabel(std::size_t number) const;
  bool LabelComplete(std::size_t number) const;
  bool FooterReached() const;
  ByteString FooterSoFar() const;
  void TakeLabels();

  // --- the port
  bool Send(const ByteString& bytes);
  void SendOrFail(const ByteString& bytes);
  bool ReadStatus(Status& status);
  Status FetchStatus(std::uint8_t operand, bool checkBad);
  Status FetchSettledStatus(std::uint8_t operand);
  bool SendFirmwareRequest();
  void FetchFirmware();
  void RequestInFlight();
  void ResponseInFlight();
  void Check(const Status& status, bool checkBad) const;
  void SetTimeouts(std::uint32_t least);
  void AdjustTimeouts();
  bool SendCancelSequence(bool longFormFeed);

  // --- the job in the spooler
  bool Deleted();
  void SetState(std::uint32_t status, std::uint32_t pages);
  void ShowMessage(std::uint32_t status, const wchar_t* text);
  void ShowError(const Status& status, std::uint32_t flags);

  // --- the engine
  Wait WaitForPrinter();
  std::optional<Wait> Round(bool& acquire, std::uint32_t& held);
  std::optional<Wait> OnErrors(const Status& status, bool& acquire, std::uint32_t& held);
  std::optional<Wait> OnCommError(bool& acquire);
  Wait OnConnectionLost();
  void Recover(std::uint32_t& held);
  void HandleCancel(bool bySpooler);
  void LoseLock();
  void Revert();
  std::size_t SentCount() const;
  OpenLabel* FirstUnsent();
  bool SendHeader();
  int Dispatch();
  void DispatchOnTape();
  bool DispatchOnDesktop();
  ByteString WireForm(const LabelPlan& plan) const;
  ByteString Compressed(const LabelPlan& plan) const;
  bool MayCompress() const;
  void SendWhole(OpenLabel& label);
  void SendInChunks(OpenLabel& label);
  void Acknowledge(std::uint32_t status);
  bool SendAll();
  bool SettleLastLabel();
  bool SettleOnce(bool again);
  void NoteProgress(std::uint32_t id, std::uint32_t count, bool bump);
  bool Chunked() const { return job_->Tape() && chunkLines_ > 0; }

  World& world_;
  const Scenario& scenario_;
  const std::uint32_t readTimeout_;
  const std::uint32_t writeTimeout_;
  const std::uint32_t compressMode_;
  const bool sendBetween_;
  const bool printEmpty_;
  const bool unlockOnError_;
  const std::uint32_t chunkLines_;

  std::unique_ptr<Job> job_;
  std::uint32_t lastJobId_ = 0;
  std::uint32_t endsWithoutProgress_ = 0;
  std::uint32_t endDelayMs_ = 0;
};

// The calls of a reference in this world; both must outlive them.
MonitorCalls CallReference(ReferenceMonitor& reference);

}  // namespace sc3xxmon::simulation
