// `sc3xx simulate` as a shell starts it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "lan/support/loopback.h"
#include "platform/text.h"
#include "server/tcp_client.h"
#include "simulator/printer_desk.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

using simulator::test::Ask;
using simulator::test::EndOfJob;
using simulator::test::JobStart;
using simulator::test::Label;
using simulator::test::operator+;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr std::size_t kRecordBytes = 32;

// The address in the program's first line of that kind.
ListenAddress AddressIn(const std::string& text) {
  const std::string words = "listening on ";
  const std::size_t begin = text.find(words) + words.size();
  return ParseListenAddress(text.substr(begin, text.find(' ', begin) - begin)).value_or(ListenAddress{});
}

class SimulateTest : public ::testing::Test {
 protected:
  SimulateTest() { fs::remove_all(folder); }
  ~SimulateTest() override { fs::remove_all(folder); }

  const fs::path folder = fs::path(::testing::TempDir()) /
                          (std::string("simulate_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(SimulateTest, PrintsForAClientAndEndsWithZeroOnCtrlC) {
  Program program({"simulate", "--model", "SC310", "--listen", "127.0.0.2:0", "--out", folder.string(), "--speed",
                   "infinite", "--transcript", (folder / "talk.jsonl").string()});
  EXPECT_EQ(program.Wait(), 1) << "the transcript's folder isn't there yet";
  fs::create_directories(folder);
  Program again({"simulate", "--model", "SC310", "--listen", "127.0.0.2:0", "--out", folder.string(), "--speed",
                 "infinite", "--transcript", (folder / "talk.jsonl").string()});
  ASSERT_TRUE(again.WaitFor("(KOVA Scrivelo 310)\n")) << again.text;
  const TcpClient client(AddressIn(again.text));
  ASSERT_TRUE(client.Send(JobStart() + Label(1) + Ask(2) + EndOfJob()));
  ASSERT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
  EXPECT_TRUE(fs::exists(folder / "label-001.png"));
  again.Interrupt();
  EXPECT_TRUE(again.WaitFor("labels printed: 1, dropped: 0, lost: 0; jobs ended: 1\n")) << again.text;
  EXPECT_EQ(again.Wait(), 0);
  EXPECT_EQ(client.Next(), Arrival::kClosed);
  EXPECT_GT(fs::file_size(folder / "talk.jsonl"), 0u);
}

TEST_F(SimulateTest, ARequestToTerminateInMidLabelPrintsWhatWasAnsweredFor) {
  Program program({"simulate", "--listen", "127.0.0.2:0", "--out", folder.string(), "--speed", "0.01"});
  ASSERT_TRUE(program.WaitFor("listening on")) << program.text;
  ASSERT_TRUE(program.WaitFor("\n"));
  const TcpClient client(AddressIn(program.text));
  ASSERT_TRUE(client.Send(JobStart() + Label(1) + Ask(0)));
  ASSERT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
  EXPECT_FALSE(fs::exists(folder / "label-001.png"));
  program.Terminate();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_TRUE(fs::exists(folder / "label-001.png"));
}

TEST_F(SimulateTest, KilledAndStartedAgainItListensAtOnceAndGoesOnWithItsPictures) {
  std::string address = "127.0.0.2:0";
  for (const char* picture : {"label-001.png", "label-002.png"}) {
    Program program({"simulate", "--listen", address, "--out", folder.string(), "--speed", "instant"});
    ASSERT_TRUE(program.WaitFor(")\n")) << program.text;
    address = Format(AddressIn(program.text));
    const TcpClient client(AddressIn(program.text));
    ASSERT_TRUE(client.Send(JobStart() + Label(1) + Ask(2)));
    ASSERT_THAT(client.Receive(kRecordBytes), SizeIs(kRecordBytes));
    program.Kill();
    EXPECT_TRUE(fs::exists(folder / picture));
  }
}

TEST_F(SimulateTest, EndsByItselfAfterTheJobsItWasAskedFor) {
  Program program({"simulate", "--listen", "127.0.0.2:0", "--speed", "instant", "--jobs", "1"});
  ASSERT_TRUE(program.WaitFor(")\n")) << program.text;
  {
    const TcpClient client(AddressIn(program.text));
    ASSERT_TRUE(client.Send(JobStart() + Label(1) + EndOfJob()));
  }
  EXPECT_EQ(program.Wait(), 0);
}

// The whole way: a job from one program over the network into another, which loses its power or its life meanwhile.
class PulledPlugTest : public SimulateTest {
 protected:
  PulledPlugTest() : address(OwnAddress()) {
    Program print({"print", kJob, "--out", (folder / "reference").string()});
    EXPECT_EQ(print.Wait(), 0) << print.text;
  }

  // Free at the printers' port, and nobody else's.
  static std::string OwnAddress() {
    const sc3xxmon::test::LoopbackListener listener;
    return sc3xxmon::platform::ToUtf8(listener.Address());
  }

  std::vector<std::string> Simulate(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments{"simulate", "--listen", address, "--out", Printed().string(), "--speed", "1000"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  fs::path Printed() const { return folder / "printed"; }

  // The pictures of a folder in the order of printing; those that came out again count where they came first.
  static std::vector<std::string> PicturesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().extension() == ".png") {
        files.push_back(entry.path());
      }
    }
    std::sort(files.begin(), files.end());
    std::vector<std::string> pictures;
    for (const fs::path& file : files) {
      std::ifstream stream(file, std::ios::binary);
      std::string bytes{std::istreambuf_iterator<char>(stream), {}};
      if (std::find(pictures.begin(), pictures.end(), bytes) == pictures.end()) {
        pictures.push_back(std::move(bytes));
      }
    }
    return pictures;
  }

  void ExpectEveryLabelInOrder() const {
    const auto expected = PicturesIn(folder / "reference");
    EXPECT_EQ(expected.size(), 25u);
    EXPECT_TRUE(PicturesIn(Printed()) == expected);
  }

  static inline const std::string kJob = std::string(SC3XXMON_SOURCE_DIR) + "/samples/asset-labels.kpl";
  const std::string address;
};

TEST_F(PulledPlugTest, APrinterThatLosesItsPowerAndGetsItBackLosesNoLabel) {
  Program simulate(Simulate({"--fault", "power-off@label:7,for:2s", "--jobs", "1"}));
  ASSERT_TRUE(simulate.WaitFor("listening on")) << simulate.text;
  Program print({"print", kJob, "--port", "lan:" + address});
  EXPECT_EQ(print.Wait(), 0) << print.text;
  EXPECT_EQ(simulate.Wait(), 0) << simulate.text;
  EXPECT_THAT(simulate.text, HasSubstr("fault ends: power-off"));
  ExpectEveryLabelInOrder();
}

TEST_F(PulledPlugTest, ASimulatorThatIsKilledAndStartedAgainLosesNoLabel) {
  Program simulate(Simulate());
  ASSERT_TRUE(simulate.WaitFor("listening on")) << simulate.text;
  Program job({"print", kJob, "--port", "lan:" + address});
  ASSERT_TRUE(simulate.WaitFor("label 5 printed")) << simulate.text;
  simulate.Kill();
  ASSERT_TRUE(job.WaitFor("no contact")) << job.text;
  Program again(Simulate({"--jobs", "1"}));
  EXPECT_EQ(job.Wait(), 0) << job.text;
  EXPECT_EQ(again.Wait(), 0) << again.text;
  ExpectEveryLabelInOrder();
}

TEST_F(PulledPlugTest, ASimulatorThatIsEndedInOrderAndStartedAgainLosesNoLabel) {
  Program simulate(Simulate());
  ASSERT_TRUE(simulate.WaitFor("listening on")) << simulate.text;
  Program job({"print", kJob, "--port", "lan:" + address});
  ASSERT_TRUE(simulate.WaitFor("label 5 printed")) << simulate.text;
  simulate.Terminate();
  EXPECT_EQ(simulate.Wait(), 0);
  ASSERT_TRUE(job.WaitFor("no contact")) << job.text;
  Program again(Simulate({"--jobs", "1"}));
  EXPECT_EQ(job.Wait(), 0) << job.text;
  EXPECT_EQ(again.Wait(), 0) << again.text;
  ExpectEveryLabelInOrder();
}

TEST_F(SimulateTest, AnAddressThatIsTakenExitsWithOneAndWrongUseWithTwo) {
  Program program({"simulate", "--listen", "127.0.0.2:0"});
  ASSERT_TRUE(program.WaitFor(")\n")) << program.text;
  Program second({"simulate", "--listen", Format(AddressIn(program.text))});
  EXPECT_EQ(second.Wait(), 1);
  Program wrong({"simulate", "--listen", "127.0.0.2:x"});
  EXPECT_EQ(wrong.Wait(), 2);
}

}  // namespace
}  // namespace sc3xx::test
