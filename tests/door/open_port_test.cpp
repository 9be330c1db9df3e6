// Opening and closing a port: what is refused, with which code, and what is left behind.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OpenPort : public DoorTest {};

TEST_F(OpenPort, OpensTheNextMonitorsPortAndSetsItsTimeouts) {
  ASSERT_NE(Open(), nullptr);
  EXPECT_EQ(port.opens, 1u);
  ASSERT_EQ(port.timeouts.size(), 1u);
  EXPECT_EQ(port.timeouts[0].ReadIntervalTimeout, 0u);
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutMultiplier, 1u);
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutConstant, 15000u);
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutMultiplier, 1u);
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutConstant, 15000u);
  EXPECT_THAT(port.timeoutArguments, ElementsAre(0u));
}

TEST_F(OpenPort, TimeoutsAreTheOptions) {
  SetOption(L"PortReadTimeout", 2000);
  SetOption(L"PortWriteTimeout", 3000);
  ASSERT_NE(Open(), nullptr);
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutConstant, 2000u);
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutConstant, 3000u);
}

TEST_F(OpenPort, KeysCountUpAndAreNeverUsedAgain) {
  HANDLE first = Open();
  ASSERT_NE(first, nullptr);
  Close(first);
  HANDLE second = Open();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second), reinterpret_cast<std::uintptr_t>(first) + 1);
}

TEST_F(OpenPort, NamesThePortAndThePrinterInTheLog) {
  ASSERT_NE(Open(L"USB007"), nullptr);
  EXPECT_TRUE(host.Logged("port=USB007; printer=" + std::string(printerName.begin(), printerName.end()) + ", isUsb=1"));
}

TEST_F(OpenPort, NullTableIsNoPrintMonitor) {
  EXPECT_EQ(Open(L"USB001", nullptr), nullptr);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PRINT_MONITOR);
  EXPECT_TRUE(host.Logged("Mandatory MONITOR2 entries are empty"));
}

using Emptier = void (*)(MONITOR2&);

class EmptySlot : public DoorTest, public ::testing::WithParamInterface<Emptier> {};

TEST_P(EmptySlot, IsNoPrintMonitor) {
  MONITOR2 table = port.Table();
  GetParam()(table);
  EXPECT_EQ(Open(L"USB001", &table), nullptr);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PRINT_MONITOR);
  EXPECT_TRUE(host.Logged("Mandatory MONITOR2 entries are empty"));
  EXPECT_EQ(port.opens, 0u);
}

INSTANTIATE_TEST_SUITE_P(OpenPort, EmptySlot,
                         ::testing::Values(
                             +[](MONITOR2& table) { table.pfnOpenPort = nullptr; },
                             +[](MONITOR2& table) { table.pfnStartDocPort = nullptr; },
                             +[](MONITOR2& table) { table.pfnWritePort = nullptr; },
                             +[](MONITOR2& table) { table.pfnReadPort = nullptr; },
                             +[](MONITOR2& table) { table.pfnEndDocPort = nullptr; },
                             +[](MONITOR2& table) { table.pfnClosePort = nullptr; }));

TEST_F(OpenPort, NeedsNoOtherSlotThanTheSix) {
  MONITOR2 table = port.Table();
  table.cbSize = 0;
  table.pfnSetPortTimeOuts = nullptr;
  ASSERT_EQ(table.pfnOpenPortEx, nullptr);
  ASSERT_NE(Open(L"USB001", &table), nullptr);
  EXPECT_THAT(port.timeouts, IsEmpty());
  EXPECT_FALSE(host.Logged("SetTimeouts failed"));
}

TEST_F(OpenPort, SecondOpenOfANameIsBusyAndLeavesTheFirstAsItWas) {
  HANDLE first = Open();
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(host.lastError, ERROR_BUSY);
  EXPECT_TRUE(host.Logged("CLangMon::AddLangMon failed: entry already exists"));
  EXPECT_EQ(port.opens, 1u);
  EXPECT_EQ(Start(first), TRUE);
}

TEST_F(OpenPort, NamesThatDifferInCaseAreTwoPorts) {
  HANDLE lower = Open(L"usb001");
  HANDLE upper = Open(L"USB001");
  EXPECT_NE(lower, nullptr);
  EXPECT_NE(upper, nullptr);
  EXPECT_NE(lower, upper);
}

TEST_F(OpenPort, FailureOfTheNextMonitorLeavesNoEntryAndItsOwnCode) {
  port.failOpen = true;
  port.failureCode = ERROR_ACCESS_DENIED;
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(host.lastError, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(host.Logged("OpenPort failed (0x5)"));
  port.failOpen = false;
  EXPECT_NE(Open(), nullptr);
}

TEST_F(OpenPort, RefusedTimeoutsAreNoFailure) {
  port.failTimeouts = true;
  HANDLE open = Open();
  ASSERT_NE(open, nullptr);
  EXPECT_TRUE(host.Logged("SetTimeouts failed"));
  EXPECT_EQ(Start(open), TRUE);
}

TEST_F(OpenPort, TableIsCopiedAtOpen) {
  MONITOR2 table = port.Table();
  key = Open(L"USB001", &table);
  table = MONITOR2{};
  ASSERT_EQ(Start(key), TRUE);
  EXPECT_EQ(Write(Document(1)), TRUE);
}

TEST_F(OpenPort, NameDecidesWhereTheModuleDoesNot) {
  EXPECT_NE(Open(L"usb9"), nullptr);
  EXPECT_NE(Open(L"CLIENT:3"), nullptr);
  EXPECT_NE(Open(L"client:4"), nullptr);
  EXPECT_EQ(port.opens, 3u);
}

// The word has to stand in front. A LAN port opens without anybody's help: the printer is looked for when a document
// starts.
TEST_F(OpenPort, LanPortDoesNotUseTheNextMonitor) {
  for (const wchar_t* name : {L"MYUSB", L"IP_10.0.0.5", L"XCLIENT:3", L""}) {
    HANDLE open = Open(name);
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(Close(open), TRUE);
  }
  EXPECT_EQ(port.opens, 0u);
  EXPECT_EQ(port.closes, 0u);
  EXPECT_THAT(port.timeouts, IsEmpty());
}

TEST_F(OpenPort, CloseClosesTheNextMonitorsPortWhateverItSays) {
  HANDLE open = Open();
  port.failClose = true;
  EXPECT_EQ(Close(open), TRUE);
  EXPECT_EQ(port.closes, 1u);
  EXPECT_EQ(Close(open), FALSE);
  EXPECT_EQ(port.closes, 1u);
}

TEST_F(OpenPort, MonitorPortHandleIsPassedOnUnchanged) {
  static HANDLE seen;
  seen = nullptr;
  MONITOR2 table = port.Table();
  table.pfnOpenPort = [](HANDLE handle, LPWSTR, HANDLE* opened) -> BOOL {
    seen = handle;
    *opened = handle;
    return TRUE;
  };
  ASSERT_NE(Open(L"USB001", &table), nullptr);
  EXPECT_EQ(seen, &port);
}

class StaleKey : public DoorTest {
 protected:
  // A last error that no entry point would set.
  static constexpr DWORD kUntouched = 4711;
};

TEST_F(StaleKey, EveryEntryPointDoesNothing) {
  HANDLE closed = Open();
  Close(closed);
  for (HANDLE stale : {closed, HANDLE{nullptr}, HANDLE{&port}}) {
    host.lastError = kUntouched;
    story.clear();
    written = read = 99;
    EXPECT_EQ(Start(stale), FALSE);
    EXPECT_EQ(Write(stale, Document(1)), FALSE);
    EXPECT_EQ(Read(stale, 4), FALSE);
    EXPECT_EQ(End(stale), FALSE);
    EXPECT_EQ(Close(stale), FALSE);
    EXPECT_EQ(host.lastError, kUntouched);
    EXPECT_EQ(written, 99u);
    EXPECT_EQ(read, 99u);
    EXPECT_THAT(story, IsEmpty());
  }
}

TEST_F(StaleKey, LogHasTheEntryLinesAlone) {
  HANDLE closed = Open();
  Close(closed);
  host.log.clear();
  written = read = 0;
  Write(closed, Document(1));
  Read(closed, 4);
  End(closed);
  Close(closed);
  EXPECT_THAT(host.LogTexts(), ElementsAre("", "", "", ""));
}

}  // namespace
}  // namespace sc3xxmon::test
