#include "apps/sc3xx/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace sc3xx {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ProgressTest : public ::testing::Test {
 protected:
  Progress Make(bool live, unsigned columns = 80) {
    return {out, debug, live, columns, [this] { return now; }};
  }

  // What stands on a terminal's last line after everything written so far.
  std::string LastLine() const {
    const std::string all = out.str();
    const std::size_t lineStart = all.rfind('\n') + 1;
    const std::string line = all.substr(lineStart);
    const std::size_t erased = line.rfind("\r\x1b[K");
    return erased == std::string::npos ? line : line.substr(erased + 4);
  }

  std::ostringstream out;
  std::ostringstream debug;
  std::uint64_t now = 0;
};

TEST_F(ProgressTest, WritesOneLineALabel) {
  Progress progress = Make(false);
  progress.BeginJob("job.kpl: 3 labels", 3);
  progress.LabelsAcknowledged(1);
  progress.LabelsAcknowledged(3);
  progress.EndJob();
  EXPECT_EQ(out.str(), "job.kpl: 3 labels\n  label 1 of 3 printed\n  label 2 of 3 printed\n  label 3 of 3 printed\n");
}

TEST_F(ProgressTest, PlainOutputHoldsNoControlBytesAndNothingOfMereTime) {
  Progress progress = Make(false);
  progress.BeginJob("job", 2);
  now = 60'000;
  progress.Tick();
  EXPECT_EQ(out.str(), "job\n");
}

TEST_F(ProgressTest, SaysWhatThePrinterSaysAndForHowLong) {
  Progress progress = Make(false);
  progress.BeginJob("job", 1);
  progress.MessageShown(L"Out of labels");
  now = 12'400;
  progress.MessageCleared();
  EXPECT_EQ(out.str(), "job\n  printer: Out of labels\n  printer: ready again after 12 s\n");
}

TEST_F(ProgressTest, ATerminalShowsTheLabelInWork) {
  Progress progress = Make(true);
  progress.BeginJob("job", 3);
  progress.LabelsAcknowledged(1);
  EXPECT_EQ(LastLine(), "  label 2 of 3 ...");
}

TEST_F(ProgressTest, ATerminalShowsTheMessageAndTheWait) {
  Progress progress = Make(true);
  progress.BeginJob("job", 3);
  progress.MessageShown(L"Bay Open");
  now = 5000;
  progress.Tick();
  EXPECT_EQ(LastLine(), "  label 1 of 3: Bay Open, waiting 5 s");
  progress.MessageCleared();
  EXPECT_EQ(LastLine(), "  label 1 of 3 ...");
}

TEST_F(ProgressTest, TheLiveLineIsGoneWhenTheJobEnds) {
  Progress progress = Make(true);
  progress.BeginJob("job", 1);
  progress.EndJob();
  EXPECT_EQ(LastLine(), "");
}

TEST_F(ProgressTest, TheLiveLineFitsTheTerminal) {
  Progress progress = Make(true, 24);
  progress.BeginJob("job", 3);
  progress.MessageShown(L"Этикетка застряла");
  EXPECT_EQ(LastLine(), "  label 1 of 3: Этикетк");
}

TEST_F(ProgressTest, ARestartCountsTheLabelsAnew) {
  Progress progress = Make(false);
  progress.BeginJob("job", 2);
  progress.LabelsAcknowledged(1);
  progress.Restarted(1);
  progress.LabelsAcknowledged(1);
  EXPECT_EQ(
      out.str(),
      "job\n  label 1 of 2 printed\n  contact with the printer was lost; the job starts again from its first label "
      "(restart 1)\n  label 1 of 2 printed\n");
}

TEST_F(ProgressTest, TellsARefusalOnceUntilALabelGetsThrough) {
  Progress progress = Make(false);
  progress.BeginJob("job", 2);
  progress.Refused(0);
  progress.Refused(0);
  progress.LabelsAcknowledged(1);
  progress.Refused(0);
  EXPECT_EQ(
      out.str(),
      "job\n  the printer can't take data just now\n  label 1 of 2 printed\n  the printer can't take data just now\n");
}

TEST_F(ProgressTest, TellsABusyPort) {
  Progress progress = Make(false);
  progress.BeginJob("job", 2);
  progress.StartRefused(170);
  EXPECT_THAT(out.str(), HasSubstr("another document has the printer"));
}

TEST_F(ProgressTest, TellsOnceWhatItWaitsForWhenThePrinterIsGone) {
  Progress progress = Make(false);
  progress.BeginJob("job", 2);
  progress.ContactLost("connection refused (error 10061)");
  progress.ContactLost("connection refused (error 10061)");
  progress.ContactLost("nobody answers at the address (error 10060)");
  progress.LabelsAcknowledged(1);
  EXPECT_EQ(out.str(),
            "job\n  no contact: connection refused (error 10061)\n"
            "  no contact: nobody answers at the address (error 10060)\n"
            "  label 1 of 2 printed\n");
}

TEST_F(ProgressTest, ATerminalShowsTheLossOfContactUntilItMayBeBack) {
  Progress progress = Make(true);
  progress.BeginJob("job", 2);
  progress.ContactLost("connection refused");
  now += 5000;
  progress.Tick();
  EXPECT_THAT(LastLine(), HasSubstr("label 1 of 2: no contact: connection refused, waiting 5 s"));
  progress.ContactMayBeBack();
  progress.Tick();
  EXPECT_THAT(LastLine(), Not(HasSubstr("refused")));
}

TEST_F(ProgressTest, ARefusalOfDataIsNoLossOfContact) {
  Progress progress = Make(true);
  progress.BeginJob("job", 2);
  progress.Refused(0);
  progress.ContactMayBeBack();
  progress.Tick();
  EXPECT_THAT(LastLine(), HasSubstr("can't take data just now"));
}

TEST_F(ProgressTest, ATerminalShowsWhereItConnectsToWhileThatLasts) {
  Progress progress = Make(true, 100);
  progress.BeginJob("job", 2);
  progress.Connecting("10.0.0.7");
  EXPECT_THAT(LastLine(), HasSubstr("connecting to 10.0.0.7"));
  progress.Connected();
  EXPECT_THAT(LastLine(), Not(HasSubstr("connecting")));
}

TEST_F(ProgressTest, ConnectingIsNothingForAFile) {
  Progress progress = Make(false);
  progress.BeginJob("job", 2);
  progress.Connecting("10.0.0.7");
  progress.Connected();
  EXPECT_EQ(out.str(), "job\n");
}

TEST_F(ProgressTest, TellsHowToLeaveWhileDeleting) {
  Progress progress = Make(true);
  progress.BeginJob("job", 2);
  progress.DeletionAsked();
  EXPECT_THAT(out.str(), HasSubstr("press Ctrl-C again"));
  EXPECT_THAT(LastLine(), HasSubstr("deleting the job"));
}

TEST_F(ProgressTest, DebugTextGoesElsewhereAndLeavesTheLiveLineWhole) {
  Progress progress = Make(true);
  progress.BeginJob("job", 2);
  progress.DebugText("[218:x,0001] text");
  EXPECT_EQ(LastLine(), "") << "the terminal's line belongs to the debug text until that ends";
  progress.DebugText("\n");
  EXPECT_EQ(debug.str(), "[218:x,0001] text\n");
  EXPECT_EQ(LastLine(), "  label 1 of 2 ...");
  EXPECT_THAT(out.str(), Not(HasSubstr("218")));
}

}  // namespace
}  // namespace sc3xx
