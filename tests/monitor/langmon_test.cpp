#include "monitor/langmon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "job/failure.h"
#include "monitor/options.h"
#include "support/child_process.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

class LangMonTest : public ::testing::Test {
 protected:
  static std::shared_ptr<CPrintJob> Job() { return std::make_shared<CPrintJob>(7, L"Labels"); }

  test::TestHost host;
};

TEST_F(LangMonTest, ANewObjectHasItsStartValues) {
  const CLangMon monitor(L"USB001");
  EXPECT_TRUE(monitor.Jobs.empty());
  EXPECT_EQ(monitor.Name, L"USB001");
  EXPECT_EQ(monitor.DocBusy, 0U);
  EXPECT_EQ(monitor.SyncEvent, nullptr);
  EXPECT_EQ(monitor.hPort, nullptr);
  EXPECT_EQ(monitor.Monitor.cbSize, 184U);
  EXPECT_EQ(monitor.Monitor.pfnOpenPort, nullptr);
  EXPECT_EQ(monitor.Monitor.pfnWritePort, nullptr);
  EXPECT_EQ(monitor.isUsb, 1U);
  EXPECT_EQ(monitor.LastJobId, 0U);
  EXPECT_EQ(monitor.RestartCount, 0U);
  EXPECT_EQ(monitor.NoProgressCount, 0U);
  EXPECT_EQ(monitor.LastAckedCount, 0U);
  EXPECT_EQ(monitor.LastIoTick, 0U);
  EXPECT_EQ(monitor.EndDocDelay, 0U);
}

TEST_F(LangMonTest, ANullNameThrows) {
  try {
    const CLangMon monitor(nullptr);
    FAIL() << "nothing was thrown";
  } catch (const Exception& failure) {
    EXPECT_STREQ(failure.what(), "name parameter is invalid");
  }
}

TEST_F(LangMonTest, AnEmptyNameIsAName) {
  EXPECT_EQ(CLangMon(L"").Name, L"");
}

TEST_F(LangMonTest, WithoutAJobThereIsNoCurrentOne) {
  const CLangMon monitor(L"USB001");
  EXPECT_EQ(monitor.CurrentJob(), nullptr);
  EXPECT_FALSE(monitor.HasCurrentJob());
  EXPECT_EQ(host.lastError, 87U);
}

TEST_F(LangMonTest, TheLastJobPushedIsTheCurrentOne) {
  CLangMon monitor(L"USB001");
  const auto first = Job();
  const auto second = Job();
  monitor.PushJob(first);
  EXPECT_EQ(monitor.CurrentJob(), first);
  monitor.PushJob(second);
  EXPECT_EQ(monitor.CurrentJob(), second);
  host.lastError = 31;
  EXPECT_TRUE(monitor.HasCurrentJob());
  EXPECT_EQ(host.lastError, 31U);
}

TEST_F(LangMonTest, PoppingGivesTheLastJobFirst) {
  CLangMon monitor(L"USB001");
  const auto first = Job();
  const auto second = Job();
  monitor.PushJob(first);
  monitor.PushJob(second);
  EXPECT_EQ(monitor.PopJob(), second);
  EXPECT_EQ(monitor.PopJob(), first);
  EXPECT_EQ(monitor.PopJob(), nullptr);
  EXPECT_FALSE(monitor.HasCurrentJob());
}

TEST_F(LangMonTest, AnEmptyReferenceOnTheStackIsNoCurrentJob) {
  CLangMon monitor(L"USB001");
  monitor.PushJob(nullptr);
  EXPECT_FALSE(monitor.HasCurrentJob());
  EXPECT_EQ(host.lastError, 87U);
}

TEST_F(LangMonTest, TheObjectLetsItsJobsGoAtItsEnd) {
  std::weak_ptr<CPrintJob> job;
  {
    CLangMon monitor(L"USB001");
    monitor.PushJob(Job());
    job = monitor.CurrentJob();
    EXPECT_FALSE(job.expired());
  }
  EXPECT_TRUE(job.expired());
}

TEST_F(LangMonTest, OnlyALanPortThatSendsHeadersRecoversInPlace) {
  CLangMon monitor(L"USB001");
  struct {
    std::uint32_t isUsb, sendIphs;
    bool recovers;
  } const cases[] = {{1, 1, false}, {1, 0, false}, {0, 0, false}, {0, 1, true}, {0, 5, true}};
  for (const auto& c : cases) {
    monitor.isUsb = c.isUsb;
    SendIPHs = c.sendIphs;
    RecoverLanComm = c.recovers ? 0 : 1;  // nobody asks that one
    EXPECT_EQ(monitor.CanRecoverInPlace(), c.recovers) << c.isUsb << c.sendIphs;
  }
}

TEST_F(LangMonTest, AnObjectThatGoesInTheMiddleOfADocumentGivesItsEventBack) {
  const test::UniqueWord printer;
  {
    CLangMon monitor(L"USB001");
    ASSERT_TRUE(monitor.AcquireHostSync(printer.Text().c_str()));
    ASSERT_NE(monitor.SyncEvent, nullptr);
  }
  CLangMon next(L"USB002");
  EXPECT_TRUE(next.AcquireHostSync(printer.Text().c_str()));
  EXPECT_TRUE(host.sleeps.empty());
}

}  // namespace
}  // namespace sc3xxmon
