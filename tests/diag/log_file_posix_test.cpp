#include <regex>

#include "diag/log_file.h"
#include "diag/log_fixture.h"
#include "platform/local_time.h"
#include "platform/named_mutex.h"
#include "platform/posix/shared_memory.h"
#include "platform/process.h"
#include "support/module_copy.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::LogFixture;
using test::TestHost;
using test::TextOfFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class LogFileTest : public LogFixture {
 protected:
  LogFileTest() { TestHost::SetDebugLevel(kDebugLevelFile); }

  // A root folder with `size` characters in the log file's whole path. Folders that deep exist.
  std::wstring RootForPathOf(std::size_t size) const {
    const std::size_t name = std::wstring_view(L"/Logs/KOVA/").size() + FileNameSize();
    std::wstring path = root.Name();
    while (path.size() + name < size) {
      const std::size_t left = size - name - path.size() - 1;
      path += L'/' + std::wstring(left > 200 ? 150 : left, L'd');
    }
    fs::create_directories(platform::ToUtf8(path) + "/Logs");
    return path;
  }

  static std::size_t FileNameSize() {
    const std::string process = std::to_string(platform::CurrentProcessId());
    return std::string_view("2025-03-02_08-15-40__diag_tests.log").size() + process.size();
  }
};

TEST_F(LogFileTest, IsNamedAfterTheProcessAndItsProgram) {
  ASSERT_TRUE(InitLogFile(nullptr));
  const platform::LocalTime start = platform::ProcessStartLocalTime();
  char expected[128];
  std::snprintf(expected, sizeof(expected), "%04d-%02d-%02d_%02d-%02d-%02d_%u_diag_tests.log", start.year, start.month,
                start.day, start.hour, start.minute, start.second, platform::CurrentProcessId());
  EXPECT_EQ(LogPath(), root.Folder() / expected);
}

TEST_F(LogFileTest, IsNamedAfterTheModuleWithItsExtensionAndWithoutItsFolder) {
  void* const module = const_cast<void*>(test::FunctionInModuleNamed("label printing.dll"));
  ASSERT_TRUE(InitLogFile(module));
  EXPECT_THAT(LogPath().filename().string(), MatchesRegex("[-0-9_]+_label printing\\.dll\\.log"));
}

TEST_F(LogFileTest, AModuleWithoutANameIsUnknown) {
  int inNoModule = 0;
  ASSERT_TRUE(InitLogFile(&inNoModule));
  EXPECT_TRUE(LogPath().string().ends_with("_Unknown.log"));
}

TEST_F(LogFileTest, MakesTheLastFolderOnly) {
  ASSERT_TRUE(InitLogFile(nullptr));
  EXPECT_TRUE(fs::is_directory(root.Folder()));
}

TEST_F(LogFileTest, TakesAFolderThatIsThere) {
  fs::create_directories(root.Folder());
  EXPECT_TRUE(InitLogFile(nullptr));
}

TEST_F(LogFileTest, FailsWithoutTheFolderAbove) {
  fs::remove(root.Path() / "Logs");
  EXPECT_FALSE(InitLogFile(nullptr));
  EXPECT_FALSE(fs::exists(root.Path() / "Logs"));
  EXPECT_THAT(LogPath().string(), IsEmpty());
  EXPECT_EQ(diag::log.mutex.load(), nullptr);
}

TEST_F(LogFileTest, FailsWhereTheRootIsAFile) {
  const fs::path file = root.Path() / "file";
  std::ofstream(file) << "text";
  host.logRoot = platform::FromUtf8(file.string());
  EXPECT_FALSE(InitLogFile(nullptr));
  EXPECT_EQ(TextOfFile(file), "text");
}

TEST_F(LogFileTest, CanBeTriedAgainAfterAFailure) {
  fs::remove(root.Path() / "Logs");
  ASSERT_FALSE(InitLogFile(nullptr));
  fs::create_directory(root.Path() / "Logs");
  EXPECT_TRUE(InitLogFile(nullptr));
}

TEST_F(LogFileTest, OnlyTheFirstCallStoresAPath) {
  ASSERT_TRUE(InitLogFile(nullptr));
  const fs::path first = LogPath();
  int inNoModule = 0;
  EXPECT_TRUE(InitLogFile(&inNoModule));
  EXPECT_EQ(LogPath(), first);
}

TEST_F(LogFileTest, APathOf519CharactersFits) {
  host.logRoot = RootForPathOf(519);
  ASSERT_TRUE(InitLogFile(nullptr));
  EXPECT_EQ(std::wstring_view(diag::log.path.data()).size(), 519U);
  KovaDebugPrint("deep");
  EXPECT_THAT(Records(), ElementsAre(test::ThreadPrefix() + "deep"));
}

TEST_F(LogFileTest, APathOf520CharactersDoesNot) {
  host.logRoot = RootForPathOf(520);
  EXPECT_FALSE(InitLogFile(nullptr));
  EXPECT_THAT(LogPath().string(), IsEmpty());
}

TEST_F(LogFileTest, ARootOf520CharactersIsNone) {
  host.logRoot = std::wstring(520, L'x');
  EXPECT_FALSE(InitLogFile(nullptr));
}

TEST_F(LogFileTest, TheLockAtLevel2IsOfThisModuleAndProcess) {
  ASSERT_TRUE(InitLogFile(nullptr));
  const std::wstring name = L"KOVA.DEBUG.SYNC.diag_tests." + std::to_wstring(platform::CurrentProcessId());
  EXPECT_TRUE(fs::exists(platform::SharedMemoryPath(name)));
}

TEST_F(LogFileTest, TheLockAtLevel3IsOfThisProcess) {
  TestHost::SetDebugLevel(kDebugLevelShared);
  ASSERT_TRUE(InitLogFile(nullptr));
  const std::wstring name = L"KOVA.DEBUG.SYNC." + std::to_wstring(platform::CurrentProcessId());
  EXPECT_TRUE(fs::exists(platform::SharedMemoryPath(name)));
}

TEST_F(LogFileTest, ARecordIsTimeTextAndLineEnd) {
  const fs::path path = root.Path() / "records";
  {
    platform::File file = OpenLogFile(path.wstring().c_str());
    EXPECT_TRUE(WriteLogRecord(file, "first", 5));
    EXPECT_TRUE(WriteLogRecord(file, "second, cut", 6));
  }
  const std::string text = TextOfFile(path);
  EXPECT_TRUE(std::regex_match(
      text, std::regex("\\[[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9]{3}\\] first\n\\[.{12}\\] second\n")))
      << text;
}

TEST_F(LogFileTest, AnEmptyRecordIsCompleteAndLeavesNothing) {
  const fs::path path = root.Path() / "records";
  platform::File file = OpenLogFile(path.wstring().c_str());
  EXPECT_TRUE(WriteLogRecord(file, "", 5));
  EXPECT_TRUE(WriteLogRecord(file, "text", 0));
  EXPECT_THAT(TextOfFile(path), IsEmpty());
}

TEST_F(LogFileTest, ARecordWithoutATextOrAFileIsNone) {
  platform::File none;
  EXPECT_FALSE(WriteLogRecord(none, "text", 4));
  EXPECT_FALSE(WriteLogRecord(none, nullptr, 4));
  EXPECT_TRUE(WriteLogRecord(none, "", 0));
}

TEST_F(LogFileTest, OpensBehindWhatIsThere) {
  const fs::path path = root.Path() / "records";
  std::ofstream(path) << "before\n";
  {
    platform::File file = OpenLogFile(path.wstring().c_str());
    WriteAll(file, "after", 5);
  }
  EXPECT_EQ(TextOfFile(path), "before\nafter");
}

TEST_F(LogFileTest, AFileThatCantBeOpenedIsNotOpen) {
  EXPECT_FALSE(OpenLogFile(L"/nonexistent/folder/file").IsOpen());
  EXPECT_FALSE(OpenLogFile(L"").IsOpen());
}

}  // namespace
}  // namespace sc3xxmon
