// The overlapped exchange: the request for the label that has just gone out is written in front of the next label, and
// its response is read behind it, so that the printer always has work in hand.
//
// At most one such request is outstanding on a job, and pairing is by position: a response belongs to the oldest sent
// label. When a request goes out that is the last label sent; when its response is read the next label has usually
// gone out too, hence the two label numbers below, which name the same label.

#include <array>

#include "diag/debug_log.h"
#include "diag/debug_settings.h"
#include "job/failure.h"
#include "monitor/langmon.h"

namespace sc3xxmon {
namespace {

std::uint32_t LabelOfRequest(const CPrintJob& job) {
  return job.SentLabelCount() + job.LabelsAcked;
}
std::uint32_t LabelOfResponse(const CPrintJob& job) {
  return job.SentLabelCount() - 1 + job.LabelsAcked;
}

}  // namespace

bool CLangMon::SendStatusRequest(std::uint8_t n) {
  const std::array<std::uint8_t, 3> request{kEsc, 'A', n};
  std::uint32_t written = 0;
  const bool sent = Send(request.data(), request.size(), &written);
  const auto job = CurrentJob();
  if (sent && job != nullptr) {
    job->StatusInFlight = 1;
  }
  return sent;
}

void CLangMon::SendInflightStatusRequest() {
  const std::uint32_t label = LabelOfRequest(*CurrentJob());
  KovaDebugPrint(At("CLangMon::SendInflightStatusRequest"), "Sending ESCA2 for label #%d", label);
  if (!SendStatusRequest(kAskInFlight)) {
    throw PrintCommException("Sending ESCA2 for label #%d failed", label);
  }
}

bool CLangMon::RecvStatusResponse(StatusRecord* out) {
  const auto job = CurrentJob();
  const std::uint32_t model = job != nullptr ? job->Model : 0;
  if (IsNoDeviceIO()) {
    *out = FabricatedStatus(model);
    return true;
  }
  if (job != nullptr && job->StatusInFlight == 0) {
    KovaDebugPrint(At("CLangMon::RecvStatusResponse"),
                   "Logic error: expected in-flight status for label, but none is available.");
    return false;
  }
  std::uint32_t read = 0;
  if (out == nullptr || !ReadStatusBytes(model, *out, &read)) {
    return false;
  }
  if (job != nullptr) {
    job->StatusInFlight = 0;
  }
  return true;
}

StatusRecord& CLangMon::GetInflightStatusResponse(StatusRecord& out, bool checkCancel, bool checkBad) {
  out = {};
  if (IsNoDeviceIO()) {
    return out = FabricatedStatus(CurrentModel());
  }
  const std::uint32_t label = LabelOfResponse(*CurrentJob());
  KovaDebugPrint(At("CLangMon::GetInflightStatusResponse"), "Receiving ESCA2 response for label #%d", label);
  if (!RecvStatusResponse(&out)) {
    throw PrintCommException("Receiving ESCA2 response for label #%d FAILED", label);
  }
  KovaDebugPrint(At("CLangMon::GetInflightStatusResponse"), "Got Status=%d, Bay=%d, Cutter=%d, Err=%d", out.Status(),
                 out.Bay(), out.Cutter(), out.IsEscS() ? out.Err() : 0);
  if (checkCancel && out.Status() == kStatusCancelled) {
    throw PrintCanceledException(false);
  }
  if (checkBad && !out.PassesStatusCheck()) {
    throw PrintCommException("BAD PrintStatus(%d) for label #%d.", out.Status(), label);
  }
  return out;
}

}  // namespace sc3xxmon
