// Tells a person at a terminal what the simulated printers do: a line for each thing that happens, and on a terminal
// below them one that is redrawn, with the state of every printer. Elsewhere the lines alone.
//
// One thread. What comes from the network is told so often and no more: garbage without end doesn't fill a terminal.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "apps/sc3xx/console.h"
#include "apps/server/printer_server.h"

namespace sc3xx {

class SimulateStatus {
 public:
  // `console` outlives this object.
  explicit SimulateStatus(Console& console) : console_(console) {}
  ~SimulateStatus();
  SimulateStatus(const SimulateStatus&) = delete;
  SimulateStatus& operator=(const SimulateStatus&) = delete;

  // Printers are numbered in the order of these calls.
  void AddPrinter(const ListenAddress& address, const simulator::PrinterModel& model);

  void Told(std::size_t printer, const std::string& what);
  void LabelPrinted(std::size_t printer, const simulator::PrintedLabel& label, const std::string& picture);
  void Happened(std::size_t printer, const simulator::Exchange& exchange);

  // Redraws the state of the printers if it changed.
  void Show(const PrinterServer& server);
  void Line(const std::string& text);
  void EraseState();

 private:
  struct Printer {
    std::string name;
    std::size_t malformedTold = 0;
  };

  void TellMalformed(std::size_t printer, const simulator::Exchange& exchange);

  Console& console_;
  std::vector<Printer> printers_;
  std::string state_;  // on the terminal now
};

}  // namespace sc3xx
