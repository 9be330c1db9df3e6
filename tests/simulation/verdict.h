// What has to be true when the jobs are through.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulation/spooler.h"
#include "simulation/world.h"

namespace sc3xxmon::simulation {

struct Verdict {
  std::vector<std::string> problems;
  std::uint64_t labelsExpected = 0;
  std::uint64_t labelsPrinted = 0;
  std::uint64_t labelsRepeated = 0;
  // Labels that the spooler shows as printed and that didn't come out.
  std::uint64_t labelsLost = 0;
};

// Call it when the jobs are through and the port is still open; lets the printer finish first. `close` closes the port.
Verdict Judge(World& world, const Scenario& scenario, const std::vector<JobResult>& results,
              const std::function<void()>& close);

// The labels of a job that are to come out on paper.
std::vector<const LabelPlan*> ExpectedLabels(const Scenario& scenario, const JobPlan& job);

}  // namespace sc3xxmon::simulation
