// The simulation's own small spooler: feeds each job's stream in pieces, offers the rest again after a refused write, and
// does what the job commands ask for.
#pragma once

#include <cstdint>
#include <vector>

#include "simulation/monitor_calls.h"
#include "simulation/world.h"

namespace sc3xxmon::simulation {

struct JobResult {
  bool taken = false;           // the last write returned success with nothing left
  bool deleted = false;         // by a person in the spooler, or by the monitor because of a cancel at the printer
  bool restartPending = false;  // asked for, but the job was deleted first
  std::uint32_t restarts = 0;
  DWORD status = 0;  // as the job's record said at its end, deletion left out
  DWORD pagesPrinted = 0;
};

// Opens the port, prints every job, closes it. One result a job.
std::vector<JobResult> PrintJobs(World& world, const Scenario& scenario, const MonitorCalls& monitor);

}  // namespace sc3xxmon::simulation
