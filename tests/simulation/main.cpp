// simulation --seeds N [--from S] [--class orderly|late] [--story]
//
// Runs seeds against the virtual printer on virtual time. Exit 0 when every run was right, 1 when one wasn't; each wrong
// one prints what was wrong and the command that replays it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>

#include "simulation/real_monitor.h"
#include "simulation/run.h"

namespace {

using namespace sc3xxmon::simulation;

struct Arguments {
  std::uint64_t seeds = 100;
  std::uint64_t from = 1;
  ScenarioClass kind = ScenarioClass::kOrderly;
  bool story = false;
};

struct Totals {
  std::uint64_t failed = 0;
  std::uint64_t calls = 0;
  std::uint64_t restarts = 0;
  std::uint64_t stuck = 0;
  std::uint64_t expected = 0;
  std::uint64_t printed = 0;
  std::uint64_t repeated = 0;
  std::uint64_t lost = 0;
  std::uint64_t seedsWithLoss = 0;
};

void PrintStory(const Scenario& scenario, const Outcome& outcome) {
  std::printf("%s", Describe(scenario).c_str());
  for (const std::string& line : outcome.story) {
    std::printf("    %s\n", line.c_str());
  }
  std::printf("  and at the printer:\n");
  for (const std::string& line : outcome.atThePrinter) {
    std::printf("    %s\n", line.c_str());
  }
}

void Report(const Scenario& scenario, const Outcome& outcome) {
  std::printf("seed %llu FAILED\n", static_cast<unsigned long long>(scenario.seed));
  for (const std::string& problem : outcome.problems) {
    std::printf("  %s\n", problem.c_str());
  }
  std::printf("%s  replay: %s\n", Describe(scenario).c_str(), ReplayCommand(scenario).c_str());
}

void Count(const Outcome& outcome, Totals& totals) {
  totals.failed += outcome.problems.empty() ? 0u : 1u;
  totals.calls += outcome.calls;
  totals.restarts += outcome.restarts;
  totals.stuck += outcome.stuck ? 1u : 0u;
  totals.expected += outcome.verdict.labelsExpected;
  totals.printed += outcome.verdict.labelsPrinted;
  totals.repeated += outcome.verdict.labelsRepeated;
  totals.lost += outcome.verdict.labelsLost;
  totals.seedsWithLoss += outcome.verdict.labelsLost > 0 ? 1u : 0u;
}

int RunSeeds(const Arguments& arguments) {
  Totals totals;
  const bool late = arguments.kind == ScenarioClass::kLate;
  NamePrinterAfter((late ? "late " : "orderly ") + std::to_string(arguments.from));
  for (std::uint64_t seed = arguments.from; seed < arguments.from + arguments.seeds; ++seed) {
    Scenario scenario = MakeScenario(seed, arguments.kind);
    scenario.printer.transcript = arguments.story;
    const Outcome outcome = RunScenario(scenario);
    Count(outcome, totals);
    if (arguments.story) {
      PrintStory(scenario, outcome);
    }
    if (!outcome.problems.empty()) {
      Report(scenario, outcome);
    }
  }
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  std::printf(
      "seeds %llu to %llu: %llu failed; %llu labels, %llu printed, %llu of them repeats; %llu restarts, "
      "%llu port calls\n",
      number(arguments.from), number(arguments.from + arguments.seeds - 1), number(totals.failed),
      number(totals.expected), number(totals.printed), number(totals.repeated), number(totals.restarts),
      number(totals.calls));
  if (late) {
    std::printf(
        "answers that served the wrong request: %llu labels lost in %llu runs, %llu runs that only a deletion "
        "ended\n",
        number(totals.lost), number(totals.seedsWithLoss), number(totals.stuck));
  }
  return totals.failed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  CLI::App app{"Random jobs and faults through the monitor's door, on virtual time"};
  app.add_option("--seeds", arguments.seeds, "how many seeds to run")->capture_default_str();
  app.add_option("--from", arguments.from, "the first seed")->capture_default_str();
  const std::map<std::string, ScenarioClass> kinds{{"orderly", ScenarioClass::kOrderly},
                                                   {"late", ScenarioClass::kLate}};
  app.add_option("--class", arguments.kind, "orderly: nothing may get lost; late: answers may serve the wrong request")
      ->transform(CLI::CheckedTransformer(kinds));
  app.add_flag("--story", arguments.story, "print what happened, call by call");
  CLI11_PARSE(app, argc, argv);
  return RunSeeds(arguments);
}
