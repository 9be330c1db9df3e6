// One fault in one port call, at every call in turn: a job of three labels on each model, in both forms of its status,
// printed at once and at the printer's pace. Nothing gets lost, nothing hangs, and every run is the protocol's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>

#include "simulation/random.h"
#include "simulation/real_monitor.h"
#include "simulation/run.h"
#include "simulator/printer_settings.h"

namespace sc3xxmon::simulation {
namespace {

using ::testing::IsEmpty;

// A fault costs a time-out or two, a look again and the labels in flight: this many calls and no more.
constexpr std::uint64_t kMostFurtherCalls = 16;
constexpr std::uint64_t kMostMs = 120'000;

struct Case {
  std::uint32_t row;
  simulator::StatusForm form;
  bool paced;
  std::uint32_t chunkLines;  // of the tape models; 0 elsewhere
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << "row " << one.row;
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  for (std::uint32_t row = 1; row <= 9; ++row) {
    for (const auto form : {simulator::StatusForm::kPlain, simulator::StatusForm::kEscapeS}) {
      for (const bool paced : {false, true}) {
        for (const std::uint32_t chunkLines :
             row >= 8 ? std::vector<std::uint32_t>{0, 5, 200} : std::vector<std::uint32_t>{200}) {
          cases.push_back({row, form, paced, chunkLines});
        }
      }
    }
  }
  return cases;
}

std::string NameOf(const ::testing::TestParamInfo<Case>& info) {
  const Case& one = info.param;
  return "Row" + std::to_string(one.row) + (one.form == simulator::StatusForm::kPlain ? "Plain" : "EscS") +
         (one.paced ? "Paced" : "AtOnce") + (one.row >= 8 ? "Chunks" + std::to_string(one.chunkLines) : "");
}

class SingleFault : public ::testing::TestWithParam<Case> {
 protected:
  static void SetUpTestSuite() {
    const char* shard = std::getenv("GTEST_SHARD_INDEX");
    NamePrinterAfter(std::string("single faults ") + (shard != nullptr ? shard : "all"));
  }

  static Scenario ThreeLabels() {
    const Case& one = GetParam();
    Scenario scenario;
    scenario.driverRow = one.row;
    scenario.driverName = DriverNameOf(one.row);
    scenario.options = {{L"PdChunkSize", one.chunkLines}};
    scenario.printer.model = static_cast<int>(one.row);
    scenario.printer.statusForm = one.form;
    if (one.paced) {
      scenario.printer.UseModelSpeed();
    }
    scenario.mostCalls = 500;
    scenario.mostMs = kMostMs;

    JobPlan job;
    job.id = 7;
    job.header = test::JobStart();
    for (std::uint16_t index = 1; index <= 3; ++index) {
      job.labels.push_back(PlainLabel(index));
    }
    job.footer = test::EndOfJob();
    job.pieces = {static_cast<std::uint32_t>(job.Stream().size())};
    scenario.jobs = {job};
    return scenario;
  }

  static LabelPlan PlainLabel(std::uint16_t index) {
    LabelPlan label;
    label.index = index;
    label.front = test::LabelIndex(index);
    RasterPlan raster;
    raster.lines = 12;
    raster.dotsPerLine = 256;
    Random random(index);
    for (std::size_t left = std::size_t{raster.LineBytes()} * raster.lines; left > 0; --left) {
      raster.dots.push_back(static_cast<std::uint8_t>(random.Byte() | 0x80));  // no byte that is a letter
    }
    label.raster = raster;
    label.back = test::Bytes("1B 47");
    return label;
  }

  std::uint64_t lastLosing_ = 0;

  static std::uint64_t CallsWithoutFault() { return RunScenario(ThreeLabels()).calls; }

  // Plays the fault at every call of the run, and a few behind it.
  static void ExpectNothingLost(CallFaultKind kind, std::uint32_t value) {
    const std::uint64_t calls = CallsWithoutFault();
    ASSERT_GT(calls, 9u);
    for (std::uint64_t call = 1; call <= calls; ++call) {
      Scenario scenario = ThreeLabels();
      scenario.callFaults = {{kind, call, value, true}};
      const Outcome outcome = RunScenario(scenario);
      EXPECT_THAT(outcome.problems, IsEmpty()) << "fault from call " << call;
      EXPECT_EQ(outcome.verdict.labelsLost, 0u) << "fault from call " << call;
      EXPECT_LE(outcome.verdict.labelsRepeated, 2u) << "fault from call " << call;
      EXPECT_LE(outcome.calls, calls + kMostFurtherCalls) << "fault from call " << call;
      EXPECT_EQ(outcome.restarts, 0u) << "fault from call " << call;
    }
  }
};

TEST_P(SingleFault, NoneAtAll) {
  const Outcome outcome = RunScenario(ThreeLabels());
  EXPECT_THAT(outcome.problems, IsEmpty());
  EXPECT_EQ(outcome.verdict.labelsPrinted, 3u);
  EXPECT_EQ(outcome.verdict.labelsRepeated, 0u);
}

TEST_P(SingleFault, WriteFails) {
  ExpectNothingLost(CallFaultKind::kWriteFails, 0);
}

TEST_P(SingleFault, WriteTakesPartAndFails) {
  for (const std::uint32_t bytes : {64u, 100u, 300u}) {
    ExpectNothingLost(CallFaultKind::kWriteTakesPart, bytes);
  }
}

TEST_P(SingleFault, ReadFails) {
  ExpectNothingLost(CallFaultKind::kReadLoses, 0);
}

TEST_P(SingleFault, ReadComesShort) {
  for (const std::uint32_t bytes : {0u, 1u, 31u}) {
    ExpectNothingLost(CallFaultKind::kShortRead, bytes);
  }
}

TEST_P(SingleFault, BadStatus) {
  for (const std::uint32_t status : {2u, 4u, 5u, 6u, 255u}) {
    ExpectNothingLost(CallFaultKind::kBadStatus, status);
  }
}

TEST_P(SingleFault, CancelAtThePrinterEndsTheJobCleanly) {
  const std::uint64_t calls = CallsWithoutFault();
  for (std::uint64_t call = 1; call <= calls; ++call) {
    Scenario scenario = ThreeLabels();
    scenario.callFaults = {{CallFaultKind::kBadStatus, call, 3, true}};
    const Outcome outcome = RunScenario(scenario);
    EXPECT_THAT(outcome.problems, IsEmpty()) << "cancel from call " << call;
    EXPECT_LE(outcome.calls, calls + 1) << "cancel from call " << call;
  }
}

// A write that fails behind a request shifts answers by one. Nothing gets lost by that alone but on the chunked path:
// there the stale answer lets the label begin again while the printer still waits for the dots of a chunk whose head is
// out. That hits the dots of every chunk but a label's first, in which no request is on its way.
TEST_P(SingleFault, WriteFailsBehindARequest) {
  constexpr std::uint64_t kLabels = 3;
  constexpr std::uint64_t kFurtherChunks = 2;
  const std::uint64_t calls = CallsWithoutFault();
  std::uint64_t lost = 0;
  for (std::uint64_t call = 1; call <= calls; ++call) {
    Scenario scenario = ThreeLabels();
    scenario.kind = ScenarioClass::kLate;
    scenario.callFaults = {{CallFaultKind::kWriteFails, call, 0, false}};
    const Outcome outcome = RunScenario(scenario);
    EXPECT_THAT(outcome.problems, IsEmpty()) << "fault from call " << call;
    EXPECT_FALSE(outcome.stuck) << "fault from call " << call;
    EXPECT_LE(outcome.verdict.labelsLost, 1u) << "fault from call " << call;
    if (outcome.verdict.labelsLost > 0) {
      lost += outcome.verdict.labelsLost;
      lastLosing_ = call;
    }
  }
  const bool chunked = GetParam().row >= 8 && GetParam().chunkLines == 5;
  // The fault waits for a write, so that the read in front of a losing write counts for it as well.
  EXPECT_EQ(lost > 0, chunked) << "last from call " << lastLosing_;
  EXPECT_LE(lost, 2 * kLabels * kFurtherChunks);
}

TEST_P(SingleFault, AnswerThatStaysInThePortIsTheProtocolsBusiness) {
  const std::uint64_t calls = CallsWithoutFault();
  for (const auto kind : {CallFaultKind::kReadFails, CallFaultKind::kReadLeavesPart}) {
    for (std::uint64_t call = 1; call <= calls; ++call) {
      Scenario scenario = ThreeLabels();
      scenario.kind = ScenarioClass::kLate;
      scenario.callFaults = {{kind, call, 5, false}};
      EXPECT_THAT(RunScenario(scenario).problems, IsEmpty()) << "fault from call " << call;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Simulation, SingleFault, ::testing::ValuesIn(AllCases()), NameOf);

}  // namespace
}  // namespace sc3xxmon::simulation
