#include <CLI/CLI.hpp>

#include "apps/kpl/input_file.h"
#include "apps/kpl/inspect.h"
#include "apps/sc3xx/document_commands.h"

namespace sc3xx {

void AddInspectCommand(CLI::App& program, InspectRequest& request) {
  CLI::App& command = *program.add_subcommand("inspect", "Say what stands in a KPL stream, and where it is broken");
  command.add_option("FILE", request.file, "A KPL stream; - is standard input")->type_name("")->required();
  command.add_flag("--json", request.json, "Report as one JSON object");
  command.add_flag("--summary", request.summary, "Header, labels, footer and problems only, not every command");
  command.add_option("--png", request.pictureFolder, "Write a picture of each label there")->type_name("DIR");
  command.footer(
      "Examples:\n"
      "  sc3xx inspect job.kpl\n"
      "  sc3xx inspect job.kpl --summary --png labels\n"
      "Exit codes: 0 the stream is sound, 1 it is broken or can't be read, 2 wrong use.\n");
}

int RunInspect(const InspectRequest& request, Console& console) {
  const InputFile file = ReadInputFile(request.file);
  RequireKpl(file);
  const InspectReport report = InspectStream(file.bytes, file.name);
  console.out << (request.json ? ReportAsJson(report, file.bytes) : ReportAsText(report, file.bytes, !request.summary));
  if (!request.pictureFolder.empty()) {
    const WrittenPictures written = WriteLabelPictures(report, file.bytes, request.pictureFolder);
    for (const std::string& reason : written.skipped) {
      console.err << "sc3xx inspect: " << reason << '\n';
    }
    if (!request.json) {
      console.out << written.files.size() << (written.files.size() == 1 ? " picture" : " pictures") << " written to "
                  << request.pictureFolder << '\n';
    }
  }
  return report.IsSound() ? kExitPrinted : kExitFailed;
}

}  // namespace sc3xx
