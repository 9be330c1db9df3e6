// The monitor as the simulation's spooler calls it: the real one at its door, or the reference that tells what it should
// have done.
#pragma once

#include <cstdint>
#include <functional>

#include "simulation/job_plan.h"

namespace sc3xxmon::simulation {

struct MonitorCalls {
  std::function<bool()> open;
  std::function<bool(const JobPlan& job)> start;
  // Sets `written` when the monitor has taken the bytes.
  std::function<bool(const ByteString& bytes, std::uint32_t& written)> write;
  std::function<void()> end;
  std::function<void()> close;
};

}  // namespace sc3xxmon::simulation
