// The embedded virtual printer as a port: a printer of its own, made for this program and gone with it.
//
// Time passes on the host's clock, in short sleeps, so that a progress line moves and a virtual clock works
// as well. Threads: the monitor's calls and the functions here may come from different threads.
#pragma once

#include <string>
#include <vector>

#include "apps/spooler/document_runner.h"
#include "apps/spooler/spooler_host.h"
#include "simulator/in_process_port.h"
#include "simulator/virtual_printer.h"

namespace sc3xx {

class VirtualPort {
 public:
  // `host` lends its clock and outlives the port. Throws std::invalid_argument if no printer can have these
  // settings.
  VirtualPort(simulator::PrinterSettings settings, const SpoolerHost& host);

  // The port for the monitor, named "USB:virtual". Points to this object.
  PortBelow Below();

  // Sleeps until the printer has finished with everything it received, or can't go on by itself because a
  // fault stands: an answer lets a host go while its last labels are still being printed.
  void WaitUntilIdle();

  // What came out since the last call, and what was said.
  std::vector<simulator::PrintedLabel> TakePrinted();
  std::vector<simulator::Exchange> TakeTranscript();

  // Labels that came in and were dropped for the host to send again, since the printer was made.
  std::size_t LabelsToBeSentAgain();

 private:
  void SleepUntil(std::uint64_t timeMs) const;

  const SpoolerHost& host_;
  simulator::VirtualPrinter printer_;
  simulator::InProcessPorts ports_;
  MONITOR2 table_;
};

}  // namespace sc3xx
