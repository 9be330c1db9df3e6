// The log where writing fails for reasons of the system's: rights and room.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "diag/log_fixture.h"
#include "support/child_process.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::ThreadPrefix;
using ::testing::ElementsAre;

class LogRoomTest : public test::LogFixture {
 protected:
  // The folder becomes a disk of two pages, for this process alone and until its end. False if the system doesn't let it.
  static bool MakeTinyDiskOf(const fs::path& folder) {
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", folder.c_str(), "tmpfs", 0, "size=8k") == 0;
  }

  // True if the first record that finds no room goes to the debugger, and the first one after room is made to the file.
  bool FillsTheDiskAndFindsRoomAgain() {
    for (int records = 0; host.channel.empty() && records < 1000; ++records) {
      KovaDebugPrint("full");
    }
    const std::vector<std::string> told = host.channel;
    fs::remove(LogPath());
    KovaDebugPrint("room");
    return told ==
               std::vector<std::string>{"KovaDebugPrint: Failed write log entry\n", ThreadPrefix() + "full", "\n"} &&
           host.channel == told && test::TextOfFile(LogPath()).ends_with("room\n");
  }
};

// Root may write into any folder, so that for the record's time the process is nobody, who may write into no folder of
// root's.
TEST_F(LogRoomTest, AReadOnlyFolderSendsRecordsToTheDebugger) {
  constexpr uid_t kNobody = 65534;
  LogStarts();
  fs::permissions(root.Folder(), static_cast<fs::perms>(0555));
  const bool isRoot = geteuid() == 0;
  ASSERT_TRUE(!isRoot || seteuid(kNobody) == 0);
  KovaDebugPrint("text");
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  fs::permissions(root.Folder(), fs::perms::owner_all);
  EXPECT_THAT(host.channel, ElementsAre("KovaDebugPrint: Failed write log entry\n", ThreadPrefix() + "text", "\n"));
}

TEST_F(LogRoomTest, AFullDiskSendsRecordsToTheDebuggerUntilThereIsRoom) {
  LogStarts();
  KovaDebugPrint("first");
  test::ChildProcess child([this](test::ProcessChannel& parent) {
    parent.Tell(!MakeTinyDiskOf(root.Folder()) ? 's' : FillsTheDiskAndFindsRoomAgain() ? 'y' : 'n');
  });
  const char outcome = child.Channel().Hear();
  if (outcome == 's') {
    GTEST_SKIP() << "only root may make a disk";
  }
  EXPECT_EQ(outcome, 'y');
}

// A limit on the size of files is as good as a full disk: writes come to nothing in the same way.
TEST_F(LogRoomTest, AFileThatMayNotGrowSendsRecordsToTheDebuggerAndRoomBringsThemBack) {
  LogStarts();
  KovaDebugPrint("first");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit full = before;
  full.rlim_cur = fs::file_size(LogPath()) + 4;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
  KovaDebugPrint("second");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, formerHandler);
  KovaDebugPrint("third");
  EXPECT_THAT(host.channel, ElementsAre("KovaDebugPrint: Failed write log entry\n", ThreadPrefix() + "second", "\n"));
  EXPECT_THAT(test::TextOfFile(LogPath()), ::testing::EndsWith("third\n"));
}

}  // namespace
}  // namespace sc3xxmon
