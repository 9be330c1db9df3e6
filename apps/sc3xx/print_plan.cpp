#include "apps/sc3xx/print_plan.h"

#include <string_view>

#include "apps/sc3xx/log_output.h"
#include "apps/sc3xx/process.h"
#include "apps/sc3xx/setting_override.h"
#include "apps/sc3xx/usage_error.h"
#include "apps/sc3xx/virtual_printer_options.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

simulator::PrinterSettings PrinterFrom(const PrintRequest& request, const simulator::PrinterModel& model) {
  simulator::PrinterSettings printer;
  printer.model = model.row;
  printer.millimetresPerSecond = SpeedFrom(request.speed, model);
  printer.keepCommandBytes = false;
  printer.transcript = !request.outFolder.empty();
  for (const std::string& text : request.faults) {
    printer.faults.push_back(FaultFrom(text));
  }
  const std::string trouble = simulator::CheckSettings(printer);
  if (!trouble.empty()) {
    throw UsageError("--fault: " + trouble);
  }
  return printer;
}

// A printer that is not part of this program has its faults, its pace and its pictures to itself.
void RefuseForOtherPrinters(const PrintRequest& request, PortKind kind) {
  const char* option = !request.faults.empty()      ? "--fault"
                       : !request.outFolder.empty() ? "--out"
                       : request.speed != "instant" ? "--speed"
                                                    : nullptr;
  if (option == nullptr) {
    return;
  }
  std::string words =
      std::string(option) + " works with the virtual printer only; leave it out, or print with --port virtual";
  if (kind == PortKind::kLan) {
    words += std::string(". A virtual printer on the network is another program's: give ") + option +
             " to its `sc3xx simulate`";
  }
  throw UsageError(words);
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

// A log that was asked for here and now and can't be had stops the run; one that some settings file wants doesn't.
void PrepareLog(const PrintRequest& request, PrintPlan& plan) {
  std::error_code ignored;
  if (!request.logRoot.empty()) {
    plan.settings.SetText(L"", L"LogRoot",
                          platform::FromUtf8(std::filesystem::absolute(request.logRoot, ignored).string()));
  }
  if (!WritesLogFiles(plan.settings)) {
    if (!request.logRoot.empty()) {
      plan.remarks.push_back("--log-root has no effect while no log is written; add --set DebugLevel=2");
    }
    return;
  }
  const std::filesystem::path root = LogRootOf(plan.settings);
  const std::string trouble = PrepareLogRoot(root);
  if (trouble.empty()) {
    plan.logRoot = root.string();
  } else if (!request.logRoot.empty()) {
    throw UsageError("--log-root: " + trouble);
  } else {
    plan.remarks.push_back("no log is written: " + trouble);
  }
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

// Gives the spooler's name for it.
std::string FindPrinterOnNetwork(const PrintRequest& request, PrintPlan& plan) {
  LanTarget target = FindLanTarget(plan.port.target, plan.settings);
  if (!request.printerName.empty()) {
    target.printerName = request.printerName;
  }
  EnterLanTarget(target, plan.settings);
  plan.lanHost = target.hostName;
  return target.printerName;
}

}  // namespace

PrintPlan PlanPrint(const PrintRequest& request) {
  PrintPlan plan;
  plan.model = &ModelFrom(request.model);
  plan.port = ParsePortChoice(request.port);
  if (plan.port.kind == PortKind::kVirtual) {
    plan.virtualPrinter = PrinterFrom(request, *plan.model);
  } else {
    RefuseForOtherPrinters(request, plan.port.kind);
  }
  ReadSettings(request, plan);
  PrepareLog(request, plan);
  std::string printerName = PrinterNameFrom(request);
  if (plan.port.kind == PortKind::kLan) {
    printerName = FindPrinterOnNetwork(request, plan);
  }
  plan.printerName = platform::FromUtf8(printerName);
  plan.jobs = LoadPrintJobs(request.files, request.document,
                            plan.settings.Number(platform::kOptionsKey, L"PrintEmptyLabel", 0) != 0);
  return plan;
}

}  // namespace sc3xx
