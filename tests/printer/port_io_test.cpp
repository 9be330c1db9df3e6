#include <array>

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const ByteString kEightBytes = Bytes("01 02 03 04 05 06 07 08");

class PortIoTest : public PrintingFixture {
 protected:
  bool Sends(const ByteString& bytes) {
    return monitor.Send(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &count);
  }
  bool SendsAll(const ByteString& bytes) {
    return monitor.SendAll(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  }
  bool Receives(std::uint32_t size) { return monitor.Recv(buffer.data(), size, &count); }

  std::uint32_t count = 0;
  std::array<std::uint8_t, 8> buffer{0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
};

// ------------------------------------------------------------------------------------------------------------ Send

TEST_F(PortIoTest, SendIsOneWriteOfThePortAndNotesWhenItEnded) {
  port.onWrite = [this] { host.now += 40; };
  EXPECT_TRUE(Sends(kEightBytes));
  EXPECT_THAT(port.writes, ElementsAre(kEightBytes));
  EXPECT_EQ(count, 8u);
  EXPECT_EQ(monitor.LastIoTick, 1040u);
}

TEST_F(PortIoTest, SendThatWritesFewerBytesThanAskedIsASuccess) {
  port.LimitWrite(3);
  EXPECT_TRUE(Sends(kEightBytes));
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(port.writeCalls, 1u);
}

TEST_F(PortIoTest, SendWithoutBytesIsFalseAndTouchesNeitherPortNorCount) {
  count = 77;
  EXPECT_FALSE(monitor.Send(kEightBytes.data(), 0, &count));
  EXPECT_FALSE(monitor.Send(nullptr, 8, &count));
  EXPECT_EQ(count, 77u);
  EXPECT_EQ(port.writeCalls, 0u);
  EXPECT_EQ(monitor.LastIoTick, 0u);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PortIoTest, SendThatFailsLogsCountAndErrorAndLeavesTheErrorToItsCaller) {
  port.failureCode = 1117;
  port.FailWrite();
  count = 5;  // a port that fails need not store a count
  monitor.LastIoTick = 17;
  EXPECT_FALSE(Sends(kEightBytes));
  EXPECT_THAT(host.LogTexts(), ElementsAre("WritePort failed. written=5; err=1117"));
  EXPECT_TRUE(LoggedBy("CLangMon::Send", "WritePort failed. written=5; err=1117"));
  EXPECT_EQ(host.lastError, 1117u);
  EXPECT_EQ(monitor.LastIoTick, 17u);
}

// --------------------------------------------------------------------------------------------------------- SendAll

TEST_F(PortIoTest, SendAllOfNothingIsTrueWithoutAPortCall) {
  EXPECT_TRUE(monitor.SendAll(kEightBytes.data(), 0));
  EXPECT_EQ(port.writeCalls, 0u);
}

TEST_F(PortIoTest, SendAllCallsAPortThatTakesOneByteACallOnceForEachByte) {
  port.LimitEveryWrite(1);
  EXPECT_TRUE(SendsAll(kEightBytes));
  EXPECT_EQ(port.writeCalls, 8u);
  EXPECT_EQ(port.AllWritten(), kEightBytes);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PortIoTest, SendAllGivesUpOnASuccessThatTookNothing) {
  port.LimitEveryWrite(0);
  EXPECT_FALSE(SendsAll(kEightBytes));
  EXPECT_EQ(port.writeCalls, 1u);
  EXPECT_THAT(host.LogTexts(), ElementsAre("SendAll failed: written=0"));
  EXPECT_TRUE(LoggedBy("CLangMon::SendAll", "SendAll failed: written=0"));
}

TEST_F(PortIoTest, SendAllThatFailsAfterFiveOfEightBytesSaysBoth) {
  port.LimitWrite(5, 1);
  port.FailWrite(2);
  EXPECT_FALSE(SendsAll(kEightBytes));
  EXPECT_THAT(host.LogTexts(), ElementsAre("WritePort failed. written=0; err=31", "SendAll failed: written=5"));
  EXPECT_EQ(port.AllWritten(), Bytes("01 02 03 04 05"));
}

TEST_F(PortIoTest, SendAllGoesOnBehindAFailureThatTookBytes) {
  port.FailWriteWith(3);
  EXPECT_TRUE(SendsAll(kEightBytes));
  EXPECT_EQ(port.writeCalls, 2u);
  EXPECT_EQ(port.AllWritten(), Bytes("04 05 06 07 08"));
  EXPECT_THAT(host.LogTexts(), ElementsAre("WritePort failed. written=3; err=31"));
}

TEST_F(PortIoTest, SendAllWhoseLastCallFailsIsFalseThoughAllBytesWereTaken) {
  port.LimitWrite(5, 1);
  port.FailWriteWith(3, 2);
  EXPECT_FALSE(SendsAll(kEightBytes));
  EXPECT_EQ(port.writeCalls, 2u);
  EXPECT_THAT(host.LogTexts(), ElementsAre("WritePort failed. written=3; err=31", "SendAll failed: written=8"));
}

TEST_F(PortIoTest, SendAllOfANullBufferFailsWithoutAPortCall) {
  EXPECT_FALSE(monitor.SendAll(nullptr, 8));
  EXPECT_EQ(port.writeCalls, 0u);
  EXPECT_THAT(host.LogTexts(), ElementsAre("SendAll failed: written=0"));
}

// ------------------------------------------------------------------------------------------------------------ Recv

TEST_F(PortIoTest, RecvIsOneReadOfThePortAndNotesWhenItEnded) {
  port.onRead = [this] { host.now += 250; };
  port.Answers(Bytes("0A 0B 0C"));
  EXPECT_TRUE(Receives(8));
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(port.readCalls, 1u);
  EXPECT_THAT(buffer, ElementsAre(0x0A, 0x0B, 0x0C, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA));
  EXPECT_EQ(monitor.LastIoTick, 1250u);
}

TEST_F(PortIoTest, RecvWithoutRoomIsFalseWithoutAPortCall) {
  EXPECT_FALSE(Receives(0));
  EXPECT_FALSE(monitor.Recv(nullptr, 8, &count));
  EXPECT_EQ(port.readCalls, 0u);
}

TEST_F(PortIoTest, RecvThatFailsLogsNothingItself) {
  port.FailsRead();
  monitor.LastIoTick = 17;
  EXPECT_FALSE(Receives(8));
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(host.lastError, static_cast<DWORD>(ERROR_GEN_FAILURE));
  EXPECT_EQ(monitor.LastIoTick, 17u);
}

TEST_F(PortIoTest, TheSpoolersOwnReadOfNothingReachesThePort) {
  EXPECT_TRUE(monitor.RecvForSpooler(nullptr, 0, &count));
  EXPECT_EQ(port.readCalls, 1u);
}

// ------------------------------------------------------------------------------------------------------ NoDeviceIO

TEST_F(PortIoTest, WithoutDeviceIoEveryTransferSucceedsInFullAndThePortIsNeverCalled) {
  SwitchOn(L"NoDeviceIO");
  host.now = 5000;
  EXPECT_TRUE(Sends(kEightBytes));
  EXPECT_EQ(count, 8u);
  EXPECT_EQ(monitor.LastIoTick, 5000u);

  host.now = 6000;
  EXPECT_TRUE(SendsAll(kEightBytes));
  EXPECT_EQ(monitor.LastIoTick, 6000u);

  host.now = 7000;
  count = 0;
  EXPECT_TRUE(Receives(6));
  EXPECT_EQ(count, 6u);
  EXPECT_TRUE(monitor.Recv(buffer.data(), 6, nullptr));
  EXPECT_EQ(monitor.LastIoTick, 7000u);

  EXPECT_EQ(port.writeCalls + port.readCalls, 0u);
  EXPECT_THAT(buffer, Each(0xAA));
}

TEST_F(PortIoTest, WithoutDeviceIoAnEmptyTransferIsStillFalse) {
  SwitchOn(L"NoDeviceIO");
  EXPECT_FALSE(monitor.Send(kEightBytes.data(), 0, &count));
  EXPECT_FALSE(Receives(0));
}

TEST_F(PortIoTest, WithoutDeviceIoThePortsOtherFunctionsAreStillCalled) {
  SwitchOn(L"NoDeviceIO");
  COMMTIMEOUTS timeouts{};
  EXPECT_TRUE(monitor.StartDoc(L"Labels", 7, 1, nullptr));
  EXPECT_TRUE(monitor.SetTimeouts(&timeouts));
  monitor.EndDoc();
  monitor.ClosePortChain();
  EXPECT_EQ(port.startedDocuments, 1u);
  EXPECT_THAT(port.timeouts, SizeIs(1));
  EXPECT_EQ(port.endedDocuments, 1u);
  EXPECT_EQ(port.closes, 1u);
}

TEST_F(PortIoTest, AtDebugLevel0NoDeviceIoIsOff) {
  SwitchOn(L"NoDeviceIO");
  TestHost::SetDebugLevel(0);
  EXPECT_TRUE(Sends(kEightBytes));
  EXPECT_EQ(port.writeCalls, 1u);
}

TEST_F(PortIoTest, NoDeviceIoIsOnAtExactlyOne) {
  SwitchOn(L"NoDeviceIO", 2);
  EXPECT_TRUE(Sends(kEightBytes));
  EXPECT_EQ(port.writeCalls, 1u);
}

// ----------------------------------------------------------------------------------------- documents and time-outs

TEST_F(PortIoTest, OnlyASuccessfulStartOfADocumentCountsAsATransfer) {
  port.failStartDocument = true;
  EXPECT_FALSE(monitor.StartDoc(L"Labels", 7, 1, nullptr));
  monitor.EndDoc();
  monitor.ClosePortChain();
  EXPECT_EQ(monitor.LastIoTick, 0u);

  port.failStartDocument = false;
  EXPECT_TRUE(monitor.StartDoc(L"Labels", 7, 1, nullptr));
  EXPECT_EQ(monitor.LastIoTick, 1000u);
}

TEST_F(PortIoTest, ADocumentIsAskedForWithTheCallersOwnArguments) {
  const int info = 0;
  EXPECT_TRUE(monitor.StartDoc(L"Shipping labels", 7, 1, const_cast<int*>(&info)));
  ASSERT_THAT(port.documents, SizeIs(1));
  EXPECT_EQ(port.documents[0].printerName, L"Shipping labels");
  EXPECT_EQ(port.documents[0].jobId, 7u);
  EXPECT_EQ(port.documents[0].level, 1u);
  EXPECT_EQ(port.documents[0].docInfo, &info);
}

TEST_F(PortIoTest, SetTimeoutsPassesThemToThePortAndGivesItsResult) {
  COMMTIMEOUTS timeouts{1, 2, 3, 4, 5};
  EXPECT_TRUE(monitor.SetTimeouts(&timeouts));
  ASSERT_THAT(port.timeouts, SizeIs(1));
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutConstant, 5u);
  EXPECT_THAT(port.timeoutArguments, ElementsAre(0u));
  port.failTimeouts = true;
  EXPECT_FALSE(monitor.SetTimeouts(&timeouts));
}

TEST_F(PortIoTest, SetTimeoutsOnAPortWithoutThatFunctionIsTrue) {
  monitor.Monitor.pfnSetPortTimeOuts = nullptr;
  COMMTIMEOUTS timeouts{};
  EXPECT_TRUE(monitor.SetTimeouts(&timeouts));
  EXPECT_THAT(port.timeouts, IsEmpty());
}

// ----------------------------------------------------------------------------------------------- AdjustPortTimeouts

ByteString OpenLengthJob(const ByteString& labels) {
  return Joined({JobStart(), Bytes("1B 4C FF FF"), labels});
}

class AdjustPortTimeoutsTest : public PortIoTest {
 protected:
  // A job of one open-length label of that many lines, which is on its way to the printer.
  void LabelInFlight(std::uint32_t lines) {
    StartJob(2, OpenLengthJob(Label(1, lines, 8)));
    ASSERT_THAT(job->Labels, SizeIs(1));
    job->MarkSent(job->Labels.front());
    host.log.clear();
  }
};

auto Timeouts(DWORD read, DWORD write) {
  return AllOf(Field(&COMMTIMEOUTS::ReadIntervalTimeout, 0u), Field(&COMMTIMEOUTS::ReadTotalTimeoutMultiplier, 1u),
               Field(&COMMTIMEOUTS::ReadTotalTimeoutConstant, read),
               Field(&COMMTIMEOUTS::WriteTotalTimeoutMultiplier, 1u),
               Field(&COMMTIMEOUTS::WriteTotalTimeoutConstant, write));
}

TEST_F(AdjustPortTimeoutsTest, RaisesBothForALongLabel) {
  LabelInFlight(14173);
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, ElementsAre(Timeouts(32999, 32999)));
  EXPECT_TRUE(LoggedBy("CLangMon::AdjustPortTimeouts", "Adjusting port timeouts to 32999 / 32999"));
}

TEST_F(AdjustPortTimeoutsTest, LeavesTheOptionsInPlaceForAShortLabel) {
  LabelInFlight(1000);
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, ElementsAre(Timeouts(15000, 15000)));
}

TEST_F(AdjustPortTimeoutsTest, TakesTheLargerOfNeedAndOptionForReadAndWriteEachOnItsOwn) {
  SetOption(L"PortReadTimeout", 40000);
  SetOption(L"PortWriteTimeout", 20000);
  LabelInFlight(14173);
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, ElementsAre(Timeouts(40000, 32999)));
}

TEST_F(AdjustPortTimeoutsTest, ALabelOfNoLinesNeedsThreeSeconds) {
  SetOption(L"PrintEmptyLabel", 1);
  SetOption(L"PortReadTimeout", 1000);
  LabelInFlight(0);
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, ElementsAre(Timeouts(3000, 15000)));
}

TEST_F(AdjustPortTimeoutsTest, BringsThemBackDownForAShortLabelBehindALongOne) {
  StartJob(2, OpenLengthJob(Joined({Label(1, 14173, 8), Label(2, 100, 8)})));
  job->MarkSent(job->Labels[0]);
  job->MarkSent(job->Labels[1]);
  monitor.AdjustPortTimeouts();
  job->AckFirstLabel();
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, ElementsAre(Timeouts(32999, 32999), Timeouts(15000, 15000)));
}

TEST_F(AdjustPortTimeoutsTest, WithoutOpenLengthLabelsThereIsNoCallAndNoLogLine) {
  StartJob(2, Joined({JobStart(), Bytes("1B 4C 10 00"), Label(1, 14173, 8)}));
  job->MarkSent(job->Labels.front());
  host.log.clear();
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, IsEmpty());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(AdjustPortTimeoutsTest, WithNoLabelInFlightThereIsNoCallAndNoLogLine) {
  StartJob(2, OpenLengthJob(Label(1, 14173, 8)));
  host.log.clear();
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, IsEmpty());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(AdjustPortTimeoutsTest, ALabelWithoutARasterCommandChangesNothing) {
  SetOption(L"PrintEmptyLabel", 1);
  StartJob(2, OpenLengthJob(Joined({LabelIndex(1), Bytes("1B 47")})));
  ASSERT_THAT(job->Labels, SizeIs(1));
  job->MarkSent(job->Labels.front());
  host.log.clear();
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, IsEmpty());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(AdjustPortTimeoutsTest, OnAPortWithoutThatFunctionTheLineIsStillLogged) {
  LabelInFlight(14173);
  monitor.Monitor.pfnSetPortTimeOuts = nullptr;
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(host.LogTexts(), ElementsAre("Adjusting port timeouts to 32999 / 32999"));
}

TEST_F(AdjustPortTimeoutsTest, ARefusalByThePortIsIgnored) {
  LabelInFlight(14173);
  port.failTimeouts = true;
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(host.LogTexts(), ElementsAre("Adjusting port timeouts to 32999 / 32999"));
}

TEST_F(AdjustPortTimeoutsTest, AnAbsurdNumberOfLinesCountsModulo32Bits) {
  // An ESC Z says how long its raster will be without having to bring it.
  StartJob(2, OpenLengthJob(Joined(
                  {LabelIndex(1), Bytes("1B 5A 03 01 00 00 00 01 00 FF FF FF FF 08 00 00 00 AA"), Bytes("1B 47")})));
  ASSERT_THAT(job->Labels, SizeIs(1));
  job->MarkSent(job->Labels.front());
  monitor.AdjustPortTimeouts();
  EXPECT_THAT(port.timeouts, ElementsAre(Timeouts(501082112, 501082112)));
}

}  // namespace
}  // namespace sc3xxmon::test
