#include "simulation/scenario.h"

#include <algorithm>
#include <array>

#include "simulation/random.h"
#include "simulation/random_job.h"
#include "simulator/fault_script.h"

namespace sc3xxmon::simulation {
namespace {

using simulator::Fault;
using simulator::FaultKind;
using simulator::FaultTrigger;

constexpr std::array<const wchar_t*, 10> kDriverNames{L"Some other printer",           L"KOVA Scrivelo 310",
                                                      L"KOVA Scrivelo 310 Swift",      L"KOVA Scrivelo 3WD",
                                                      L"KOVA Scrivelo 310 Dual Swift", L"KOVA Scrivelo 310 Plus",
                                                      L"KOVA Scrivelo 310 Dual Plus",  L"KOVA Scrivelo 3WD Plus",
                                                      L"KOVA Ribbonet Office 410",     L"KOVA Ribbonet Office 430"};

constexpr std::uint32_t kMostLines = 80;

bool IsDualRoll(std::uint32_t row) {
  return row == 4 || row == 6;
}

bool IsTape(std::uint32_t row) {
  return row >= 8;
}

bool ClaimsToBeWell(const Fault& fault) {
  return fault.kind == FaultKind::kStatus && (fault.value <= 1 || fault.value == 4);
}

class ScenarioMaker {
 public:
  ScenarioMaker(std::uint64_t seed, ScenarioClass kind)
      : random_(seed * 2 + (kind == ScenarioClass::kLate ? 1 : 0)), late_(kind == ScenarioClass::kLate) {
    scenario_.seed = seed;
    scenario_.kind = kind;
  }

  Scenario Make() {
    MakeOptions();
    MakePrinter();
    MakeJobs();
    const std::uint32_t faults = random_.Chance(1, 6) ? 0 : random_.Between(1, 4);
    for (std::uint32_t i = 0; i < faults; ++i) {
      random_.Chance(1, 3) ? AddCallFault() : AddPrinterFault();
    }
    KeepStatusHonest();
    KeepAnswersWithTheirRequests();
    if (late_) {
      AddLateFault();
      scenario_.mostCalls = 3000;
    }
    scenario_.pauseMs = random_.OneOf({100u, 1000u, 5000u});
    return std::move(scenario_);
  }

 private:
  void MakeOptions();
  void MakePrinter();
  void MakeFirmware(std::uint32_t row);
  void MakeJobs();
  void AddPrinterFault();
  void AddCallFault();
  void AddLateFault();
  void KeepStatusHonest();
  void KeepAnswersWithTheirRequests();
  Fault DrawPrinterFault();
  void SetWhen(Fault& fault);
  void SetHowLong(Fault& fault);

  Random random_;
  bool late_;
  Scenario scenario_;
};

void ScenarioMaker::MakeOptions() {
  const auto maybe = [this](std::uint32_t part, const wchar_t* name, std::uint32_t number) {
    if (random_.Chance(1, part)) {
      scenario_.options.push_back({name, number});
    }
  };
  maybe(4, L"LabelCompressMode", random_.Between(0, 3));
  maybe(6, L"SendIPHs", 0);
  maybe(6, L"PrintEmptyLabel", 1);
  maybe(6, L"UnlockOnError", 1);
  maybe(2, L"PdChunkSize", random_.OneOf({0u, 1u, 2u, 3u, 5u, 10u, 50u}));
  maybe(8, L"LabelDispatchMode", 1);
  maybe(4, L"PortReadTimeout", random_.OneOf({5000u, 20000u, 60000u}));
  maybe(4, L"PortWriteTimeout", random_.OneOf({5000u, 20000u, 60000u}));
}

// Whether one model may stand behind the other's driver until its firmware has told the two apart: their answers are of
// one length, and labels go to them in one way.
bool MayStandIn(std::uint32_t row, std::uint32_t driverRow) {
  return IsDualRoll(row) == IsDualRoll(driverRow) && IsTape(row) == IsTape(driverRow);
}

void ScenarioMaker::MakePrinter() {
  const std::uint32_t row = random_.Between(1, 9);
  scenario_.printer.model = static_cast<int>(row);
  scenario_.driverRow = row;
  if (random_.Chance(1, 10)) {
    const std::uint32_t other = random_.Between(0, 9);
    scenario_.driverRow = MayStandIn(row, other) ? other : row;
  }
  scenario_.driverName = DriverNameOf(scenario_.driverRow);
  MakeFirmware(row);
  scenario_.printer.goodBay = static_cast<std::uint8_t>(random_.Between(6, 8));
  scenario_.printer.transcript = false;
  scenario_.printer.keepCommandBytes = false;
  if (random_.Chance(1, 10)) {
    scenario_.printer.statusForm =
        random_.Chance(1, 2) ? simulator::StatusForm::kPlain : simulator::StatusForm::kEscapeS;
  }
  // So fast that two labels of the greatest height print within half the shortest time-out.
  if (random_.Chance(1, 2)) {
    scenario_.printer.millimetresPerSecond = random_.Between(10, 200);
  }
  if (random_.Chance(1, 3)) {
    scenario_.printer.receiveBufferBytes = random_.OneOf({64u, 1000u, 4096u, 65536u});
  }
}

void ScenarioMaker::MakeFirmware(std::uint32_t row) {
  simulator::Firmware& firmware = scenario_.printer.firmware;
  firmware.type = random_.OneOf<const char*>({"FWAP", "FWAP", "FWBL", "XXXX"});
  firmware.number1 = static_cast<std::uint16_t>(random_.OneOf({0u, 1u, 2u, 9999u}));
  firmware.number2 = static_cast<std::uint16_t>(random_.OneOf({0u, 1u, 999u, 1000u, 1001u, 1042u}));
  if (scenario_.driverRow != row) {
    firmware.type = "FWAP";
    firmware.number1 = std::max<std::uint16_t>(firmware.number1, 1);
    firmware.number2 = std::max<std::uint16_t>(firmware.number2, 1);
  }
}

void ScenarioMaker::MakeJobs() {
  const auto row = static_cast<std::uint32_t>(scenario_.printer.model);
  const JobLimits limits{IsTape(row) || IsTape(scenario_.driverRow), kMostLines,
                         scenario_.OptionOr(L"PrintEmptyLabel", 0) != 0};
  const std::uint32_t count = random_.Chance(3, 4) ? 1 : random_.Between(2, 3);
  for (std::uint32_t i = 0; i < count; ++i) {
    JobPlan job = MakeJob(random_, 10 + i, static_cast<std::uint16_t>(1000 * i + 1), limits);
    // On tape a deletion may leave an answer in the port, for the next job to find.
    const bool mayDelete = late_ || !limits.tape || i + 1 == count;
    if (mayDelete && random_.Chance(1, 12)) {
      job.deleteAfterMs = random_.Between(0, 4000);
    }
    scenario_.jobs.push_back(std::move(job));
  }
}

void ScenarioMaker::SetWhen(Fault& fault) {
  switch (random_.Between(0, 3)) {
    case 0:
      fault.trigger = FaultTrigger::kTime;
      fault.at = random_.Between(0, 5000);
      return;
    case 1:
      fault.trigger = FaultTrigger::kLabel;
      fault.at = random_.Between(1, 8);
      return;
    case 2:
      fault.trigger = FaultTrigger::kCall;
      fault.at = random_.Between(1, 50);
      return;
    default:
      fault.trigger = FaultTrigger::kExchange;
      fault.at = random_.Between(1, 15);
  }
}

void ScenarioMaker::SetHowLong(Fault& fault) {
  fault.forMs = random_.Between(1, 20000);
  if (random_.Chance(1, 2)) {
    fault.count = random_.Between(1, 5);
  }
}

Fault ScenarioMaker::DrawPrinterFault() {
  Fault fault;
  SetWhen(fault);
  fault.kind = random_.OneOf({FaultKind::kBay, FaultKind::kBay, FaultKind::kHead, FaultKind::kCutter,
                              FaultKind::kBattery, FaultKind::kCommunication, FaultKind::kErrorBits, FaultKind::kStatus,
                              FaultKind::kStatus, FaultKind::kShortAnswer, FaultKind::kNoAnswer, FaultKind::kLateAnswer,
                              FaultKind::kLock, FaultKind::kCancel, FaultKind::kPowerOff});
  switch (fault.kind) {
    case FaultKind::kBay:
      fault.value = random_.OneOf({0u, 1u, 2u, 3u, 4u, 5u, 9u, 10u, 11u, 200u});
      break;
    case FaultKind::kHead:
      fault.value = random_.Between(1, 255);
      break;
    case FaultKind::kCutter:
      fault.value = 4;
      break;
    case FaultKind::kErrorBits:
      fault.value = 1u << random_.Between(0, 31);
      break;
    case FaultKind::kShortAnswer:
      fault.value = random_.Between(0, 31);
      return fault;
    case FaultKind::kNoAnswer:
    case FaultKind::kCancel:
      return fault;
    case FaultKind::kLateAnswer:
      fault.value = random_.Between(1, 4000);
      return fault;
    case FaultKind::kLock:
    case FaultKind::kPowerOff:
      fault.forMs = random_.Between(1, 20000);
      return fault;
    case FaultKind::kStatus:
      fault.value = random_.OneOf({1u, 2u, 4u, 5u, 6u, 7u, 128u, 255u});
      // A value that passes as ready but not as an acknowledgement would bring the labels back at once, for as long as
      // it stands.
      fault.count = random_.Between(1, 4);
      return fault;
    default:
      break;
  }
  SetHowLong(fault);
  return fault;
}

void ScenarioMaker::AddPrinterFault() {
  for (;;) {
    const Fault fault = DrawPrinterFault();
    if (simulator::CheckFault(scenario_.printer, fault).empty()) {
      scenario_.printer.faults.push_back(fault);
      return;
    }
  }
}

// A printer that says it is well while it can't print keeps its answer for later than anybody waits.
void ScenarioMaker::KeepStatusHonest() {
  auto& faults = scenario_.printer.faults;
  const bool claimsToBeWell = std::any_of(faults.begin(), faults.end(), ClaimsToBeWell);
  if (claimsToBeWell) {
    std::erase_if(faults, [](const Fault& fault) {
      return fault.kind <= FaultKind::kErrorBits || (fault.kind == FaultKind::kStatus && !ClaimsToBeWell(fault));
    });
  }
}

void ScenarioMaker::KeepAnswersWithTheirRequests() {
  // A printer that stops with its buffer full takes no byte for longer than a write waits, and that write stands behind a
  // request.
  const auto& faults = scenario_.printer.faults;
  if (std::any_of(faults.begin(), faults.end(), [](const Fault& fault) { return fault.kind <= FaultKind::kStatus; })) {
    scenario_.printer.receiveBufferBytes.reset();
  }
  // A label that is cut off behind the first of two rasters looks whole to the printer.
  const auto& calls = scenario_.callFaults;
  if (std::any_of(calls.begin(), calls.end(),
                  [](const CallFault& fault) { return fault.kind == CallFaultKind::kWriteTakesPart; })) {
    for (JobPlan& job : scenario_.jobs) {
      for (LabelPlan& label : job.labels) {
        label.firstRaster.reset();
      }
    }
  }
}

void ScenarioMaker::AddCallFault() {
  CallFault fault;
  fault.call = random_.Between(1, 60);
  fault.kind = random_.OneOf({CallFaultKind::kWriteFails, CallFaultKind::kWriteTakesPart, CallFaultKind::kReadLoses,
                              CallFaultKind::kShortRead, CallFaultKind::kBadStatus});
  fault.value = random_.Between(0, 200);
  if (fault.kind == CallFaultKind::kBadStatus) {
    fault.value = random_.OneOf({2u, 2u, 4u, 5u, 6u, 255u});
  }
  scenario_.callFaults.push_back(fault);
}

void ScenarioMaker::AddLateFault() {
  for (std::uint32_t count = random_.Between(1, 2); count > 0; --count) {
    if (random_.Chance(1, 3)) {
      Fault fault;
      fault.kind = FaultKind::kLateAnswer;
      fault.trigger = FaultTrigger::kExchange;
      fault.at = random_.Between(1, 15);
      fault.value = random_.Between(4000, 90000);
      scenario_.printer.faults.push_back(fault);
      continue;
    }
    CallFault fault;
    fault.call = random_.Between(1, 40);
    fault.kind = random_.OneOf({CallFaultKind::kReadFails, CallFaultKind::kReadFails, CallFaultKind::kReadLeavesPart,
                                CallFaultKind::kWriteFails, CallFaultKind::kWriteTakesPart});
    fault.value = random_.Chance(1, 3) ? 100000 : random_.Between(0, 200);
    fault.careful = false;
    scenario_.callFaults.push_back(fault);
  }
}

const char* KindName(CallFaultKind kind) {
  switch (kind) {
    case CallFaultKind::kWriteFails:
      return "write fails";
    case CallFaultKind::kWriteTakesPart:
      return "write takes part and fails";
    case CallFaultKind::kReadLoses:
      return "read fails, answer lost";
    case CallFaultKind::kShortRead:
      return "short read, rest lost";
    case CallFaultKind::kBadStatus:
      return "status replaced";
    case CallFaultKind::kReadFails:
      return "read fails, answer stays";
    case CallFaultKind::kReadLeavesPart:
      return "short read, rest stays";
  }
  return "?";
}

}  // namespace

std::uint32_t Scenario::OptionOr(const std::wstring& name, std::uint32_t otherwise) const {
  const auto found =
      std::find_if(options.begin(), options.end(), [&name](const Option& option) { return option.name == name; });
  return found == options.end() ? otherwise : found->number;
}

Scenario MakeScenario(std::uint64_t seed, ScenarioClass kind) {
  return ScenarioMaker(seed, kind).Make();
}

std::wstring DriverNameOf(std::uint32_t row) {
  return kDriverNames.at(row);
}

std::string ReplayCommand(const Scenario& scenario) {
  const char* kind = scenario.kind == ScenarioClass::kLate ? "late" : "orderly";
  return "simulation --class " + std::string(kind) + " --from " + std::to_string(scenario.seed) + " --seeds 1 --story";
}

std::string Describe(const Scenario& scenario) {
  std::string out = "printer of row " + std::to_string(scenario.printer.model) + ", driver of row " +
                    std::to_string(scenario.driverRow) + "\n";
  for (const Option& option : scenario.options) {
    out += "  option " + std::string(option.name.begin(), option.name.end()) + " = " + std::to_string(option.number) +
           "\n";
  }
  for (const JobPlan& job : scenario.jobs) {
    out += "  job " + std::to_string(job.id) + ": " + std::to_string(job.labels.size()) + " labels, " +
           std::to_string(job.Stream().size()) + " bytes" +
           (job.deleteAfterMs ? ", deleted after " + std::to_string(*job.deleteAfterMs) + " ms" : "") + "\n";
  }
  for (const Fault& fault : scenario.printer.faults) {
    out += "  fault " + simulator::FormatFault(fault) + "\n";
  }
  for (const CallFault& fault : scenario.callFaults) {
    out += "  from call " + std::to_string(fault.call) + ": " + KindName(fault.kind) + " (" +
           std::to_string(fault.value) + ")\n";
  }
  return out;
}

}  // namespace sc3xxmon::simulation
