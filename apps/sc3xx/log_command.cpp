#include "apps/sc3xx/log_command.h"

#include <CLI/CLI.hpp>

#include "apps/kpl/input_error.h"
#include "apps/kpl/input_file.h"
#include "apps/log/log_report.h"

namespace sc3xx {

void AddLogCommand(CLI::App& program, LogRequest& request) {
  CLI::App& command = *program.add_subcommand("log", "Say what the monitor's log tells, job by job");
  command.add_option("FILE", request.file, "A log file of debug level 2; - is standard input")
      ->type_name("")
      ->required();
  command.add_flag("--json", request.json, "Report as one JSON object");
  command.footer(
      "Example:\n"
      "  sc3xx log ~/.local/state/sc3xxmon/Logs/KOVA/2025-03-02_08-15-40_4312_libsc3xxmon.so.log\n"
      "Exit codes: 0 told, 1 the file can't be read or isn't a log, 2 wrong use.\n");
}

int RunLog(const LogRequest& request, Console& console) {
  const InputFile file = ReadInputFile(request.file);
  const void* const bytes = file.bytes.data();
  const LogRecords log = ParseLog({static_cast<const char*>(bytes), file.bytes.size()});
  if (log.records.empty() && log.otherLines > 0) {
    throw InputError(file.name + ": this is " + DescribeContent(file.bytes) +
                     ", not a log of the monitor; its lines begin with [HH:MM:SS.mmm] and a thread");
  }
  const LogStory story = TellLog(log);
  console.out << (request.json ? StoryAsJson(story, file.name) : StoryAsText(story, file.name, console.liveOut));
  return kExitPrinted;
}

}  // namespace sc3xx
