// The real files: the log of a load, and what a job leaves when its bytes and labels are kept as well.
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "support/library_test.h"
#include "support/open_handles.h"

namespace sc3xxmon::test {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

class LogFilesTest : public LibraryTest {
 protected:
  LogFilesTest() {
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    parent_ = std::wstring(windows) + L"\\Logs";
    folder_ = parent_ + L"\\KOVA";
    RemoveFiles();
    CreateDirectoryW(parent_.c_str(), nullptr);
    registry.SetNumber(RegistryValues::kDebug, L"DebugLevel", 2);
  }
  ~LogFilesTest() override {
    library.reset();
    RemoveFiles();
  }

  // The files in the folder whose names end so.
  std::vector<std::wstring> Files(const std::wstring& end) const {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW((folder_ + L"\\*" + end).c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
      do {
        names.emplace_back(found.cFileName);
      } while (FindNextFileW(search, &found) != FALSE);
      FindClose(search);
    }
    return names;
  }
  std::string Contents(const std::wstring& name) const {
    std::ifstream file((folder_ + L"\\" + name).c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  void Print(const ByteString& stream) {
    MONITOR2 table = port.Table();
    spooler.jobs[kJobId].driverName = L"KOVA Scrivelo 310 Swift";
    HANDLE handle = Open(&table);
    ASSERT_TRUE(Start(handle));
    EXPECT_TRUE(Write(handle, stream));
    EXPECT_TRUE(monitor->pfnEndDocPort(handle));
    EXPECT_TRUE(monitor->pfnClosePort(handle));
  }
  bool FolderExists() const { return GetFileAttributesW(folder_.c_str()) != INVALID_FILE_ATTRIBUTES; }

 private:
  void RemoveFiles() const {
    for (const std::wstring& name : Files(L"")) {
      DeleteFileW((folder_ + L"\\" + name).c_str());
    }
    RemoveDirectoryW(folder_.c_str());
  }

  std::wstring parent_;
  std::wstring folder_;
};

std::string Text(const ByteString& bytes) {
  return {bytes.begin(), bytes.end()};
}

TEST_F(LogFilesTest, TheLogIsNamedAfterProcessAndModule) {
  LoadAsItIs();
  const auto logs = Files(L".log");
  ASSERT_THAT(logs, SizeIs(1));
  const std::string name(logs[0].begin(), logs[0].end());
  const std::string pattern =
      R"(\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d_)" + std::to_string(GetCurrentProcessId()) + R"(_sc3xxmon\.dll\.log)";
  EXPECT_TRUE(std::regex_match(name, std::regex(pattern))) << name;
  EXPECT_TRUE(debugger.Records().empty()) << "a file that can be written needs no debugger";
}

TEST_F(LogFilesTest, EveryRecordIsALineWithTimeAndThread) {
  LoadAsItIs();
  Print(Joined({JobStart(), Label(1), EndOfJob()}));
  library.reset();
  const std::string log = Contents(Files(L".log").at(0));
  EXPECT_EQ(log.find('\r'), std::string::npos);
  EXPECT_THAT(log, EndsWith("Detach SC SC3xx Language Monitor \n"));
  std::istringstream lines(log);
  const std::regex record(R"(\[\d\d:\d\d:\d\d\.\d{3}\] \[[0-9A-F]{4,}\] \[218:[A-Za-z0-9_:]+,\d{4}\] .*)");
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_TRUE(std::regex_match(line, record)) << line;
  }
  EXPECT_GT(count, 20u);
  EXPECT_THAT(log, AllOf(HasSubstr("Debug: 2; Trace: 1; Test: 0;"), HasSubstr("port=USB001; printer=Labels "),
                         HasSubstr("Lock kept"), HasSubstr("Last page ejected")));
  EXPECT_THAT(Files(L".prn"), SizeIs(0));
  EXPECT_THAT(Files(L".bmp"), SizeIs(0));
}

TEST_F(LogFilesTest, AJobsBytesAreKeptAsTheyWentOut) {
  registry.SetNumber(RegistryValues::kDebug, L"TraceDetail", 8);
  LoadAsItIs();
  const ByteString stream = Joined({JobStart(), Label(1), Label(2), EndOfJob()});
  Print(stream);
  const auto dumps = Files(L"_job-7.prn");
  ASSERT_THAT(dumps, SizeIs(1));
  EXPECT_EQ(Contents(dumps[0]), Text(stream));
}

TEST_F(LogFilesTest, LabelsAreKeptAsPictures) {
  registry.SetNumber(RegistryValues::kDebug, L"TraceDetail", 16);
  LoadAsItIs();
  constexpr std::uint32_t kLines = 3;
  constexpr std::uint32_t kDots = 16;
  Print(Joined({JobStart(), Label(1, kLines, kDots), Label(2, kLines, kDots), EndOfJob()}));
  EXPECT_THAT(Files(L".bmp"), SizeIs(2));
  ASSERT_THAT(Files(L"_job7_label2_pd.bmp"), SizeIs(1));
  const std::string picture = Contents(Files(L"_job7_label2_pd.bmp").at(0));
  ASSERT_EQ(picture.size(), 74u);
  EXPECT_THAT(picture, StartsWith("BM"));
  // The last line comes first: the raster's bytes count up from 2, two to a line.
  EXPECT_EQ(picture.substr(62), std::string("\x06\x07\0\0\x04\x05\0\0\x02\x03\0\0", 12));
}

TEST_F(LogFilesTest, WithTheLogOffThereIsNotEvenAFolder) {
  registry.SetNumber(RegistryValues::kDebug, L"DebugLevel", 0);
  registry.SetNumber(RegistryValues::kDebug, L"TraceDetail", 24);
  LoadAsItIs();
  Print(Joined({JobStart(), Label(1), EndOfJob()}));
  EXPECT_FALSE(FolderExists());
}

TEST_F(LogFilesTest, WithoutItsFolderTheLogGoesToTheDebugger) {
  wchar_t windows[MAX_PATH] = {};
  GetWindowsDirectoryW(windows, MAX_PATH);
  const std::wstring logs = std::wstring(windows) + L"\\Logs";
  const std::wstring aside = logs + L"-aside";
  ASSERT_TRUE(MoveFileW(logs.c_str(), aside.c_str()));
  LoadAsItIs();
  library.reset();
  EXPECT_TRUE(MoveFileW(aside.c_str(), logs.c_str()));
  EXPECT_THAT(debugger.Records(), Contains(HasSubstr("Initialized SC3xx Language Monitor v1.1.0.218")));
}

}  // namespace
}  // namespace sc3xxmon::test
