#include "apps/sc3xx/print_plan.h"

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <variant>

#include "apps/sc3xx/process.h"
#include "apps/sc3xx/setting_override.h"
#include "apps/sc3xx/usage_error.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"
#include "simulator/fault_script.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

constexpr std::string_view kUsbPrefix = "usb:";

const simulator::PrinterModel& ModelFrom(const std::string& text) {
  const simulator::PrinterModel* model = simulator::FindModel(text);
  if (model == nullptr) {
    throw UsageError("--model: there is no model \"" + text + "\"; known are " + simulator::ModelChoices());
  }
  return *model;
}

// Empty for the virtual printer.
std::string DevicePathFrom(const std::string& port) {
  if (port == "virtual") {
    return {};
  }
  if (!port.starts_with(kUsbPrefix) || port.size() == kUsbPrefix.size()) {
    throw UsageError("--port: \"" + port +
                     "\" is no port; write \"virtual\", or usb: and the path of a printer's "
                     "device file or socket, such as usb:/dev/usb/lp0");
  }
  return port.substr(kUsbPrefix.size());
}

std::optional<double> SpeedFrom(const std::string& text, const simulator::PrinterModel& model) {
  if (text == "instant") {
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

simulator::PrinterSettings PrinterFrom(const PrintRequest& request, const simulator::PrinterModel& model) {
  simulator::PrinterSettings printer;
  printer.model = model.row;
  printer.millimetresPerSecond = SpeedFrom(request.speed, model);
  printer.keepCommandBytes = false;
  printer.transcript = !request.outFolder.empty();
  for (const std::string& text : request.faults) {
    const auto parsed = simulator::ParseFault(text);
    if (const auto* error = std::get_if<simulator::FaultScriptError>(&parsed)) {
      throw UsageError("--fault: " + error->message);
    }
    printer.faults.push_back(std::get<simulator::Fault>(parsed));
  }
  const std::string trouble = simulator::CheckSettings(printer);
  if (!trouble.empty()) {
    throw UsageError("--fault: " + trouble);
  }
  return printer;
}

void RefuseForDevices(const PrintRequest& request) {
  const char* option = !request.faults.empty()      ? "--fault"
                       : !request.outFolder.empty() ? "--out"
                       : request.speed != "instant" ? "--speed"
                                                    : nullptr;
  if (option != nullptr) {
    throw UsageError(std::string(option) +
                     " works with the virtual printer only; leave it out, or print with "
                     "--port virtual");
  }
}

void ReadSettings(const PrintRequest& request, PrintPlan& plan) {
  plan.settings = request.configFile.empty() ? platform::SettingsFile::LoadDefault()
                                             : platform::SettingsFile::Load(request.configFile);
  std::vector<SettingOverride> overrides;
  for (const std::string& text : request.settings) {
    overrides.push_back(ParseSettingOverride(text));
  }
  ApplyOverrides(overrides, plan.settings);
  plan.remarks = RemarksOn(overrides, plan.settings);
}

// Documents for printers of one name exclude each other on the whole machine. That is right for a device; each virtual
// printer is its program's own, so its name tells programs that run together apart. There are only so many names, since
// each leaves a trace in the machine's shared memory.
std::string PrinterNameFrom(const PrintRequest& request) {
  constexpr std::uint32_t kVirtualPrinterNames = 256;
  if (!request.printerName.empty()) {
    return request.printerName;
  }
  return request.port == "virtual" ? "Virtual printer " + std::to_string(ProcessNumber() % kVirtualPrinterNames)
                                   : request.port;
}

}  // namespace

PrintPlan PlanPrint(const PrintRequest& request) {
  PrintPlan plan;
  plan.model = &ModelFrom(request.model);
  plan.devicePath = DevicePathFrom(request.port);
  if (plan.devicePath.empty()) {
    plan.virtualPrinter = PrinterFrom(request, *plan.model);
  } else {
    RefuseForDevices(request);
  }
  ReadSettings(request, plan);
  plan.printerName = platform::FromUtf8(PrinterNameFrom(request));
  plan.jobs = LoadPrintJobs(request.files, request.document,
                            plan.settings.Number(platform::kOptionsKey, L"PrintEmptyLabel", 0) != 0);
  return plan;
}

}  // namespace sc3xx
