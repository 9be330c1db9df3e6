// Log and dump files as others of the machine see them: access, and what somebody may have put in a file's place.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file.h"
#include "platform/log_folder.h"
#include "platform/posix/default_log_root.h"
#include "platform/text.h"
#include "support/environment.h"
#include "support/log_root.h"
#include "support/test_host.h"

namespace sc3xxmon::platform {
namespace {

namespace fs = std::filesystem;
using test::TextOfFile;

class FileTest : public ::testing::TestWithParam<File (*)(const std::wstring&)> {
 protected:
  static File Open(const fs::path& file) { return GetParam()(file.wstring()); }

  test::LogRoot root;
  fs::path path = root.Path() / "file";
  fs::path target = root.Path() / "target";
};

TEST_P(FileTest, MakesTheFileForItsOwnerAndThePrintingGroupAtMost) {
  const mode_t mask = umask(0);
  EXPECT_TRUE(Open(path).IsOpen());
  umask(mask);
  struct stat state {};
  ASSERT_EQ(stat(path.c_str(), &state), 0);
  const group* const printing = getgrnam("lp");
  const bool shared = printing != nullptr && state.st_gid == printing->gr_gid;
  EXPECT_EQ(state.st_mode & 07777, shared ? 0660U : 0600U);
  if (geteuid() == 0 && printing != nullptr) {
    EXPECT_TRUE(shared);
  }
}

TEST_P(FileTest, KeepsTheAccessOfAFileThatIsThere) {
  std::ofstream(path) << "text";
  chmod(path.c_str(), 0640);
  Open(path);
  EXPECT_EQ(fs::status(path).permissions(), static_cast<fs::perms>(0640));
}

TEST_P(FileTest, RefusesALinkAndLeavesWhatItLeadsTo) {
  std::ofstream(target) << "text";
  fs::create_symlink(target, path);
  EXPECT_FALSE(Open(path).IsOpen());
  EXPECT_EQ(TextOfFile(target), "text");
}

TEST_P(FileTest, RefusesALinkThatLeadsNowhere) {
  fs::create_symlink(target, path);
  EXPECT_FALSE(Open(path).IsOpen());
  EXPECT_FALSE(fs::exists(target));
}

TEST_P(FileTest, RefusesAFileWithASecondName) {
  std::ofstream(target) << "text";
  fs::create_hard_link(target, path);
  EXPECT_FALSE(Open(path).IsOpen());
  EXPECT_EQ(TextOfFile(target), "text");
}

TEST_P(FileTest, RefusesAnotherUsersFile) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a file to another user";
  }
  std::ofstream(path) << "text";
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(chown(path.c_str(), kNobody, static_cast<gid_t>(-1)), 0);
  EXPECT_FALSE(Open(path).IsOpen());
  EXPECT_EQ(TextOfFile(path), "text");
}

// Nobody reads from the pipe: an opener that blocks would wait for ever.
TEST_P(FileTest, RefusesAPipe) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(Open(path).IsOpen());
}

TEST_P(FileTest, RefusesAFolder) {
  fs::create_directory(path);
  EXPECT_FALSE(Open(path).IsOpen());
}

INSTANTIATE_TEST_SUITE_P(Openings, FileTest, ::testing::Values(&File::OpenAtEnd, &File::CreateEmpty));

TEST(FileWriteTest, AFileIsContinuedOrReplaced) {
  const test::LogRoot root;
  const fs::path path = root.Path() / "file";
  EXPECT_EQ(File::OpenAtEnd(path.wstring()).Write("first", 5), 5U);
  EXPECT_EQ(File::OpenAtEnd(path.wstring()).Write("+second", 7), 7U);
  EXPECT_EQ(TextOfFile(path), "first+second");
  EXPECT_EQ(File::CreateEmpty(path.wstring()).Write("third", 5), 5U);
  EXPECT_EQ(TextOfFile(path), "third");
}

TEST(FileWriteTest, AFileThatIsMovedStaysOpenOnce) {
  const test::LogRoot root;
  File first = File::OpenAtEnd((root.Path() / "file").wstring());
  File second = std::move(first);
  EXPECT_FALSE(first.IsOpen());  // NOLINT(bugprone-use-after-move): that it is empty is what is shown
  EXPECT_EQ(second.Write("x", 1), 1U);
  EXPECT_EQ(first.Write("x", 1), 0U);
}

class LogFolderTest : public ::testing::Test {
 protected:
  test::LogRoot root;
  test::TestHost host;
};

TEST_F(LogFolderTest, IsForItsOwnerAndThePrintingGroupAtMost) {
  const std::wstring path = root.Name() + L"/made";
  const mode_t mask = umask(0);
  ASSERT_TRUE(MakeLogFolder(path));
  umask(mask);
  struct stat state {};
  ASSERT_EQ(stat(ToUtf8(path).c_str(), &state), 0);
  const group* const printing = getgrnam("lp");
  const bool shared = printing != nullptr && state.st_gid == printing->gr_gid;
  EXPECT_EQ(state.st_mode & 07777, shared ? 02770U : 0700U);
}

TEST_F(LogFolderTest, OneThatIsThereKeepsItsAccess) {
  const fs::path path = root.Path() / "made";
  fs::create_directory(path);
  fs::permissions(path, static_cast<fs::perms>(0755));
  EXPECT_TRUE(MakeLogFolder(path.wstring()));
  EXPECT_EQ(fs::status(path).permissions(), static_cast<fs::perms>(0755));
}

TEST_F(LogFolderTest, OnlyTheLastFolderIsMade) {
  EXPECT_FALSE(MakeLogFolder(root.Name() + L"/one/two"));
  EXPECT_FALSE(FolderExists(root.Name() + L"/one"));
}

TEST_F(LogFolderTest, AFileIsNoFolder) {
  std::ofstream(root.Path() / "file") << "text";
  EXPECT_FALSE(FolderExists(root.Name() + L"/file"));
  EXPECT_TRUE(FolderExists(root.Name()));
}

TEST_F(LogFolderTest, PathsHaveOneSeparatorBetweenNames) {
  EXPECT_EQ(AppendToPath(L"/root", L"Logs\\KOVA"), L"/root/Logs/KOVA");
  EXPECT_EQ(AppendToPath(L"/", L"Logs"), L"/Logs");
}

TEST_F(LogFolderTest, TheRootIsTheHostsValue) {
  host.logRoot = L"/some/folder";
  EXPECT_EQ(LogRoot(13), L"/some/folder");
  EXPECT_EQ(LogRoot(12), L"");
}

TEST_F(LogFolderTest, WithoutAValueTheRootIsTheDefaultOne) {
  host.logRoot = L"";
  EXPECT_EQ(LogRoot(520), DefaultLogRoot());
  EXPECT_EQ(DefaultLogRoot(), geteuid() == 0 ? L"/var/log/sc3xxmon" : UserLogRoot());
}

TEST(UserLogRootTest, IsTheUsersStateFolder) {
  const test::ScopedVariable home("HOME", "/home/printer");
  {
    const test::ScopedVariable state("XDG_STATE_HOME", std::nullopt);
    EXPECT_EQ(UserLogRoot(), L"/home/printer/.local/state/sc3xxmon");
  }
  {
    const test::ScopedVariable state("XDG_STATE_HOME", "/state");
    EXPECT_EQ(UserLogRoot(), L"/state/sc3xxmon");
  }
  const test::ScopedVariable state("XDG_STATE_HOME", "relative");
  EXPECT_EQ(UserLogRoot(), L"/home/printer/.local/state/sc3xxmon");
}

}  // namespace
}  // namespace sc3xxmon::platform
