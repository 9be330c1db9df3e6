#include "apps/sc3xx/virtual_printer_options.h"

#include <charconv>
#include <system_error>
#include <variant>

#include "apps/sc3xx/usage_error.h"
#include "simulator/fault_script.h"

namespace sc3xx {

const simulator::PrinterModel& ModelFrom(const std::string& text) {
  const simulator::PrinterModel* model = simulator::FindModel(text);
  if (model == nullptr) {
    throw UsageError("--model: there is no model \"" + text + "\"; known are " + simulator::ModelChoices());
  }
  return *model;
}

std::optional<double> SpeedFrom(const std::string& text, const simulator::PrinterModel& model) {
  if (text == "instant" || text == "infinite") {
    return std::nullopt;
  }
  if (text == "model") {
    return model.millimetresPerSecond;
  }
  double speed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), speed);
  if (error != std::errc() || end != text.data() + text.size() || !(speed > 0 && speed <= 10000)) {
    throw UsageError("--speed: \"" + text +
                     "\" is no speed; write \"instant\", \"model\" for the model's own, or "
                     "millimetres a second");
  }
  return speed;
}

simulator::Fault FaultFrom(const std::string& text) {
  const auto parsed = simulator::ParseFault(text);
  if (const auto* error = std::get_if<simulator::FaultScriptError>(&parsed)) {
    throw UsageError("--fault: " + error->message);
  }
  return std::get<simulator::Fault>(parsed);
}

}  // namespace sc3xx
