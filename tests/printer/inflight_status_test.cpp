#include <array>

#include "job/failure.h"
#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kLogicError[] = "Logic error: expected in-flight status for label, but none is available.";

ByteString Labels(std::uint16_t count) {
  ByteString stream = JobStart();
  for (std::uint16_t i = 1; i <= count; ++i) {
    stream = Joined({stream, Label(i)});
  }
  return stream;
}

class InflightStatusTest : public PrintingFixture {
 protected:
  // A job with that many labels acknowledged and that many more on their way.
  void JobWith(std::uint32_t model, std::uint16_t acknowledged, std::uint16_t sent) {
    StartJob(model, Labels(static_cast<std::uint16_t>(acknowledged + sent)));
    for (std::uint16_t i = 0; i < acknowledged; ++i) {
      job->MarkSent(*job->FirstUnsentLabel());
      job->AckFirstLabel();
    }
    for (std::uint16_t i = 0; i < sent; ++i) {
      job->MarkSent(*job->FirstUnsentLabel());
    }
    host.log.clear();
  }

  // The text of the PrintCommException that the response ends in; "no failure" without one.
  std::string ResponseFailure(bool checkCancel = true, bool checkBad = true) {
    try {
      monitor.GetInflightStatusResponse(record, checkCancel, checkBad);
    } catch (const PrintCommException& failure) {
      return failure.what();
    }
    return "no failure";
  }

  StatusRecord record;
};

// --------------------------------------------------------------------------------------------------------- request

TEST_F(InflightStatusTest, ARequestThatWentOutIsNotedAsInFlight) {
  StartJob(5);
  EXPECT_TRUE(monitor.SendStatusRequest(2));
  EXPECT_THAT(story, ElementsAre(kAsksInFlight));
  EXPECT_EQ(job->StatusInFlight, 1u);
}

TEST_F(InflightStatusTest, ARequestThatFailedIsNot) {
  StartJob(5);
  port.FailWrite();
  EXPECT_FALSE(monitor.SendStatusRequest(2));
  EXPECT_EQ(job->StatusInFlight, 0u);
  EXPECT_THAT(host.LogTexts(), ElementsAre("WritePort failed. written=0; err=31"));
}

TEST_F(InflightStatusTest, ARequestWithoutAJobIsJustWritten) {
  EXPECT_TRUE(monitor.SendStatusRequest(2));
  EXPECT_THAT(story, ElementsAre(kAsksInFlight));
}

TEST_F(InflightStatusTest, TheRequestNamesTheLabelThatWentOutLast) {
  JobWith(5, 2, 1);
  monitor.SendInflightStatusRequest();
  EXPECT_TRUE(LoggedBy("CLangMon::SendInflightStatusRequest", "Sending ESCA2 for label #3"));
}

TEST_F(InflightStatusTest, ARequestThatCantBeWrittenIsACommFailure) {
  JobWith(5, 2, 1);
  port.FailWrite();
  try {
    monitor.SendInflightStatusRequest();
    FAIL() << "no failure";
  } catch (const PrintCommException& failure) {
    EXPECT_STREQ(failure.what(), "Sending ESCA2 for label #3 failed");
  }
  EXPECT_EQ(job->StatusInFlight, 0u);
}

// -------------------------------------------------------------------------------------------------------- response

TEST_F(InflightStatusTest, TheResponseIsReadInOneAndEndsTheFlight) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(PlainStatus({.status = 1, .bay = 7}));
  EXPECT_TRUE(monitor.RecvStatusResponse(&record));
  EXPECT_EQ(record.Bay(), 7);
  EXPECT_EQ(job->StatusInFlight, 0u);
  EXPECT_THAT(story, ElementsAre(kReadsStatus));
}

TEST_F(InflightStatusTest, ARequestAndItsResponseNameTheSameLabel) {
  JobWith(5, 2, 1);
  job->ProcessData(Label(4).data(), Label(4).size());
  monitor.SendInflightStatusRequest();
  job->MarkSent(*job->FirstUnsentLabel());  // the next label has gone out behind the request
  monitor.GetInflightStatusResponse(record, true, true);
  EXPECT_TRUE(host.Logged("Sending ESCA2 for label #3"));
  EXPECT_TRUE(LoggedBy("CLangMon::GetInflightStatusResponse", "Receiving ESCA2 response for label #3"));
}

TEST_F(InflightStatusTest, AResponseThatNobodyAskedForIsALogicErrorAndIsNotRead) {
  JobWith(5, 0, 2);
  EXPECT_EQ(ResponseFailure(), "Receiving ESCA2 response for label #1 FAILED");
  EXPECT_TRUE(LoggedBy("CLangMon::RecvStatusResponse", kLogicError));
  EXPECT_EQ(port.readCalls, 0u) << "the port's bytes stay for whoever they belong to";
}

TEST_F(InflightStatusTest, OnADualRollModelTheResponseHas70Bytes) {
  JobWith(4, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(DualRollStatus({.status = 1, .bay = 6}));
  EXPECT_TRUE(monitor.RecvStatusResponse(&record));
  EXPECT_EQ(record.Bay(), 6);
  EXPECT_THAT(story, ElementsAre(kReadsDualRoll));
  EXPECT_EQ(job->StatusInFlight, 0u);
}

TEST_F(InflightStatusTest, OnADualRollModel69BytesAreAFailure) {
  JobWith(6, 0, 2);
  job->StatusInFlight = 1;
  ByteString response = DualRollStatus();
  response.pop_back();
  port.Answers(response);
  EXPECT_EQ(ResponseFailure(), "Receiving ESCA2 response for label #1 FAILED");
  EXPECT_EQ(job->StatusInFlight, 1u);
}

TEST_F(InflightStatusTest, AReadThatFailsOrComesShortLeavesTheRequestInFlight) {
  JobWith(5, 6, 2);
  job->StatusInFlight = 1;
  ByteString shortResponse = PlainStatus();
  shortResponse.pop_back();
  port.FailsRead().Answers(shortResponse);
  EXPECT_EQ(ResponseFailure(), "Receiving ESCA2 response for label #7 FAILED");
  EXPECT_EQ(job->StatusInFlight, 1u);
  EXPECT_EQ(ResponseFailure(), "Receiving ESCA2 response for label #7 FAILED");
  EXPECT_EQ(job->StatusInFlight, 1u);
  EXPECT_EQ(port.readCalls, 2u) << "one read a response, never a second to complete it";
}

TEST_F(InflightStatusTest, NoPlaceForTheRecordIsAFailureWithoutARead) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  EXPECT_FALSE(monitor.RecvStatusResponse(nullptr));
  EXPECT_EQ(job->StatusInFlight, 1u);
}

TEST_F(InflightStatusTest, TheLostLockEndsAFlightThatNeverGotItsResponse) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  port.FailsRead();
  EXPECT_FALSE(monitor.RecvStatusResponse(&record));
  job->SetLockHeld(false);
  EXPECT_EQ(job->StatusInFlight, 0u) << "the next request starts afresh";
}

TEST_F(InflightStatusTest, WhatCameBackIsLoggedWithCutterAndErrOfAnEscSRecord) {
  JobWith(8, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(EscSStatus({.status = 1, .bay = 7, .cutter = 3, .err = 4660}));
  monitor.GetInflightStatusResponse(record, true, true);
  EXPECT_TRUE(LoggedBy("CLangMon::GetInflightStatusResponse", "Got Status=1, Bay=7, Cutter=3, Err=4660"));
}

TEST_F(InflightStatusTest, WhatCameBackIsLoggedWithZerosForWhatAPlainRecordHasnt) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(PlainStatus({.status = 1, .bay = 7, .err = 4660}));
  monitor.GetInflightStatusResponse(record, true, true);
  EXPECT_THAT(host.LogTexts(),
              ElementsAre("Receiving ESCA2 response for label #1", "Got Status=1, Bay=7, Cutter=0, Err=0"));
}

TEST_F(InflightStatusTest, Status4CountsAsAnAcknowledgement) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(PlainStatus({.status = 4}));
  EXPECT_EQ(ResponseFailure(), "no failure");
}

TEST_F(InflightStatusTest, Status5IsACommFailureThatNamesItsLabel) {
  JobWith(5, 6, 2);
  job->StatusInFlight = 1;
  port.Answers(PlainStatus({.status = 5}));
  EXPECT_EQ(ResponseFailure(), "BAD PrintStatus(5) for label #7.");
  EXPECT_EQ(job->StatusInFlight, 0u) << "the response came in full";
  EXPECT_EQ(job->SentLabelCount(), 2u) << "the labels are for the caller to revert";
}

TEST_F(InflightStatusTest, EveryBadStatusIsACommFailure) {
  for (const auto status : std::to_array<std::uint8_t>({2, 6, 8, 255})) {
    JobWith(5, 0, 2);
    job->StatusInFlight = 1;
    port.Answers(PlainStatus({.status = status}));
    EXPECT_EQ(ResponseFailure(), "BAD PrintStatus(" + std::to_string(status) + ") for label #1.");
  }
}

TEST_F(InflightStatusTest, Status3IsACancelAtThePrinter) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(PlainStatus({.status = 3}));
  try {
    monitor.GetInflightStatusResponse(record, true, true);
    FAIL() << "no cancel";
  } catch (const PrintCanceledException& failure) {
    EXPECT_FALSE(failure.BySpooler);
    EXPECT_STREQ(failure.what(), "Print job cancelled by the printer");
  }
}

TEST_F(InflightStatusTest, TheChecksAreMadeOnlyWhereAskedFor) {
  JobWith(5, 0, 2);
  job->StatusInFlight = 1;
  port.Answers(PlainStatus({.status = 3})).Answers(PlainStatus({.status = 3}));
  EXPECT_EQ(ResponseFailure(false, true), "BAD PrintStatus(3) for label #1.");
  job->StatusInFlight = 1;
  EXPECT_EQ(ResponseFailure(false, false), "no failure");
}

TEST_F(InflightStatusTest, WithNoLabelSentTheNumberIsOneLessThanTheFirst) {
  // So it reads while a label goes out in chunks: it isn't sent yet when its first responses come.
  JobWith(8, 0, 0);
  EXPECT_EQ(ResponseFailure(), "Receiving ESCA2 response for label #-1 FAILED");
  JobWith(8, 3, 0);
  EXPECT_EQ(ResponseFailure(), "Receiving ESCA2 response for label #2 FAILED");
}

TEST_F(InflightStatusTest, ARecordStartsFromZerosWhateverItHeld) {
  JobWith(5, 0, 2);
  record.Bytes.fill(0xAB);
  EXPECT_NE(ResponseFailure(), "no failure");
  EXPECT_EQ(record, StatusRecord{});
}

// ------------------------------------------------------------------------------------------------------ NoDeviceIO

TEST_F(InflightStatusTest, WithoutDeviceIoTheFlightBeginsAndNeverEnds) {
  SwitchOn(L"NoDeviceIO");
  JobWith(8, 0, 2);
  monitor.SendInflightStatusRequest();
  EXPECT_EQ(job->StatusInFlight, 1u);
  EXPECT_TRUE(monitor.RecvStatusResponse(&record));
  EXPECT_EQ(record, FabricatedStatus(8));
  EXPECT_EQ(job->StatusInFlight, 1u);
  EXPECT_EQ(port.writeCalls + port.readCalls, 0u);
}

TEST_F(InflightStatusTest, WithoutDeviceIoAResponseNeedsNoRequestAndSaysNothing) {
  SwitchOn(L"NoDeviceIO");
  JobWith(4, 0, 2);
  EXPECT_EQ(ResponseFailure(), "no failure");
  EXPECT_EQ(record, FabricatedStatus(4));
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(InflightStatusTest, WithoutDeviceIoAndWithoutAJobTheRecordIsThePlainOne) {
  SwitchOn(L"NoDeviceIO");
  EXPECT_TRUE(monitor.RecvStatusResponse(&record));
  EXPECT_EQ(record, FabricatedStatus(0));
}

}  // namespace
}  // namespace sc3xxmon::test
