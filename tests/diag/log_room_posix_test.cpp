// The log where writing fails for reasons of the system's: rights and room.
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "diag/log_fixture.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::ThreadPrefix;
using ::testing::ElementsAre;

class LogRoomTest : public test::LogFixture {};

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

// A limit on the size of files stands for a full disk: writes come to nothing in the same way.
TEST_F(LogRoomTest, AFullDiskSendsRecordsToTheDebuggerAndRoomBringsThemBack) {
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
