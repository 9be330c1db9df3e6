// The record of every exchange, and its form as JSON lines.
#include "simulator/transcript.h"

#include <nlohmann/json.hpp>

#include "printer_desk.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TranscriptTest : public PrinterDesk {
 protected:
  std::vector<std::string> Kinds() {
    std::vector<std::string> kinds;
    for (const Exchange& exchange : Printer().Transcript()) kinds.push_back(exchange.kind);
    return kinds;
  }
};

TEST_F(TranscriptTest, TellsTheStoryOfAJob) {
  Send(Ask(1) + AskFirmware() + JobStart() + Label(1) + Ask(2) + EndOfJob());
  EXPECT_THAT(Kinds(), ElementsAre("connected", "status request 1", "lock taken", "status", "firmware request",
                                   "firmware", "start of job", "label", "label printed", "status request 2", "status",
                                   "end of job", "lock free"));
}

TEST_F(TranscriptTest, KeepsTheBytesOfRequestsAndAnswersAndTheLengthOfLabels) {
  Send(JobStart() + Label(1) + Ask(2));
  for (const Exchange& exchange : Printer().Transcript()) {
    if (exchange.kind == "status request 2") {
      EXPECT_EQ(exchange.bytes, Ask(2));
    }
    if (exchange.kind == "status") {
      EXPECT_EQ(exchange.bytes.size(), 32u);
    }
    if (exchange.kind != "label") continue;
    EXPECT_EQ(exchange.length, Label(1).size());
    EXPECT_THAT(exchange.bytes, IsEmpty());
    EXPECT_THAT(exchange.meaning, HasSubstr("label 1, 10 lines of 64 dots"));
  }
}

TEST_F(TranscriptTest, TellsOfFaultsInTheirOwnWords) {
  AddFault("bay=2@1s,for:2s");
  Pass(1000);
  Send(Ask(0));
  Pass(2000);
  const auto& lines = Printer().Transcript();
  EXPECT_EQ(lines[1].kind, "fault begins");
  EXPECT_EQ(lines[1].meaning, "bay=2@1s,for:2s");
  EXPECT_EQ(lines[1].timeMs, 1000u);
  EXPECT_THAT(lines[3].meaning, HasSubstr("out of labels"));
  EXPECT_EQ(lines[4].kind, "fault ends");
  EXPECT_EQ(lines[4].timeMs, 3000u);
}

TEST_F(TranscriptTest, CanBeSwitchedOff) {
  settings.transcript = false;
  Send(JobStart() + Label(1) + Ask(2));
  EXPECT_THAT(Printer().Transcript(), IsEmpty());
}

TEST_F(TranscriptTest, CanBeTakenAway) {
  Send(Ask(0));
  EXPECT_EQ(Printer().TakeTranscript().size(), 3u);
  EXPECT_THAT(Printer().Transcript(), IsEmpty());
}

TEST_F(TranscriptTest, IsOneJsonObjectALine) {
  Send(Ask(0));
  const std::string lines = ToJsonLines(Printer().Transcript(), "desk");
  std::istringstream stream(lines);
  std::string line;
  std::vector<nlohmann::json> objects;
  while (std::getline(stream, line)) objects.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(objects.size(), 3u);
  EXPECT_EQ(objects[0]["kind"], "connected");
  EXPECT_EQ(objects[1]["dir"], "in");
  EXPECT_EQ(objects[1]["bytes"], "1b4100");
  EXPECT_EQ(objects[1]["printer"], "desk");
  EXPECT_EQ(objects[2]["dir"], "out");
  EXPECT_EQ(objects[2]["length"], 32);
  EXPECT_EQ(objects[2]["meaning"], "ready");
  EXPECT_EQ(objects[2]["client"], 1);
}

TEST_F(TranscriptTest, SurvivesANameThatIsNoText) {
  Exchange exchange;
  exchange.kind = "status";
  exchange.client = kSomebodyElse;
  EXPECT_NO_THROW({
    const auto object = nlohmann::json::parse(ToJson(exchange, "\xFF\xFE"));
    EXPECT_EQ(object["client"], "somebody else");
  });
}

}  // namespace
}  // namespace simulator::test
