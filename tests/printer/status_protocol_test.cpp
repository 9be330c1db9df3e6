#include <algorithm>
#include <array>
#include <functional>

#include "job/failure.h"
#include "support/printing_fixture.h"
#include "support/status_records.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class StatusProtocolTest : public PrintingFixture {
 protected:
  // The text of the PrintCommException that the call ends in; "no failure" without one.
  template <class Call>
  static std::string CommFailureOf(Call&& call) {
    try {
      call();
    } catch (const PrintCommException& failure) {
      return failure.what();
    }
    return "no failure";
  }

  std::string FetchFailure(std::uint8_t n, bool checkCancel, bool checkBad) {
    return CommFailureOf([&] { monitor.FetchStatus(record, n, checkCancel, checkBad); });
  }
  void ExpectCancelAtPrinter(const std::function<void()>& call) {
    try {
      call();
      ADD_FAILURE() << "no cancel";
    } catch (const PrintCanceledException& failure) {
      EXPECT_FALSE(failure.BySpooler);
      EXPECT_STREQ(failure.what(), "Print job cancelled by the printer");
    }
  }

  StatusRecord record = RecordOf(ByteString(32, 0xAB));
};

// ----------------------------------------------------------------------------------------------------- FetchStatus

TEST_F(StatusProtocolTest, ARequestIsThreeBytesAndItsResponse32) {
  for (const std::uint32_t model : {0u, 1u, 2u, 3u, 5u, 7u, 8u, 9u}) {
    StartJob(model);
    monitor.FetchStatus(record, 0, true, true);
    EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus)) << model;
    ForgetStory();
  }
}

TEST_F(StatusProtocolTest, TheOperandGoesOutAsOneRawByte) {
  StartJob(5);
  for (const auto n : std::to_array<std::uint8_t>({0, 1, 2})) {
    monitor.FetchStatus(record, n, false, false);
    EXPECT_EQ(port.writes.back(), (ByteString{0x1B, 0x41, n}));
  }
}

TEST_F(StatusProtocolTest, TheRequestAndTheReadAreLogged) {
  StartJob(5);
  monitor.FetchStatus(record, 1, true, true);
  EXPECT_THAT(host.LogTexts(), ElementsAre("Sending ESCA1 request", "Receiving ESCA1 response"));
  EXPECT_TRUE(LoggedBy("CLangMon::FetchStatus", "Sending ESCA1 request"));
}

TEST_F(StatusProtocolTest, TheResponseIsTheRecordAndIsHandedBack) {
  StartJob(5);
  const ByteString response = PlainStatus({.status = 1, .bay = 7, .head = 3, .err = 0x12345678});
  port.Answers(response);
  StatusRecord& result = monitor.FetchStatus(record, 0, true, true);
  EXPECT_EQ(&result, &record);
  EXPECT_EQ(record, RecordOf(response));
}

TEST_F(StatusProtocolTest, TheDualRollModelsWrapTheRecordIn70Bytes) {
  for (const std::uint32_t model : {4u, 6u}) {
    StartJob(model);
    port.Answers(DualRollStatus({.status = 1, .bay = 7}));
    monitor.FetchStatus(record, 0, true, true);
    EXPECT_EQ(record, RecordOf(PlainStatus({.status = 1, .bay = 7}))) << "bytes 6 to 37";
    EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsDualRoll)) << model;
    ForgetStory();
  }
}

TEST_F(StatusProtocolTest, ADualRollResponseMayHoldAnEscSRecord) {
  StartJob(4);
  port.Answers(
      Joined({Bytes("00 11 22 33 44 55"), EscSStatus({.status = 1, .bay = 6, .cutter = 3}), ByteString(32, 0xEE)}));
  monitor.FetchStatus(record, 0, true, true);
  EXPECT_TRUE(record.IsEscS());
  EXPECT_EQ(record.Bay(), 6);
  EXPECT_EQ(record.Cutter(), 3);
}

TEST_F(StatusProtocolTest, TheResponseLengthFollowsTheModelThatTheFirmwareNamed) {
  StartJob(1);
  port.Answers(Firmware("FWAP", "0001", "2000", "2B"));
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  monitor.FetchStatus(record, 0, true, true);
  EXPECT_THAT(story, ElementsAre(kAsksFirmware, kReadsFirmware, kAsksStatus, kReadsDualRoll));
}

TEST_F(StatusProtocolTest, ARecordsFormIsItsOwnAndItsLengthTheModels) {
  StartJob(8);
  port.Answers(PlainStatus({.status = 1, .bay = 7, .head = 9}));
  monitor.FetchStatus(record, 0, true, true);
  EXPECT_FALSE(record.IsEscS()) << "a tape model may answer in the plain form";
  EXPECT_EQ(record.Head(), 9);

  StartJob(5);
  port.Answers(EscSStatus({.status = 1, .bay = 7, .cutter = 3}));
  monitor.FetchStatus(record, 0, true, true);
  EXPECT_TRUE(record.IsEscS()) << "a desktop model in the ESC S form";
  EXPECT_EQ(record.Cutter(), 3);
}

TEST_F(StatusProtocolTest, ARequestThatCantBeWrittenIsACommFailureWithoutARead) {
  StartJob(5);
  port.FailWrite();
  EXPECT_EQ(FetchFailure(2, true, true), "Sending ESCA2 failed");
  EXPECT_EQ(port.readCalls, 0u);
  EXPECT_EQ(record, StatusRecord{}) << "the record is zeros";
}

TEST_F(StatusProtocolTest, ARequestThatWasWrittenInPartCounts) {
  StartJob(5);
  port.LimitWrite(1);
  EXPECT_EQ(FetchFailure(0, true, true), "no failure");
}

TEST_F(StatusProtocolTest, AFailedReadIsACommFailure) {
  StartJob(5);
  port.FailsRead();
  EXPECT_EQ(FetchFailure(0, true, true), "Receiving ESCA0 response failed (0 bytes read)");
  EXPECT_EQ(record, StatusRecord{});
}

TEST_F(StatusProtocolTest, AFailedReadIsACommFailureThoughAllItsBytesCame) {
  StartJob(5);
  port.FailsReadWith(PlainStatus({.status = 1}));
  EXPECT_EQ(FetchFailure(0, true, true), "Receiving ESCA0 response failed (32 bytes read)");
  StartJob(4);
  port.FailsReadWith(DualRollStatus({.status = 1}));
  EXPECT_EQ(FetchFailure(0, true, true), "Receiving ESCA0 response failed (70 bytes read)");
  EXPECT_EQ(record, StatusRecord{});
}

TEST_F(StatusProtocolTest, AShortResponseIsACommFailureAndNeverCompletedByASecondRead) {
  StartJob(5);
  ByteString response = PlainStatus({.status = 1});
  response.pop_back();
  port.Answers(response);
  EXPECT_EQ(FetchFailure(0, true, true), "Receiving ESCA0 response failed (31 bytes read)");
  EXPECT_EQ(port.readCalls, 1u);
  EXPECT_EQ(record.Status(), 1) << "what had come stays in the record";
}

TEST_F(StatusProtocolTest, AShortDualRollResponseLeavesTheRecordZero) {
  StartJob(4);
  port.Answers(PlainStatus({.status = 1}));
  EXPECT_EQ(FetchFailure(1, true, true), "Receiving ESCA1 response failed (32 bytes read)");
  EXPECT_EQ(record, StatusRecord{});
}

TEST_F(StatusProtocolTest, Status3IsACancelAtThePrinter) {
  StartJob(5);
  port.Answers(PlainStatus({.status = 3}));
  ExpectCancelAtPrinter([this] { monitor.FetchStatus(record, 0, true, true); });
}

TEST_F(StatusProtocolTest, Status3WithoutTheCancelCheckIsABadStatus) {
  StartJob(5);
  port.Answers(PlainStatus({.status = 3}));
  EXPECT_EQ(FetchFailure(0, false, true), "BAD PrintStatus(3)");
}

TEST_F(StatusProtocolTest, TheBadStatusCheckLets0And1And4PassAndNothingElse) {
  struct Row {
    std::uint8_t status;
    const char* failure;
  };
  constexpr Row kRows[] = {{0, "no failure"},         {1, "no failure"},         {2, "BAD PrintStatus(2)"},
                           {4, "no failure"},         {5, "BAD PrintStatus(5)"}, {6, "BAD PrintStatus(6)"},
                           {7, "BAD PrintStatus(7)"}, {8, "BAD PrintStatus(8)"}, {255, "BAD PrintStatus(255)"}};
  StartJob(5);
  for (const Row& row : kRows) {
    port.Answers(PlainStatus({.status = row.status}));
    EXPECT_EQ(FetchFailure(0, true, true), row.failure) << int{row.status};
  }
}

TEST_F(StatusProtocolTest, WithoutChecksEveryStatusComesBack) {
  StartJob(5);
  for (const auto status : std::to_array<std::uint8_t>({2, 3, 5, 200})) {
    port.Answers(PlainStatus({.status = status}));
    EXPECT_EQ(FetchFailure(0, false, false), "no failure");
    EXPECT_EQ(record.Status(), status);
  }
}

TEST_F(StatusProtocolTest, AWholeExchangeLeavesTheInFlightFlagAlone) {
  StartJob(5);
  monitor.FetchStatus(record, 2, true, true);
  EXPECT_EQ(job->StatusInFlight, 0u);
  job->StatusInFlight = 1;
  monitor.FetchStatus(record, 2, true, true);
  EXPECT_EQ(job->StatusInFlight, 1u);
}

TEST_F(StatusProtocolTest, WithoutDeviceIoAReadyRecordIsMadeUpSilently) {
  SwitchOn(L"NoDeviceIO");
  for (const std::uint32_t model : {4u, 5u, 8u}) {
    StartJob(model);
    record = RecordOf(ByteString(32, 0xAB));
    EXPECT_EQ(FetchFailure(0, true, true), "no failure");
    EXPECT_EQ(record, FabricatedStatus(model)) << model;
  }
  EXPECT_EQ(port.writeCalls + port.readCalls, 0u);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(StatusProtocolTest, ALateResponseIsTakenForTheAnswerToTheNextRequest) {
  StartJob(5);
  port.FailsRead().Answers(PlainStatus({.status = 1})).Answers(PlainStatus({.status = 0}));
  EXPECT_NE(FetchFailure(0, true, true), "no failure");
  monitor.FetchStatus(record, 0, true, true);
  EXPECT_EQ(record.Status(), 1) << "nothing is drained";
}

// ---------------------------------------------------------------------------------------------- FetchSettledStatus

TEST_F(StatusProtocolTest, OneRequestIsEnoughForAStateThatCallsForNoAction) {
  StartJob(5);
  for (const auto status : std::to_array<std::uint8_t>({0, 1, 6, 200})) {
    port.Answers(PlainStatus({.status = status}));
    monitor.FetchSettledStatus(record, 0);
    EXPECT_EQ(record.Status(), status);
    EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus)) << int{status};
    ForgetStory();
  }
}

TEST_F(StatusProtocolTest, AStateThatCallsForActionIsLookedAtAgainAfterASecond) {
  StartJob(5);
  for (const auto status : std::to_array<std::uint8_t>({2, 4, 5})) {
    port.Answers(PlainStatus({.status = status})).Answers(PlainStatus({.status = 0, .bay = 6}));
    monitor.FetchSettledStatus(record, 1);
    EXPECT_EQ(record, RecordOf(PlainStatus({.status = 0, .bay = 6}))) << int{status};
    EXPECT_THAT(story, ElementsAre(kAsksForLock, kReadsStatus, "sleep 1000", kAsksForLock, kReadsStatus));
    ForgetStory();
  }
}

TEST_F(StatusProtocolTest, TheSecondLookIsTheLastWhateverItShows) {
  StartJob(5);
  port.Answers(PlainStatus({.status = 4})).Answers(PlainStatus({.status = 2}));
  monitor.FetchSettledStatus(record, 0);
  EXPECT_EQ(record.Status(), 2);
  EXPECT_EQ(port.readCalls, 2u);
}

TEST_F(StatusProtocolTest, AFailedFirstLookIsRepeatedAtOnceWithoutASleepAndWithoutAWord) {
  StartJob(5);
  port.FailsRead().Answers(PlainStatus({.status = 0, .bay = 7}));
  monitor.FetchSettledStatus(record, 0);
  EXPECT_EQ(record.Bay(), 7);
  EXPECT_THAT(story, ElementsAre(kAsksStatus, "read fails", kAsksStatus, kReadsStatus));
  EXPECT_THAT(host.LogTexts(), ElementsAre("Sending ESCA0 request", "Receiving ESCA0 response", "Sending ESCA0 request",
                                           "Receiving ESCA0 response"));
}

TEST_F(StatusProtocolTest, AFailedSecondLookGoesToTheCaller) {
  StartJob(5);
  port.FailsRead().FailsRead();
  EXPECT_EQ(CommFailureOf([this] { monitor.FetchSettledStatus(record, 0); }),
            "Receiving ESCA0 response failed (0 bytes read)");
  EXPECT_EQ(port.readCalls, 2u);
}

TEST_F(StatusProtocolTest, ACancelInTheFirstLookGoesToTheCallerWithoutASecondRequest) {
  StartJob(5);
  port.Answers(PlainStatus({.status = 3}));
  ExpectCancelAtPrinter([this] { monitor.FetchSettledStatus(record, 0); });
  EXPECT_THAT(story, ElementsAre(kAsksStatus, kReadsStatus));
}

TEST_F(StatusProtocolTest, ACancelInTheSecondLookGoesToTheCallerToo) {
  StartJob(5);
  port.Answers(PlainStatus({.status = 2})).Answers(PlainStatus({.status = 3}));
  ExpectCancelAtPrinter([this] { monitor.FetchSettledStatus(record, 0); });
}

// ----------------------------------------------------------------------------------------------- FetchFirmwareInfo

TEST_F(StatusProtocolTest, TheFirmwareIsAskedForInTwoBytesAndAnswersIn34) {
  StartJob(5);
  port.Answers(Firmware("FWBL", "0003", "1200", "2C"));
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  EXPECT_THAT(story, ElementsAre(kAsksFirmware, kReadsFirmware));
  EXPECT_EQ(job->FwName, "Main");
  EXPECT_EQ(job->FwType, 1);
  EXPECT_EQ(job->FwNumber1, 3);
  EXPECT_EQ(job->FwNumber2, 1200);
  EXPECT_EQ(job->FwModel, 5u);
}

TEST_F(StatusProtocolTest, AJobThatKnowsItsFirmwareDoesntAskAgain) {
  StartJob(5);
  port.Answers(Firmware("FWAP", "0001", "1001", "2C"));
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  ForgetStory();
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(StatusProtocolTest, FirmwareWithoutItsFirstNumberOverridesNoModelAndIsAskedForAgain) {
  StartJob(1);
  port.Answers(Firmware("FWAP", "0000", "1001", "2B"));
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  EXPECT_EQ(job->FwNumber1, 0);
  EXPECT_EQ(job->FwModel, 4u);
  EXPECT_EQ(job->Model, 1u);
  ForgetStory();
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  EXPECT_THAT(story, ElementsAre(kAsksFirmware, kReadsFirmware));
}

TEST_F(StatusProtocolTest, FirmwareQueryOnAPortThatTakesAByteACallGoesOutInFull) {
  StartJob(5);
  port.LimitEveryWrite(1);
  port.Answers(Firmware("FWAP", "0001", "1001", "2C"));
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  EXPECT_THAT(story, ElementsAre("write 1B", "write 56", kReadsFirmware));
}

TEST_F(StatusProtocolTest, AFirmwareQueryThatCantBeWrittenIsFalseAndSaysSoOnce) {
  StartJob(5);
  port.LimitWrite(1, 1);
  port.FailWrite(2);
  EXPECT_FALSE(monitor.FetchFirmwareInfo());
  EXPECT_EQ(port.readCalls, 0u);
  EXPECT_EQ(host.LogCount("SendAll failed: written=1"), 1u);
}

TEST_F(StatusProtocolTest, AFirmwareAnswerThatFailsOrComesShortIsFalseSilently) {
  StartJob(5);
  ByteString answer = Firmware("FWAP", "0001", "1001", "2C");
  answer.pop_back();
  port.FailsRead().Answers(answer);
  EXPECT_FALSE(monitor.FetchFirmwareInfo());
  EXPECT_FALSE(monitor.FetchFirmwareInfo());
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(job->FwType, 0);
}

TEST_F(StatusProtocolTest, AFirmwareAnswerWhoseReadFailedIsFalseThoughAllItsBytesCame) {
  StartJob(5);
  port.FailsReadWith(Firmware("FWAP", "0001", "1001", "2C"));
  EXPECT_FALSE(monitor.FetchFirmwareInfo());
  EXPECT_EQ(job->FwType, 0);
}

TEST_F(StatusProtocolTest, AFirmwareQueryWhoseLastWriteFailedIsFalseThoughBothBytesWereTaken) {
  StartJob(5);
  port.FailWriteWith(2);
  EXPECT_FALSE(monitor.FetchFirmwareInfo());
  EXPECT_EQ(port.readCalls, 0u);
}

TEST_F(StatusProtocolTest, WithoutDeviceIoTheFirmwareExchangeSucceedsAndTellsNothing) {
  SwitchOn(L"NoDeviceIO");
  StartJob(5);
  EXPECT_TRUE(monitor.FetchFirmwareInfo());
  EXPECT_EQ(port.writeCalls + port.readCalls, 0u);
  EXPECT_EQ(job->FwType, 0);
  EXPECT_EQ(job->Model, 5u);
}

}  // namespace
}  // namespace sc3xxmon::test
