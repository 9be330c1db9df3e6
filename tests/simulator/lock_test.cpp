// Who has the printer, and what the others are told.
#include "printer_desk.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LockTest : public PrinterDesk {
 protected:
  void SetUp() override {
    Host();
    second = Printer().Connect(now);
  }
  ClientId second = kNobody;
};

TEST_F(LockTest, IsTakenByRequestOneAndGivenBackByTheEndOfTheJob) {
  EXPECT_EQ(StatusAfter(1), 0);
  EXPECT_EQ(Printer().LockHolder(), Host());
  EXPECT_EQ(StatusAs(second, 1), 4);
  Send(EndOfJob());
  EXPECT_EQ(Printer().LockHolder(), kNobody);
  EXPECT_EQ(StatusAs(second, 1), 0);
  EXPECT_EQ(Printer().LockHolder(), second);
}

TEST_F(LockTest, IsNotTakenByRequestZero) {
  EXPECT_EQ(StatusAfter(0), 0);
  EXPECT_EQ(Printer().LockHolder(), kNobody);
}

TEST_F(LockTest, GoesToTheFirstWhoBeginsAJob) {
  Send(JobStart());
  EXPECT_EQ(Printer().LockHolder(), Host());
  EXPECT_EQ(StatusAs(second, 0), 4);
}

TEST_F(LockTest, GoesToTheFirstWhoSendsALabelWithoutAJob) {
  Send(Label(1));
  EXPECT_EQ(Printer().LockHolder(), Host());
}

TEST_F(LockTest, StaysWithItsHolderWhenAnotherEndsAJob) {
  StatusAfter(1);
  SendAs(second, EndOfJob());
  EXPECT_EQ(Printer().LockHolder(), Host());
}

TEST_F(LockTest, RefusesTheLabelsOfOthersAndTellsThem) {
  StatusAfter(1);
  SendAs(second, JobStart() + Label(9) + Ask(2) + Label(10));
  EXPECT_THAT(StatusesAs(second), ElementsAre(5));
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kRefused, DropReason::kRefused));
}

TEST_F(LockTest, TellsARefusalEvenWhenThePrinterIsFreeAgain) {
  Send(JobStart());
  SendAs(second, JobStart() + Label(9));
  Send(EndOfJob());
  EXPECT_EQ(StatusAs(second, 0), 5);
  EXPECT_EQ(StatusAs(second, 0), 0);
  SendAs(second, Label(9) + Ask(2));
  EXPECT_THAT(StatusesAs(second), ElementsAre(0));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(9));
}

TEST_F(LockTest, TakesLabelsAfterARefusalOnceTheLockIsGiven) {
  Send(JobStart());
  SendAs(second, JobStart() + Label(9));
  EXPECT_EQ(StatusAs(second, 1), 4);
  Send(EndOfJob());
  EXPECT_EQ(StatusAs(second, 1), 0);
  SendAs(second, JobStart() + Label(9) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(9));
}

TEST_F(LockTest, IsFreeWhenItsHolderVanishes) {
  StatusAfter(1);
  Printer().Disconnect(Host(), now);
  EXPECT_EQ(Printer().LockHolder(), kNobody);
  EXPECT_EQ(StatusAs(second, 1), 0);
}

TEST_F(LockTest, IsHeldBySomebodyElseDuringALockFault) {
  AddFault("lock@1s,for:3s");
  EXPECT_EQ(StatusAfter(1), 0);
  Pass(1000);
  EXPECT_EQ(Printer().LockHolder(), kSomebodyElse);
  EXPECT_EQ(StatusAfter(1), 4);
  Send(JobStart() + Label(1));
  EXPECT_EQ(StatusAfter(2), 5);
  Pass(3000);
  EXPECT_EQ(Printer().LockHolder(), kNobody);
  EXPECT_EQ(StatusAfter(1), 0);
  Send(JobStart() + Label(1) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(LockTest, AcknowledgesWithFourWhatWasTakenBeforeTheLockWasLost) {
  Send(JobStart() + Label(1));
  AddFault("lock");
  EXPECT_EQ(StatusAfter(2), 4);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(LockTest, IsNotGivenWhileAStatusFaultSaysThatItIsTaken) {
  AddFault("status=5,count:1");
  EXPECT_EQ(StatusAfter(1), 5);
  EXPECT_EQ(Printer().LockHolder(), kNobody);
  EXPECT_EQ(StatusAfter(1), 0);
  EXPECT_EQ(Printer().LockHolder(), Host());
}

TEST_F(LockTest, KeepsTheLabelsOfManyClientsApart) {
  Send(JobStart() + OpenLabel(1));
  SendAs(second, Ask(0));
  Send(ShortFormFeed() + EndOfJob());
  SendAs(second, JobStart() + Label(2) + EndOfJob());
  Send(JobStart() + Label(3) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
  EXPECT_EQ(Printer().Printed()[1].client, second);
}

}  // namespace
}  // namespace simulator::test
