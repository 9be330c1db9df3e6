#include "apps/sc3xx/simulate_plan.h"

#include <algorithm>
#include <cstddef>

#include "apps/sc3xx/usage_error.h"
#include "apps/sc3xx/virtual_printer_options.h"

namespace sc3xx {
namespace {

// What a printer takes in while it prints: several labels, as real ones do, so that the next one is at hand.
constexpr std::size_t kReceiveBufferBytes = 4u << 20;

ListenAddress AddressFrom(const std::string& option, const std::string& text) {
  const std::optional<ListenAddress> address = ParseListenAddress(text);
  if (!address) {
    throw UsageError(option + ": \"" + text +
                     "\" is no address; write ADDRESS or ADDRESS:PORT, such as 127.0.0.2 or [::1]:9101");
  }
  return *address;
}

SimulatedPrinter PrinterFrom(const SimulateRequest& request, const std::string& modelText,
                             const ListenAddress& address) {
  const simulator::PrinterModel& model = ModelFrom(modelText);
  SimulatedPrinter printer;
  printer.address = address;
  printer.settings.model = model.row;
  printer.settings.millimetresPerSecond = SpeedFrom(request.speed, model);
  printer.settings.receiveBufferBytes = kReceiveBufferBytes;
  printer.settings.maxLabelBytes = std::size_t{request.labelMegabytes} << 20;
  printer.settings.keepCommandBytes = false;
  // A client that stops in the middle of a command has its reasons on a network: when it has gone, its connection tells.
  printer.settings.incompleteCommandTimeoutMs = 0;
  return printer;
}

void RefuseSameAddress(const std::vector<SimulatedPrinter>& printers) {
  for (std::size_t i = 0; i < printers.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (printers[i].address == printers[j].address && printers[i].address.port != 0) {
        throw UsageError("two printers can't both listen on " + Format(printers[i].address) +
                         "; give each an address of its own, such as 127.0.0.2 and 127.0.0.3");
      }
    }
  }
}

void AddFault(const simulator::Fault& fault, SimulatedPrinter& printer) {
  printer.settings.faults.push_back(fault);
  const std::string trouble = simulator::CheckSettings(printer.settings);
  if (!trouble.empty()) {
    throw UsageError("--fault: " + trouble);
  }
}

void AddFault(const std::string& text, std::vector<SimulatedPrinter>& printers) {
  const std::size_t slash = text.find('/');
  const simulator::Fault fault = FaultFrom(slash == std::string::npos ? text : text.substr(slash + 1));
  if (slash == std::string::npos) {
    for (SimulatedPrinter& printer : printers) {
      AddFault(fault, printer);
    }
    return;
  }
  const ListenAddress address = AddressFrom("--fault", text.substr(0, slash));
  const auto printer = std::find_if(printers.begin(), printers.end(),
                                    [&](const SimulatedPrinter& candidate) { return candidate.address == address; });
  if (printer == printers.end()) {
    throw UsageError("--fault: no printer listens on " + Format(address) + ", which \"" + text + "\" is for");
  }
  AddFault(fault, *printer);
}

}  // namespace

SimulatePlan PlanSimulation(const SimulateRequest& request) {
  SimulatePlan plan;
  for (const std::string& text : request.listen) {
    plan.printers.push_back(PrinterFrom(request, request.model, AddressFrom("--listen", text)));
  }
  for (const std::string& text : request.printers) {
    const std::size_t at = text.find('@');
    if (at == std::string::npos) {
      throw UsageError("--printer: \"" + text + "\" lacks an address; write MODEL@ADDRESS, such as SC310@127.0.0.3");
    }
    plan.printers.push_back(PrinterFrom(request, text.substr(0, at), AddressFrom("--printer", text.substr(at + 1))));
  }
  if (plan.printers.empty()) {
    plan.printers.push_back(PrinterFrom(request, request.model, {kDefaultListenHost}));
  }
  RefuseSameAddress(plan.printers);
  for (const std::string& text : request.faults) {
    AddFault(text, plan.printers);
  }
  plan.limits.clients = request.clients;
  plan.jobs = request.jobs;
  if (request.seconds > 0) {
    plan.duration = std::chrono::seconds(request.seconds);
  }
  return plan;
}

std::string ShortNameOf(const ListenAddress& address) {
  return address.port == kPrinterTcpPort ? address.host : Format(address);
}

}  // namespace sc3xx
