#include "diag/dump_file.h"
#include "diag/log_fixture.h"
#include "platform/local_time.h"
#include "platform/process.h"

namespace sc3xxmon {
namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::LogFixture;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class DumpFileTest : public LogFixture {};

TEST_F(DumpFileTest, IsNamedAfterTheMomentTheProcessAndItself) {
  const fs::path path = platform::ToUtf8(MakeDumpPath("job-7.prn"));
  EXPECT_EQ(path.parent_path(), root.Folder());
  EXPECT_THAT(path.filename().string(), MatchesRegex("[0-9]+-[0-9][0-9]-[0-9][0-9]_[0-9][0-9]-[0-9][0-9]-[0-9][0-9]_" +
                                                     std::to_string(platform::CurrentProcessId()) + "_job-7\\.prn"));
  const std::string year = std::to_string(platform::CurrentLocalTime().year);
  EXPECT_THAT(path.filename().string(), ::testing::StartsWith(year));
}

TEST_F(DumpFileTest, TheFolderIsMade) {
  MakeDumpPath("x");
  EXPECT_TRUE(fs::is_directory(root.Folder()));
  EXPECT_THAT(root.Files(), IsEmpty());
}

TEST_F(DumpFileTest, WithoutTheFolderAboveThereIsNoPath) {
  fs::remove(root.Path() / "Logs");
  EXPECT_EQ(MakeDumpPath("x"), L"");
}

TEST_F(DumpFileTest, ARootOf260CharactersIsNone) {
  std::wstring name = root.Name();
  name += L'/' + std::wstring(259 - name.size() - 1, L'd');
  fs::create_directories(platform::ToUtf8(name) + "/Logs");
  host.logRoot = name;
  EXPECT_NE(MakeDumpPath("x"), L"");
  fs::create_directories(platform::ToUtf8(name) + "d/Logs");
  host.logRoot = name + L"d";
  EXPECT_EQ(MakeDumpPath("x"), L"");
}

TEST_F(DumpFileTest, AFileInTheFoldersPlaceLeavesNothingToWriteTo) {
  std::ofstream(root.Folder()) << "text";
  const std::wstring path = MakeDumpPath("x");
  EXPECT_FALSE(AppendToDump(path, Bytes("01")));
  EXPECT_EQ(test::TextOfFile(root.Folder()), "text");
}

TEST_F(DumpFileTest, BytesAreAppended) {
  const std::wstring path = MakeDumpPath("x");
  EXPECT_TRUE(AppendToDump(path, Bytes("01 02")));
  EXPECT_TRUE(AppendToDump(path, Bytes("03")));
  EXPECT_EQ(test::BytesOfFile(platform::ToUtf8(path)), Bytes("01 02 03"));
}

TEST_F(DumpFileTest, NoBytesCountAsAFailureAndLeaveAFile) {
  const std::wstring path = MakeDumpPath("x");
  EXPECT_FALSE(AppendToDump(path, {}));
  EXPECT_TRUE(fs::exists(platform::ToUtf8(path)));
}

}  // namespace
}  // namespace sc3xxmon
