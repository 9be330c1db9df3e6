// The log at level 2: records of threads and processes in files, and what becomes of them when there is no writing.
#include <chrono>
#include <future>
#include <map>
#include <thread>

#include "diag/log_fixture.h"
#include "platform/named_mutex.h"
#include "platform/posix/shared_memory.h"
#include "platform/process.h"
#include "support/child_process.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::LogFixture;
using test::TestHost;
using test::ThreadPrefix;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class DebugLogFileTest : public LogFixture {
 protected:
  static HANDLE LogMutex() { return diag::log.mutex.load(); }
};

TEST_F(DebugLogFileTest, ARecordGoesToTheFileAndNotToTheDebugger) {
  LogStarts();
  KovaDebugPrint(At("SCMon_OpenPortEx", 61), "port=%ws; printer=%ws, isUsb=%d", L"USB001", L"KOVA Scrivelo 310", 1);
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() +
                                     "[218:SCMon_OpenPortEx,0061] port=USB001; printer=KOVA Scrivelo 310, isUsb=1"));
  EXPECT_THAT(host.channel, IsEmpty());
}

TEST_F(DebugLogFileTest, TheTimeStandsBeforeTheThread) {
  LogStarts();
  KovaDebugPrint("text");
  EXPECT_THAT(Lines(), ElementsAre(MatchesRegex("\\[[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9][0-9][0-9]\\] "
                                                "\\[[0-9A-F][0-9A-F][0-9A-F][0-9A-F]+\\] text")));
}

TEST_F(DebugLogFileTest, AtLevel0ThereIsNoFileNoFolderAndNoMutex) {
  TestHost::SetDebugLevel(1);
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 0);
  host.SetNumber(TestHost::kDebug, L"TraceDetail", 28);
  ReadDebugSettings(nullptr);
  KovaDebugPrint("text");
  EXPECT_FALSE(fs::exists(root.Folder()));
  EXPECT_EQ(LogMutex(), nullptr);
  EXPECT_THAT(host.channel, IsEmpty());
}

TEST_F(DebugLogFileTest, AtLevel1ThereIsNoFolderEither) {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 1);
  ReadDebugSettings(nullptr);
  KovaDebugPrint("text");
  EXPECT_FALSE(fs::exists(root.Folder()));
  EXPECT_THAT(host.channel, ElementsAre(ThreadPrefix() + "text", "\n"));
}

TEST_F(DebugLogFileTest, TheSettingsStartTheLog) {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 2);
  ReadDebugSettings(nullptr);
  KovaDebugPrint("text");
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() + "text"));
}

TEST_F(DebugLogFileTest, ALongMessageIsCutOffAndStillEnds) {
  LogStarts();
  KovaDebugPrint("%s", std::string(5000, 'x').c_str());
  KovaDebugPrint("next");
  const std::string whole = ThreadPrefix() + std::string(5000, 'x');
  EXPECT_THAT(Records(), ElementsAre(whole.substr(0, 2046), ThreadPrefix() + "next"));
}

TEST_F(DebugLogFileTest, AFileOfTheSameNameIsContinued) {
  LogStarts();
  std::ofstream(LogPath()) << "[earlier] \n";
  KovaDebugPrint("text");
  EXPECT_EQ(Lines().at(0), "[earlier] ");
  EXPECT_THAT(Lines(), SizeIs(2));
}

TEST_F(DebugLogFileTest, AFileThatWentAwayIsMadeAgain) {
  LogStarts();
  KovaDebugPrint("first");
  fs::remove(LogPath());
  KovaDebugPrint("second");
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() + "second"));
}

TEST_F(DebugLogFileTest, TheLastErrorStaysAsItWas) {
  LogStarts();
  host.lastError = 31;
  KovaDebugPrint("text");
  EXPECT_EQ(host.lastError, 31U);
  EXPECT_EQ(host.lastErrorWrites, 0);
}

TEST_F(DebugLogFileTest, TwoThreadsOf10000RecordsEachWriteWholeLines) {
  constexpr int kRecords = 10000;
  LogStarts();
  const auto write = [](char name) {
    for (int i = 0; i < kRecords; ++i) {
      KovaDebugPrint(At("Function"), "%s%d", std::string(static_cast<std::size_t>(1 + i % 50), name).c_str(), i);
    }
  };
  std::thread other(write, 'b');
  write('a');
  other.join();
  std::map<char, int> next{{'a', 0}, {'b', 0}};
  for (const std::string& record : Records()) {
    const std::string message = record.substr(record.rfind("] ") + 2);
    int& number = next.at(message.front());
    ASSERT_EQ(message, std::string(static_cast<std::size_t>(1 + number % 50), message.front()) + std::to_string(number))
        << record;
    ++number;
  }
  EXPECT_EQ(next, (std::map<char, int>{{'a', kRecords}, {'b', kRecords}}));
  EXPECT_THAT(host.channel, IsEmpty());
}

// Another copy of the library in this process has a mutex of the same name.
TEST_F(DebugLogFileTest, TwoLogsOfOneModuleExcludeEachOther) {
  LogStarts();
  const std::wstring name = L"KOVA.DEBUG.SYNC.diag_tests." + std::to_wstring(platform::CurrentProcessId());
  HANDLE const other = platform::CreateNamedMutex(name);
  ASSERT_NE(other, nullptr);
  ASSERT_TRUE(platform::TakeNamedMutex(other, 0));
  std::thread([] { EXPECT_FALSE(platform::TakeNamedMutex(LogMutex(), 0)); }).join();
  platform::ReleaseNamedMutex(other);
  platform::CloseNamedMutex(other);
  KovaDebugPrint("text");
  EXPECT_THAT(Records(), SizeIs(1));
}

TEST_F(DebugLogFileTest, TwoProcessesWriteTwoFiles) {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 2);
  const auto logs = [](test::ProcessChannel& parent) {
    ReadDebugSettings(nullptr);
    for (int i = 0; i < 100; ++i) {
      KovaDebugPrint("process %d", platform::CurrentProcessId());
    }
    fs::remove(
        platform::SharedMemoryPath(L"KOVA.DEBUG.SYNC.diag_tests." + std::to_wstring(platform::CurrentProcessId())));
    parent.Tell('d');
  };
  {
    test::ChildProcess first(logs);
    test::ChildProcess second(logs);
    ASSERT_EQ(first.Channel().Hear(), 'd');
    ASSERT_EQ(second.Channel().Hear(), 'd');
  }
  const std::vector<fs::path> files = root.Files();
  ASSERT_THAT(files, SizeIs(2));
  for (const fs::path& file : files) {
    const std::vector<std::string> lines = test::LinesOf(test::TextOfFile(file));
    EXPECT_THAT(lines, SizeIs(100));
    const std::string process = lines.at(0).substr(lines.at(0).rfind(' ') + 1);
    EXPECT_NE(file.string().find("_" + process + "_"), std::string::npos);
    EXPECT_THAT(lines, Each(::testing::EndsWith("process " + process)));
  }
}

// The one wait on the real clock: that it ends after a second is what is shown.
TEST_F(DebugLogFileTest, AMutexHeldForOverASecondSendsTheRecordToTheDebugger) {
  LogStarts();
  std::promise<void> taken;
  std::promise<void> done;
  std::thread holder([&] {
    ASSERT_TRUE(platform::TakeNamedMutex(LogMutex(), 0));
    taken.set_value();
    done.get_future().wait();
    platform::ReleaseNamedMutex(LogMutex());
  });
  taken.get_future().wait();
  const auto before = std::chrono::steady_clock::now();
  KovaDebugPrint("text");
  const auto waited = std::chrono::steady_clock::now() - before;
  done.set_value();
  holder.join();
  EXPECT_GE(waited, std::chrono::milliseconds(1000));
  EXPECT_THAT(host.channel, ElementsAre("KovaDebugPrint: Failed to acquire mutex\n", ThreadPrefix() + "text", "\n"));
  EXPECT_FALSE(fs::exists(LogPath()));
}

TEST_F(DebugLogFileTest, AThreadThatEndsWithTheMutexGivesItBack) {
  LogStarts();
  std::thread([] { ASSERT_TRUE(platform::TakeNamedMutex(LogMutex(), 0)); }).join();
  KovaDebugPrint("text");
  KovaDebugPrint("more");
  EXPECT_THAT(Records(), SizeIs(2));
}

TEST_F(DebugLogFileTest, WithoutALogFolderRecordsGoToTheDebugger) {
  fs::remove(root.Path() / "Logs");
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 2);
  ReadDebugSettings(nullptr);
  EXPECT_EQ(DebugLevel(), 2U);
  KovaDebugPrint("text");
  EXPECT_THAT(host.channel, ElementsAre("KovaDebugPrint: Failed to acquire mutex\n", ThreadPrefix() + "text", "\n"));
}

TEST_F(DebugLogFileTest, AFolderThatVanishesWhileRunningSendsRecordsToTheDebugger) {
  LogStarts();
  KovaDebugPrint("first");
  fs::remove_all(root.Folder());
  KovaDebugPrint("second");
  EXPECT_THAT(host.channel, ElementsAre("KovaDebugPrint: Failed write log entry\n", ThreadPrefix() + "second", "\n"));
  fs::create_directory(root.Folder());
  KovaDebugPrint("third");
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() + "third"));
}

TEST_F(DebugLogFileTest, AFolderWithTheLogsNameSendsRecordsToTheDebugger) {
  LogStarts();
  fs::create_directory(LogPath());
  KovaDebugPrint("text");
  EXPECT_THAT(host.channel, ElementsAre("KovaDebugPrint: Failed write log entry\n", ThreadPrefix() + "text", "\n"));
}

}  // namespace
}  // namespace sc3xxmon
