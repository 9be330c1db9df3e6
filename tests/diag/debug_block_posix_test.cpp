#include "diag/debug_block.h"
#include "diag/log_fixture.h"
#include "platform/posix/shared_memory.h"
#include "platform/process.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::LogFixture;
using test::TestHost;
using test::ThreadPrefix;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint32_t kOtherThread = 0x7FFFFFFF;

// Level 3, as if a setting led there.
class DebugBlockTest : public LogFixture {
 protected:
  DebugBlockTest() { TestHost::SetDebugLevel(kDebugLevelShared); }

  // The block as another module of the process finds it or leaves it.
  static DebugBlock& Block() {
    OpenDebugBlock();
    return *OpenedDebugBlock();
  }
  static void PutPath(DebugBlock& block, const fs::path& path) {
    const std::u16string text = path.u16string();
    *std::copy(text.begin(), text.end(), block.path) = u'\0';
  }
  static std::u16string PathIn(const DebugBlock& block) { return block.path; }
};

TEST_F(DebugBlockTest, TheBlockOfAProcessIsNewAndEmpty) {
  ASSERT_TRUE(OpenDebugBlock());
  EXPECT_TRUE(
      fs::exists(platform::SharedMemoryPath(L"KOVA.DEBUG.BLOCK." + std::to_wstring(platform::CurrentProcessId()))));
  EXPECT_EQ(Block().state, kBlockEmpty);
  EXPECT_EQ(Block().owner, 0U);
  EXPECT_EQ(PathIn(Block()), u"");
}

TEST_F(DebugBlockTest, OpeningAgainDoesNothingMore) {
  ASSERT_TRUE(OpenDebugBlock());
  const void* const view = diag::block.view;
  Block().owner = 5;
  EXPECT_TRUE(OpenDebugBlock());
  EXPECT_EQ(diag::block.view, view);
  EXPECT_EQ(Block().owner, 5U);
}

TEST_F(DebugBlockTest, TheFirstModuleNamesTheLogAfterTheProgram) {
  SetUpLog(const_cast<char*>("no module"));
  EXPECT_EQ(DebugLevel(), kDebugLevelShared);
  EXPECT_EQ(Block().state, kBlockReady);
  EXPECT_EQ(Block().owner, 0U);
  EXPECT_EQ(PathIn(Block()), LogPath().u16string());
  EXPECT_TRUE(LogPath().string().ends_with("_diag_tests.log"));
}

TEST_F(DebugBlockTest, ALaterModuleTakesTheLogThatIsThere) {
  const fs::path path = root.Path() / "shared log";
  PutPath(Block(), path);
  Block().state = kBlockReady;
  SetUpLog(nullptr);
  EXPECT_EQ(DebugLevel(), kDebugLevelShared);
  EXPECT_EQ(LogPath(), path);
  EXPECT_EQ(diag::log.ready, 0U);
}

TEST_F(DebugBlockTest, AModuleWaitsForTheOneThatIsSettingUp) {
  const fs::path path = root.Path() / "shared log";
  Block().state = kBlockInSetUp;
  host.onSleep = [&](std::uint32_t milliseconds) {
    EXPECT_EQ(milliseconds, 1U);
    if (host.sleeps.size() == 100) {
      PutPath(Block(), path);
      Block().state = kBlockReady;
    }
  };
  SetUpLog(nullptr);
  EXPECT_EQ(DebugLevel(), kDebugLevelShared);
  EXPECT_EQ(LogPath(), path);
  EXPECT_THAT(host.sleeps, SizeIs(100));
}

TEST_F(DebugBlockTest, After100SleepsTheModuleHasALogOfItsOwn) {
  Block().state = kBlockInSetUp;
  SetUpLog(nullptr);
  EXPECT_THAT(host.sleeps, SizeIs(100));
  EXPECT_EQ(DebugLevel(), kDebugLevelFile);
  KovaDebugPrint("text");
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() + "text"));
}

TEST_F(DebugBlockTest, WithoutALogFolderTheLevelFallsBackTo2) {
  fs::remove(root.Path() / "Logs");
  SetUpLog(nullptr);
  EXPECT_EQ(DebugLevel(), kDebugLevelFile);
  EXPECT_EQ(Block().state, kBlockEmpty);
}

TEST_F(DebugBlockTest, ARecordGoesToTheFileThatTheBlockNames) {
  SetUpLog(nullptr);
  const fs::path path = root.Path() / "elsewhere";
  PutPath(Block(), path);
  KovaDebugPrint("text");
  EXPECT_THAT(test::TextOfFile(path), ::testing::EndsWith("] " + ThreadPrefix() + "text\n"));
  EXPECT_FALSE(fs::exists(LogPath()));
  EXPECT_EQ(Block().owner, 0U);
}

TEST_F(DebugBlockTest, ARecordWaitsForTheOwnerWord) {
  SetUpLog(nullptr);
  Block().owner = kOtherThread;
  host.onSleep = [this](std::uint32_t) {
    if (host.sleeps.size() == 100) {
      Block().owner = 0;
    }
  };
  KovaDebugPrint("text");
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() + "text"));
  EXPECT_THAT(host.sleeps, SizeIs(100));
}

TEST_F(DebugBlockTest, ARecordThatNeverGetsTheOwnerWordIsLost) {
  SetUpLog(nullptr);
  Block().owner = kOtherThread;
  KovaDebugPrint("text");
  EXPECT_THAT(host.sleeps, SizeIs(100));
  EXPECT_THAT(host.channel, ElementsAre(">>>>>>>> SYNC FAILED ON DBG BLOCK >>>>>>>>\n"));
  EXPECT_FALSE(fs::exists(LogPath()));
  EXPECT_EQ(Block().owner, kOtherThread);
}

// On this way nobody looks at whether it was written.
TEST_F(DebugBlockTest, AFileThatCantBeWrittenIsNotToldAtLevel3) {
  SetUpLog(nullptr);
  PutPath(Block(), "/nonexistent/folder/file");
  KovaDebugPrint("text");
  EXPECT_THAT(host.channel, IsEmpty());
  EXPECT_EQ(Block().owner, 0U);
}

TEST_F(DebugBlockTest, WhileTheBlockIsNotReadyTheMutexGuards) {
  SetUpLog(nullptr);
  Block().state = kBlockInSetUp;
  Block().owner = kOtherThread;
  KovaDebugPrint("text");
  EXPECT_THAT(Records(), ElementsAre(ThreadPrefix() + "text"));
  EXPECT_THAT(host.sleeps, IsEmpty());
}

TEST_F(DebugBlockTest, NoSettingLeadsToLevel3) {
  host.SetNumber(TestHost::kDebug, L"DebugLevel", 3);
  ReadDebugSettings(nullptr);
  EXPECT_EQ(DebugLevel(), kDebugLevelOff);
  EXPECT_EQ(OpenedDebugBlock(), nullptr);
}

}  // namespace
}  // namespace sc3xxmon
