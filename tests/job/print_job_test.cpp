#include "job/print_job.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "job/failure.h"
#include "monitor/langmon.h"
#include "support/bytes.h"
#include "support/log_lines.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Joined;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PrintJobTest : public ::testing::Test {
 protected:
  PrintJobTest() { test::TestHost::SetDebugLevel(1); }

  test::TestHost::Job& SpoolerJob() { return host.jobs.at(7); }
  std::uint32_t ModelForDriver(const std::wstring& driverName) {
    SpoolerJob().driverName = driverName;
    return CPrintJob(7, L"Labels").Model;
  }
  static std::string FailureOf(std::uint32_t jobId) {
    try {
      const CPrintJob job(jobId, L"Labels");
    } catch (const Exception& failure) {
      return failure.what();
    }
    return "";
  }

  test::Story story;
  test::TestHost host{&story};
};

// ---------------------------------------------------------------------------------------------------- its creation

TEST_F(PrintJobTest, ANewJobHasItsStartValues) {
  const CPrintJob job(7, L"Labels");
  EXPECT_EQ(job.PrinterName, L"Labels");
  EXPECT_EQ(job.JobId, 7U);
  EXPECT_EQ(job.JobNumber, 7U);
  EXPECT_EQ(job.FwName, "");
  EXPECT_EQ(job.FwType + job.FwNumber1 + job.FwNumber2 + job.FwNumber3 + job.FwNumber4, 0);
  EXPECT_EQ(job.FwModel, 0U);
  EXPECT_NE(job.PrinterHandle, nullptr);
  EXPECT_EQ(job.AbortState, 0U);
  EXPECT_EQ(job.LockHeld, 0U);
  EXPECT_EQ(job.HeaderSent, 0U);
  EXPECT_EQ(job.FooterSent, 0U);
  EXPECT_EQ(job.StatusInFlight, 0U);
  EXPECT_EQ(job.QParameter, '0');
  EXPECT_EQ(job.DumpPath, L"");
  EXPECT_EQ(job.ParserState, 0);
}

TEST_F(PrintJobTest, OpensThePrinterByItsNameAndClosesItAtItsEnd) {
  {
    const CPrintJob job(7, L"Labels");
    EXPECT_THAT(host.openedPrinters, ElementsAre(L"Labels"));
    EXPECT_EQ(host.openHandles, 1U);
  }
  EXPECT_EQ(host.openHandles, 0U);
}

TEST_F(PrintJobTest, ANullPrinterNameCountsAsAnEmptyOneAndStaysNullForTheSpooler) {
  EXPECT_EQ(CPrintJob(7, nullptr).PrinterName, L"");
  EXPECT_TRUE(host.nullPrinterNameSeen);
}

TEST_F(PrintJobTest, APrinterThatCantBeOpenedFailsTheJob) {
  host.failOpenPrinter = true;
  EXPECT_EQ(FailureOf(7), "OpenPrinter failed");
  EXPECT_EQ(host.openHandles, 0U);
}

TEST_F(PrintJobTest, AJobThatCantBeReadFailsAndLeavesThePrinterOpen) {
  EXPECT_EQ(FailureOf(99), "Failed to get driver info");
  EXPECT_EQ(host.openHandles, 1U);
}

TEST_F(PrintJobTest, TheDriversNameGivesTheModel) {
  EXPECT_EQ(ModelForDriver(L"KOVA Scrivelo 310"), 1U);
  EXPECT_EQ(ModelForDriver(L"KOVA Ribbonet Office 430"), 9U);
}

TEST_F(PrintJobTest, ADriverNameThatDiffersInCaseOrHasABlankBehindGivesNoModel) {
  EXPECT_EQ(ModelForDriver(L"KOVA SCRIVELO 310"), 0U);
  EXPECT_EQ(ModelForDriver(L"KOVA Scrivelo 310 "), 0U);
}

TEST_F(PrintJobTest, AnEmptyOrMissingDriverNameGivesNoModelAndNoFailure) {
  EXPECT_EQ(ModelForDriver(L""), 0U);
  SpoolerJob().hasDriverName = false;
  EXPECT_EQ(CPrintJob(7, L"Labels").Model, 0U);
}

TEST_F(PrintJobTest, IsItsOwnParser) {
  CPrintJob job(7, L"Labels");
  const auto stream = Joined({test::JobStart(), test::Label(1), test::EndOfJob()});
  job.ProcessData(stream.data(), stream.size());
  EXPECT_EQ(job.Labels.size(), 1U);
  EXPECT_EQ(job.ParserState, kParserFooter);
}

// ------------------------------------------------------------------------------------------------------ its status

TEST_F(PrintJobTest, QueryStatusGivesTheSpoolersWord) {
  const CPrintJob job(7, L"Labels");
  SpoolerJob().status = 0x410;
  EXPECT_EQ(job.QueryStatus(), 0x410U);
}

TEST_F(PrintJobTest, AJobThatCantBeReadCountsAsNotDeleted) {
  const CPrintJob job(7, L"Labels");
  SpoolerJob().status = 0x104;
  host.failGetJob = true;
  EXPECT_EQ(job.QueryStatus(), 0U);
  EXPECT_FALSE(job.IsDeleted());
}

TEST_F(PrintJobTest, EitherDeletedBitMakesAJobDeleted) {
  const CPrintJob job(7, L"Labels");
  for (const DWORD status : {0x4U, 0x100U, 0x104U, 0x14U}) {
    SpoolerJob().status = status;
    EXPECT_TRUE(job.IsDeleted()) << status;
  }
  for (const DWORD status : {0U, 0x2U, 0x1010U, 0x80U}) {
    SpoolerJob().status = status;
    EXPECT_FALSE(job.IsDeleted()) << status;
  }
}

TEST_F(PrintJobTest, SetJobStateSetsWordAndPagesAndWipesTheText) {
  const CPrintJob job(7, L"Labels");
  SpoolerJob().text = L"Out of labels";
  job.SetJobState(JOB_STATUS_PRINTING, 3);
  EXPECT_EQ(SpoolerJob().status, 0x10U);
  EXPECT_EQ(SpoolerJob().pagesPrinted, 3U);
  EXPECT_EQ(SpoolerJob().position, 0U);
  EXPECT_EQ(SpoolerJob().text, L"");
  EXPECT_THAT(SpoolerJob().texts, IsEmpty());
}

TEST_F(PrintJobTest, SetJobStateOnAJobThatCantBeReadDoesNothing) {
  const CPrintJob job(7, L"Labels");
  host.failGetJob = true;
  job.SetJobState(JOB_STATUS_PRINTING, 3);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(PrintJobTest, ARefusedStateIsIgnoredSilently) {
  const CPrintJob job(7, L"Labels");
  host.failSetJob = true;
  wchar_t text[] = L"Bay Open";
  job.SetJobState(JOB_STATUS_PRINTING, 3);
  job.SetJobMessage(0x402, text);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PrintJobTest, SetJobMessageSetsWordAndText) {
  const CPrintJob job(7, L"Labels");
  SpoolerJob().pagesPrinted = 5;
  wchar_t text[] = L"Bay Open";
  job.SetJobMessage(0x402, text);
  EXPECT_EQ(SpoolerJob().status, 0x402U);
  EXPECT_EQ(SpoolerJob().text, L"Bay Open");
  EXPECT_EQ(SpoolerJob().position, 0U);
  EXPECT_EQ(SpoolerJob().pagesPrinted, 5U);  // the rest goes back as it was read
}

TEST_F(PrintJobTest, TheInterventionBitIsAddedByAnOrNotByASum) {
  const CPrintJob job(7, L"Labels");
  wchar_t text[] = L"x";
  job.SetJobMessage(0x40, text);
  EXPECT_EQ(SpoolerJob().status, 0x440U);
  SpoolerJob().status = 0;
  job.SetJobMessage(0x440, text);  // an OR, not a sum
  EXPECT_EQ(SpoolerJob().status, 0x440U);
}

TEST_F(PrintJobTest, OfTwoMessagesTheFirstStands) {
  const CPrintJob job(7, L"Labels");
  wchar_t first[] = L"Bay Open";
  wchar_t second[] = L"Label jam";
  job.SetJobMessage(0x402, first);
  job.SetJobMessage(0x402, second);
  EXPECT_EQ(SpoolerJob().text, L"Bay Open");
  EXPECT_THAT(SpoolerJob().texts, ElementsAre(L"Bay Open"));
}

TEST_F(PrintJobTest, AnyBitOfTheWordThatIsOnAlreadySilencesAMessage) {
  const CPrintJob job(7, L"Labels");
  wchar_t text[] = L"Out of labels";
  for (const DWORD status : {0x400U, 0x40U, 0x450U}) {
    SpoolerJob().status = status;
    job.SetJobMessage(0x440, text);
    EXPECT_EQ(SpoolerJob().status, status);
  }
  EXPECT_THAT(SpoolerJob().texts, IsEmpty());
}

TEST_F(PrintJobTest, AMessageWithoutABitInCommonGoesThrough) {
  const CPrintJob job(7, L"Labels");
  SpoolerJob().status = JOB_STATUS_ERROR;
  wchar_t text[] = L"Out of labels";
  job.SetJobMessage(0x440, text);
  EXPECT_EQ(SpoolerJob().status, 0x440U);
  EXPECT_EQ(SpoolerJob().text, L"Out of labels");
}

TEST_F(PrintJobTest, AfterAStateANewMessageMayCome) {
  const CPrintJob job(7, L"Labels");
  wchar_t first[] = L"Bay Open";
  wchar_t second[] = L"Label jam";
  job.SetJobMessage(0x402, first);
  job.SetJobState(JOB_STATUS_PRINTING, 0);
  job.SetJobMessage(0x402, second);
  EXPECT_EQ(SpoolerJob().text, L"Label jam");
}

TEST_F(PrintJobTest, SetJobMessageOnAJobThatCantBeReadDoesNothing) {
  const CPrintJob job(7, L"Labels");
  host.failGetJob = true;
  wchar_t text[] = L"x";
  job.SetJobMessage(0x402, text);
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(PrintJobTest, AStatusMessageIsTakenFromTheStringTable) {
  CLangMon monitor(L"USB001");
  monitor.PushJob(std::make_shared<CPrintJob>(7, L"Labels"));
  monitor.SetJobStatusMessageUI(0x402, 13);
  EXPECT_EQ(SpoolerJob().status, 0x402U);
  EXPECT_EQ(SpoolerJob().text, L"Bay Open");
  EXPECT_THAT(test::LogLines(host), ElementsAre("CLangMon::SetJobStatusMessageUI: "));
}

TEST_F(PrintJobTest, AStringThatIsntInTheTableSetsTheWordAndAnEmptyText) {
  CLangMon monitor(L"USB001");
  monitor.PushJob(std::make_shared<CPrintJob>(7, L"Labels"));
  monitor.SetJobStatusMessageUI(0x402, 999);
  EXPECT_EQ(SpoolerJob().status, 0x402U);
  EXPECT_THAT(SpoolerJob().texts, ElementsAre(L""));
}

// ---------------------------------------------------------------------------------------------------- its commands

struct CommandCase {
  void (CPrintJob::*operation)() const;
  DWORD command;
  const char* line;
};
void PrintTo(const CommandCase& each, std::ostream* out) {
  *out << "command " << each.command;
}

class JobCommandTest : public PrintJobTest, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(JobCommandTest, IsLoggedAndGoesToTheSpooler) {
  const CPrintJob job(7, L"Labels");
  (job.*GetParam().operation)();
  EXPECT_THAT(host.commands, ElementsAre(GetParam().command));
  EXPECT_THAT(test::LogLines(host), ElementsAre(GetParam().line));
}

TEST_P(JobCommandTest, ARefusalIsLoggedAndStopsNothing) {
  const CPrintJob job(7, L"Labels");
  host.failSetJob = true;
  (job.*GetParam().operation)();
  EXPECT_TRUE(host.Logged("SetJob(" + std::to_string(GetParam().command) + ") failed: 87"));
}

INSTANTIATE_TEST_SUITE_P(
    Commands, JobCommandTest,
    ::testing::Values(CommandCase{&CPrintJob::Resume, 2, "CPrintJob::Resume: "},
                      CommandCase{&CPrintJob::Restart, 4, "CPrintJob::Restart: "},
                      CommandCase{&CPrintJob::Delete, 5, "CPrintJob::Delete: "},
                      CommandCase{&CPrintJob::MarkSentToPrinter, 6, "CPrintJob::MarkSentToPrinter: "},
                      CommandCase{&CPrintJob::MarkLastPageEjected, 7, "CPrintJob::MarkLastPageEjected: "}));

TEST_F(PrintJobTest, SetJobCmdGivesTheSpoolersResult) {
  const CPrintJob job(7, L"Labels");
  EXPECT_NE(job.SetJobCmd(JOB_CONTROL_RESUME, 0, nullptr), 0);
  EXPECT_THAT(host.log, IsEmpty());
  host.failSetJob = true;
  EXPECT_EQ(job.SetJobCmd(JOB_CONTROL_RESUME, 0, nullptr), 0);
  EXPECT_THAT(test::LogLines(host), ElementsAre("CPrintJob::SetJobCmd: SetJob(2) failed: 87"));
}

// -------------------------------------------------------------------------------------------------------- firmware

FwInfo Firmware(std::uint16_t type, std::uint16_t number1, std::uint16_t number2, std::uint32_t model) {
  FwInfo info;
  info.FwName = "Main";
  info.FwType = type;
  info.FwNumber1 = number1;
  info.FwNumber2 = number2;
  info.FwNumber3 = 3;
  info.FwNumber4 = 4;
  info.FwModel = model;
  return info;
}

TEST_F(PrintJobTest, FirmwareInformationIsKept) {
  CPrintJob job(7, L"Labels");
  job.SetFwInfo(Firmware(2, 1, 9, 5));
  EXPECT_EQ(job.FwName, "Main");
  EXPECT_EQ(job.FwType, 2);
  EXPECT_EQ(job.FwNumber1, 1);
  EXPECT_EQ(job.FwNumber2, 9);
  EXPECT_EQ(job.FwNumber3, 3);
  EXPECT_EQ(job.FwNumber4, 4);
  EXPECT_EQ(job.FwModel, 5U);
}

TEST_F(PrintJobTest, FirmwareThatNamesAnotherModelIsBelieved) {
  CPrintJob job(7, L"Labels");
  job.Model = 1;
  job.SetFwInfo(Firmware(2, 1, 9, 4));
  EXPECT_EQ(job.Model, 4U);
  EXPECT_THAT(test::LogLines(host), ElementsAre("CPrintJob::SetFwInfo: Overriding printer model based on f/w info: 4"));
}

TEST_F(PrintJobTest, FirmwareThatNamesTheSameModelLogsNothing) {
  CPrintJob job(7, L"Labels");
  job.Model = 4;
  job.SetFwInfo(Firmware(2, 1, 9, 4));
  EXPECT_EQ(job.Model, 4U);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PrintJobTest, FirmwareOfAnUnknownModelLeavesTheModel) {
  CPrintJob job(7, L"Labels");
  job.Model = 4;
  job.SetFwInfo(Firmware(2, 1, 9, 0));
  EXPECT_EQ(job.Model, 4U);
}

TEST_F(PrintJobTest, FirmwareWithoutTypeOrOneOfTheFirstTwoNumbersIsKeptAndNotBelieved) {
  for (const FwInfo& info : {Firmware(0, 1, 9, 4), Firmware(2, 0, 9, 4), Firmware(2, 1, 0, 4)}) {
    CPrintJob job(7, L"Labels");
    job.Model = 1;
    job.SetFwInfo(info);
    EXPECT_EQ(job.Model, 1U);
    EXPECT_EQ(job.FwModel, 4U);
    EXPECT_EQ(job.FwType, info.FwType);
    EXPECT_FALSE(job.HasFwInfo());
  }
  EXPECT_THAT(host.log, IsEmpty());
}

// ------------------------------------------------------------------------------------------------------------ lock

class LockHeldTest : public PrintJobTest {
 protected:
  LockHeldTest() {
    const auto stream = Joined({test::JobStart(), test::Label(1), test::Label(2)});
    job.ProcessData(stream.data(), stream.size());
    job.MarkSent(job.Labels[0]);
    job.HeaderSent = 1;
    job.StatusInFlight = 1;
    job.FooterSent = 1;
    job.LockHeld = 1;
    host.log.clear();
  }

  CPrintJob job{7, L"Labels"};
};

TEST_F(LockHeldTest, LosingTheLockTakesHeaderStatusAndSentLabelsBack) {
  job.SetLockHeld(false);
  EXPECT_EQ(job.LockHeld, 0U);
  EXPECT_EQ(job.HeaderSent, 0U);
  EXPECT_EQ(job.StatusInFlight, 0U);
  EXPECT_EQ(job.FooterSent, 1U);
  EXPECT_EQ(job.SentLabelCount(), 0U);
  EXPECT_EQ(job.Labels[0].Retries, 1U);
  EXPECT_THAT(test::LogLines(host), ElementsAre("CKplParser::RevertSentLabels: Reverted 1 sent labels"));
}

TEST_F(LockHeldTest, GettingTheLockChangesNothingElse) {
  job.LockHeld = 0;
  job.SetLockHeld(true);
  EXPECT_EQ(job.LockHeld, 1U);
  EXPECT_EQ(job.HeaderSent, 1U);
  EXPECT_EQ(job.StatusInFlight, 1U);
  EXPECT_EQ(job.SentLabelCount(), 1U);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(LockHeldTest, GettingTheLockBackLeavesTheLabelsReverted) {
  job.SetLockHeld(false);
  job.SetLockHeld(true);
  EXPECT_EQ(job.HeaderSent, 0U);
  EXPECT_EQ(job.SentLabelCount(), 0U);
  EXPECT_EQ(job.Labels[0].Retries, 1U);
}

}  // namespace
}  // namespace sc3xxmon
