#include "simulation/world.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace sc3xxmon::simulation {
namespace {

// A monitor that hasn't noticed a deletion after this many further calls never will.
constexpr std::uint64_t kCallsAfterDeletion = 5000;

}  // namespace

World::World(const Scenario& scenario)
    : printer(scenario.printer),
      ports({[this] { return host.now; }, [this](std::uint64_t time) { host.now = std::max(host.now, time); }},
            [this](std::uint32_t code) { host.lastError = code; }),
      port(ports, kPortName, story),
      scenario_(scenario) {
  ports.Add(kPortName, printer);
  for (const CallFault& fault : scenario.callFaults) {
    port.Add(fault);
  }
  host.now = 0;
  host.jobs.clear();
  for (const JobPlan& job : scenario.jobs) {
    host.jobs[job.id].driverName = scenario.driverName;
  }
  for (const Option& option : scenario.options) {
    host.SetNumber(test::RecordingHost::kOptions, option.name, option.number);
  }
  host.onStatusQuery = [this](std::size_t) { Watch(); };
  port.onCall = [this] { Watch(); };
  host.onSleep = [this](std::uint32_t) { Watch(); };
}

void World::Watch() {
  const bool tooLong = port.calls > scenario_.mostCalls || host.now > scenario_.mostMs;
  if (tooLong && !overrun) {
    overrun = true;
    callsAtDeletion_ = port.calls;
    story.push_back("the job takes too long and is deleted");
  }
  if (overrun && port.calls > callsAtDeletion_ + kCallsAfterDeletion) {
    std::fprintf(stderr, "the monitor doesn't notice that its job is deleted; replay: %s\n",
                 ReplayCommand(scenario_).c_str());
    std::_Exit(3);
  }
  const auto job = host.jobs.find(watchedJob_);
  if (job != host.jobs.end() && (overrun || (deleteAt_ && host.now >= *deleteAt_))) {
    job->second.status |= JOB_STATUS_DELETING;
  }
}

void World::LetThePrinterFinish() {
  printer.ClearFaults(host.now);
  while (const auto next = printer.NextEvent()) {
    host.now = std::max(host.now, *next);
    printer.Advance(host.now);
  }
}

}  // namespace sc3xxmon::simulation
