// Jobs over the network through the delivered library: the real registry leads to the printer, the real name service to
// its address, and the system's own sockets to virtual printers that run beside these tests and know nothing of them.
#include <cstdlib>

#include "support/library_test.h"
#include "support/open_handles.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;

class LanTest : public LibraryTest {
 protected:
  // The printer of the test's environment; skips the test where there is none.
  void Connect(const char* variable) {
    const char* address = std::getenv(variable);
    if (address == nullptr) {
      GTEST_SKIP() << "no virtual printer: " << variable << " isn't set";
    }
    const std::wstring print = L"SYSTEM\\CurrentControlSet\\Control\\Print\\";
    registry.SetText(print + L"Printers\\" + printer, L"Port", kPortName);
    registry.SetText(print + L"Monitors\\Standard TCP/IP Port\\Ports\\" + kPortName, L"HostName",
                     std::wstring(address, address + std::string(address).size()));
    Load();
    handle = Open(&table, kPortName);
    ASSERT_NE(handle, nullptr);
  }
  void Print(std::uint16_t labels) {
    ASSERT_TRUE(Start(handle));
    ByteString stream = JobStart();
    for (std::uint16_t label = 1; label <= labels; ++label) {
      stream = Joined({stream, Label(label)});
    }
    EXPECT_TRUE(Write(handle, Joined({stream, EndOfJob()})));
    EXPECT_TRUE(monitor->pfnEndDocPort(handle));
  }

  static constexpr wchar_t kPortName[] = L"IP_1";
  static constexpr DWORD kSentToPrinter = 6;
  static constexpr DWORD kLastPageEjected = 7;
  MONITOR2 table = port.Table();
  HANDLE handle = nullptr;
};

TEST_F(LanTest, AJobIsPrintedAndTheNextMonitorHasNoPartInIt) {
  ASSERT_NO_FATAL_FAILURE(Connect("SC3XXMON_TEST_PRINTER"));
  if (IsSkipped()) {
    return;
  }
  Print(3);
  EXPECT_EQ(spooler.jobs[kJobId].pagesPrinted, 3u);
  EXPECT_THAT(spooler.commands, ElementsAre(kSentToPrinter, kLastPageEjected));
  EXPECT_TRUE(monitor->pfnClosePort(handle));
  EXPECT_EQ(port.opens, 0u);
  EXPECT_EQ(port.writeCalls, 0u);
}

TEST_F(LanTest, JobsLeaveNoHandle) {
  ASSERT_NO_FATAL_FAILURE(Connect("SC3XXMON_TEST_PRINTER"));
  if (IsSkipped()) {
    return;
  }
  Print(1);
  const std::size_t before = OpenHandles();
  for (int job = 0; job < 20; ++job) {
    ASSERT_NO_FATAL_FAILURE(Print(3));
  }
  EXPECT_EQ(OpenHandles(), before);
}

// The power goes in the middle of the second label and comes back half a second later.
TEST_F(LanTest, APulledPlugIsRecoveredInPlace) {
  ASSERT_NO_FATAL_FAILURE(Connect("SC3XXMON_TEST_UNPLUGGED_PRINTER"));
  if (IsSkipped()) {
    return;
  }
  Print(4);
  EXPECT_EQ(spooler.jobs[kJobId].pagesPrinted, 4u);
  EXPECT_THAT(spooler.commands, ElementsAre(kSentToPrinter, kLastPageEjected)) << "the job didn't start again";
}

TEST_F(LanTest, APrinterThatNobodyKnowsRefusesTheDocument) {
  Load();
  handle = Open(&table, L"IP_unknown");
  ASSERT_NE(handle, nullptr);
  EXPECT_FALSE(Start(handle));
  EXPECT_TRUE(debugger.Has("SCMon_StartDocPort: StartDocPort failed"));
}

}  // namespace
}  // namespace sc3xxmon::test
