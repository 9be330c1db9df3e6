#include "simulation/spooler.h"

#include <algorithm>

namespace sc3xxmon::simulation {
namespace {

constexpr DWORD kDeletion = JOB_STATUS_DELETING | JOB_STATUS_DELETED;

class JobFeeder {
 public:
  JobFeeder(World& world, const Scenario& scenario, const MonitorCalls& monitor, const JobPlan& job)
      : world_(world), scenario_(scenario), monitor_(monitor), job_(job), stream_(job.Stream()) {}

  JobResult Run() {
    world_.host.onCommand = [this](DWORD, DWORD command) {
      restartAsked_ = restartAsked_ || command == JOB_CONTROL_RESTART;
      result_.deleted = result_.deleted || command == JOB_CONTROL_DELETE;
    };
    do {
      RunDocument();
    } while (restartAsked_ && !Deleted());
    result_.deleted = Deleted();
    result_.restartPending = restartAsked_;
    const auto& record = world_.host.jobs.at(job_.id);
    result_.status = record.status & ~kDeletion;
    result_.pagesPrinted = record.pagesPrinted;
    world_.host.onCommand = nullptr;
    return result_;
  }

 private:
  bool Deleted() { return result_.deleted || (world_.host.jobs.at(job_.id).status & kDeletion) != 0; }

  void RunDocument() {
    result_.restarts += restartAsked_ ? 1 : 0;
    restartAsked_ = false;
    result_.taken = false;
    if (!monitor_.start(job_)) {
      return;
    }
    std::size_t at = 0;
    for (std::size_t piece = 0; at < stream_.size(); ++piece) {
      if (!Offer(at, std::max(job_.pieces[piece % job_.pieces.size()], 1u))) {
        break;
      }
    }
    monitor_.end();
  }

  // One buffer, until it is taken and its write succeeds; false when the document is to be ended.
  bool Offer(std::size_t& at, std::size_t size) {
    std::size_t left = std::min(size, stream_.size() - at);
    for (;;) {
      const auto from = stream_.begin() + static_cast<std::ptrdiff_t>(at);
      std::uint32_t written = 0;
      const bool succeeded = monitor_.write(ByteString(from, from + static_cast<std::ptrdiff_t>(left)), written);
      world_.story.push_back(std::string(succeeded ? "taken " : "refused ") + std::to_string(written));
      at += written;
      left -= written;
      if (succeeded && left == 0) {
        result_.taken = at == stream_.size();
        return true;
      }
      if (restartAsked_ || Deleted()) {
        return false;
      }
      world_.host.Sleep(scenario_.pauseMs);
    }
  }

  World& world_;
  const Scenario& scenario_;
  const MonitorCalls& monitor_;
  const JobPlan& job_;
  const ByteString stream_;
  bool restartAsked_ = false;
  JobResult result_;
};

}  // namespace

std::vector<JobResult> PrintJobs(World& world, const Scenario& scenario, const MonitorCalls& monitor) {
  std::vector<JobResult> results;
  if (!monitor.open()) {
    return results;
  }
  for (const JobPlan& job : scenario.jobs) {
    if (job.deleteAfterMs) {
      world.DeleteAt(job.id, world.host.now + *job.deleteAfterMs);
    } else {
      world.LeaveAlone(job.id);
    }
    results.push_back(JobFeeder(world, scenario, monitor, job).Run());
  }
  world.LeaveAlone(0);
  return results;
}

}  // namespace sc3xxmon::simulation
