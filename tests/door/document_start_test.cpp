// Starting a document: arguments, the guards of the port and of the printer, and what a failure leaves behind.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DocumentStart : public DoorTest {
 protected:
  void SetUp() override {
    key = Open();
    ASSERT_NE(key, nullptr);
    host.lastError = 0;
    story.clear();
  }
  // A start that comes after a failed one finds everything free.
  void ExpectStartsNow() {
    EXPECT_EQ(Start(key), TRUE);
    EXPECT_THAT(story, ElementsAre("start document"));
  }
};

TEST_F(DocumentStart, AsksTheSpoolerForTheDriverAndStartsThePort) {
  EXPECT_EQ(Start(key), TRUE);
  EXPECT_THAT(story, ElementsAre("start document"));
  EXPECT_THAT(host.openedPrinters, ElementsAre(printerName));
  EXPECT_EQ(host.openHandles, 1u);
}

TEST_F(DocumentStart, WithoutDocumentInfoIsAnInvalidParameter) {
  EXPECT_EQ(Start(key, printerName.c_str(), kJobId, 1, false), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  ExpectStartsNow();
}

TEST_F(DocumentStart, WithoutPrinterNameIsAnInvalidParameter) {
  EXPECT_EQ(Start(key, nullptr, kJobId, 1, true), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  host.lastError = 0;
  EXPECT_EQ(Start(key, L"", kJobId, 1, true), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  ExpectStartsNow();
}

TEST_F(DocumentStart, LevelOtherThanOneIsAnInvalidLevel) {
  EXPECT_EQ(Start(key, kJobId, 2), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_LEVEL);
  EXPECT_TRUE(host.Logged("Error"));
  ExpectStartsNow();
}

TEST_F(DocumentStart, ArgumentsAreTestedBeforeTheLevel) {
  EXPECT_EQ(Start(key, printerName.c_str(), kJobId, 2, false), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(host.Logged("Error"));
}

TEST_F(DocumentStart, SecondDocumentOnAPortIsBusyAtOnceAndTheFirstGoesOn) {
  ASSERT_EQ(Start(key), TRUE);
  const std::uint64_t before = host.now;
  EXPECT_EQ(Start(key), FALSE);
  EXPECT_EQ(host.lastError, ERROR_BUSY);
  EXPECT_EQ(host.now, before);
  EXPECT_TRUE(host.Logged("StartDocPort is busy - canst start new doc"));
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 2u);
}

TEST_F(DocumentStart, SecondPortOfAPrinterWaitsFiveSecondsAndIsBusy) {
  ASSERT_EQ(Start(key), TRUE);
  HANDLE other = Open(L"USB002");
  const std::uint64_t before = host.now;
  EXPECT_EQ(Start(other), FALSE);
  EXPECT_EQ(host.lastError, ERROR_BUSY);
  EXPECT_GE(host.now, before + 5000);
  EXPECT_LT(host.now, before + 5100);
  EXPECT_TRUE(host.Logged("StartDocPort is busy - canst start new doc"));
  End(key);
  EXPECT_EQ(Start(other), TRUE);
}

TEST_F(DocumentStart, PrinterIsFreeAgainAsSoonAsItsDocumentHasEnded) {
  ASSERT_EQ(Start(key), TRUE);
  End(key);
  HANDLE other = Open(L"USB002");
  const std::uint64_t before = host.now;
  EXPECT_EQ(Start(other), TRUE);
  EXPECT_EQ(host.now, before);
}

TEST_F(DocumentStart, AnotherPrinterDoesNotWait) {
  ASSERT_EQ(Start(key), TRUE);
  HANDLE other = Open(L"USB002");
  const std::uint64_t before = host.now;
  EXPECT_EQ(Start(other, (printerName + L" b").c_str(), kJobId, 1, true), TRUE);
  EXPECT_EQ(host.now, before);
}

TEST_F(DocumentStart, PrinterThatCannotBeOpenedNeverReachesThePort) {
  host.failOpenPrinter = true;
  EXPECT_EQ(Start(key), FALSE);
  EXPECT_EQ(host.lastError, 1801u);
  EXPECT_TRUE(host.Logged("OpenPrinter failed"));
  EXPECT_THAT(story, IsEmpty());
  host.failOpenPrinter = false;
  ExpectStartsNow();
}

TEST_F(DocumentStart, JobThatCannotBeReadNeverReachesThePort) {
  host.failGetJob = true;
  EXPECT_EQ(Start(key), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_TRUE(host.Logged("Failed to get driver info"));
  EXPECT_THAT(story, IsEmpty());
  host.failGetJob = false;
  ExpectStartsNow();
}

TEST_F(DocumentStart, FailureOfThePortLeavesNoJobAndItsOwnCode) {
  port.failStartDocument = true;
  port.failureCode = ERROR_GEN_FAILURE;
  EXPECT_EQ(Start(key), FALSE);
  EXPECT_EQ(host.lastError, ERROR_GEN_FAILURE);
  EXPECT_TRUE(host.Logged("StartDocPort failed"));
  EXPECT_EQ(host.openHandles, 0u);
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_EQ(host.lastError, ERROR_INVALID_PARAMETER);
  port.failStartDocument = false;
  ExpectStartsNow();
}

}  // namespace
}  // namespace sc3xxmon::test
