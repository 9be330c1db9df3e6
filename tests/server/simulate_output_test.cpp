#include "apps/sc3xx/simulate_output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "apps/kpl/input_error.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

simulator::PrintedLabel LabelWithDots() {
  simulator::PrintedLabel label;
  label.dotsPerLine = 8;
  label.lines = 2;
  label.raster = {0xFF, 0x00};
  return label;
}

class SimulateOutputTest : public ::testing::Test {
 protected:
  SimulateOutputTest() { fs::remove_all(folder); }
  ~SimulateOutputTest() override { fs::remove_all(folder); }

  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  std::string TextOf(const fs::path& path) const {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  const fs::path folder =
      fs::path(::testing::TempDir()) /
      (std::string("simulate_output_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(SimulateOutputTest, NumbersPicturesInTheOrderOfPrinting) {
  LabelFolder labels(folder / "deep" / "er");
  EXPECT_THAT(labels.Add(LabelWithDots()), EndsWith("label-001.png"));
  EXPECT_THAT(labels.Add({}), IsEmpty()) << "a label without dots has no picture";
  EXPECT_THAT(labels.Add(LabelWithDots()), EndsWith("label-003.png"));
}

TEST_F(SimulateOutputTest, GoesOnBehindThePicturesOfARunBefore) {
  LabelFolder(folder).Add(LabelWithDots());
  std::ofstream(folder / "label-0041.png") << "x";
  std::ofstream(folder / "label-99x.png") << "x";
  EXPECT_THAT(LabelFolder(folder).Add(LabelWithDots()), EndsWith("label-042.png"));
}

TEST_F(SimulateOutputTest, LeavesWholePicturesAndNothingElse) {
  LabelFolder labels(folder);
  labels.Add(LabelWithDots());
  labels.Add(LabelWithDots());
  EXPECT_THAT(Files(), UnorderedElementsAre("label-001.png", "label-002.png"));
  EXPECT_THAT(TextOf(folder / "label-001.png").substr(1, 3), "PNG");
}

TEST_F(SimulateOutputTest, RefusesAFileInTheFoldersPlace) {
  fs::create_directories(folder);
  std::ofstream(folder / "file") << "x";
  EXPECT_THROW(LabelFolder(folder / "file"), InputError);
}

TEST_F(SimulateOutputTest, TheTranscriptGrowsAtItsEndAndNamesThePrinter) {
  fs::create_directories(folder);
  const std::string path = (folder / "talk.jsonl").string();
  simulator::Exchange exchange;
  exchange.kind = "connected";
  TranscriptFile(path).Add({exchange}, "127.0.0.2");
  TranscriptFile(path).Add({exchange}, "127.0.0.3");
  std::istringstream text(TextOf(path));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  EXPECT_THAT(lines, ElementsAre(R"({"t":0,"printer":"127.0.0.2","dir":"printer","kind":"connected"})",
                                 R"({"t":0,"printer":"127.0.0.3","dir":"printer","kind":"connected"})"));
}

TEST_F(SimulateOutputTest, RefusesATranscriptThatCantBeWritten) {
  EXPECT_THROW(TranscriptFile((folder / "no" / "such" / "talk.jsonl").string()), InputError);
}

}  // namespace
}  // namespace sc3xx::test
