// The report for people.
#include <algorithm>
#include <sstream>

#include "apps/kpl/inspect.h"
#include "apps/kpl/inspect_words.h"
#include "apps/kpl/kpl_commands.h"

namespace sc3xx {
namespace {

std::string Padded(std::string text, std::size_t width, bool toTheRight) {
  const std::size_t missing = width - std::min(width, text.size());
  text.insert(toTheRight ? 0 : text.size(), missing, ' ');
  return text;
}

std::string AtByte(std::uint64_t offset) {
  return "at byte " + std::to_string(offset);
}

std::string RasterLine(const InspectedLabel& label) {
  if (label.rasters.empty()) {
    return "no raster";
  }
  const InspectedRaster& raster = label.rasters.back();
  std::string text = Counted(raster.dotsPerLine, "dot") + " x " + Counted(raster.lineCount, "line");
  if (raster.bitsPerDot != 1) {
    text += ", " + Counted(raster.bitsPerDot, "bit") + " a dot";
  }
  if (raster.compressed) {
    text += ", compressed from " + std::to_string(raster.rasterBytes) + " to " + Counted(raster.dataLength, "byte");
  }
  if (label.rasters.size() > 1) {
    text += " (the last of " + std::to_string(label.rasters.size()) + " rasters)";
  }
  return text;
}

void WriteLabel(std::ostream& out, const InspectedLabel& label) {
  out << "Label " << label.number << ": index " << label.index << ", " << RasterLine(label) << "; "
      << Counted(label.length, "byte") << ' ' << AtByte(label.offset);
  if (label.betweenLabelsBytes != 0) {
    out << ", the first " << label.betweenLabelsBytes << " between labels";
  }
  out << ", ends with " << CommandName(label.endLetter);
  if (label.endLetter != 'G' && label.endLetter != 'p') {
    out << " behind it";
  }
  out << (label.discarded ? "; discarded as empty\n" : "\n");
}

void WriteSummary(std::ostream& out, const InspectReport& report) {
  out << report.name << ": " << Counted(report.size, "byte") << ", " << Counted(report.commandCount, "command") << ", "
      << Counted(report.LabelsToPrint(), "label") << " to print\n";
  if (report.header) {
    out << "Header: " << Counted(report.header->length, "byte") << ", job id " << report.jobId
        << (report.openLength ? ", open length\n" : "\n");
  } else {
    out << "Header: none\n";
  }
  for (const InspectedLabel& label : report.labels) {
    WriteLabel(out, label);
  }
  if (report.footer) {
    out << "Footer: " << Counted(report.footer->length, "byte") << ' ' << AtByte(report.footer->offset) << '\n';
  } else {
    out << "Footer: none\n";
  }
  if (report.lost) {
    out << "Lost: " << Counted(report.lost->length, "byte") << ' ' << AtByte(report.lost->offset) << '\n';
  }
}

std::string Place(const InspectedCommand& command) {
  switch (command.section) {
    case JobSection::kLabel:
      return "label " + std::to_string(command.label);
    case JobSection::kBetweenLabels:
      return "before " + std::to_string(command.label);
    case JobSection::kHeader:
    case JobSection::kFooter:
    case JobSection::kLost:
      break;
  }
  return SectionName(command.section);
}

void WriteCommands(std::ostream& out, const InspectReport& report, std::span<const std::uint8_t> stream) {
  out << "Commands:\n"
      << "      offset    length  part         command\n";
  for (const InspectedCommand& command : report.commands) {
    const std::string operands = OperandsOf(command, stream);
    out << Padded(std::to_string(command.offset), 12, true) << Padded(std::to_string(command.length), 10, true) << "  "
        << Padded(Place(command), 13, false) << CommandName(command.letter) << "  " << CommandMeaning(command.letter)
        << (operands.empty() ? "" : ": ") << operands << '\n';
  }
  if (report.commandCount > report.commands.size()) {
    out << "  ... and " << Counted(report.commandCount - report.commands.size(), "command") << " more\n";
  }
}

void WriteProblems(std::ostream& out, const InspectReport& report) {
  for (const InspectedProblem& problem : report.problems) {
    out << SeverityName(problem.severity) << ' ' << AtByte(problem.offset) << ": " << problem.what << "\n    "
        << problem.consequence << '\n';
  }
  out << (report.IsSound() ? "The job is sound.\n" : "The job is broken.\n");
}

}  // namespace

std::string SectionName(JobSection section) {
  switch (section) {
    case JobSection::kHeader:
      return "header";
    case JobSection::kBetweenLabels:
      return "between labels";
    case JobSection::kLabel:
      return "label";
    case JobSection::kFooter:
      return "footer";
    case JobSection::kLost:
      break;
  }
  return "lost";
}

std::string SeverityName(InspectedProblem::Severity severity) {
  switch (severity) {
    case InspectedProblem::Severity::kNote:
      return "note";
    case InspectedProblem::Severity::kWarning:
      return "warning";
    case InspectedProblem::Severity::kError:
      break;
  }
  return "error";
}

std::string OperandsOf(const InspectedCommand& command, std::span<const std::uint8_t> stream) {
  return OperandsInWords(
      stream.subspan(static_cast<std::size_t>(command.offset), static_cast<std::size_t>(command.length)));
}

std::string ReportAsText(const InspectReport& report, std::span<const std::uint8_t> stream, bool withCommands) {
  std::ostringstream out;
  WriteSummary(out, report);
  if (withCommands) {
    WriteCommands(out, report, stream);
  }
  WriteProblems(out, report);
  return out.str();
}

}  // namespace sc3xx
