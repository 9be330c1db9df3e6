// What a seed stands for: printer, options, jobs, faults. Plain data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulation/job_plan.h"
#include "simulation/port_between.h"
#include "simulator/printer_settings.h"

namespace sc3xxmon::simulation {

enum class ScenarioClass {
  // Faults of the printer, of the line and of people, after which every answer still belongs to its request: nothing
  // may get lost.
  kOrderly,
  // Answers that come late or stay in the port, and so serve the wrong request. There is no resynchronisation on the
  // wire, so labels may get lost: what is checked is that the run is exactly the protocol's.
  kLate,
};

struct Option {
  std::wstring name;
  std::uint32_t number = 0;
};

struct Scenario {
  ScenarioClass kind = ScenarioClass::kOrderly;
  std::uint64_t seed = 0;

  std::wstring driverName;
  std::uint32_t driverRow = 0;  // 0: a name that no row has
  simulator::PrinterSettings printer;
  std::vector<Option> options;
  std::vector<JobPlan> jobs;
  std::vector<CallFault> callFaults;
  std::uint32_t pauseMs = 1000;  // of the spooler, before it offers a buffer again

  std::uint64_t mostCalls = 20000;
  std::uint64_t mostMs = 48ull * 3600 * 1000;

  std::uint32_t OptionOr(const std::wstring& name, std::uint32_t otherwise) const;
};

Scenario MakeScenario(std::uint64_t seed, ScenarioClass kind);
// The driver's name for a row of the model table; 0 gives a name that nobody knows.
std::wstring DriverNameOf(std::uint32_t row);
// The command that runs this scenario alone.
std::string ReplayCommand(const Scenario& scenario);
// Several lines for a person.
std::string Describe(const Scenario& scenario);

}  // namespace sc3xxmon::simulation
