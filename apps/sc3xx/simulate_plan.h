// Everything that `sc3xx simulate` was asked for, checked before the first printer is on the network.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/server/listen_address.h"
#include "apps/server/printer_service.h"
#include "simulator/printer_settings.h"

namespace sc3xx {

// The command line as it was given.
struct SimulateRequest {
  std::string model = "5";
  std::vector<std::string> listen;    // addresses of printers of that model
  std::vector<std::string> printers;  // MODEL@ADDRESS
  std::vector<std::string> faults;    // [ADDRESS/]SPEC
  std::string speed = "model";
  std::string outFolder;
  std::string transcriptFile;
  std::uint32_t clients = 32;
  std::uint32_t labelMegabytes = 16;
  std::uint32_t jobs = 0;     // end after so many; 0: never
  std::uint32_t seconds = 0;  // end after so long; 0: never
};

struct SimulatedPrinter {
  ListenAddress address;
  simulator::PrinterSettings settings;
};

struct SimulatePlan {
  std::vector<SimulatedPrinter> printers;  // at least one
  ServiceLimits limits;
  std::optional<std::chrono::seconds> duration;
  std::uint64_t jobs = 0;
};

// Where a printer listens when nothing is said: not 127.0.0.1, which the monitor skips.
inline constexpr const char* kDefaultListenHost = "127.0.0.2";

// Throws UsageError.
SimulatePlan PlanSimulation(const SimulateRequest& request);

// For messages and folders: the host, with the port where it isn't the printers' own.
std::string ShortNameOf(const ListenAddress& address);

}  // namespace sc3xx
