#include "simulation/run.h"

#include <algorithm>

#include "simulation/real_monitor.h"
#include "simulation/reference_monitor.h"

namespace sc3xxmon::simulation {
namespace {

// What the reference does in a world of its own.
test::Story TellReference(const Scenario& scenario) {
  World world(scenario);
  ReferenceMonitor reference(world, scenario);
  const MonitorCalls monitor = CallReference(reference);
  PrintJobs(world, scenario, monitor);
  world.LetThePrinterFinish();
  monitor.close();
  return std::move(world.story);
}

void Compare(const test::Story& real, const test::Story& reference, std::vector<std::string>& problems) {
  const auto [at, should] = std::mismatch(real.begin(), real.end(), reference.begin(), reference.end());
  if (at == real.end() && should == reference.end()) {
    return;
  }
  problems.push_back("line " + std::to_string(at - real.begin() + 1) + " of the story is \"" +
                     (at == real.end() ? "missing" : *at) + "\" and should be \"" +
                     (should == reference.end() ? "missing" : *should) + "\"");
}

}  // namespace

Outcome RunScenario(const Scenario& scenario) {
  Outcome outcome;
  {
    World world(scenario);
    const MonitorCalls monitor = CallRealMonitor(world);
    const auto results = PrintJobs(world, scenario, monitor);
    outcome.verdict = Judge(world, scenario, results, monitor.close);
    outcome.stuck = world.overrun;
    outcome.calls = world.port.calls;
    for (const JobResult& result : results) {
      outcome.restarts += result.restarts;
    }
    outcome.story = std::move(world.story);
    for (const simulator::Exchange& exchange : world.printer.Transcript()) {
      outcome.atThePrinter.push_back(std::to_string(exchange.timeMs) + " ms, " + Name(exchange.direction) + ": " +
                                     exchange.kind + (exchange.meaning.empty() ? "" : ", " + exchange.meaning));
    }
  }
  // Where answers may serve the wrong request, only the protocol itself says what is right.
  if (scenario.kind == ScenarioClass::kOrderly) {
    outcome.problems = outcome.verdict.problems;
  }
  Compare(outcome.story, TellReference(scenario), outcome.problems);
  return outcome;
}

}  // namespace sc3xxmon::simulation
