// The reference's conversation with the printer and with the job in the spooler.
#include <algorithm>
#include <charconv>

#include "simulation/reference_monitor.h"

namespace sc3xxmon::simulation {
namespace {

constexpr std::uint32_t kStatusAnswer = 32;
constexpr std::uint32_t kDualRollAnswer = 70;
constexpr std::uint32_t kFirmwareAnswer = 34;
constexpr std::uint32_t kDualRollPrefix = 6;

std::uint32_t Little32(const ByteString& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) {
    value = value << 8 | bytes[at + i];
  }
  return value;
}

// Decimal digits from the front of a field; 0 where there are none or too many.
std::uint16_t Digits(const ByteString& bytes, std::size_t at, std::size_t width) {
  const char* first = reinterpret_cast<const char*>(bytes.data()) + at;
  std::uint16_t number = 0;
  std::from_chars(first, first + width, number);
  return number;
}

std::uint32_t RowOfHardware(std::uint32_t id) {
  if (id >= 0x28 && id <= 0x2E) {
    return id - 0x27;
  }
  return id == 0x100A ? 8 : id == 0x1010 ? 9 : 0;
}

std::uint32_t RowOfFirmware(const ByteString& answer) {
  std::uint32_t id = 0;
  const char* first = reinterpret_cast<const char*>(answer.data()) + 32;
  const auto [end, error] = std::from_chars(first, first + 2, id, 16);
  const bool text = error == std::errc() && end == first + 2 && *first != '-';
  if (text && RowOfHardware(id) != 0) {
    return RowOfHardware(id);
  }
  return RowOfHardware(answer[32] | static_cast<std::uint32_t>(answer[33]) << 8);
}

}  // namespace

std::uint32_t ReferenceMonitor::Status::Errors() const {
  const bool batteryLow = escapeS && status == 2 && (err & 0x800) != 0;
  return (bay >= 6 && bay <= 8 ? 0u : 1u) | (head != 0 ? 2u : 0u) | (cutter == 4 ? 4u : 0u) | (batteryLow ? 8u : 0u);
}

bool ReferenceMonitor::Status::CommError() const {
  return status == 2 && (err & (escapeS ? 0x8u : 0x1000u)) != 0;
}

bool ReferenceMonitor::Status::ErrorBits() const {
  return escapeS ? status == 2 && err != 0 : err != 0;
}

bool ReferenceMonitor::Send(const ByteString& bytes) {
  std::uint32_t written = 0;
  return world_.port.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written);
}

void ReferenceMonitor::SendOrFail(const ByteString& bytes) {
  if (!bytes.empty() && !Send(bytes)) {
    throw CommFailure{};
  }
}

bool ReferenceMonitor::ReadStatus(Status& status) {
  const std::uint32_t size = job_->DualRoll() ? kDualRollAnswer : kStatusAnswer;
  ByteString answer(size);
  std::uint32_t read = 0;
  if (!world_.port.Read(answer.data(), size, &read) || read != size) {
    return false;
  }
  const auto start = static_cast<std::ptrdiff_t>(job_->DualRoll() ? kDualRollPrefix : 0);
  const ByteString record(answer.begin() + start, answer.begin() + start + kStatusAnswer);
  status.escapeS = record[0] == 0x1B && record[1] == 0x53;
  status.status = record[status.escapeS ? 3 : 0];
  status.bay = record[status.escapeS ? 11 : 10];
  status.head = status.escapeS ? std::uint8_t{0} : record[8];
  status.cutter = status.escapeS ? record[10] : std::uint8_t{0};
  status.err = Little32(record, status.escapeS ? 24 : 23);
  return true;
}

void ReferenceMonitor::Check(const Status& status, bool checkBad) const {
  if (status.status == 3) {
    throw Cancelled{false};
  }
  if (checkBad && !status.Passes()) {
    throw CommFailure{};
  }
}

ReferenceMonitor::Status ReferenceMonitor::FetchStatus(std::uint8_t operand, bool checkBad) {
  SendOrFail({0x1B, 'A', operand});
  Status status;
  if (!ReadStatus(status)) {
    throw CommFailure{};
  }
  Check(status, checkBad);
  return status;
}

ReferenceMonitor::Status ReferenceMonitor::FetchSettledStatus(std::uint8_t operand) {
  try {
    const Status first = FetchStatus(operand, false);
    if (first.status != 2 && !first.Taken()) {
      return first;
    }
    world_.host.Sleep(1000);
  } catch (const CommFailure&) {
    // Asked again at once.
  }
  return FetchStatus(operand, false);
}

// Two bytes, however few the port takes at a time; one that takes nothing ends it.
bool ReferenceMonitor::SendFirmwareRequest() {
  const ByteString request = test::Bytes("1B 56");
  for (std::uint32_t sent = 0; sent < request.size();) {
    std::uint32_t written = 0;
    const auto rest = static_cast<std::uint32_t>(request.size()) - sent;
    if (!world_.port.Write(request.data() + sent, rest, &written) || written == 0) {
      return false;
    }
    sent += written;
  }
  return true;
}

void ReferenceMonitor::FetchFirmware() {
  if (job_->knowsFirmware || !SendFirmwareRequest()) {
    return;
  }
  ByteString answer(kFirmwareAnswer);
  std::uint32_t read = 0;
  if (!world_.port.Read(answer.data(), kFirmwareAnswer, &read) || read != kFirmwareAnswer) {
    return;
  }
  const std::string type(answer.begin() + 16, answer.begin() + 20);
  const std::uint16_t second = Digits(answer, 24, 4);
  job_->knowsFirmware = (type == "FWBL" || type == "FWAP") && Digits(answer, 20, 4) != 0 && second != 0;
  job_->firmwareCompresses = job_->knowsFirmware && second > 1000;
  const std::uint32_t row = RowOfFirmware(answer);
  if (job_->knowsFirmware && row != 0) {
    job_->model = row;
  }
}

void ReferenceMonitor::RequestInFlight() {
  SendOrFail(test::Bytes("1B 41 02"));
  job_->statusInFlight = true;
}

void ReferenceMonitor::ResponseInFlight() {
  Status status;
  if (!job_->statusInFlight || !ReadStatus(status)) {
    throw CommFailure{};
  }
  job_->statusInFlight = false;
  Check(status, true);
}

void ReferenceMonitor::SetTimeouts(std::uint32_t least) {
  COMMTIMEOUTS timeouts{};
  timeouts.ReadTotalTimeoutMultiplier = 1;
  timeouts.ReadTotalTimeoutConstant = std::max(least, readTimeout_);
  timeouts.WriteTotalTimeoutMultiplier = 1;
  timeouts.WriteTotalTimeoutConstant = std::max(least, writeTimeout_);
  world_.port.SetTimeouts(timeouts);
}

void ReferenceMonitor::AdjustTimeouts() {
  const auto sent =
      std::find_if(job_->labels.begin(), job_->labels.end(), [](const OpenLabel& label) { return label.sent; });
  if (sent == job_->labels.end() || !job_->plan->openLength || !sent->plan->raster) {
    return;
  }
  float time = static_cast<float>(sent->plan->raster->lines);
  time /= 11.811024F;
  time /= 40.0F;
  time += 3.0F;
  time *= 1000.0F;
  SetTimeouts(static_cast<std::uint32_t>(time));
}

bool ReferenceMonitor::SendCancelSequence(bool longFormFeed) {
  return (!longFormFeed || Send(test::Bytes("1B 45"))) && Send(test::Bytes("1B 51"));
}

// --- the job in the spooler

bool ReferenceMonitor::Deleted() {
  DWORD status = 0;
  world_.host.ReadStatus(job_->plan->id, status);
  return (status & (JOB_STATUS_DELETING | JOB_STATUS_DELETED)) != 0;
}

void ReferenceMonitor::SetState(std::uint32_t status, std::uint32_t pages) {
  DWORD before = 0;
  world_.host.ReadStatus(job_->plan->id, before);
  world_.host.SetFields(job_->plan->id, status, pages, nullptr);
}

void ReferenceMonitor::ShowMessage(std::uint32_t status, const wchar_t* text) {
  DWORD before = 0;
  world_.host.ReadStatus(job_->plan->id, before);
  if ((before & status) == 0) {
    world_.host.SetFields(job_->plan->id, status | JOB_STATUS_USER_INTERVENTION,
                          world_.host.jobs.at(job_->plan->id).pagesPrinted, text);
  }
}

void ReferenceMonitor::ShowError(const Status& status, std::uint32_t flags) {
  if ((flags & 8) != 0) {
    return ShowMessage(0x402, L"Battery level too low");
  }
  if ((flags & 4) != 0) {
    return ShowMessage(0x402, L"Cutter jam");
  }
  if ((flags & 2) != 0) {
    return ShowMessage(0x402, L"Print head is overheated");
  }
  if ((flags & 1) == 0) {
    return;
  }
  switch (status.bay) {
    case 0:
    case 4:
      return ShowMessage(0x402, L"Out of labels");
    case 2:
    case 5:
      return ShowMessage(0x440, L"Out of labels");
    case 1:
      return ShowMessage(0x402, L"Bay Open");
    case 3:
      return ShowMessage(0x402, L"Wrong Media Inserted");
    case 9:
      return ShowMessage(0x402, L"Label jam");
    case 10:
      return ShowMessage(0x402, L"Unknown label detected");
    default:
      return;
  }
}

}  // namespace sc3xxmon::simulation
