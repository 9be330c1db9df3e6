#include <filesystem>
#include <random>

#include "platform/named_event.h"
#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::IsEmpty;

// The events are the machine's: each test has a printer of its own, and takes away what it left behind.
class HostSyncTest : public PrintingFixture {
 protected:
  ~HostSyncTest() override {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(kEventFolder, ignored)) {
      if (entry.path().filename().string().find(tag) != std::string::npos) {
        std::filesystem::remove(entry.path(), ignored);
      }
    }
  }

  std::uint64_t VirtualTimePassed() const { return host.now - 1000; }

  static constexpr char kEventFolder[] = "/dev/shm";
  const std::string tag = "HostSyncTest" + std::to_string(std::random_device{}());
  const std::wstring printer{tag.begin(), tag.end()};
  CLangMon otherPort{L"USB002"};
};

TEST_F(HostSyncTest, TheFirstDocumentIsAdmittedAtOnce) {
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_EQ(monitor.DocBusy, 1u);
  EXPECT_NE(monitor.SyncEvent, nullptr);
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, ReleasingGivesTheEventToTheNext) {
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_TRUE(monitor.ReleaseHostSync());
  EXPECT_EQ(monitor.DocBusy, 0u);
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_TRUE(otherPort.AcquireHostSync(printer.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, ASecondDocumentOnTheSamePortIsRefusedWithoutAWait) {
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  const HANDLE event = monitor.SyncEvent;
  EXPECT_FALSE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
  EXPECT_EQ(monitor.SyncEvent, event) << "the document in progress keeps its event";
  EXPECT_EQ(monitor.DocBusy, 1u);
}

TEST_F(HostSyncTest, ASecondPortForTheSamePrinterWaitsFiveSecondsAndIsRefused) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printer.c_str()));
  EXPECT_FALSE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 5000u);
  EXPECT_EQ(monitor.DocBusy, 0u);
  EXPECT_NE(monitor.SyncEvent, nullptr) << "the handle stays where it is";
}

TEST_F(HostSyncTest, ASecondPortIsAdmittedAsSoonAsTheFirstIsDone) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printer.c_str()));
  host.onSleep = [this](std::uint32_t) {
    if (VirtualTimePassed() >= 4000) {
      otherPort.ReleaseHostSync();
    }
  };
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_GE(VirtualTimePassed(), 4000u);
  EXPECT_LT(VirtualTimePassed(), 5000u);
}

TEST_F(HostSyncTest, AnotherPrinterIsAnotherEvent) {
  EXPECT_TRUE(otherPort.AcquireHostSync((printer + L"b").c_str()));
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
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
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  monitor.DocBusy = 0;
  EXPECT_FALSE(monitor.ReleaseHostSync());
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_TRUE(otherPort.AcquireHostSync(printer.c_str()));
  EXPECT_EQ(VirtualTimePassed(), 0u);
}

TEST_F(HostSyncTest, AfterATimeOutALaterSuccessOverwritesTheStaleHandleWithoutClosingIt) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printer.c_str()));
  EXPECT_FALSE(monitor.AcquireHostSync(printer.c_str()));
  const HANDLE stale = monitor.SyncEvent;
  otherPort.ReleaseHostSync();
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_NE(monitor.SyncEvent, nullptr);
  EXPECT_NE(monitor.SyncEvent, stale);

  EXPECT_FALSE(platform::WaitForNamedEvent(stale, 0)) << "taken through the new handle";
  EXPECT_TRUE(monitor.ReleaseHostSync());
  EXPECT_TRUE(platform::WaitForNamedEvent(stale, 0)) << "the stale handle is still open";
  platform::CloseNamedEvent(stale);
}

TEST_F(HostSyncTest, AfterATimeOutAReleaseIsFalseAndSignalsTheEvent) {
  EXPECT_TRUE(otherPort.AcquireHostSync(printer.c_str()));
  EXPECT_FALSE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_FALSE(monitor.ReleaseHostSync());
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str())) << "it was set, whoever holds it";
}

TEST_F(HostSyncTest, AMachineWithoutTheEventPrintsAllTheSame) {
  // A folder stands where the event would be.
  std::error_code failed;
  std::filesystem::create_directory(std::string(kEventFolder) + "/Global%5CKOVA.Sc3xxSync." + tag, failed);
  if (failed) {
    GTEST_SKIP() << "the event's place can't be blocked here: " << failed.message();
  }
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_EQ(monitor.DocBusy, 1u);
  EXPECT_TRUE(monitor.ReleaseHostSync());
}

TEST_F(HostSyncTest, NothingOfThisReachesThePort) {
  EXPECT_TRUE(monitor.AcquireHostSync(printer.c_str()));
  EXPECT_TRUE(monitor.ReleaseHostSync());
  EXPECT_THAT(story, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon::test
