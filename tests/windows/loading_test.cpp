// Coming and going: what a load brings in, and what is left after many of them.
#include "support/library_test.h"
#include "support/open_handles.h"

namespace sc3xxmon::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class LoadingTest : public LibraryTest {};

TEST_F(LoadingTest, TheLibraryHasOneFunction) {
  LoadAsItIs();
  EXPECT_NE(GetProcAddress(library->Module(), "InitializePrintMonitor2"), nullptr);
  EXPECT_EQ(GetProcAddress(library->Module(), "Sc3xxSetHost"), nullptr);
  EXPECT_EQ(GetProcAddress(library->Module(), MAKEINTRESOURCEA(2)), nullptr);
}

TEST_F(LoadingTest, TheTableIsFilledAsAnnounced) {
  LoadAsItIs();
  EXPECT_EQ(monitor->cbSize, 184u);
  EXPECT_NE(monitor->pfnOpenPortEx, nullptr);
  EXPECT_NE(monitor->pfnShutdown, nullptr);
  EXPECT_EQ(monitor->pfnOpenPort, nullptr);
  EXPECT_EQ(monitor->pfnPowerEvent, nullptr);
  EXPECT_EQ(monitor, library->Initialize());
}

TEST_F(LoadingTest, OnlyTheLocalSpoolerIsServed) {
  LoadAsItIs();
  SetLastError(0);
  EXPECT_EQ(library->Initialize(FALSE), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
}

TEST_F(LoadingTest, ALoadSaysWhoItIsAndAnUnloadThatItGoes) {
  Load();
  ASSERT_FALSE(debugger.Records().empty());
  EXPECT_THAT(
      debugger.Records().front(),
      StartsWith("InitializePrintMonitor2: Initialized SC3xx Language Monitor v1.1.0.218-Win10 Release built on "));
  library.reset();
  EXPECT_THAT(debugger.Records().back(),
              AllOf(StartsWith("DllMain: Date["), HasSubstr("Detach SC SC3xx Language Monitor ")));
}

TEST_F(LoadingTest, WithoutADebugLevelNobodyHearsAnything) {
  LoadAsItIs();
  library.reset();
  EXPECT_TRUE(debugger.Records().empty());
}

TEST_F(LoadingTest, AJobGoesThroughTheDoor) {
  Load();
  MONITOR2 table = port.Table();
  HANDLE handle = Open(&table);
  ASSERT_NE(handle, nullptr);
  spooler.jobs[kJobId].driverName = L"KOVA Scrivelo 310 Swift";
  ASSERT_TRUE(Start(handle));
  EXPECT_TRUE(Write(handle, Joined({JobStart(), Label(1), Label(2), EndOfJob()})));
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  EXPECT_TRUE(monitor->pfnClosePort(handle));
  EXPECT_EQ(spooler.jobs[kJobId].pagesPrinted, 2u);
  EXPECT_EQ(spooler.commands.back(), static_cast<DWORD>(7));
}

// ----------------------------------------------------------------------------------------------- nothing is left

// Bytes in use on all heaps of the process.
std::size_t HeapBytes() {
  HANDLE heaps[64] = {};
  const DWORD count = GetProcessHeaps(64, heaps);
  std::size_t bytes = 0;
  for (DWORD i = 0; i < count && i < 64; ++i) {
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heaps[i]);
    while (HeapWalk(heaps[i], &entry) != FALSE) {
      bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    HeapUnlock(heaps[i]);
  }
  return bytes;
}

TEST_F(LoadingTest, AHundredLoadsLeaveNoHandleAndNoMemory) {
  const auto loadAndUnload = [this] {
    RecordingHost ownSpooler;  // nothing is kept of one turn in the next
    ScriptedPort ownPort;
    const LoadedLibrary loaded;
    monitor = loaded.Initialize();
    MONITOR2 table = ownPort.Table();
    std::wstring portName = L"USB001";
    HANDLE handle = nullptr;
    EXPECT_TRUE(monitor->pfnOpenPortEx(nullptr, &ownPort, portName.data(), printer.data(), &handle, &table));
    EXPECT_TRUE(Start(handle));
    EXPECT_TRUE(monitor->pfnEndDocPort(handle));
    EXPECT_TRUE(monitor->pfnClosePort(handle));
  };
  loadAndUnload();  // whatever is made once is there now
  loadAndUnload();
  const std::size_t handles = OpenHandles();
  const std::size_t bytes = HeapBytes();
  for (int i = 0; i < 100; ++i) {
    loadAndUnload();
  }
  EXPECT_EQ(OpenHandles(), handles);
  EXPECT_EQ(HeapBytes(), bytes);
}

}  // namespace
}  // namespace sc3xxmon::test
