// Debug flags, through the registry as a developer sets them. A flag stays on for as long as the library is loaded, so
// each test wants a process of its own, as ctest gives it.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DebugFlags : public DoorTest {
 protected:
  void SetUp() override {
    static bool firstTest = true;
    if (!firstTest) {
      GTEST_SKIP() << "an earlier test of this process has set flags, which nothing takes back: run under ctest";
    }
    firstTest = false;
  }
  void SetFlag(const wchar_t* name, std::uint32_t number = 1) { host.SetNumber(RecordingHost::kDebug, name, number); }
};

TEST_F(DebugFlags, NoDeviceIoPrintsWithoutTouchingThePort) {
  SetFlag(L"NoDeviceIO");
  LoadMonitor();
  for (std::uint32_t row = 1; row <= 9; ++row) {
    UseModel(row);
    SetOption(L"PdChunkSize", row % 2 == 0 ? 200 : 3);
    Print(Document(3));
    EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 3u) << "row " << row;
  }
  EXPECT_EQ(port.writeCalls, 0u);
  EXPECT_EQ(port.readCalls, 0u);
  EXPECT_EQ(port.opens, 9u);
  EXPECT_EQ(port.startedDocuments, 9u);
  EXPECT_EQ(port.endedDocuments, 9u);
  EXPECT_EQ(port.closes, 9u);
}

TEST_F(DebugFlags, NoDeviceIoReadReportsAllAndLeavesTheBuffer) {
  SetFlag(L"NoDeviceIO");
  LoadMonitor();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Read(key, 5), TRUE);
  EXPECT_EQ(read, 5u);
  EXPECT_EQ(readBytes, ByteString(5, 0xEE));
}

TEST_F(DebugFlags, BypassPassesTheStreamThroughBehindTheReadiness) {
  SetFlag(L"BypassMode");
  LoadMonitor();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(Bytes("41 42 43")), TRUE);
  EXPECT_EQ(written, 3u);
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 56", "41 42 43"));
  port.LimitWrite(1);
  EXPECT_EQ(Write(Bytes("44 45")), TRUE);
  EXPECT_EQ(written, 1u);
  port.FailWrite();
  EXPECT_EQ(Write(Bytes("46")), FALSE);
  story.clear();
  End();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DebugFlags, BypassWithoutTheLockIsTheBareStream) {
  SetFlag(L"BypassMode");
  SetFlag(L"DontLock");
  LoadMonitor();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_THAT(Writes(), ElementsAre(Hex(Document(2))));
  EXPECT_EQ(port.readCalls, 0u);
}

TEST_F(DebugFlags, DontLockSendsWithoutAskingFirst) {
  SetFlag(L"DontLock");
  LoadMonitor();
  Print(Document(2));
  EXPECT_THAT(Wire(), ElementsAre("write 1B 73 01 00 00 00", Wrote(Label(1)), "write 1B 41 02", Wrote(Label(2)),
                                  "read 32", "write 1B 41 00", "read 32", "write 1B 51"));
}

TEST_F(DebugFlags, DontLockStillWaitsForAPrinterInTrouble) {
  SetFlag(L"DontLock");
  LoadMonitor();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.status = 2});
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_THAT(Writes(), Contains("1B 41 00"));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 2u);
}

TEST_F(DebugFlags, NothingButOneTurnsAFlagOn) {
  SetFlag(L"NoDeviceIO", 2);
  SetFlag(L"BypassMode", 0xFFFFFFFF);
  SetFlag(L"DontLock", 0);
  host.log.clear();
  LoadMonitor();
  EXPECT_THAT(host.LogTexts(), Contains("Debug: 1; Trace: 1; Test: 0;"));
}

TEST_F(DebugFlags, NoMediaCheckIsShownAndChangesNothing) {
  SetFlag(L"NoMediaCheck");
  host.log.clear();
  LoadMonitor();
  EXPECT_THAT(host.LogTexts(), Contains("Debug: 1; Trace: 1; Test: 8;"));
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.bay = 2});
  Write(JobStart());
  EXPECT_THAT(host.jobs[kJobId].texts, ElementsAre(L"Out of labels"));
}

TEST_F(DebugFlags, FlagsCountOnlyWhileTheDebugLevelIsOn) {
  SetFlag(L"NoDeviceIO");
  SetFlag(L"DebugLevel", 0);
  host.log.clear();
  LoadMonitor();
  Print(Document(1));
  EXPECT_GT(port.writeCalls, 0u);
  EXPECT_THAT(host.log, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon::test
