// What a print run leaves for diagnosis, by the program as people run it: one process, one log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "apps/sc3xx/process.h"
#include "command_line/program.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::string TextOf(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

class PrintLogTest : public ::testing::Test {
 protected:
  PrintLogTest() {
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  ~PrintLogTest() override { fs::remove_all(folder); }

  int Run(std::vector<std::string> arguments) {
    Program program(std::move(arguments));
    const int code = program.Wait();
    text = program.text;
    return code;
  }
  int Print(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "print");
    return Run(std::move(arguments));
  }

  std::vector<fs::path> Left(const std::string& ending) const {
    std::vector<fs::path> files;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(root / "Logs/KOVA", ignored)) {
      if (entry.path().string().ends_with(ending)) {
        files.push_back(entry.path());
      }
    }
    std::sort(files.begin(), files.end());
    return files;
  }
  std::string Sample(const std::string& name) const {
    return (fs::path(SC3XXMON_SOURCE_DIR) / "samples" / name).string();
  }

  fs::path folder = fs::path(::testing::TempDir()) / ("sc3xx_print_log_" + std::to_string(ProcessNumber()));
  fs::path root = folder / "state";
  std::string text;
};

TEST_F(PrintLogTest, LeavesALogTheBytesAndAPictureOfEachLabel) {
  ASSERT_EQ(Print({Sample("asset-labels.kpl"), "--set", "DebugLevel=2", "--set", "TraceDetail=28", "--log-root", root}),
            0)
      << text;
  ASSERT_THAT(Left(".log"), SizeIs(1));
  EXPECT_THAT(text, HasSubstr("log:        " + Left(".log").front().string()));
  EXPECT_THAT(Left("_job-1.prn"), SizeIs(1));
  EXPECT_THAT(Left("_pd.bmp"), SizeIs(25));
  const std::string log = TextOf(Left(".log").front());
  EXPECT_THAT(log, HasSubstr("] Debug: 2; Trace: 29; Test: 0;\n"));
  EXPECT_THAT(
      log,
      HasSubstr("] Status for label #25 acknowledged(1 attempts). Total in job: 25; ACK: 25; NAK: 0; UNSENT: 0\n"));
  EXPECT_THAT(log, ::testing::EndsWith(" Detach SC SC3xx Language Monitor \n"));
}

TEST_F(PrintLogTest, TheBytesPrintTheSameLabelsAgain) {
  const std::string first = folder / "first";
  const std::string second = folder / "second";
  ASSERT_EQ(Print({Sample("shipping-label.png"), Sample("address-label.kpl"), "--set", "DebugLevel=2", "--set",
                   "TraceDetail=8", "--log-root", root, "--out", first}),
            0)
      << text;
  const std::vector<fs::path> dumps = Left(".prn");
  ASSERT_THAT(dumps, SizeIs(2));
  for (const fs::path& dump : dumps) {
    EXPECT_EQ(Run({"inspect", dump, "--summary"}), 0) << text;
  }
  ASSERT_EQ(Print({dumps[0], dumps[1], "--out", second}), 0) << text;
  for (const char* label : {"label-001.png", "label-002.png"}) {
    EXPECT_EQ(TextOf(fs::path(first) / label), TextOf(fs::path(second) / label));
  }
}

TEST_F(PrintLogTest, AtLevel0NothingIsLeft) {
  EXPECT_EQ(Print({Sample("address-label.kpl"), "--set", "TraceDetail=28", "--log-root", root}), 0);
  EXPECT_FALSE(fs::exists(root));
  EXPECT_THAT(text, HasSubstr("--log-root has no effect while no log is written; add --set DebugLevel=2"));
}

TEST_F(PrintLogTest, NothingStaysInTheMachinesSharedMemory) {
  ASSERT_EQ(Print({Sample("address-label.kpl"), "--set", "DebugLevel=2", "--log-root", root}), 0);
  const std::string name = Left(".log").at(0).filename().string();
  const std::string process = name.substr(20, name.find('_', 20) - 20);
  for (const auto& entry : fs::directory_iterator("/dev/shm")) {
    EXPECT_FALSE(entry.path().string().ends_with(".so." + process)) << entry.path();
  }
}

TEST_F(PrintLogTest, TheSettingsFileSaysWhereToo) {
  const fs::path config = folder / "sc3xxmon.toml";
  std::ofstream(config) << "LogRoot = \"" << root.string() << "\"\n[Debug]\nDebugLevel = 2\n";
  ASSERT_EQ(Print({Sample("address-label.kpl"), "--config", config}), 0) << text;
  EXPECT_THAT(Left(".log"), SizeIs(1));
}

TEST_F(PrintLogTest, ARootThatIsAFileIsRefused) {
  std::ofstream(root) << "text";
  EXPECT_EQ(Print({Sample("address-label.kpl"), "--set", "DebugLevel=2", "--log-root", root}), 2);
  EXPECT_THAT(text, HasSubstr("--log-root: " + root.string() + " is a file; name a folder"));
  EXPECT_EQ(TextOf(root), "text");
}

TEST_F(PrintLogTest, ALogsFolderThatIsAFileIsRefused) {
  fs::create_directories(root);
  std::ofstream(root / "Logs") << "text";
  EXPECT_EQ(Print({Sample("address-label.kpl"), "--set", "DebugLevel=2", "--log-root", root}), 2);
  EXPECT_THAT(text, HasSubstr("is a file, where the folder of the logs belongs"));
}

TEST_F(PrintLogTest, ARootWithATooLongPathIsRefused) {
  const std::string longRoot = root.string() + "/" + std::string(260 - root.string().size() - 1, 'd');
  EXPECT_EQ(Print({Sample("address-label.kpl"), "--set", "DebugLevel=2", "--log-root", longRoot}), 2);
  EXPECT_THAT(text, HasSubstr("the path has 260 characters; a log root has at most 259"));
}

TEST_F(PrintLogTest, ABadRootInTheSettingsFileIsToldAndThePrintingGoesOn) {
  const fs::path config = folder / "sc3xxmon.toml";
  std::ofstream(root) << "text";
  std::ofstream(config) << "LogRoot = \"" << root.string() << "\"\n[Debug]\nDebugLevel = 2\n";
  EXPECT_EQ(Print({Sample("address-label.kpl"), "--config", config}), 0);
  EXPECT_THAT(text, HasSubstr("no log is written: " + root.string() + " is a file; name a folder"));
  EXPECT_THAT(text, HasSubstr("Printed 1 label"));
}

TEST_F(PrintLogTest, UnknownDebugSettingsAndWrongTypesAreTold) {
  const std::pair<const char*, const char*> cases[] = {
      {"[Debug]\nDebugLevl = 2\n", "unknown name \"DebugLevl\" in [Debug]; did you mean DebugLevel?"},
      {"[Debug]\nDebugLevel = \"2\"\n", "\"DebugLevel\" must be a whole number, but is a text"},
      {"[Debug]\nTraceDetail = 4294967296\n", "\"TraceDetail\" is out of range"},
      {"LogRoot = 5\n", "\"LogRoot\" must be a text in quotes, but is a whole number"},
  };
  const fs::path config = folder / "sc3xxmon.toml";
  for (const auto& [settings, words] : cases) {
    std::ofstream(config) << settings;
    EXPECT_EQ(Print({Sample("address-label.kpl"), "--config", config}), 2);
    EXPECT_THAT(text, HasSubstr(words));
  }
}

TEST_F(PrintLogTest, APrinterNameWithSlashesAndPercentSignsIsLogged) {
  ASSERT_EQ(Print({Sample("address-label.kpl"), "--printer-name", "\\\\desk/100 %s%n", "--set", "DebugLevel=2",
                   "--log-root", root}),
            0)
      << text;
  EXPECT_THAT(TextOf(Left(".log").at(0)), HasSubstr("printer=\\\\desk/100 %s%n; dwJobId=1; dwLevel=1\n"));
}

TEST_F(PrintLogTest, TheLogIsToldJobByJob) {
  ASSERT_EQ(Print({Sample("asset-labels.kpl"), "--set", "DebugLevel=2", "--log-root", root, "--fault",
                   "bay=2@label:3,count:2"}),
            0)
      << text;
  ASSERT_EQ(Run({"log", Left(".log").at(0)}), 0) << text;
  EXPECT_THAT(text, HasSubstr(": 1 job, "));
  EXPECT_THAT(text, HasSubstr(": printed, 25 of 25 labels acknowledged"));
  EXPECT_THAT(text, HasSubstr("  label 3: 2 attempts, "));
  EXPECT_THAT(text, Not(HasSubstr("\033"))) << "colours are for terminals";
  ASSERT_EQ(Run({"log", "--json", Left(".log").at(0)}), 0);
  EXPECT_THAT(text, HasSubstr("\"outcome\": \"printed\""));
}

TEST_F(PrintLogTest, WhatIsNoLogIsToldSo) {
  EXPECT_EQ(Run({"log", Sample("address-label.png")}), 1);
  EXPECT_THAT(text, HasSubstr("this is a PNG picture, not a log of the monitor"));
  EXPECT_EQ(Run({"log", folder / "nowhere.log"}), 1);
  EXPECT_THAT(text, HasSubstr("there is no such file"));
}

}  // namespace
}  // namespace sc3xx::test
