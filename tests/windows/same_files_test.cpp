// The same jobs printed by this library and by the one of the system that these tests were built on, over the network to
// the same virtual printer: the log, each copy of a job's bytes and each picture of a label are equal, but for stamps,
// process and thread numbers, line numbers and the build's date.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>

#include "log_stories/masked_log.h"
#include "support/library_test.h"
#include "support/log_root.h"

namespace sc3xxmon::test {
namespace {

namespace fs = std::filesystem;
using ::testing::SizeIs;

// File names without stamp and process.
std::map<std::string, fs::path> FilesIn(const fs::path& folder) {
  static const std::regex stamp("^[0-9]{4}-[0-9]{2}-[0-9]{2}_[0-9]{2}-[0-9]{2}-[0-9]{2}_[0-9]+_");
  std::map<std::string, fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = std::regex_replace(entry.path().filename().string(), stamp, "STAMP_PROCESS_");
    EXPECT_TRUE(files.emplace(name, entry.path()).second) << "two files of one name: " << name;
  }
  return files;
}

// Takes the log out of the files; it is named after its library. Empty if it isn't there.
fs::path TakeLog(std::map<std::string, fs::path>& files, const std::string& library) {
  const auto log = files.extract("STAMP_PROCESS_" + library + ".log");
  return log.empty() ? fs::path() : log.mapped();
}

class SameFilesTest : public LibraryTest {
 protected:
  // The jobs that scripts/test-windows has printed with the native library, one after another on one open port.
  void PrintJobs(const std::string& printerAddress) {
    printer = L"Labels";
    const std::string name = "lan:" + printerAddress;
    const std::wstring portName(name.begin(), name.end());
    const std::wstring print = L"SYSTEM\\CurrentControlSet\\Control\\Print\\";
    registry.SetText(print + L"Printers\\" + printer, L"Port", portName);
    registry.SetText(print + L"Monitors\\Standard TCP/IP Port\\Ports\\" + portName, L"HostName",
                     std::wstring(printerAddress.begin(), printerAddress.end()));
    registry.SetNumber(RegistryValues::kDebug, L"DebugLevel", 2);
    registry.SetNumber(RegistryValues::kDebug, L"TraceDetail", kPacketsBytesAndPictures);
    LoadAsItIs();
    HANDLE handle = Open(&table_, portName);
    ASSERT_NE(handle, nullptr);
    DWORD jobId = 0;
    for (const char* file : {"shipping-label.kpl", "asset-labels.kpl", "address-label.kpl"}) {
      ASSERT_NO_FATAL_FAILURE(PrintJob(handle, ++jobId, BytesOfFile(fs::path(SC3XXMON_SOURCE_DIR) / "samples" / file)));
    }
    EXPECT_TRUE(monitor->pfnClosePort(handle));
    library.reset();
  }

  LogRoot root;

 private:
  // In pieces of the size that the native spooler hands over.
  void PrintJob(HANDLE handle, DWORD jobId, const ByteString& stream) {
    constexpr std::ptrdiff_t kPiece = 65536;
    ASSERT_FALSE(stream.empty());
    spooler.jobs[jobId] = {};
    DOC_INFO_1W info{};
    ASSERT_TRUE(monitor->pfnStartDocPort(handle, printer.data(), jobId, 1, reinterpret_cast<LPBYTE>(&info)));
    for (auto from = stream.begin(); from != stream.end();) {
      const auto to = from + std::min(kPiece, stream.end() - from);
      EXPECT_TRUE(Write(handle, {from, to}));
      from = to;
    }
    EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  }

  static constexpr std::uint32_t kPacketsBytesAndPictures = 28;
  MONITOR2 table_ = port.Table();
};

void ExpectSameLines(const fs::path& here, const fs::path& there) {
  const std::vector<std::string> lines = MaskedLines(here);
  const std::vector<std::string> native = MaskedLines(there);
  for (std::size_t i = 0; i < std::min(lines.size(), native.size()); ++i) {
    ASSERT_EQ(lines[i], native[i]) << "line " << i + 1;
  }
  EXPECT_EQ(lines.size(), native.size());
}

TEST_F(SameFilesTest, AsOfTheNativeLibrary) {
  const char* address = std::getenv("SC3XXMON_TEST_NATIVE_PRINTER");
  const char* folder = std::getenv("SC3XXMON_TEST_NATIVE_FILES");
  if (address == nullptr || folder == nullptr) {
    GTEST_SKIP() << "no native files: SC3XXMON_TEST_NATIVE_PRINTER and SC3XXMON_TEST_NATIVE_FILES aren't set";
  }
  ASSERT_NO_FATAL_FAILURE(PrintJobs(address));
  auto files = FilesIn(root.Folder());
  auto native = FilesIn(folder);
  const fs::path log = TakeLog(files, "sc3xxmon.dll");
  const fs::path nativeLog = TakeLog(native, "libsc3xxmon.so");
  constexpr std::size_t kJobs = 3;
  constexpr std::size_t kLabels = 1 + 25 + 1;
  EXPECT_THAT(files, SizeIs(kJobs + kLabels));
  EXPECT_THAT(native, SizeIs(kJobs + kLabels));
  for (const auto& [name, path] : native) {
    ASSERT_TRUE(files.contains(name)) << name;
    EXPECT_TRUE(BytesOfFile(files.at(name)) == BytesOfFile(path)) << name;
    EXPECT_GT(fs::file_size(path), 0u) << name;
  }
  EXPECT_THAT(MaskedLines(log), SizeIs(::testing::Gt(100u)));
  ExpectSameLines(log, nativeLog);
}

}  // namespace
}  // namespace sc3xxmon::test
