// One seed, run and judged.
#pragma once

#include <string>
#include <vector>

#include "simulation/scenario.h"
#include "simulation/verdict.h"

namespace sc3xxmon::simulation {

struct Outcome {
  std::vector<std::string> problems;  // empty: all is well
  Verdict verdict;
  bool stuck = false;  // the jobs of a late scenario came to no end by themselves
  std::uint64_t calls = 0;
  std::uint64_t restarts = 0;
  test::Story story;
  std::vector<std::string> atThePrinter;  // its transcript, where the scenario asks for one
};

Outcome RunScenario(const Scenario& scenario);

}  // namespace sc3xxmon::simulation
