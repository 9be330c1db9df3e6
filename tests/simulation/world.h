// One run's world: a clock, a spooler's record of jobs, a virtual printer and the port to it. Everything in it happens
// on virtual time, so that the same seed is the same run.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "simulation/port_between.h"
#include "simulation/scenario.h"
#include "simulator/in_process_port.h"
#include "simulator/virtual_printer.h"
#include "support/recording_host.h"
#include "support/story.h"

namespace sc3xxmon::simulation {

class World {
 public:
  explicit World(const Scenario& scenario);
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // A person deletes the job at this time, whatever it is doing then.
  void DeleteAt(std::uint32_t job, std::uint64_t time) {
    watchedJob_ = job;
    deleteAt_ = time;
  }
  void LeaveAlone(std::uint32_t job) {
    watchedJob_ = job;
    deleteAt_.reset();
  }

  // Lets the printer finish what it holds, with all its troubles gone.
  void LetThePrinterFinish();

  test::Story story;
  test::RecordingHost host{&story};
  simulator::VirtualPrinter printer;
  simulator::InProcessPorts ports;
  PortBetween port;
  // A job that ran out of its calls or its time and was deleted for it: nothing of the kind may happen unless the
  // scenario expects it.
  bool overrun = false;

  static constexpr wchar_t kPortName[] = L"USB001";

 private:
  void Watch();

  const Scenario& scenario_;
  std::uint32_t watchedJob_ = 0;
  std::optional<std::uint64_t> deleteAt_;
  std::uint64_t callsAtDeletion_ = 0;
};

}  // namespace sc3xxmon::simulation
