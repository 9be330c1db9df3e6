#include "apps/sc3xx/models_command.h"

#include <CLI/CLI.hpp>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <string_view>

#include "simulator/models.h"

namespace sc3xx {
namespace {

std::string_view MediaOf(const simulator::PrinterModel& model) {
  return model.tape ? "tape" : model.rolls == 2 ? "two rolls" : "one roll";
}

void WriteTable(std::ostream& out) {
  out << std::left << "Row  " << std::setw(32) << "Name" << std::setw(9) << "Short" << std::setw(11) << "Media"
      << "Speed\n";
  for (const simulator::PrinterModel& model : simulator::Models()) {
    out << std::left << std::setw(5) << model.row << std::setw(32) << model.name << std::setw(9) << model.shortName
        << std::setw(11) << MediaOf(model) << model.millimetresPerSecond << " mm/s\n";
  }
}

void WriteJson(std::ostream& out) {
  nlohmann::ordered_json models = nlohmann::ordered_json::array();
  for (const simulator::PrinterModel& model : simulator::Models()) {
    models.push_back({{"row", model.row},
                      {"name", model.name},
                      {"shortName", model.shortName},
                      {"tape", model.tape},
                      {"rolls", model.rolls},
                      {"millimetresPerSecond", model.millimetresPerSecond}});
  }
  out << models.dump(2) << '\n';
}

}  // namespace

void AddModelsCommand(CLI::App& program, ModelsRequest& request) {
  CLI::App& command = *program.add_subcommand("models", "List the printers");
  command.add_flag("--json", request.json, "As one JSON list");
  command.footer(
      "Example:\n"
      "  sc3xx models\n"
      "A row, name or short name of the list is what --model of `sc3xx print` takes.\n");
}

int RunModels(const ModelsRequest& request, Console& console) {
  if (request.json) {
    WriteJson(console.out);
  } else {
    WriteTable(console.out);
  }
  return kExitPrinted;
}

}  // namespace sc3xx
