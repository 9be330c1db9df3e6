#include "apps/sc3xx/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

#include "apps/kpl/input_error.h"
#include "apps/sc3xx/document_commands.h"
#include "apps/sc3xx/log_command.h"
#include "apps/sc3xx/models_command.h"
#include "apps/sc3xx/print_command.h"
#include "apps/sc3xx/simulate_command.h"
#include "apps/sc3xx/status_command.h"
#include "apps/sc3xx/usage_error.h"
#include "apps/spooler/document_runner.h"
#include "platform/posix/settings_file.h"
#include "platform/posix/settings_names.h"

namespace sc3xx {
namespace {

constexpr std::array<std::string_view, 7> kCommands = {"print",  "status",   "inspect", "encode",
                                                       "models", "simulate", "log"};

// All commands with the places that their options land in.
struct Program {
  Program() {
    app.set_version_flag("--version", "sc3xx " SC3XX_VERSION);
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) { return std::string(error.what()); });
    AddPrintCommand(app, print);
    AddStatusCommand(app, status);
    AddInspectCommand(app, inspect);
    AddEncodeCommand(app, encode);
    AddModelsCommand(app, models);
    AddSimulateCommand(app, simulate);
    AddLogCommand(app, log);
    app.footer(
        "Example:\n"
        "  sc3xx print label.png --out out\n"
        "Each command has its own --help.\n");
  }

  CLI::App app{"sc3xx - prints labels through the SC3xx print language monitor", "sc3xx"};
  PrintRequest print;
  StatusRequest status;
  InspectRequest inspect;
  EncodeRequest encode;
  ModelsRequest models;
  SimulateRequest simulate;
  LogRequest log;
};

std::string CommandOf(const CLI::App& app) {
  const std::vector<const CLI::App*> given =
      app.get_subcommands([](const CLI::App* command) { return command->parsed(); });
  return given.empty() ? "" : given.front()->get_name();
}

// The parser's own words for a misspelt command tell only that something is missing.
void RefuseUnknownCommand(const std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments.front().starts_with("-") ||
      std::find(kCommands.begin(), kCommands.end(), arguments.front()) != kCommands.end()) {
    return;
  }
  const std::string_view guess = sc3xxmon::platform::ClosestName(arguments.front(), kCommands);
  throw UsageError("there is no command \"" + arguments.front() + "\"" +
                   (guess.empty() ? "." : "; did you mean " + std::string(guess) + "?") + " The commands are " +
                   sc3xxmon::platform::JoinNames(kCommands));
}

int TellWrongUse(const std::string& words, const std::string& command, Console& console) {
  const std::string program = command.empty() ? "sc3xx" : "sc3xx " + command;
  console.err << program << ": " << words << "\nRun `" << program << " --help` for how to use it.\n";
  return kExitUsage;
}

int RunCommand(Program& program, const std::string& command, Console& console, const MonitorDoor& door) {
  if (command == "print") {
    return RunPrint(program.print, console, door);
  }
  if (command == "status") {
    return RunStatus(program.status, console);
  }
  if (command == "inspect") {
    return RunInspect(program.inspect, console);
  }
  if (command == "encode") {
    return RunEncode(program.encode, console);
  }
  if (command == "simulate") {
    return RunSimulate(program.simulate, console);
  }
  if (command == "log") {
    return RunLog(program.log, console);
  }
  return RunModels(program.models, console);
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& arguments, Console& console, const MonitorDoor& door) {
  Program program;
  std::string command;
  try {
    RefuseUnknownCommand(arguments);
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());  // as the parser wants them
    program.app.parse(reversed);
    command = CommandOf(program.app);
    return RunCommand(program, command, console, door);
  } catch (const CLI::Success& asked) {  // help or version
    program.app.exit(asked, console.out, console.err);
    return kExitPrinted;
  } catch (const CLI::ParseError& error) {
    return TellWrongUse(error.what(), CommandOf(program.app), console);
  } catch (const UsageError& error) {
    return TellWrongUse(error.what(), command, console);
  } catch (const sc3xxmon::platform::SettingsFileError& error) {
    console.err << "sc3xx " << command << ": " << error.what() << '\n';
    return kExitUsage;
  } catch (const std::exception& error) {
    console.err << "sc3xx " << command << ": " << error.what() << '\n';
    return kExitFailed;
  }
}

}  // namespace sc3xx
