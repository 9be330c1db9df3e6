// Jobs made up at random: every shape of label that a driver may send.
#pragma once

#include "simulation/job_plan.h"
#include "simulation/random.h"

namespace sc3xxmon::simulation {

struct JobLimits {
  bool tape = false;             // chunks are 1 bit a dot, one raster a label
  std::uint32_t mostLines = 80;  // of one raster
  bool printEmpty = false;       // labels without a raster go to the printer too
};

// `firstIndex` is the index of its first label; the others count up from there.
JobPlan MakeJob(Random& random, std::uint32_t id, std::uint16_t firstIndex, const JobLimits& limits);

}  // namespace sc3xxmon::simulation
