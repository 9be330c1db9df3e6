#include "apps/log/log_story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "apps/log/log_report.h"

namespace sc3xx {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// Builds a log as the monitor writes it, from a time on and for one thread at a time.
class LogText {
 public:
  LogText& At(const char* time) {
    time_ = time;
    return *this;
  }
  LogText& On(const char* thread) {
    thread_ = thread;
    return *this;
  }
  LogText& Says(const std::string& function, const std::string& message) {
    text_ += "[" + time_ + "] [" + thread_ + "] [218:" + function + ",0042] " + message + "\n";
    return *this;
  }
  LogText& Starts(int job) {
    return Says("SCMon_StartDocPort", "printer=Labels; dwJobId=" + std::to_string(job) + "; dwLevel=1");
  }
  LogText& Acknowledges(int label, int attempts, int total) {
    return Says("DispatchLabels", "Status for label #" + std::to_string(label) + " acknowledged(" +
                                      std::to_string(attempts) + " attempts). Total in job: " + std::to_string(total) +
                                      "; ACK: " + std::to_string(label) + "; NAK: 0; UNSENT: 0");
  }
  LogText& Ends() { return Says("SC_WritePort2", "SC_WritePort2 done.").Says("SCMon_EndDocPort", "Last page ejected"); }
  LogText& Raw(const std::string& line) {
    text_ += line + "\n";
    return *this;
  }

  LogStory Told() const { return TellLog(ParseLog(text_)); }
  std::string Text() const { return StoryAsText(Told(), "a.log", false); }

 private:
  std::string text_;
  std::string time_ = "10:00:00.000";
  std::string thread_ = "1A2C";
};

TEST(LogLineTest, IsTakenApart) {
  const auto record = ParseLogLine("[15:44:22.031] [1A2C] [218:SCMon_OpenPortEx,0061] port=USB001; isUsb=1");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->time, "15:44:22.031");
  EXPECT_EQ(record->timeMs, ((15u * 60 + 44) * 60 + 22) * 1000 + 31);
  EXPECT_EQ(record->thread, "1A2C");
  EXPECT_EQ(record->function, "SCMon_OpenPortEx");
  EXPECT_EQ(record->text, "port=USB001; isUsb=1");
}

TEST(LogLineTest, MayHaveNoPrefix) {
  const auto record = ParseLogLine("[15:44:22.031] [1A2C] [f0-f1-f2] and more");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->function, "");
  EXPECT_EQ(record->text, "[f0-f1-f2] and more");
}

TEST(LogLineTest, OtherLinesAreNone) {
  for (const char* line : {"", "text", "[15:44:22.031]", "[15:44:22.031] text", "[15:44:2x.031] [1A2C] text",
                           "[15:44:22.031] [1A2C", "\xff\xfe[15:44:22.031] [1A2C] text"}) {
    EXPECT_FALSE(ParseLogLine(line)) << line;
  }
}

TEST(LogMatchTest, GivesTheValuesOfAText) {
  EXPECT_THAT(*Match("a=%d; b=%s; c=%d", "a=-1; b=x; y; c=3"), ElementsAre("-1", "x; y", "3"));
  EXPECT_FALSE(Match("a=%d", "a=x"));
  EXPECT_FALSE(Match("a=%d", "a=1 more"));
  EXPECT_FALSE(Match("a=%d more", "a=1"));
}

TEST(LogStoryTest, AJobWithoutTroubleIsTwoLines) {
  LogText log;
  log.At("10:00:00.000").Starts(7);
  log.At("10:00:00.200").Acknowledges(1, 1, 2).At("10:00:00.500").Acknowledges(2, 1, 2).Ends();
  EXPECT_EQ(log.Text(),
            "a.log: 1 job, 10:00:00.000 to 10:00:00.500\n"
            "\n"
            "Job 7 on Labels: printed, 2 of 2 labels acknowledged, 0.5 s (10:00:00.000 to 10:00:00.500)\n"
            "  labels 1 to 2: 1 attempt each, 0.5 s\n");
}

TEST(LogStoryTest, AWaitIsSummedUpWithItsCause) {
  LogText log;
  log.Starts(7).Acknowledges(1, 1, 3).Acknowledges(2, 1, 3);
  log.Says("DispatchLabels", "BAD PrintStatus(2) for label #3.");
  log.At("10:00:01.000").Says("SetJobErrorState", "Media status has become BAD: 2");
  log.At("10:00:14.200").Says("ClearJobErrorState", "Media status GOOD").Says("WaitForPrinterReady", "Lock kept");
  log.At("10:00:14.500").Acknowledges(3, 2, 3).Ends();
  EXPECT_THAT(log.Text(), HasSubstr("  label 3: 2 attempts, 14.2 s out of labels\n"));
}

TEST(LogStoryTest, SeveralCausesAreToldEach) {
  LogText log;
  log.Starts(7);
  log.Says("WaitForPrinterReady", "Printer lock failed (taken by someone else)");
  log.At("10:00:01.000").Says("WaitForPrinterReady", "Lock acquired");
  log.Says("SetJobErrorState", "Cutter status has become BAD");
  log.At("10:00:03.000").Says("ClearJobErrorState", "Cutter status has become GOOD");
  log.Says("DispatchLabels", "Receiving ESCA2 response for label #1 FAILED");
  log.At("10:00:06.000").Says("WaitForPrinterReady", "Lock kept").Acknowledges(1, 2, 1).Ends();
  EXPECT_THAT(
      log.Text(),
      HasSubstr("  label 1: 2 attempts, 1.0 s printer in use by another, 2.0 s cutter jam, 3.0 s no contact\n"));
  EXPECT_THAT(log.Text(), HasSubstr("  trouble: Receiving ESCA2 response for label #1 FAILED\n"));
}

TEST(LogStoryTest, TheSameTroubleIsCounted) {
  LogText log;
  log.Starts(7);
  for (int i = 0; i < 3; ++i) {
    log.Says("CSocket::Connect", "WSAConnect failed: err=10061");
  }
  EXPECT_THAT(log.Text(), HasSubstr("  trouble: WSAConnect failed: err=10061 (3 times)\n"));
}

struct OutcomeCase {
  const char* function;
  const char* text;
  LoggedOutcome outcome;
};
void PrintTo(const OutcomeCase& each, std::ostream* out) {
  *out << each.function << ": " << each.text;
}

class LogOutcomeTest : public ::testing::TestWithParam<OutcomeCase> {};

TEST_P(LogOutcomeTest, IsTold) {
  LogText log;
  log.Starts(7).Says(GetParam().function, GetParam().text).Says("SCMon_EndDocPort", "Last page ejected");
  EXPECT_THAT(log.Told().jobs, ElementsAre(Field(&LoggedJob::outcome, GetParam().outcome)));
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, LogOutcomeTest,
    ::testing::Values(
        OutcomeCase{"SC_WritePort2", "SC_WritePort2 done.", LoggedOutcome::kPrinted},
        OutcomeCase{"DispatchLabels", "Print job cancelled by the printer", LoggedOutcome::kCancelled},
        OutcomeCase{"DispatchLabels", "Print job aborted by the spooler", LoggedOutcome::kDeleted},
        OutcomeCase{"WaitForPrinterReady", "Communication issues. Restarting print job.", LoggedOutcome::kRestarted},
        OutcomeCase{"WaitForPrinterReady", "Printer status error!", LoggedOutcome::kGivenUp},
        OutcomeCase{"WaitForPrinterReady", "Job appears to be stuck - no labels sent in 1000 retries. Aborting.",
                    LoggedOutcome::kGivenUp},
        OutcomeCase{"SC_WritePort2", "Parsed labels sent. No footer yet, exiting.", LoggedOutcome::kEnded}));

TEST(LogStoryTest, ADocumentThatIsRefusedIsAJobThatNeverBegan) {
  LogText log;
  log.Starts(7).Says("SCMon_StartDocPort", "StartDocPort is busy - canst start new doc");
  const LogStory story = log.Told();
  ASSERT_THAT(story.jobs, SizeIs(1));
  EXPECT_EQ(story.jobs[0].outcome, LoggedOutcome::kRefused);
  EXPECT_THAT(log.Text(), HasSubstr("refused (StartDocPort is busy - canst start new doc) at 10:00:00.000"));
}

TEST(LogStoryTest, AJobThatTheLogDoesntEndIsUnfinished) {
  LogText log;
  log.Starts(7).Acknowledges(1, 1, 2);
  EXPECT_EQ(log.Told().jobs.at(0).outcome, LoggedOutcome::kUnfinished);
}

TEST(LogStoryTest, JobsOfTwoThreadsAreToldApart) {
  LogText log;
  log.On("0001").Starts(7).On("0002").Starts(8).On("0001").Acknowledges(1, 1, 1).On("0002").Acknowledges(1, 3, 1);
  log.On("0001").Ends().On("0002").Ends();
  const LogStory story = log.Told();
  ASSERT_THAT(story.jobs, SizeIs(2));
  EXPECT_EQ(story.jobs[0].labels.at(0).attempts, 1u);
  EXPECT_EQ(story.jobs[1].labels.at(0).attempts, 3u);
}

TEST(LogStoryTest, MidnightDoesntTurnTheTimeBack) {
  LogText log;
  log.At("23:59:59.000").Starts(7).At("00:00:01.500").Acknowledges(1, 1, 1).Ends();
  EXPECT_EQ(log.Told().jobs.at(0).milliseconds, 2500u);
}

TEST(LogStoryTest, LinesThatWereCutAreCounted) {
  LogText log;
  log.Raw("[10:00:0").Starts(7).Ends();
  EXPECT_THAT(log.Text(), HasSubstr("1 line that the monitor didn't write whole\n"));
}

TEST(LogStoryTest, ControlCharactersDontReachTheTerminal) {
  LogText log;
  log.Says("SCMon_StartDocPort", "printer=\033[2J; dwJobId=7; dwLevel=1").Ends();
  EXPECT_THAT(log.Text(), HasSubstr("Job 7 on ?[2J:"));
}

TEST(LogStoryTest, ColoursAreForTerminals) {
  LogText log;
  log.Starts(7).Ends();
  EXPECT_THAT(StoryAsText(log.Told(), "a.log", true), HasSubstr("\033[32mprinted\033[0m"));
}

TEST(LogStoryTest, AnEmptyLogHasNoJobs) {
  EXPECT_THAT(LogText().Told().jobs, IsEmpty());
  EXPECT_EQ(LogText().Text(), "a.log: 0 jobs\n");
}

TEST(LogStoryTest, AsJsonItHoldsTheSame) {
  LogText log;
  log.Starts(7).Says("SetJobErrorState", "Media status has become BAD: 9");
  log.At("10:00:02.000").Says("ClearJobErrorState", "Media status GOOD").Acknowledges(1, 1, 1).Ends();
  const std::string json = StoryAsJson(log.Told(), "a.log");
  EXPECT_THAT(json, HasSubstr("\"cause\": \"label jam\""));
  EXPECT_THAT(json, HasSubstr("\"milliseconds\": 2000"));
}

}  // namespace
}  // namespace sc3xx
