#include "apps/sc3xx/simulate_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/sc3xx/usage_error.h"

namespace sc3xx::test {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

std::string TroubleWith(const SimulateRequest& request) {
  try {
    PlanSimulation(request);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(SimulatePlanTest, WithoutAddressesThereIsOnePrinterThatTheMonitorCanReach) {
  const SimulatePlan plan = PlanSimulation({});
  ASSERT_THAT(plan.printers, SizeIs(1));
  EXPECT_EQ(Format(plan.printers[0].address), "127.0.0.2:9100");
  EXPECT_FALSE(IsSkippedByMonitor(plan.printers[0].address));
  EXPECT_EQ(plan.printers[0].settings.model, 5);
}

TEST(SimulatePlanTest, EachListenIsAPrinterOfTheModelAndEachPrinterOneOfItsOwn) {
  SimulateRequest request;
  request.model = "SC310";
  request.listen = {"127.0.0.2", "127.0.0.3:9101"};
  request.printers = {"8@127.0.0.4", "rb430@[::1]:9102"};
  const SimulatePlan plan = PlanSimulation(request);
  ASSERT_THAT(plan.printers, SizeIs(4));
  EXPECT_EQ(plan.printers[0].settings.model, 1);
  EXPECT_EQ(plan.printers[1].settings.model, 1);
  EXPECT_EQ(Format(plan.printers[1].address), "127.0.0.3:9101");
  EXPECT_EQ(plan.printers[2].settings.model, 8);
  EXPECT_EQ(plan.printers[3].settings.model, 9);
  EXPECT_EQ(Format(plan.printers[3].address), "[::1]:9102");
}

TEST(SimulatePlanTest, PrintersArePacedByTheirModelUnlessToldOtherwise) {
  SimulateRequest request;
  request.printers = {"1@127.0.0.2", "8@127.0.0.3"};
  EXPECT_EQ(PlanSimulation(request).printers[0].settings.millimetresPerSecond, 40.0);
  EXPECT_EQ(PlanSimulation(request).printers[1].settings.millimetresPerSecond, 15.0);
  request.speed = "12.5";
  EXPECT_EQ(PlanSimulation(request).printers[1].settings.millimetresPerSecond, 12.5);
  for (const char* none : {"instant", "infinite"}) {
    request.speed = none;
    EXPECT_EQ(PlanSimulation(request).printers[1].settings.millimetresPerSecond, std::nullopt);
  }
}

TEST(SimulatePlanTest, AFaultIsForAllPrintersOrForTheOneBeforeTheSlash) {
  SimulateRequest request;
  request.listen = {"127.0.0.2", "127.0.0.3:9101"};
  request.faults = {"bay=2@label:3", "127.0.0.3:9101/power-off@label:2,for:4s"};
  const SimulatePlan plan = PlanSimulation(request);
  ASSERT_THAT(plan.printers[0].settings.faults, SizeIs(1));
  ASSERT_THAT(plan.printers[1].settings.faults, SizeIs(2));
  EXPECT_EQ(plan.printers[1].settings.faults[1].kind, simulator::FaultKind::kPowerOff);
}

TEST(SimulatePlanTest, TheLimitsBecomeThePrinters) {
  SimulateRequest request;
  request.clients = 3;
  request.labelMegabytes = 2;
  const SimulatePlan plan = PlanSimulation(request);
  EXPECT_EQ(plan.limits.clients, 3u);
  EXPECT_EQ(plan.printers[0].settings.maxLabelBytes, 2u << 20);
  EXPECT_TRUE(plan.printers[0].settings.receiveBufferBytes.has_value());
}

struct Mistake {
  const char* listen;
  const char* printer;
  const char* fault;
  const char* words;
};

TEST(SimulatePlanTest, SaysWhatIsWrongAndWhatWouldBeRight) {
  constexpr Mistake kMistakes[] = {
      {"127.0.0.2:http", "", "", "write ADDRESS or ADDRESS:PORT"},
      {"127.0.0.2", "5", "", "write MODEL@ADDRESS"},
      {"127.0.0.2", "none@127.0.0.3", "", "no model \"none\""},
      {"127.0.0.2", "5@", "", "is no address"},
      {"127.0.0.2", "5@127.0.0.2:9100", "", "can't both listen on 127.0.0.2:9100"},
      {"127.0.0.2", "", "nothing", "fault \"nothing\""},
      {"127.0.0.2", "", "cutter", "no cutter"},
      {"127.0.0.2", "", "127.0.0.9/bay=2", "no printer listens on 127.0.0.9:9100"},
  };
  for (const Mistake& mistake : kMistakes) {
    SimulateRequest request;
    request.listen = {mistake.listen};
    if (*mistake.printer != '\0') {
      request.printers = {mistake.printer};
    }
    if (*mistake.fault != '\0') {
      request.faults = {mistake.fault};
    }
    EXPECT_THAT(TroubleWith(request), HasSubstr(mistake.words));
  }
}

TEST(SimulatePlanTest, APrinterIsCalledByItsAddressAndByItsPortOnlyIfThatIsUnusual) {
  EXPECT_EQ(ShortNameOf({"127.0.0.2", 9100}), "127.0.0.2");
  EXPECT_EQ(ShortNameOf({"127.0.0.2", 9101}), "127.0.0.2:9101");
}

}  // namespace
}  // namespace sc3xx::test
