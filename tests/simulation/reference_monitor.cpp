// The spooler's calls and the stream; the rest is in reference_engine.cpp and reference_printer.cpp.
#include "simulation/reference_monitor.h"

#include <algorithm>

namespace sc3xxmon::simulation {
namespace {

constexpr std::uint64_t kLabelIndexSize = 4;
constexpr std::uint64_t kFooterCommandSize = 2;

std::uint32_t Clamp(std::uint32_t value) {
  return std::clamp(value, 1000u, 60000u);
}

}  // namespace

ReferenceMonitor::ReferenceMonitor(World& world, const Scenario& scenario)
    : world_(world),
      scenario_(scenario),
      readTimeout_(Clamp(scenario.OptionOr(L"PortReadTimeout", 15000))),
      writeTimeout_(Clamp(scenario.OptionOr(L"PortWriteTimeout", 15000))),
      compressMode_(scenario.OptionOr(L"LabelCompressMode", 3)),
      sendBetween_(scenario.OptionOr(L"SendIPHs", 1) != 0),
      printEmpty_(scenario.OptionOr(L"PrintEmptyLabel", 0) != 0),
      unlockOnError_(scenario.OptionOr(L"UnlockOnError", 0) != 0),
      chunkLines_(scenario.OptionOr(L"PdChunkSize", 200)) {}

void ReferenceMonitor::Open() {
  world_.port.Open();
  SetTimeouts(0);
}

bool ReferenceMonitor::Start(const JobPlan& job) {
  job_ = std::make_unique<Job>();
  job_->plan = &job;
  job_->model = scenario_.driverRow;
  world_.port.StartDocument();
  return true;
}

bool ReferenceMonitor::Write(const ByteString& bytes, std::uint32_t& written) {
  if (job_->abortState != 0) {
    return false;
  }
  if (!job_->lockHeld) {
    if (!GoesOn(WaitForPrinter())) {
      return false;
    }
    FetchFirmware();
  }
  job_->received += bytes.size();
  TakeLabels();
  written = static_cast<std::uint32_t>(bytes.size());
  if (!SendAll()) {
    return false;
  }
  if (!FooterReached() || job_->footerSent) {
    return true;
  }
  if (!SettleLastLabel()) {
    return false;
  }
  Send(FooterSoFar());
  job_->footerSent = true;
  return true;
}

void ReferenceMonitor::End() {
  const Job job = *job_;
  job_ = nullptr;
  if (job.headerSent && !job.footerSent) {
    DWORD status = 0;
    world_.host.ReadStatus(job.plan->id, status);
    const bool cancelled = (status & (JOB_STATUS_DELETING | JOB_STATUS_DELETED)) != 0 || job.abortState == 2;
    cancelled ? SendCancelSequence(true) : Send(test::Bytes("1B 51"));
  }
  world_.host.TakeCommand(job.plan->id, JOB_CONTROL_LAST_PAGE_EJECTED);
  NoteProgress(job.plan->id, job.acknowledged, true);
  world_.port.EndDocument();
  if (endDelayMs_ != 0) {
    const std::uint32_t delay = endDelayMs_;
    endDelayMs_ = 0;
    world_.host.Sleep(delay);
  }
}

void ReferenceMonitor::Close() {
  world_.port.Close();
}

void ReferenceMonitor::NoteProgress(std::uint32_t id, std::uint32_t count, bool) {
  if (id != lastJobId_) {
    lastJobId_ = id;
    endsWithoutProgress_ = 0;
    return;
  }
  endsWithoutProgress_ = count != 0 ? 0 : endsWithoutProgress_ + 1;
}

// --- the stream

bool ReferenceMonitor::HeaderComplete() const {
  return job_->received >= job_->plan->header.size() + kLabelIndexSize;
}

std::uint64_t ReferenceMonitor::OffsetOfLabel(std::size_t number) const {
  std::uint64_t offset = job_->plan->header.size();
  for (std::size_t i = 0; i < number; ++i) {
    offset += job_->plan->labels[i].Bytes().size();
  }
  return offset;
}

// A label without an end of its own is known to be whole when the command behind it is.
bool ReferenceMonitor::LabelComplete(std::size_t number) const {
  const auto& labels = job_->plan->labels;
  std::uint64_t end = OffsetOfLabel(number + 1);
  if (!labels[number].ended) {
    end += number + 1 < labels.size() ? kLabelIndexSize : kFooterCommandSize;
  }
  return job_->received >= end;
}

bool ReferenceMonitor::FooterReached() const {
  return job_->parsed == job_->plan->labels.size() &&
         job_->received >= OffsetOfLabel(job_->plan->labels.size()) + kFooterCommandSize;
}

ByteString ReferenceMonitor::FooterSoFar() const {
  const std::uint64_t start = OffsetOfLabel(job_->plan->labels.size());
  const ByteString& footer = job_->plan->footer;
  const auto size = static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(footer.size(), job_->received - start));
  return {footer.begin(), footer.begin() + size};
}

void ReferenceMonitor::TakeLabels() {
  const auto& labels = job_->plan->labels;
  while (HeaderComplete() && job_->parsed < labels.size() && LabelComplete(job_->parsed)) {
    const LabelPlan& plan = labels[job_->parsed++];
    if (printEmpty_ || !plan.Empty()) {
      job_->labels.push_back({&plan});
    }
  }
}

MonitorCalls CallReference(ReferenceMonitor& reference) {
  return {[&reference] {
            reference.Open();
            return true;
          },
          [&reference](const JobPlan& job) { return reference.Start(job); },
          [&reference](const ByteString& bytes, std::uint32_t& written) { return reference.Write(bytes, written); },
          [&reference] { reference.End(); }, [&reference] { reference.Close(); }};
}

}  // namespace sc3xxmon::simulation
