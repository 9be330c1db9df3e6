// `sc3xx status` as a person meets it, on virtual printers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/sc3xx/command_line.h"

namespace sc3xx::test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class StatusCommandTest : public ::testing::Test {
 protected:
  int Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "status");
    Console console{out, err};
    return RunCommandLine(arguments, console, {});  // the monitor has no part in it
  }

  nlohmann::json Json() const { return nlohmann::json::parse(out.str()); }

  std::ostringstream out;
  std::ostringstream err;
};

TEST_F(StatusCommandTest, TellsEveryModelByItself) {
  for (int row = 1; row <= 9; ++row) {
    out.str("");
    EXPECT_EQ(Run({"--port", "virtual", "--model", std::to_string(row), "--json"}), 0) << err.str();
    EXPECT_EQ(Json()["model"]["row"], row);
    EXPECT_EQ(Json()["state"], "ready");
    EXPECT_EQ(Json()["record"]["form"], row >= 8 ? "ESC S" : "plain");
  }
}

TEST_F(StatusCommandTest, SaysItInWords) {
  EXPECT_EQ(Run({"--port", "virtual"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("virtual: ready\n"));
  EXPECT_THAT(out.str(), HasSubstr("model:    KOVA Scrivelo 310 Plus (row 5)\n"));
  EXPECT_THAT(out.str(), HasSubstr("firmware: KOVA 2.1042.7.3, application\n"));
  EXPECT_THAT(out.str(), HasSubstr("media:    labels are in (8)\n"));
  EXPECT_THAT(err.str(), IsEmpty());
}

TEST_F(StatusCommandTest, AnErrorIsToldAndGivesOne) {
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "bay=1"}), 1);
  EXPECT_THAT(out.str(), HasSubstr("virtual: ERROR: bay open\n"));
  out.str("");
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "bay=1", "--json"}), 1);
  EXPECT_EQ(Json()["state"], "error");
  EXPECT_EQ(Json()["errors"][0], "bay open");
}

TEST_F(StatusCommandTest, APrinterInUseIsGood) {
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "lock", "--json"}), 0);
  EXPECT_EQ(Json()["state"], "in use");
}

TEST_F(StatusCommandTest, APrinterWithoutPowerCantBeAskedAndGivesOne) {
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "power-off", "--json"}), 1);
  EXPECT_EQ(Json()["state"], "unreachable");
  EXPECT_THAT(Json()["reason"].get<std::string>(), HasSubstr("takes nothing"));
  EXPECT_TRUE(Json()["record"].is_null());
}

TEST_F(StatusCommandTest, AnAnswerThatStaysAwayIsTold) {
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "silent@exchange:1"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("the printer doesn't answer"));
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST_F(StatusCommandTest, AShortAnswerIsNotTakenForOne) {
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "short=20@exchange:1"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("20 bytes instead of 32 or 70"));
}

TEST_F(StatusCommandTest, WithoutFirmwareTheStatusStillCounts) {
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "silent@exchange:2"}), 0) << err.str();
  EXPECT_THAT(out.str(), HasSubstr("model:    unknown; the printer didn't tell\n"));
}

TEST_F(StatusCommandTest, DeviceThatIsNotThereIsToldWithAdvice) {
  EXPECT_EQ(Run({"--port", "usb:/dev/usb/no-such-printer", "--json"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("check that the printer is plugged in"));
  EXPECT_EQ(Json()["state"], "unreachable");
}

TEST_F(StatusCommandTest, ThisComputerItselfIsNoPrinter) {
  EXPECT_EQ(Run({"--port", "lan:127.0.0.1"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("such as 127.0.0.2"));
}

TEST_F(StatusCommandTest, WrongUseGivesTwo) {
  EXPECT_EQ(Run({}), 2);
  EXPECT_EQ(Run({"--port", "lpt1"}), 2);
  EXPECT_EQ(Run({"--port", "lan:10.0.0.7", "--model", "4"}), 2);
  EXPECT_EQ(Run({"--port", "usb:/dev/usb/lp0", "--fault", "bay=2"}), 2);
  EXPECT_EQ(Run({"--port", "virtual", "--model", "none"}), 2);
  EXPECT_EQ(Run({"--port", "virtual", "--fault", "fire"}), 2);
  EXPECT_EQ(Run({"--port", "virtual", "--timeout", "0"}), 2);
  EXPECT_EQ(Run({"--port", "lan:10.0.0.7", "--config", "/nowhere.toml"}), 2);
  EXPECT_THAT(out.str(), IsEmpty());
}

}  // namespace
}  // namespace sc3xx::test
