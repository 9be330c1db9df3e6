// Faults: what each does, when it begins, how long it lasts, and that no label is lost or doubled by it.
#include "printer_desk.h"
#include "simulator/status_answer.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class FaultsTest : public PrinterDesk {
 protected:
  Bytes Record() {
    Send(Ask(0));
    return Receive();
  }
};

class BayFaultTest : public PrinterDesk, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Values, BayFaultTest, ::testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255));

TEST_P(BayFaultTest, StopsPrintingUnlessTheMediaIsGood) {
  const bool good = GetParam() >= 6 && GetParam() <= 8;
  AddFault("bay=" + std::to_string(GetParam()));
  Send(JobStart() + Label(1));
  EXPECT_THAT(Printer().Printed(), SizeIs(good ? 1 : 0));
  Send(Ask(0));
  const Bytes record = Receive();
  EXPECT_EQ(record[0], good ? 0 : 2);
  EXPECT_EQ(record[10], GetParam());
}

TEST_F(FaultsTest, HeadFaultShowsItsByte) {
  AddFault("head=3");
  const Bytes record = Record();
  EXPECT_EQ(record[0], 2);
  EXPECT_EQ(record[8], 3);
}

TEST_F(FaultsTest, CutterAndBatteryFaultsShowOnTape) {
  settings.model = 9;
  AddFault("cutter,for:1s");
  Bytes record = Record();
  EXPECT_EQ(record[3], 2);
  EXPECT_EQ(record[10], 4);
  Pass(1000);
  AddFault("battery");
  record = Record();
  EXPECT_EQ(record[3], 2);
  EXPECT_EQ(record[25], 0x08);  // 0x800 of the error word
}

TEST_F(FaultsTest, CommunicationErrorShowsInEachForm) {
  AddFault("communication");
  Bytes record = Record();
  EXPECT_EQ(record[0], 2);
  EXPECT_EQ(record[24], 0x10);

  PrinterSettings tape;
  tape.model = 8;
  tape.faults = {FaultOf("communication")};
  VirtualPrinter other(tape);
  const ClientId client = other.Connect(0);
  other.Write(client, Ask(0), 0);
  record.assign(32, 0);
  other.Read(client, record, 0);
  EXPECT_EQ(record[3], 2);
  EXPECT_EQ(record[24], 0x08);
}

TEST_F(FaultsTest, ErrorBitsShowWithStatusTwo) {
  AddFault("error-bits=0x40");
  const Bytes record = Record();
  EXPECT_EQ(record[0], 2);
  EXPECT_EQ(record[23], 0x40);
}

TEST_F(FaultsTest, RefusesFaultsThatTheModelCantHave) {
  EXPECT_THROW(AddFault("cutter"), std::invalid_argument);
  EXPECT_THROW(AddFault("battery"), std::invalid_argument);
  PrinterSettings tape;
  tape.model = 8;
  EXPECT_THAT(CheckFault(tape, FaultOf("head")), HasSubstr("head"));
  EXPECT_THAT(CheckFault(tape, FaultOf("cutter")), IsEmpty());
  tape.faults = {FaultOf("head")};
  EXPECT_THROW(VirtualPrinter{tape}, std::invalid_argument);
}

TEST_F(FaultsTest, HoldsTheLabelInWorkAndPrintsItWhenTheErrorClears) {
  AddFault("bay=2@label:2,for:5s");
  Send(JobStart() + Label(1) + Label(2) + Label(3) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  Pass(4999);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  Pass(1);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
}

TEST_F(FaultsTest, DropsALabelThatWasReportedBadSoThatItsResendPrintsOnce) {
  AddFault("bay=2@label:2,for:5s");
  Send(JobStart() + Label(1) + Ask(2) + Label(2));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  Send(Ask(2) + Label(3));
  EXPECT_THAT(Statuses(), ElementsAre(2));
  EXPECT_EQ(StatusAfter(0), 2);
  Pass(5000);
  EXPECT_EQ(StatusAfter(0), 0);
  Send(ShortFormFeed() + Label(2) + Ask(2) + Label(3));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  EXPECT_EQ(StatusAfter(0), 0);
  Send(EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2, 3));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kReportedBad, DropReason::kRefused));
  EXPECT_EQ(Printer().Counts().labelsLost, 0u);
}

TEST_F(FaultsTest, AnswersAWaitingRequestAsSoonAsAnErrorBegins) {
  settings.millimetresPerSecond = 25.4;
  AddFault("bay=1@500ms");
  Send(JobStart() + Label(1, 300) + Ask(2) + Label(2, 300));
  Pass(499);
  EXPECT_THAT(Receive(), IsEmpty());
  Pass(1);
  EXPECT_THAT(Statuses(), ElementsAre(2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kReportedBad, DropReason::kReportedBad));
}

TEST_F(FaultsTest, StartsTheLabelInWorkOverAfterAnErrorThatNobodyAskedAbout) {
  settings.millimetresPerSecond = 25.4;
  AddFault("bay=1@500ms,for:1s");
  Send(JobStart() + Label(1, 300) + EndOfJob());
  Pass(2499);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Pass(1);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  EXPECT_EQ(Printer().Printed()[0].startedMs, 1500u);
}

TEST_F(FaultsTest, HoldsAnAcknowledgedLabelThroughAnErrorThatIsAskedAbout) {
  settings.millimetresPerSecond = 25.4;
  Send(JobStart() + Label(1, 300));
  EXPECT_EQ(StatusAfter(0), 0);  // the last label's acknowledgement
  Send(EndOfJob());
  AddFault("bay=2,for:5s");
  Pass(10);
  EXPECT_EQ(StatusAfter(0), 2);
  Pass(10000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  EXPECT_THAT(DropReasons(), IsEmpty());
}

TEST_F(FaultsTest, DropsATapeLabelWithItsChunksAndTakesItsResendWhole) {
  settings.model = 8;
  const Bytes chunk = RasterBytes(5, 64, 9);
  AddFault("bay=2@exchange:2,for:3s");
  Send(JobStart() + Index(1) + Raster(5, 64, chunk) + Ask(2) + Raster(5, 64, chunk));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  Send(Ask(2) + Raster(5, 64, chunk));
  EXPECT_THAT(Statuses(), ElementsAre(2));
  Pass(3000);
  EXPECT_EQ(StatusAfter(0), 0);
  Send(Index(1) + Raster(5, 64, chunk) + Ask(2) + Raster(5, 64, chunk) + Ask(2) + ShortFormFeed());
  EXPECT_THAT(Statuses(), ElementsAre(0, 0));
  ASSERT_THAT(Printer().Printed(), SizeIs(1));
  EXPECT_EQ(Printer().Printed()[0].lines, 10u);
}

TEST_F(FaultsTest, LabelFaultBeginsWithTheFirstRasterOnTape) {
  settings.model = 8;
  AddFault("bay=9@label:2,for:1s");
  Send(JobStart() + Label(1) + Index(2));
  EXPECT_EQ(StatusAfter(2), 0);
  Send(Raster(1, 8, {1}) + Ask(2));
  EXPECT_THAT(Statuses(), ElementsAre(2));
}

TEST_F(FaultsTest, StatusFaultWithACountIsShownSoManyTimes) {
  AddFault("status=5@label:2,count:2");
  Send(JobStart() + Label(1));
  EXPECT_EQ(StatusAfter(2), 0);
  Send(Label(2));
  EXPECT_EQ(StatusAfter(2), 5);
  EXPECT_EQ(StatusAfter(0), 5);
  EXPECT_EQ(StatusAfter(0), 0);
  Send(Label(2));
  EXPECT_EQ(StatusAfter(2), 0);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
}

class StatusFaultTest : public PrinterDesk, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Values, StatusFaultTest, ::testing::Values(0, 1, 2, 3, 4, 5, 6, 255));

TEST_P(StatusFaultTest, PrintsExactlyWhatItsAnswerAcknowledges) {
  const bool passes = GetParam() == 0 || GetParam() == 1 || GetParam() == 4;
  AddFault("status=" + std::to_string(GetParam()));
  Send(JobStart() + Label(1));
  EXPECT_EQ(StatusAfter(2), GetParam());
  EXPECT_THAT(Printer().Printed(), SizeIs(passes ? 1 : 0));
  Printer().ClearFaults(now);
  EXPECT_THAT(Printer().Printed(), SizeIs(passes ? 1 : 0));
}

TEST_F(FaultsTest, ShortAnswerGetsOutInPartOnce) {
  AddFault("short=20@exchange:2");
  Send(Ask(0));
  EXPECT_THAT(Receive(), SizeIs(32));
  Send(Ask(0));
  EXPECT_THAT(Receive(), SizeIs(20));
  Send(Ask(0));
  EXPECT_THAT(Receive(), SizeIs(32));
}

TEST_F(FaultsTest, LateAnswerComesLateAndHoldsTheNextOneBack) {
  AddFault("late=3s@exchange:1");
  Send(Ask(0) + Ask(0));
  Pass(2999);
  EXPECT_THAT(Receive(), IsEmpty());
  EXPECT_EQ(Printer().NextEvent(), 3000u);
  Pass(1);
  EXPECT_THAT(Statuses(), ElementsAre(0, 0));
}

TEST_F(FaultsTest, SilentAnswerNeverComes) {
  AddFault("silent@exchange:2");
  Send(AskFirmware());
  EXPECT_THAT(Receive(), SizeIs(34));
  Send(Ask(0));
  Pass(100000);
  EXPECT_THAT(Receive(), IsEmpty());
  EXPECT_EQ(StatusAfter(0), 0);
}

TEST_F(FaultsTest, TransferFaultsAreToldToTheTransport) {
  AddFault("write-fails=3@call:2");
  AddFault("write-part=10@call:3");
  AddFault("read-fails@call:4");
  const auto plan = [this](TransferDirection direction) { return Printer().BeginTransfer(Host(), direction, now); };
  TransferPlan first = plan(TransferDirection::kWrite);
  EXPECT_FALSE(first.fails);
  EXPECT_FALSE(first.limit.has_value());
  TransferPlan second = plan(TransferDirection::kWrite);
  EXPECT_TRUE(second.fails);
  EXPECT_EQ(second.limit, 3u);
  TransferPlan third = plan(TransferDirection::kWrite);
  EXPECT_FALSE(third.fails);
  EXPECT_EQ(third.limit, 10u);
  TransferPlan fourth = plan(TransferDirection::kRead);
  EXPECT_TRUE(fourth.fails);
  EXPECT_EQ(fourth.limit, 0u);
  EXPECT_FALSE(plan(TransferDirection::kRead).fails);
  EXPECT_EQ(Printer().Counts().transferCalls, 5u);
}

TEST_F(FaultsTest, AWriteFaultWaitsForAWrite) {
  AddFault("write-fails@call:1");
  EXPECT_FALSE(Printer().BeginTransfer(Host(), TransferDirection::kRead, now).fails);
  EXPECT_TRUE(Printer().BeginTransfer(Host(), TransferDirection::kWrite, now).fails);
  EXPECT_FALSE(Printer().BeginTransfer(Host(), TransferDirection::kWrite, now).fails);
}

TEST_F(FaultsTest, TransferFaultForATimeFailsEveryCallUntilThen) {
  AddFault("write-fails@1s,for:2s");
  const auto fails = [this] { return Printer().BeginTransfer(Host(), TransferDirection::kWrite, now).fails; };
  EXPECT_FALSE(fails());
  Pass(1000);
  EXPECT_TRUE(fails());
  EXPECT_TRUE(fails());
  Pass(2000);
  EXPECT_FALSE(fails());
}

TEST_F(FaultsTest, CancelAtThePrinterIsReportedOnceAndDropsTheJob) {
  AddFault("cancel@label:2");
  Send(JobStart() + Label(1) + Ask(2) + Label(2));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  Send(Ask(2) + Label(3));
  EXPECT_THAT(Statuses(), ElementsAre(3));
  Send(EndOfJob());
  EXPECT_EQ(StatusAfter(0), 0);
  Send(JobStart() + Label(4) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 4));
  EXPECT_EQ(Printer().Counts().labelsLost, 0u);
}

TEST_F(FaultsTest, CancelAnswersTheRequestThatWaits) {
  settings.millimetresPerSecond = 25.4;
  AddFault("cancel@500ms");
  Send(JobStart() + Label(1, 300) + Ask(2) + Label(2, 300));
  Pass(500);
  EXPECT_THAT(Statuses(), ElementsAre(3));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kCancelled, DropReason::kCancelled));
}

TEST_F(FaultsTest, CancelWithoutAJobIsToldToTheNextWhoAsks) {
  AddFault("cancel");
  Pass(1);
  EXPECT_EQ(StatusAfter(0), 3);
  EXPECT_EQ(StatusAfter(0), 0);
}

TEST_F(FaultsTest, PowerOffLosesEverythingAndFailsEveryTransfer) {
  settings.millimetresPerSecond = 25.4;
  Send(JobStart() + Label(1, 300));
  EXPECT_EQ(StatusAfter(0), 0);
  Send(Label(2, 300) + OpenLabel(3) + Ask(2));
  AddFault("power-off,for:4s");
  Pass(1);
  EXPECT_FALSE(Printer().PoweredOn());
  EXPECT_TRUE(Printer().BeginTransfer(Host(), TransferDirection::kWrite, now).fails);
  EXPECT_TRUE(Printer().BeginTransfer(Host(), TransferDirection::kRead, now).fails);
  EXPECT_EQ(Printer().Write(Host(), Ask(0), now), 0u);
  EXPECT_EQ(Printer().LockHolder(), kNobody);
  EXPECT_FALSE(Printer().JobOpen());
  EXPECT_TRUE(Printer().Idle());
  EXPECT_EQ(Printer().Counts().labelsLost, 1u) << "label 1 was acknowledged";
  EXPECT_THAT(Printer().TakeDropped(), SizeIs(3));
  EXPECT_THAT(Printer().Dropped(), IsEmpty());
  Pass(4000);
  EXPECT_TRUE(Printer().PoweredOn());
  EXPECT_FALSE(Printer().BeginTransfer(Host(), TransferDirection::kWrite, now).fails);
  EXPECT_EQ(StatusAfter(0), 0);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
}

TEST_F(FaultsTest, PowerOffAtALabelSwallowsTheRestOfTheWrite) {
  AddFault("power-off@label:2,for:1s");
  Send(JobStart() + Label(1) + Label(2) + Label(3));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  Pass(1000);
  Send(JobStart() + Label(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
  EXPECT_THAT(Printer().Malformed(), IsEmpty());
}

TEST_F(FaultsTest, StandsUntilItIsCleared) {
  const FaultId fault = Printer().AddFault(FaultOf("bay=2"));
  EXPECT_FALSE(Printer().FaultStands(fault));
  Send(JobStart() + Label(1));
  EXPECT_TRUE(Printer().FaultStands(fault));
  Pass(3600000);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Printer().ClearFault(fault, now);
  EXPECT_FALSE(Printer().FaultStands(fault));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(FaultsTest, TwoErrorsAtOnceStopItUntilBothAreGone) {
  AddFault("bay=2,for:2s");
  AddFault("head,for:4s");
  Send(JobStart() + Label(1));
  Pass(2000);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
  Pass(2000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(FaultsTest, SaysWhenTheNextFaultBeginsAndEnds) {
  AddFault("bay=2@3s,for:2s");
  EXPECT_EQ(Printer().NextEvent(), 3000u);
  Pass(3000);
  EXPECT_EQ(Printer().NextEvent(), 5000u);
  Pass(2000);
  EXPECT_EQ(Printer().NextEvent(), std::nullopt);
}

TEST_F(FaultsTest, AFaultWhoseTimeIsPastNeverStands) {
  Pass(10000);
  const FaultId fault = Printer().AddFault(FaultOf("bay=2@1s,for:2s"));
  EXPECT_EQ(StatusAfter(0), 0);
  EXPECT_FALSE(Printer().FaultStands(fault));
}

}  // namespace
}  // namespace simulator::test
