// The printer never speaks first. What the monitor knows of it comes from a short request and a response of fixed
// length, read in one call or not at all. A response that comes late stays in the printer's queue and is taken for the
// answer to the next request; there is no re-synchronisation, the job's restart is the recovery.

#include <algorithm>
#include <array>

#include "diag/debug_log.h"
#include "diag/debug_settings.h"
#include "job/failure.h"
#include "monitor/langmon.h"
#include "monitor/printer_models.h"
#include "platform/clock.h"

namespace sc3xxmon {
namespace {

constexpr std::uint32_t kSettlingTimeMs = 1000;

// Dual-roll models wrap the record: six bytes in front, the record, 32 bytes behind.
constexpr std::uint32_t kDualRollResponseSize = 70;
constexpr std::uint32_t kDualRollPrefixSize = 6;

// States that call for action, and so have to persist across a second look.
bool CallsForAction(const StatusRecord& record) {
  return record.Status() == kStatusPrinterError || record.IsTaken();
}

}  // namespace

// Reads one response. A short one is never completed by a second read.
bool CLangMon::ReadStatusBytes(std::uint32_t model, StatusRecord& out, std::uint32_t* read) {
  if (!PrinterModelRow(model).dualRoll) {
    return Recv(out.Bytes.data(), static_cast<std::uint32_t>(out.Bytes.size()), read) && *read == out.Bytes.size();
  }
  std::array<std::uint8_t, kDualRollResponseSize> response{};
  if (!Recv(response.data(), kDualRollResponseSize, read) || *read != kDualRollResponseSize) {
    return false;
  }
  std::copy_n(response.begin() + kDualRollPrefixSize, out.Bytes.size(), out.Bytes.begin());
  return true;
}

StatusRecord& CLangMon::FetchStatus(StatusRecord& out, std::uint8_t n, bool checkCancel, bool checkBad) {
  out = {};
  const std::uint32_t model = CurrentModel();
  if (IsNoDeviceIO()) {
    return out = FabricatedStatus(model);
  }
  KovaDebugPrint(At("CLangMon::FetchStatus"), "Sending ESCA%d request", n);
  const std::array<std::uint8_t, 3> request{kEsc, 'A', n};
  std::uint32_t written = 0;
  if (!Send(request.data(), request.size(), &written)) {
    throw PrintCommException("Sending ESCA%d failed", n);
  }
  KovaDebugPrint(At("CLangMon::FetchStatus"), "Receiving ESCA%d response", n);
  std::uint32_t read = 0;
  if (!ReadStatusBytes(model, out, &read)) {
    throw PrintCommException("Receiving ESCA%d response failed (%d bytes read)", n, read);
  }
  if (checkCancel && out.Status() == kStatusCancelled) {
    throw PrintCanceledException(false);
  }
  if (checkBad && !out.PassesStatusCheck()) {
    throw PrintCommException("BAD PrintStatus(%d)", out.Status());
  }
  return out;
}

StatusRecord& CLangMon::FetchSettledStatus(StatusRecord& out, std::uint8_t n) {
  try {
    StatusRecord first;
    FetchStatus(first, n, true, false);
    if (!CallsForAction(first)) {
      return out = first;
    }
    platform::SleepMs(kSettlingTimeMs);
  } catch (const PrintCommException&) {
    // Asked again at once: a single lost exchange is nobody's business.
  }
  return FetchStatus(out, n, true, false);
}

bool CLangMon::FetchFirmwareInfo() {
  const auto job = CurrentJob();
  if (job->HasFwInfo()) {
    return true;
  }
  const std::array<std::uint8_t, 2> request{kEsc, 'V'};
  if (!SendAll(request.data(), request.size())) {
    return false;
  }
  std::array<std::uint8_t, kFirmwareResponseSize> response{};
  std::uint32_t read = 0;
  if (!Recv(response.data(), response.size(), &read) || read != response.size()) {
    return false;
  }
  job->SetFwInfo(ParseFwInfo(response));
  return true;
}

}  // namespace sc3xxmon
