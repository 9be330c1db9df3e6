#include "platform/named_event.h"
#include "support/printing_fixture.h"
#include "support/unique_printer.h"

namespace sc3xxmon::test {
namespace {

using ::testing::IsEmpty;

class HostSyncTest : public PrintingFixture {
 protected:
  std::uint64_t VirtualTimePassed() const { return host.now - 1000; }

  UniquePrinter unique;
  const std::wstring& printerName = unique.Name();
  CLangMon otherPort{L"USB002"};
};

TEST_F(HostSyncTest, TheFirstDocumentIsAdmittedAtOnce) {
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(monitor.DocBusy, 1u);
  EXPECT_NE(monitor.SyncEvent, nullptr);
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, ReleasingGivesTheEventToTheNext) {
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_TRUE(monitor.ReleaseHostSync());
  EXPECT_EQ(monitor.DocBusy, 0u);
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_TRUE(otherPort.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, ASecondDocumentOnTheSamePortIsRefusedWithoutAWait) {
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  const HANDLE event = monitor.SyncEvent;
  EXPECT_FALSE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
  EXPECT_EQ(monitor.SyncEvent, event) << "the document in progress keeps its event";
  EXPECT_EQ(monitor.DocBusy, 1u);
}

TEST_F(HostSyncTest, ASecondPortForTheSamePrinterWaitsFiveSecondsAndIsRefused) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printerName.c_str()));
  EXPECT_FALSE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 5000u);
  EXPECT_EQ(monitor.DocBusy, 0u);
  EXPECT_NE(monitor.SyncEvent, nullptr) << "the handle stays where it is";
}

TEST_F(HostSyncTest, ASecondPortIsAdmittedAsSoonAsTheFirstIsDone) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printerName.c_str()));
  host.onSleep = [this](std::uint32_t) {
    if (VirtualTimePassed() >= 4000) {
      otherPort.ReleaseHostSync();
    }
  };
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_GE(VirtualTimePassed(), 4000u);
  EXPECT_LT(VirtualTimePassed(), 5000u);
}

TEST_F(HostSyncTest, AnotherPrinterIsAnotherEvent) {
  EXPECT_TRUE(otherPort.AcquireHostSync((printerName + L"b").c_str()));
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, WithoutAPrinterNameThereIsNoEvent) {
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
    EXPECT_TRUE(monitor.AcquireHostSync(name));
    EXPECT_EQ(monitor.SyncEvent, nullptr);
    EXPECT_FALSE(monitor.AcquireHostSync(name)) << "the port itself is busy all the same";
    EXPECT_TRUE(monitor.ReleaseHostSync());
  }
}

TEST_F(HostSyncTest, ReleasingAnIdlePortIsFalse) {
  EXPECT_FALSE(monitor.ReleaseHostSync());
}

TEST_F(HostSyncTest, ReleasingAPortThatIsntBusyStillSetsAndClosesAnOpenEvent) {
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  monitor.DocBusy = 0;
  EXPECT_FALSE(monitor.ReleaseHostSync());
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_TRUE(otherPort.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, AfterATimeOutALaterSuccessOverwritesTheStaleHandleWithoutClosingIt) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printerName.c_str()));
  EXPECT_FALSE(monitor.AcquireHostSync(printerName.c_str()));
  const HANDLE stale = monitor.SyncEvent;
  otherPort.ReleaseHostSync();
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_NE(monitor.SyncEvent, nullptr);
  EXPECT_NE(monitor.SyncEvent, stale);

  EXPECT_FALSE(platform::WaitForNamedEvent(stale, 0)) << "taken through the new handle";
  EXPECT_TRUE(monitor.ReleaseHostSync());
  EXPECT_TRUE(platform::WaitForNamedEvent(stale, 0)) << "the stale handle is still open";
  platform::CloseNamedEvent(stale);
}

TEST_F(HostSyncTest, AfterATimeOutAReleaseIsFalseAndSignalsTheEvent) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printerName.c_str()));
  EXPECT_FALSE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_FALSE(monitor.ReleaseHostSync());
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str())) << "it was set, whoever holds it";
}

TEST_F(HostSyncTest, AMachineWithoutTheEventPrintsAllTheSame) {
  if (!unique.BlockEvent()) {
    GTEST_SKIP() << "the event's place can't be blocked on this system";
  }
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_EQ(monitor.DocBusy, 1u);
  EXPECT_TRUE(monitor.ReleaseHostSync());
}

TEST_F(HostSyncTest, NothingOfThisReachesThePort) {
  EXPECT_TRUE(monitor.AcquireHostSync(printerName.c_str()));
  EXPECT_TRUE(monitor.ReleaseHostSync());
  EXPECT_THAT(story, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon::test
