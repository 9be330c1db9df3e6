#include "apps/sc3xx/status_command.h"

#include <CLI/CLI.hpp>
#include <array>
#include <variant>

#include "apps/sc3xx/help_text.h"
#include "apps/sc3xx/port_choice.h"
#include "apps/sc3xx/status_report.h"
#include "apps/sc3xx/usage_error.h"
#include "apps/status/printer_line.h"
#include "simulator/fault_script.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

constexpr std::array<std::uint8_t, 3> kAskState = {0x1B, 0x41, 0x00};
constexpr std::array<std::uint8_t, 2> kAskFirmware = {0x1B, 0x56};

constexpr const char* kStatusFooter =
    "What is asked: ESC A 0 (status, without taking the printer's lock) and ESC V (firmware), each once.\n"
    "  Both change nothing, so that a job that is printing over another connection isn't disturbed. The\n"
    "  system doesn't open a USB printer's device file twice; a printer on a serial line is not to be asked\n"
    "  while something prints there. A printer that serves one computer at a time may answer only when its\n"
    "  job is over, and is told as not answering until then.\n"
    "Examples:\n"
    "  sc3xx status --port lan:192.168.1.20\n"
    "  sc3xx status --port usb:/dev/usb/lp0 --json\n"
    "Exit codes: 0 ready, or good and in use; 1 the printer has an error or can't be reached (the\n"
    "  words, and \"state\" in the JSON object, say which); 2 wrong use.\n";

simulator::PrinterSettings VirtualPrinterFrom(const StatusRequest& request) {
  const simulator::PrinterModel* model = simulator::FindModel(request.model.empty() ? "5" : request.model);
  if (model == nullptr) {
    throw UsageError("--model: there is no model \"" + request.model + "\"; known are " + simulator::ModelChoices());
  }
  simulator::PrinterSettings settings;
  settings.model = model->row;
  for (const std::string& text : request.faults) {
    const auto parsed = simulator::ParseFault(text);
    if (const auto* error = std::get_if<simulator::FaultScriptError>(&parsed)) {
      throw UsageError("--fault: " + error->message);
    }
    settings.faults.push_back(std::get<simulator::Fault>(parsed));
  }
  const std::string trouble = simulator::CheckSettings(settings);
  if (!trouble.empty()) {
    throw UsageError("--fault: " + trouble);
  }
  return settings;
}

void RefuseVirtualOptions(const StatusRequest& request) {
  const char* option = !request.model.empty() ? "--model" : !request.faults.empty() ? "--fault" : nullptr;
  if (option != nullptr) {
    throw UsageError(std::string(option) + " works with the virtual printer only; leave it out");
  }
}

PrinterLine LineFor(const StatusRequest& request, const PortChoice& port) {
  const LineTimes times{request.timeoutSeconds * 1000, LineTimes().silenceMs};
  switch (port.kind) {
    case PortKind::kVirtual:
      break;
    case PortKind::kDevice:
      return LineToDevice(port.target, times);
    case PortKind::kLan:
      return LineToHost(
          FindLanTarget(port.target, request.configFile.empty() ? platform::SettingsFile::LoadDefault()
                                                                : platform::SettingsFile::Load(request.configFile))
              .hostName,
          times);
  }
  return LineToVirtualPrinter(VirtualPrinterFrom(request));
}

// The status comes first: its answer tells by its own length how long it is, while the firmware's may stay away.
void Ask(PrinterLine& line, StatusReport& report) {
  report.address = line.address;
  line.send(kAskState);
  const std::vector<std::uint8_t> answer = line.receive(kTwoRollAnswerBytes);
  report.state = DecodeState(answer);
  if (!report.state) {
    throw LineError(answer.empty()
                        ? "the printer doesn't answer; it may be busy with somebody's job, or no label printer at all"
                        : "the answer makes no sense: " + std::to_string(answer.size()) +
                              " bytes instead of 32 or 70; this may be no label printer, or another model");
  }
  line.send(kAskFirmware);
  report.firmware = DecodeFirmware(line.receive(kFirmwareBytes));
}

}  // namespace

void AddStatusCommand(CLI::App& program, StatusRequest& request) {
  CLI::App& command = *program.add_subcommand("status", "Ask a printer how it is");
  const auto add = [&command](const char* name, auto& value, const char* type, const char* description) {
    return command.add_option(name, value, Wrapped(description))->type_name(type);
  };
  add("--port", request.port, "PORT",
      "virtual; or usb:PATH of a printer's device file or socket; or lan:HOST, a printer on the network; or "
      "lan:PRINTER, one of the settings file")
      ->required();
  add("--config", request.configFile, "FILE",
      "Settings file (TOML) with printers [$SC3XXMON_CONFIG, else /etc/sc3xxmon/sc3xxmon.toml]");
  add("--timeout", request.timeoutSeconds, "SECONDS", "Wait so long for the connection and for each answer")
      ->capture_default_str()
      ->check(CLI::Range(1u, 600u).description(""));
  command.add_flag("--json", request.json, "As one JSON object");
  add("--model", request.model, "NAME_OR_ROW", "Which printer the virtual one is [5]")->group("Virtual printer");
  add("--fault", request.faults, "SPEC", "Something that is wrong with the virtual one (see `sc3xx print --help`)")
      ->allow_extra_args(false)
      ->group("Virtual printer");
  command.footer(kStatusFooter);
}

int RunStatus(const StatusRequest& request, Console& console) {
  StatusReport report;
  report.port = request.port;
  const PortChoice port = ParsePortChoice(request.port);
  if (port.kind != PortKind::kVirtual) {
    RefuseVirtualOptions(request);
  }
  try {
    PrinterLine line = LineFor(request, port);
    Ask(line, report);
  } catch (const LineError& error) {
    report.unreachable = error.what();
  }
  if (!report.unreachable.empty()) {
    console.err << "sc3xx status: " << report.unreachable << '\n';
  }
  if (request.json) {
    WriteJson(report, console.out);
  } else if (report.state) {
    WriteText(report, console.out);
  }
  const bool isGood = report.state && report.unreachable.empty() && report.state->readiness != PrinterReadiness::kError;
  return isGood ? kExitPrinted : kExitFailed;
}

}  // namespace sc3xx
