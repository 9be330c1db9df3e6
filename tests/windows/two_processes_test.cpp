// Two spoolers on one machine and one printer: the real event, in real time.
#include "support/child_program.h"
#include "support/library_test.h"
#include "support/open_handles.h"

namespace sc3xxmon::test {
namespace {

class TwoProcesses : public LibraryTest {
 protected:
  TwoProcesses() {
    Load();
    table = port.Table();
    handle = Open(&table);
  }
  // Another process has the printer when this returns.
  void OtherStarts() {
    other.emplace(L"second_process.exe", L"\"" + printer + L"\"");
    ASSERT_EQ(other->Hear(), 'T');
  }
  void OtherEnds() {
    other->Tell('E');
    ASSERT_EQ(other->Hear(), 'D');
  }
  MONITOR2 table{};
  HANDLE handle = nullptr;
  std::optional<ChildProgram> other;
};

// The one test that waits in real time: five seconds are the promise.
TEST_F(TwoProcesses, APrinterThatTheOtherHoldsIsBusyAfterFiveSecondsAndFreeAsSoonAsItEnds) {
  ASSERT_TRUE(Start(handle));  // whatever is opened once is open after this
  ASSERT_TRUE(monitor->pfnEndDocPort(handle));
  ASSERT_NO_FATAL_FAILURE(OtherStarts());
  const std::size_t handlesBefore = OpenHandles();
  const ULONGLONG before = GetTickCount64();
  SetLastError(0);
  EXPECT_FALSE(Start(handle));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BUSY));
  EXPECT_GE(GetTickCount64() - before, 4990u);
  EXPECT_LT(GetTickCount64() - before, 7000u);
  EXPECT_TRUE(debugger.Has("SCMon_StartDocPort: StartDocPort is busy - canst start new doc"));
  EXPECT_EQ(OpenHandles(), handlesBefore + 1) << "the port keeps the event's handle";
  EXPECT_EQ(port.startedDocuments, 1u);

  ASSERT_NO_FATAL_FAILURE(OtherEnds());
  EXPECT_TRUE(Start(handle));
  EXPECT_EQ(OpenHandles(), handlesBefore + 2) << "the stale handle was overwritten";
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  EXPECT_EQ(OpenHandles(), handlesBefore + 1) << "and stays open until the process ends";
}

TEST_F(TwoProcesses, APrinterIsFreeAgainWhenItsProcessDies) {
  ASSERT_NO_FATAL_FAILURE(OtherStarts());
  other->Kill();
  EXPECT_TRUE(Start(handle));
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
}

TEST_F(TwoProcesses, ASpoolerHasNoConsole) {
  ChildProgram detached(L"second_process.exe", L"\"" + printer + L"\"", DETACHED_PROCESS);
  EXPECT_EQ(detached.Hear(), 'T');
  detached.Tell('E');
  EXPECT_EQ(detached.Hear(), 'D');
}

TEST_F(TwoProcesses, ADocumentLeavesNoHandle) {
  EXPECT_TRUE(Start(handle));
  EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  const std::size_t before = OpenHandles();
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(Start(handle));
    EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  }
  EXPECT_EQ(OpenHandles(), before);
}

}  // namespace
}  // namespace sc3xxmon::test
