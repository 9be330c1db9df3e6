// The program itself, as a shell starts it: exit codes, Ctrl-C, closed pipes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "apps/sc3xx/process.h"
#include "command_line/program.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

const std::string kSample = std::string(SC3XXMON_SOURCE_DIR) + "/samples/address-label.kpl";

TEST(ProgramTest, PrintsAndExitsWithZero) {
  Program program({"print", kSample});
  EXPECT_TRUE(program.WaitFor("Printed 1 label")) << program.text;
  EXPECT_EQ(program.Wait(), 0);
}

TEST(ProgramTest, WrongUseExitsWithTwo) {
  Program program({"print", kSample, "--model", "none"});
  EXPECT_EQ(program.Wait(), 2);
}

TEST(ProgramTest, ADeviceThatIsNotThereExitsWithOne) {
  Program program({"print", kSample, "--port", "usb:/dev/usb/no-such-printer"});
  EXPECT_EQ(program.Wait(), 1);
}

TEST(ProgramTest, CtrlCDeletesAJobThatWaitsForLabelsAndExitsWithThree) {
  Program program({"print", kSample, "--fault", "bay=2"});
  ASSERT_TRUE(program.WaitFor("Out of labels")) << program.text;
  program.Interrupt();
  EXPECT_TRUE(program.WaitFor("Deleted, with 0 of 1 label")) << program.text;
  EXPECT_EQ(program.Wait(), 3);
}

TEST(ProgramTest, ASecondCtrlCLeavesAtOnce) {
  Program program({"print", kSample, "--speed", "0.01"});  // the label takes hours
  ASSERT_TRUE(program.WaitFor("1 label")) << program.text;
  program.Interrupt();
  ASSERT_TRUE(program.WaitFor("deleting the job")) << program.text;
  program.Interrupt();
  EXPECT_EQ(program.Wait(), 130);
}

TEST(ProgramTest, AReaderThatGoesAwayDoesNotEndTheJob) {
  const fs::path folder = fs::path(::testing::TempDir()) / ("sc3xx_program_" + std::to_string(ProcessNumber()));
  Program program({"print", kSample, "--out", folder.string()});
  program.CloseOutput();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_TRUE(fs::exists(folder / "label-001.png"));
  fs::remove_all(folder);
}

}  // namespace
}  // namespace sc3xx::test
