// The whole way over the network with two programs, as two terminals would run them: `sc3xx simulate` is the printer,
// `sc3xx print` the host, and the plug of the printer is pulled in the middle. What came out is compared, picture by
// picture, with what the embedded printer gives for the same job.
//
// Nothing here waits for a time: each step follows from a line that one of the programs says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "apps/sc3xx/process.h"
#include "command_line/program.h"
#include "lan/support/loopback.h"
#include "platform/text.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

const std::string kLabels = std::string(SC3XXMON_SOURCE_DIR) + "/samples/asset-labels.kpl";
constexpr std::size_t kLabelCount = 25;

std::string BytesOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// In the order of printing.
std::vector<std::string> PicturesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".png") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> pictures;
  std::transform(files.begin(), files.end(), std::back_inserter(pictures), BytesOf);
  return pictures;
}

class NetworkStory : public ::testing::Test {
 protected:
  NetworkStory()
      : folder(fs::path(::testing::TempDir()) / ("sc3xx_story_" + std::to_string(ProcessNumber()))),
        address(sc3xxmon::platform::ToUtf8(sc3xxmon::test::LoopbackListener().Address())) {
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  ~NetworkStory() override { fs::remove_all(folder); }

  // What the printer's options are, beside its address and its pictures.
  std::vector<std::string> Simulate(std::vector<std::string> more) const {
    std::vector<std::string> arguments = {"simulate", "--listen", address, "--out", (folder / "printed").string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  std::vector<std::string> Print(std::vector<std::string> more = {}) const {
    std::vector<std::string> arguments = {"print", kLabels, "--port", "lan:" + address};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  static void End(Program& simulator) {
    simulator.Interrupt();
    EXPECT_EQ(simulator.Wait(), 0) << simulator.text;
  }

  // What it should have come to.
  std::vector<std::string> Expected() const {
    Program virtualPrinter({"print", kLabels, "--out", (folder / "expected").string()});
    EXPECT_EQ(virtualPrinter.Wait(), 0) << virtualPrinter.text;
    std::vector<std::string> pictures = PicturesIn(folder / "expected");
    EXPECT_EQ(pictures.size(), kLabelCount);
    return pictures;
  }
  std::vector<std::string> Printed() const { return PicturesIn(folder / "printed"); }

  // Every label at least once, and the last copies in order.
  void ExpectNoLabelLost() const {
    const std::vector<std::string> expected = Expected();
    std::vector<std::string> lastCopies;
    for (const std::string& picture : Printed()) {
      if (!IsCutShort(picture, expected)) {
        std::erase(lastCopies, picture);
        lastCopies.push_back(picture);
      }
    }
    EXPECT_TRUE(lastCopies == expected) << lastCopies.size() << " different labels came out";
  }

  // The file that a killed program was writing.
  static bool IsCutShort(const std::string& picture, const std::vector<std::string>& whole) {
    return std::any_of(whole.begin(), whole.end(), [&](const std::string& each) {
      return picture.size() < each.size() && each.starts_with(picture);
    });
  }

  const fs::path folder;
  const std::string address;
};

TEST_F(NetworkStory, AJobIsPrintedLabelByLabel) {
  Program simulator(Simulate({"--speed", "instant"}));
  ASSERT_TRUE(simulator.WaitFor("listening on")) << simulator.text;
  Program print(Print());
  EXPECT_EQ(print.Wait(), 0) << print.text;
  EXPECT_THAT(print.text, HasSubstr("Printed 25 labels"));
  End(simulator);
  EXPECT_TRUE(Printed() == Expected());
}

// Out of labels at the third, the printer is killed and another one stands in its place: the job goes on.
TEST_F(NetworkStory, APrinterThatIsKilledAndStartedAgainWhileTheJobWaitsLosesNoLabel) {
  Program first(Simulate({"--speed", "instant", "--fault", "bay=2@label:3"}));
  ASSERT_TRUE(first.WaitFor("listening on")) << first.text;
  Program print(Print());
  ASSERT_TRUE(print.WaitFor("Out of labels")) << print.text;
  first.Kill();
  ASSERT_TRUE(print.WaitFor("no contact: ")) << print.text;
  Program second(Simulate({"--speed", "instant"}));
  ASSERT_TRUE(second.WaitFor("listening on")) << second.text;
  EXPECT_EQ(print.Wait(), 0) << print.text;
  EXPECT_THAT(print.text, HasSubstr("Printed 25 labels"));
  End(second);
  ExpectNoLabelLost();
}

// Killed in the middle of printing, wherever that is. The job starts again from its first label.
TEST_F(NetworkStory, APrinterThatIsKilledInTheMiddleOfPrintingLosesNoLabel) {
  Program first(Simulate({"--speed", "1000"}));
  ASSERT_TRUE(first.WaitFor("listening on")) << first.text;
  Program print(Print({"--set", "SendIPHs=0"}));
  ASSERT_TRUE(print.WaitFor("label 4 of 25 printed")) << print.text;
  first.Kill();
  ASSERT_TRUE(print.WaitFor("the job starts again")) << print.text;
  Program second(Simulate({"--speed", "instant"}));
  ASSERT_TRUE(second.WaitFor("listening on")) << second.text;
  EXPECT_EQ(print.Wait(), 0) << print.text;
  End(second);
  ExpectNoLabelLost();
}

TEST_F(NetworkStory, APlugThatIsPulledByAFaultAndPutBackLosesNoLabel) {
  Program simulator(Simulate({"--speed", "1000", "--fault", "power-off@label:3,for:1s"}));
  ASSERT_TRUE(simulator.WaitFor("listening on")) << simulator.text;
  Program print(Print({"--set", "SendIPHs=0"}));
  EXPECT_EQ(print.Wait(), 0) << print.text;
  EXPECT_THAT(print.text, HasSubstr("the job starts again"));
  End(simulator);
  ExpectNoLabelLost();
}

TEST_F(NetworkStory, APrinterThatNeverComesBackLeavesTheJobToCtrlC) {
  Program simulator(Simulate({"--speed", "instant", "--fault", "bay=2@label:3"}));
  ASSERT_TRUE(simulator.WaitFor("listening on")) << simulator.text;
  Program print(Print());
  ASSERT_TRUE(print.WaitFor("Out of labels")) << print.text;
  simulator.Kill();
  ASSERT_TRUE(print.WaitFor("no contact: ")) << print.text;
  print.Interrupt();
  EXPECT_EQ(print.Wait(), 3) << print.text;
  EXPECT_THAT(print.text, HasSubstr("Deleted, with 2 of 25 labels confirmed"));
}

TEST_F(NetworkStory, StatusSaysWhatTheSimulatedPrinterSays) {
  Program simulator(Simulate({"--model", "RB430", "--fault", "cutter"}));
  ASSERT_TRUE(simulator.WaitFor("listening on")) << simulator.text;
  Program status({"status", "--port", "lan:" + address});
  EXPECT_EQ(status.Wait(), 1) << status.text;
  EXPECT_THAT(status.text, HasSubstr("ERROR: cutter jam"));
  EXPECT_THAT(status.text, HasSubstr("(row 9)"));
  End(simulator);
}

}  // namespace
}  // namespace sc3xx::test
