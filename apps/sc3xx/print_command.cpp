#include "apps/sc3xx/print_command.h"

#include <CLI/CLI.hpp>

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
    "  sc3xx print label.png --fault bay=2@label:1,for:5s\n"
    "      the roll runs out before the first label, and somebody mends it after 5 seconds\n"
    "Exit codes: 0 printed, 1 failed, 2 wrong use, 3 deleted with Ctrl-C or cancelled at the printer,\n"
    "  130 left at once by a second Ctrl-C.\n";

}  // namespace

void AddPrintCommand(CLI::App& program, PrintRequest& request) {
  CLI::App& command = *program.add_subcommand("print", "Print pictures and KPL streams");
  command
      .add_option("FILE", request.files,
                  "KPL streams and PNG or PBM pictures; - is standard input. Pictures that "
                  "follow one another become the labels of one job.")
      ->required();
  command.add_option("--port", request.port, "virtual, or usb:PATH of a device file or socket")
      ->type_name("PORT")
      ->capture_default_str();
  command.add_option("--model", request.model, "The printer: row, name or short name (see `sc3xx models`)")
      ->type_name("NAME_OR_ROW")
      ->capture_default_str();
  command.add_option("--set", request.settings, "An option or debug setting of the monitor, for this run")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  command
      .add_option("--config", request.configFile,
                  "Settings file (TOML) [$SC3XXMON_CONFIG, else "
                  "/etc/sc3xxmon/sc3xxmon.toml]")
      ->type_name("FILE");
  command.add_option("--buffer", request.bufferBytes, "Bytes handed to the monitor in one call")
      ->check(CLI::Range(1u, 1u << 30))
      ->type_name("BYTES")
      ->capture_default_str();
  command.add_option("--patience", request.patienceSeconds, "Give up when the printer has refused data for so long")
      ->check(CLI::Range(1u, 1'000'000u))
      ->type_name("SECONDS")
      ->capture_default_str();
  command
      .add_option("--printer-name", request.printerName,
                  "What the spooler calls the printer; two documents of the "
                  "same name never print at once [made from the port]")
      ->type_name("NAME");
  command.add_flag("--json", request.json,
                   "Report as one JSON object on standard output; progress goes to standard "
                   "error");
  command.add_option("--fault", request.faults, "Something that goes wrong at the virtual printer (below)")
      ->type_name("SPEC")
      ->allow_extra_args(false)
      ->group("Virtual printer");
  command.add_option("--out", request.outFolder, "Write a PNG of each printed label and the transcript there")
      ->type_name("DIR")
      ->group("Virtual printer");
  command.add_option("--speed", request.speed, "instant, model (the model's own), or millimetres a second")
      ->type_name("SPEED")
      ->capture_default_str()
      ->group("Virtual printer");
  AddDocumentOptions(command, request.document);
  command.footer([] { return SettingNamesHelp() + "\n\n" + simulator::FaultScriptHelp() + "\n" + kPrintFooter; });
}

int RunPrint(const PrintRequest& request, Console& console, const MonitorDoor& door) {
  const PrintPlan plan = PlanPrint(request);
  return PrintRun(request, plan, console, door).Run();
}

}  // namespace sc3xx
