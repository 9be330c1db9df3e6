#include "apps/sc3xx/print_command.h"

#include <CLI/CLI.hpp>

#include "apps/sc3xx/help_text.h"
#include "apps/sc3xx/print_run.h"
#include "apps/sc3xx/setting_override.h"
#include "simulator/fault_script.h"

namespace sc3xx {
namespace {

constexpr const char* kPrintFooter =
    "Examples:\n"
    "  sc3xx print label.png --out out\n"
    "      prints a picture on the virtual printer; what came out is out/label-001.png\n"
    "  sc3xx print job.kpl --port usb:/dev/usb/lp0 --model SC310\n"
    "  sc3xx print job.kpl --port lan:192.168.1.20 --model SC310DS\n"
    "  sc3xx print label.png --fault bay=2@label:1,for:5s\n"
    "      the roll runs out before the first label, and somebody mends it after 5 seconds\n"
    "  sc3xx print label.png --set DebugLevel=2 --set TraceDetail=28\n"
    "      leaves a log, a copy of the bytes on the port, and a bitmap of each label (see `sc3xx log --help`)\n"
    "Exit codes: 0 printed, 1 failed, 2 wrong use, 3 deleted with Ctrl-C or cancelled at the printer,\n"
    "  130 left at once by a second Ctrl-C.\n";

}  // namespace

void AddPrintCommand(CLI::App& program, PrintRequest& request) {
  CLI::App& command = *program.add_subcommand("print", "Print pictures and KPL streams");
  const auto add = [&command](const char* name, auto& value, const char* type, const char* description) {
    return command.add_option(name, value, Wrapped(description))->type_name(type);
  };
  const char* const virtualPrinter = "Virtual printer";
  add("FILE", request.files, "",
      "KPL streams and PNG or PBM pictures; - is standard input. Pictures that follow one another become the labels "
      "of one job.")
      ->required();
  add("--port", request.port, "PORT",
      "virtual; or usb:PATH of a printer's device file or socket; or lan:HOST, a printer on the network by name or "
      "address (TCP port 9100); or lan:PRINTER, one of the settings file")
      ->capture_default_str();
  add("--model", request.model, "NAME_OR_ROW", "The printer: row, name or short name (see `sc3xx models`)")
      ->capture_default_str();
  add("--set", request.settings, "NAME=VALUE", "An option or debug setting of the monitor (below), for this run")
      ->allow_extra_args(false);
  add("--log-root", request.logRoot, "DIR",
      "Folder that the monitor's log and dumps lie below, in Logs/KOVA, while DebugLevel is 2 [LogRoot of the settings "
      "file, else $XDG_STATE_HOME/sc3xxmon, ~/.local/state/sc3xxmon, for root /var/log/sc3xxmon]");
  add("--config", request.configFile, "FILE",
      "Settings file (TOML) [$SC3XXMON_CONFIG, else /etc/sc3xxmon/sc3xxmon.toml]");
  add("--buffer", request.bufferBytes, "BYTES", "Bytes handed to the monitor in one call")
      ->capture_default_str()
      ->check(CLI::Range(1u, 1u << 30).description(""));
  add("--patience", request.patienceSeconds, "SECONDS", "Give up when the printer has refused data for so long")
      ->capture_default_str()
      ->check(CLI::Range(1u, 1'000'000u).description(""));
  add("--printer-name", request.printerName, "NAME",
      "What the spooler calls the printer; documents for printers of one name never print at once [made from the "
      "port]");
  command.add_flag("--json", request.json,
                   Wrapped("Report as one JSON object on standard output; progress goes to standard error"));
  add("--fault", request.faults, "SPEC", "Something that goes wrong at the virtual printer (below)")
      ->allow_extra_args(false)
      ->group(virtualPrinter);
  add("--out", request.outFolder, "DIR",
      "Write a PNG of each printed label (label-001.png ...; those of an earlier run go) and the transcript there")
      ->group(virtualPrinter);
  add("--speed", request.speed, "SPEED", "instant, model (the model's own), or millimetres a second")
      ->capture_default_str()
      ->group(virtualPrinter);
  AddDocumentOptions(command, request.document);
  command.footer(
      [] { return Wrapped(SettingNamesHelp(), 98) + "\n\n" + simulator::FaultScriptHelp() + "\n" + kPrintFooter; });
}

int RunPrint(const PrintRequest& request, Console& console, const MonitorDoor& door) {
  const PrintPlan plan = PlanPrint(request);
  return PrintRun(request, plan, console, door).Run();
}

}  // namespace sc3xx
