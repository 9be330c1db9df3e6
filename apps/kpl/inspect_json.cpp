// The report for programs. Absent parts are null, so that every key is always there.
#include <nlohmann/json.hpp>

#include "apps/kpl/inspect.h"
#include "apps/kpl/inspect_words.h"
#include "apps/kpl/kpl_commands.h"

namespace sc3xx {
namespace {

using Json = nlohmann::ordered_json;

Json AsJson(const std::optional<InspectedSpan>& span) {
  return span ? Json{{"offset", span->offset}, {"length", span->length}} : Json(nullptr);
}

Json AsJson(const InspectedRaster& raster) {
  return {{"offset", raster.offset},          {"dataOffset", raster.dataOffset},   {"dataLength", raster.dataLength},
          {"compressed", raster.compressed},  {"bitsPerDot", raster.bitsPerDot},   {"rasterFlags", raster.rasterFlags},
          {"lineCount", raster.lineCount},    {"dotsPerLine", raster.dotsPerLine}, {"lineBytes", raster.lineBytes},
          {"rasterBytes", raster.rasterBytes}};
}

Json AsJson(const InspectedLabel& label) {
  Json rasters = Json::array();
  for (const InspectedRaster& raster : label.rasters) {
    rasters.push_back(AsJson(raster));
  }
  return {{"number", label.number},
          {"index", label.index},
          {"offset", label.offset},
          {"length", label.length},
          {"betweenLabelsBytes", label.betweenLabelsBytes},
          {"end", CommandName(label.endLetter)},
          {"discarded", label.discarded},
          {"rasters", std::move(rasters)}};
}

Json AsJson(const InspectedCommand& command, std::span<const std::uint8_t> stream) {
  return {{"offset", command.offset},
          {"length", command.length},
          {"name", CommandName(command.letter)},
          {"meaning", CommandMeaning(command.letter)},
          {"operands", OperandsOf(command, stream)},
          {"section", SectionName(command.section)},
          {"label", command.label == 0 ? Json(nullptr) : Json(command.label)}};
}

Json AsJson(const InspectedProblem& problem) {
  return {{"severity", SeverityName(problem.severity)},
          {"offset", problem.offset},
          {"what", problem.what},
          {"consequence", problem.consequence}};
}

Json HeaderAsJson(const InspectReport& report) {
  Json header = AsJson(report.header);
  if (report.header) {
    header["jobId"] = report.jobId;
    header["openLength"] = report.openLength;
  }
  return header;
}

}  // namespace

std::string ReportAsJson(const InspectReport& report, std::span<const std::uint8_t> stream) {
  Json labels = Json::array();
  for (const InspectedLabel& label : report.labels) {
    labels.push_back(AsJson(label));
  }
  Json commands = Json::array();
  for (const InspectedCommand& command : report.commands) {
    commands.push_back(AsJson(command, stream));
  }
  Json problems = Json::array();
  for (const InspectedProblem& problem : report.problems) {
    problems.push_back(AsJson(problem));
  }
  const Json whole = {{"name", report.name},
                      {"size", report.size},
                      {"sound", report.IsSound()},
                      {"labelsToPrint", report.LabelsToPrint()},
                      {"header", HeaderAsJson(report)},
                      {"labels", std::move(labels)},
                      {"footer", AsJson(report.footer)},
                      {"lost", AsJson(report.lost)},
                      {"commandCount", report.commandCount},
                      {"commands", std::move(commands)},
                      {"problems", std::move(problems)}};
  // A file's name may be any bytes; those that are no UTF-8 must not keep the report from being written.
  return whole.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace sc3xx
