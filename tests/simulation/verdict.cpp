#include "simulation/verdict.h"

#include <algorithm>
#include <map>

namespace sc3xxmon::simulation {
namespace {

using simulator::DroppedLabel;
using simulator::DropReason;
using simulator::PrintedLabel;

// Labels that may be out without their acknowledgement: all that a lost one can repeat.
constexpr std::size_t kMostInFlight = 2;

struct Expected {
  std::size_t job;
  std::size_t place;  // among the job's expected labels
  const LabelPlan* plan;
};

class Judgement {
 public:
  Judgement(World& world, const Scenario& scenario, const std::vector<JobResult>& results)
      : world_(world), scenario_(scenario), results_(results) {
    for (std::size_t job = 0; job < scenario.jobs.size(); ++job) {
      const auto labels = ExpectedLabels(scenario, scenario.jobs[job]);
      counts_.push_back(labels.size());
      out_.emplace_back(labels.size(), false);
      for (std::size_t place = 0; place < labels.size(); ++place) {
        expected_[labels[place]->index] = {job, place, labels[place]};
      }
      verdict_.labelsExpected += labels.size();
    }
  }

  Verdict Run(const std::function<void()>& close) {
    world_.LetThePrinterFinish();
    CheckPaper();
    CheckSpooler();
    CountLost();
    CheckPrinterIsClean();
    close();
    CheckAllIsClosed();
    return std::move(verdict_);
  }

 private:
  void Problem(const std::string& text) { verdict_.problems.push_back(text); }
  static std::string Name(const Expected& label) {
    return "label " + std::to_string(label.plan->index) + " of job " + std::to_string(label.job + 1);
  }

  void CheckPaper();
  bool CheckLabel(const PrintedLabel& printed, const Expected& expected);
  void CheckStep(const Expected& label);
  void CheckSpooler();
  void CountLost();
  void CheckPrinterIsClean();
  void CheckAllIsClosed();
  bool DroppedByPeople(const Expected& label) const;
  bool EndReachedPrinter() const;

  World& world_;
  const Scenario& scenario_;
  const std::vector<JobResult>& results_;
  std::map<std::uint16_t, Expected> expected_;
  std::vector<std::size_t> counts_;
  std::vector<std::vector<bool>> out_;  // by job and place: came out whole
  std::size_t job_ = 0;
  std::size_t next_ = 0;  // place of the label that would follow without a repeat
  std::uint64_t stepsBack_ = 0;
  Verdict verdict_;
};

// A label that its printer had taken, and dropped when the mains went or somebody pressed cancel.
bool Judgement::DroppedByPeople(const Expected& label) const {
  const auto& dropped = world_.printer.Dropped();
  return std::any_of(dropped.begin(), dropped.end(), [&label](const DroppedLabel& drop) {
    const bool byPeople = drop.reason == DropReason::kPowerOff || drop.reason == DropReason::kCancelled;
    // The printer keeps no account of acknowledgements for a label without a raster.
    const bool taken = drop.acknowledged || label.plan->Empty();
    return byPeople && taken && drop.index == label.plan->index;
  });
}

void Judgement::CheckPaper() {
  for (const PrintedLabel& printed : world_.printer.Printed()) {
    const auto found = expected_.find(printed.index);
    if (found == expected_.end()) {
      Problem("label " + std::to_string(printed.index) + " came out, which is nobody's");
      continue;
    }
    ++verdict_.labelsPrinted;
    if (CheckLabel(printed, found->second)) {
      CheckStep(found->second);
      out_[found->second.job][found->second.place] = true;
    }
  }
}

// True for a label that came out whole, byte for byte.
bool Judgement::CheckLabel(const PrintedLabel& printed, const Expected& expected) {
  const ByteString dots = expected.plan->PrintedDots();
  const auto& raster = expected.plan->raster;
  const bool whole = printed.raster == dots && printed.lines == expected.plan->PrintedLines();
  const bool sameShape = !raster || (printed.dotsPerLine == raster->dotsPerLine &&
                                     printed.bitsPerDot == raster->bitsPerDot && printed.rasterFlags == raster->flags);
  if (whole && sameShape) {
    return true;
  }
  // A deletion may cut a tape label between two of its chunks.
  const bool begins =
      printed.raster.size() < dots.size() && std::equal(printed.raster.begin(), printed.raster.end(), dots.begin());
  if (!(results_[expected.job].deleted && begins)) {
    Problem(Name(expected) + " came out with other dots");
  }
  return false;
}

void Judgement::CheckStep(const Expected& label) {
  if (label.job == job_ && label.place < next_) {
    ++stepsBack_;
    ++verdict_.labelsRepeated;
    if (results_[job_].restarts == 0 && next_ - label.place > kMostInFlight) {
      Problem(Name(label) + " was repeated, which more than " + std::to_string(kMostInFlight) + " labels had followed");
    }
  } else if (label.job < job_) {
    Problem(Name(label) + " came out behind labels of a later job");
  }
  const std::size_t from = label.job == job_ ? next_ : 0;
  for (std::size_t place = from; place < label.place; ++place) {
    const auto skipped = std::find_if(expected_.begin(), expected_.end(), [&](const auto& entry) {
      return entry.second.job == label.job && entry.second.place == place;
    });
    if (!DroppedByPeople(skipped->second)) {
      Problem(Name(label) + " came out before " + Name(skipped->second));
    }
  }
  job_ = label.job;
  next_ = label.place + 1;
}

void Judgement::CheckSpooler() {
  for (std::size_t job = 0; job < results_.size(); ++job) {
    const JobResult& result = results_[job];
    const std::string name = "job " + std::to_string(job + 1);
    if (result.deleted) {
      continue;
    }
    if (!result.taken) {
      Problem(name + " wasn't taken to its end");
    }
    // A job without a label may come to its end without a word to the spooler.
    const bool complete = counts_[job] == 0 || result.status == JOB_STATUS_COMPLETE;
    if (result.pagesPrinted != counts_[job] || !complete) {
      Problem(name + " shows " + std::to_string(result.pagesPrinted) + " pages of " + std::to_string(counts_[job]) +
              " and status " + std::to_string(result.status));
    }
  }
  if (results_.size() != scenario_.jobs.size()) {
    Problem("not every job was begun");
  }
  if (stepsBack_ > world_.port.troubles) {
    Problem("labels were repeated " + std::to_string(stepsBack_) + " times after " +
            std::to_string(world_.port.troubles) + " failed transfers and bad answers");
  }
  if (world_.overrun) {
    Problem("a job ran out of its time");
  }
}

void Judgement::CountLost() {
  for (const auto& [index, label] : expected_) {
    if (label.job >= results_.size() || results_[label.job].deleted || out_[label.job][label.place]) {
      continue;
    }
    if (!DroppedByPeople(label)) {
      ++verdict_.labelsLost;
      Problem(Name(label) + " is lost");
    }
  }
}

// Whether the last thing that the printer heard of the last job was its end.
bool Judgement::EndReachedPrinter() const {
  // A job that is deleted when it has lost its connection, in front of its restart, ends without a word to the printer.
  return !world_.port.endOfJobLost && scenario_.jobs.back().FooterComesWhole() && !results_.back().restartPending;
}

void Judgement::CheckPrinterIsClean() {
  const simulator::VirtualPrinter& printer = world_.printer;
  if (EndReachedPrinter() && printer.LockHolder() != simulator::kNobody) {
    Problem("the printer is still locked");
  }
  if (EndReachedPrinter() && printer.JobOpen()) {
    Problem("the printer is still inside a job");
  }
  // A deletion between two chunks comes while the answer to the first is on its way.
  const bool answerLeft = results_.back().deleted && scenario_.printer.model >= 8 && world_.port.unanswered == 1;
  if (!printer.Idle() && !answerLeft) {
    Problem("the printer still holds something: " + printer.View().state);
  }
}

void Judgement::CheckAllIsClosed() {
  const PortBetween& port = world_.port;
  if (port.startedDocuments != port.endedDocuments) {
    Problem("documents started and ended differ");
  }
  if (port.opens != 1 || port.closes != 1 || world_.ports.OpenPorts() != 0) {
    Problem("the port was left open");
  }
  if (world_.host.openHandles != 0) {
    Problem("printer handles were left open in the spooler");
  }
  if (world_.printer.LockHolder() != simulator::kNobody || world_.printer.JobOpen()) {
    Problem("the printer keeps its lock or its job for a port that is closed");
  }
}

}  // namespace

std::vector<const LabelPlan*> ExpectedLabels(const Scenario& scenario, const JobPlan& job) {
  const bool printEmpty = scenario.OptionOr(L"PrintEmptyLabel", 0) != 0;
  std::vector<const LabelPlan*> labels;
  for (const LabelPlan& label : job.labels) {
    if (printEmpty || !label.Empty()) {
      labels.push_back(&label);
    }
  }
  return labels;
}

Verdict Judge(World& world, const Scenario& scenario, const std::vector<JobResult>& results,
              const std::function<void()>& close) {
  return Judgement(world, scenario, results).Run(close);
}

}  // namespace sc3xxmon::simulation
