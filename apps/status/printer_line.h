// A two-way line to a printer for a question and its answer, without the monitor: to a device file or a Unix socket, to
// a host on the network, or to a virtual printer in this process. Nothing that prints goes this way.
//
// Errors: LineError with complete words. Blocking: up to the time-out for connecting, sending and receiving each.
// Threads: none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/printer_settings.h"

namespace sc3xx {

// The printer can't be reached, or was lost.
class LineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PrinterLine {
  std::function<void(std::span<const std::uint8_t> bytes)> send;
  // What comes, up to `most`; less after a silence behind at least one byte, nothing after the time-out.
  std::function<std::vector<std::uint8_t>(std::size_t most)> receive;
  std::string address;  // where it leads to, if that is not plain from the port's name
};

struct LineTimes {
  std::uint32_t timeoutMs = 5000;
  std::uint32_t silenceMs = 250;  // that ends an answer
};

PrinterLine LineToDevice(const std::string& path, const LineTimes& times);
// Goes where the monitor would go for that host.
PrinterLine LineToHost(const std::string& hostName, const LineTimes& times);
// The printer's time passes as fast as need be. Throws std::invalid_argument if no printer can have these settings.
PrinterLine LineToVirtualPrinter(const simulator::PrinterSettings& settings);

}  // namespace sc3xx
