#include "apps/sc3xx/status_report.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace sc3xx {
namespace {

using Json = nlohmann::ordered_json;

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) {
    joined += joined.empty() ? word : ", " + word;
  }
  return joined;
}

std::string Hexadecimal(std::uint32_t number, int digits) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%0*X", digits, static_cast<unsigned>(number));
  return text;
}

std::string Headline(const StatusReport& report) {
  if (!report.state) {
    return "can't be asked";
  }
  switch (report.state->readiness) {
    case PrinterReadiness::kReady:
      return "ready";
    case PrinterReadiness::kInUse:
      return "good, and in use: another computer or program has the printer (it doesn't tell which)";
    case PrinterReadiness::kError:
      break;
  }
  return "ERROR: " + Joined(report.state->troubles);
}

std::string ModelWords(const FirmwareState& firmware) {
  return firmware.model == nullptr
             ? "unknown (hardware " + Hexadecimal(firmware.hardwareId, 4) + ")"
             : std::string(firmware.model->name) + " (row " + std::to_string(firmware.model->row) + ")";
}

void WriteRecord(const PrinterState& state, std::ostream& stream) {
  stream << "  media:    " << state.media << " (" << int{state.bay} << ")\n";
  if (state.isEscapeS) {
    stream << "  cutter:   " << (state.cutter == 4 ? "jam" : "good") << " (" << int{state.cutter} << ")\n";
  } else {
    stream << "  head:     " << (state.head == 0 ? "good" : "too hot") << " (" << int{state.head} << ")\n";
  }
  stream << "  status:   " << int{state.status};
  if (state.err != 0) {
    stream << ", error bits " << Hexadecimal(state.err, 8);
  }
  stream << '\n';
}

Json RecordOf(const PrinterState& state) {
  Json record = {{"form", state.isEscapeS ? "ESC S" : "plain"}, {"status", state.status}, {"bay", state.bay}};
  if (state.isEscapeS) {
    record["cutter"] = state.cutter;
  } else {
    record["head"] = state.head;
  }
  record["errorBits"] = state.err;
  return record;
}

Json FirmwareOf(const FirmwareState& firmware) {
  return {{"name", firmware.name},
          {"type", firmware.type},
          {"version", firmware.version},
          {"hardwareId", firmware.hardwareId}};
}

}  // namespace

std::string_view Name(const StatusReport& report) {
  if (!report.state) {
    return "unreachable";
  }
  switch (report.state->readiness) {
    case PrinterReadiness::kReady:
      return "ready";
    case PrinterReadiness::kInUse:
      return "in use";
    case PrinterReadiness::kError:
      break;
  }
  return "error";
}

void WriteText(const StatusReport& report, std::ostream& stream) {
  stream << report.port;
  if (!report.address.empty() && !report.port.ends_with(":" + report.address)) {
    stream << " (" << report.address << ")";
  }
  stream << ": " << Headline(report) << '\n';
  if (report.firmware) {
    stream << "  model:    " << ModelWords(*report.firmware) << "\n  firmware: " << report.firmware->name << " "
           << report.firmware->version << ", " << report.firmware->type << '\n';
  } else if (report.state) {
    stream << "  model:    unknown; the printer didn't tell\n";
  }
  if (report.state) {
    WriteRecord(*report.state, stream);
  }
}

void WriteJson(const StatusReport& report, std::ostream& stream) {
  Json object = {{"state", Name(report)}, {"port", report.port}, {"address", report.address}};
  object["reason"] = report.unreachable;
  object["errors"] = report.state ? Json(report.state->troubles) : Json::array();
  object["model"] = nullptr;
  if (report.firmware && report.firmware->model != nullptr) {
    const simulator::PrinterModel& model = *report.firmware->model;
    object["model"] = {{"row", model.row}, {"name", model.name}, {"shortName", model.shortName}};
  }
  object["firmware"] = report.firmware ? FirmwareOf(*report.firmware) : Json();
  object["record"] = report.state ? RecordOf(*report.state) : Json();
  stream << object.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace sc3xx
