#include "apps/spooler/spooler_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "apps/spooler/last_error.h"
#include "platform/posix/settings_names.h"
#include "spooler/scripted_monitor.h"

namespace sc3xx::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SpoolerHostTest : public ::testing::Test {
 protected:
  SpoolerHostTest() : host(Settings(), clock.Clock(), Hooks()), table(host.Table()), job(Ticket(), Observer()) {
    host.AddJob(job);
    printer = Open(L"Labels");
  }

  static sc3xxmon::platform::SettingsFile Settings() {
    sc3xxmon::platform::SettingsFile settings;
    settings.SetNumber(sc3xxmon::platform::kOptionsKey, L"SendIPHs", 0);
    return settings;
  }

  static JobTicket Ticket() {
    JobTicket ticket;
    ticket.jobId = 7;
    ticket.printerName = L"Labels";
    ticket.driverName = L"KOVA Scrivelo 310 Swift";
    ticket.documentName = L"Etiketten für Öl";
    ticket.documentBytes = 1234;
    ticket.totalPages = 3;
    return ticket;
  }

  HostHooks Hooks() {
    HostHooks hooks;
    hooks.beforeSleep = [this](std::uint32_t milliseconds) { announced.push_back(milliseconds); };
    hooks.debugOutput = [this](std::string_view text) { debug += text; };
    return hooks;
  }

  JobObserver Observer() {
    JobObserver observer;
    observer.labelsAcknowledged = [this](DWORD labels) { seen.push_back("labels " + std::to_string(labels)); };
    observer.messageShown = [this](const std::wstring& text) {
      seen.push_back("shown " + std::string(text.begin(), text.end()));
    };
    observer.messageCleared = [this] { seen.emplace_back("cleared"); };
    return observer;
  }

  HANDLE Open(const wchar_t* name) {
    std::wstring copy = name;
    HANDLE handle = nullptr;
    return table.OpenPrinterW(table.context, copy.data(), &handle, nullptr) != 0 ? handle : nullptr;
  }

  // The two-call form; empty when either call fails otherwise than it should.
  std::vector<BYTE> ReadJob(DWORD level) {
    DWORD needed = 0;
    if (table.GetJobW(table.context, printer, 7, level, nullptr, 0, &needed) != 0 ||
        LastErrorCode() != ERROR_INSUFFICIENT_BUFFER) {
      return {};
    }
    std::vector<BYTE> buffer(needed);
    if (table.GetJobW(table.context, printer, 7, level, buffer.data(), needed, &needed) == 0) {
      buffer.clear();
    }
    return buffer;  // in the same storage, which the structure's pointers point into
  }

  template <typename JobInfo>
  static JobInfo As(const std::vector<BYTE>& buffer) {
    JobInfo info{};
    std::memcpy(&info, buffer.data(), sizeof(info));
    return info;
  }

  BOOL SetFields(DWORD status, DWORD pages, const wchar_t* text, DWORD position = 0) {
    std::wstring copy = text == nullptr ? L"" : text;
    JOB_INFO_1W fields{};
    fields.Status = status;
    fields.PagesPrinted = pages;
    fields.Position = position;
    fields.pStatus = text == nullptr ? nullptr : copy.data();
    void* const bytes = &fields;
    return table.SetJobW(table.context, printer, 7, 1, static_cast<LPBYTE>(bytes), 0);
  }

  BOOL Command(DWORD command) { return table.SetJobW(table.context, printer, 7, 0, nullptr, command); }

  CountingClock clock;
  std::vector<std::uint32_t> announced;
  std::string debug;
  std::vector<std::string> seen;
  SpoolerHost host;
  const Sc3xxHost& table;
  JobRecord job;
  HANDLE printer = nullptr;
};

TEST_F(SpoolerHostTest, TableTellsItsSizeAndHasNoGaps) {
  EXPECT_EQ(table.size, sizeof(Sc3xxHost));
  EXPECT_TRUE(table.OpenPrinterW && table.GetJobW && table.SetJobW && table.ClosePrinter && table.QueryValue &&
              table.TickCount && table.Sleep && table.GetLastError && table.SetLastError && table.DebugOutput);
}

TEST_F(SpoolerHostTest, OpensOnlyPrintersThatHaveAJob) {
  EXPECT_NE(printer, nullptr);
  EXPECT_EQ(Open(L"labels"), nullptr);
  EXPECT_EQ(LastErrorCode(), kErrorInvalidPrinterName);
}

TEST_F(SpoolerHostTest, AClosedPrinterHandleIsOfNoMoreUse) {
  EXPECT_EQ(host.OpenPrinterHandles(), 1u);
  EXPECT_NE(table.ClosePrinter(table.context, printer), 0);
  EXPECT_EQ(host.OpenPrinterHandles(), 0u);
  EXPECT_EQ(table.ClosePrinter(table.context, printer), 0);
  EXPECT_EQ(LastErrorCode(), kErrorInvalidHandle);
  EXPECT_EQ(Command(JOB_CONTROL_RESUME), 0);
}

TEST_F(SpoolerHostTest, ReadsLevelOneInTwoCalls) {
  const std::vector<BYTE> buffer = ReadJob(1);
  ASSERT_FALSE(buffer.empty());
  const auto info = As<JOB_INFO_1W>(buffer);
  EXPECT_EQ(info.JobId, 7u);
  EXPECT_STREQ(info.pPrinterName, L"Labels");
  EXPECT_STREQ(info.pDocument, L"Etiketten für Öl");
  EXPECT_STREQ(info.pDatatype, L"RAW");
  EXPECT_EQ(info.pStatus, nullptr);
  EXPECT_EQ(info.TotalPages, 3u);
  EXPECT_EQ(info.Status, JOB_STATUS_SPOOLING);
}

TEST_F(SpoolerHostTest, ReadsLevelTwoWithTheDriversName) {
  const std::vector<BYTE> buffer = ReadJob(2);
  ASSERT_FALSE(buffer.empty());
  const auto info = As<JOB_INFO_2W>(buffer);
  EXPECT_STREQ(info.pDriverName, L"KOVA Scrivelo 310 Swift");
  EXPECT_EQ(info.Size, 1234u);
}

TEST_F(SpoolerHostTest, PutsTheTextsIntoTheCallersBuffer) {
  const std::vector<BYTE> buffer = ReadJob(2);
  const void* const driver = As<JOB_INFO_2W>(buffer).pDriverName;
  EXPECT_GE(driver, static_cast<const void*>(buffer.data()));
  EXPECT_LT(driver, static_cast<const void*>(buffer.data() + buffer.size()));
}

TEST_F(SpoolerHostTest, ABufferOneByteShortIsRefusedAndLeftAlone) {
  DWORD needed = 0;
  table.GetJobW(table.context, printer, 7, 1, nullptr, 0, &needed);
  std::vector<BYTE> buffer(needed, 0xAA);
  EXPECT_EQ(table.GetJobW(table.context, printer, 7, 1, buffer.data(), needed - 1, &needed), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(buffer, std::vector<BYTE>(needed, 0xAA));
}

TEST_F(SpoolerHostTest, RefusesOtherLevelsAndUnknownJobs) {
  DWORD needed = 0;
  EXPECT_EQ(table.GetJobW(table.context, printer, 7, 3, nullptr, 0, &needed), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INVALID_LEVEL);
  EXPECT_EQ(table.GetJobW(table.context, printer, 8, 1, nullptr, 0, &needed), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INVALID_PARAMETER);
  BYTE anything = 0;
  EXPECT_EQ(table.SetJobW(table.context, printer, 7, 2, &anything, 0), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INVALID_LEVEL);
  EXPECT_EQ(table.SetJobW(table.context, printer, 7, 1, nullptr, 0), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Command(99), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INVALID_PARAMETER);
}

TEST_F(SpoolerHostTest, ShowsAMessageAndWipesItWithANullText) {
  EXPECT_NE(SetFields(JOB_STATUS_ERROR | JOB_STATUS_USER_INTERVENTION, 1, L"Bay Open"), 0);
  const std::vector<BYTE> withText = ReadJob(1);
  EXPECT_STREQ(As<JOB_INFO_1W>(withText).pStatus, L"Bay Open");
  EXPECT_EQ(As<JOB_INFO_1W>(withText).Status, 0x402u);
  EXPECT_NE(SetFields(JOB_STATUS_PRINTING, 0, nullptr), 0);
  EXPECT_EQ(As<JOB_INFO_1W>(ReadJob(1)).pStatus, nullptr);
  EXPECT_THAT(seen, ElementsAre("shown Bay Open", "labels 1", "cleared"));
}

TEST_F(SpoolerHostTest, TellsEachAcknowledgedLabelOnceAlthoughPagesFallToZeroBetween) {
  for (const DWORD pages : {1u, 2u, 0u, 2u, 3u}) {
    SetFields(JOB_STATUS_PRINTING, pages, nullptr);
  }
  EXPECT_THAT(seen, ElementsAre("labels 1", "labels 2", "labels 3"));
  EXPECT_EQ(job.View().pagesPrinted, 3u);
}

TEST_F(SpoolerHostTest, AnUnspecifiedPositionLeavesTheJobInItsPlace) {
  SetFields(JOB_STATUS_PRINTING, 0, nullptr, 4);
  SetFields(JOB_STATUS_PRINTING, 0, nullptr, JOB_POSITION_UNSPECIFIED);
  EXPECT_EQ(job.View().position, 4u);
}

TEST_F(SpoolerHostTest, AStatusWordThatWasReadEarlierDoesNotTakeBackADeletion) {
  job.RequestDelete();
  SetFields(JOB_STATUS_PRINTING, 0, nullptr);
  EXPECT_EQ(As<JOB_INFO_1W>(ReadJob(1)).Status, JOB_STATUS_PRINTING | JOB_STATUS_DELETING);
}

TEST_F(SpoolerHostTest, NotesWhatTheJobCommandsAskFor) {
  EXPECT_NE(Command(JOB_CONTROL_SENT_TO_PRINTER), 0);
  EXPECT_NE(Command(JOB_CONTROL_LAST_PAGE_EJECTED), 0);
  EXPECT_NE(Command(JOB_CONTROL_RESTART), 0);
  const JobView view = job.View();
  EXPECT_TRUE(view.sent && view.ejected && view.restartAsked);
  EXPECT_FALSE(view.deleteAsked);
  EXPECT_NE(Command(JOB_CONTROL_DELETE), 0);
  EXPECT_TRUE(job.View().deleteAsked);
  EXPECT_FALSE(job.View().deletedByPerson);
}

TEST_F(SpoolerHostTest, ResumeEndsAPause) {
  Command(JOB_CONTROL_PAUSE);
  SetFields(JOB_STATUS_PRINTING, 0, nullptr);
  EXPECT_EQ(job.View().status, JOB_STATUS_PRINTING | JOB_STATUS_PAUSED);
  Command(JOB_CONTROL_RESUME);
  EXPECT_EQ(job.View().status, JOB_STATUS_PRINTING);
}

TEST_F(SpoolerHostTest, ANewRunKeepsNothingButTheDeletion) {
  SetFields(JOB_STATUS_COMPLETE, 3, L"Label jam");
  Command(JOB_CONTROL_RESTART);
  job.RequestDelete();
  job.BeginRun();
  const JobView view = job.View();
  EXPECT_EQ(view.status, JOB_STATUS_PRINTING | JOB_STATUS_DELETING);
  EXPECT_EQ(view.mostPagesPrinted, 0u);
  EXPECT_TRUE(view.text.empty());
  EXPECT_FALSE(view.complete || view.restartAsked);
  EXPECT_EQ(seen.back(), "cleared");
}

TEST_F(SpoolerHostTest, ARemovedJobIsUnknown) {
  host.RemoveJob(7);
  EXPECT_EQ(Command(JOB_CONTROL_RESUME), 0);
  EXPECT_EQ(LastErrorCode(), ERROR_INVALID_PARAMETER);
}

TEST_F(SpoolerHostTest, LendsItsClock) {
  const std::uint64_t before = table.TickCount(table.context);
  table.Sleep(table.context, 500);
  EXPECT_EQ(table.TickCount(table.context), before + 500);
  EXPECT_THAT(announced, ElementsAre(500u));
}

TEST_F(SpoolerHostTest, KeepsTheLastErrorOfTheThread) {
  table.SetLastError(table.context, 170);
  EXPECT_EQ(table.GetLastError(table.context), 170u);
  EXPECT_EQ(LastErrorCode(), 170u);
}

TEST_F(SpoolerHostTest, AnswersFromTheSettings) {
  DWORD value = 99;
  DWORD size = sizeof(value);
  void* const bytes = &value;
  EXPECT_EQ(table.QueryValue(table.context, L"Software\\KOVA\\SC3xx", L"SendIPHs", static_cast<LPBYTE>(bytes), &size),
            0);
  EXPECT_EQ(value, 0u);
}

TEST_F(SpoolerHostTest, PassesDebuggerTextOn) {
  table.DebugOutput(table.context, "one");
  table.DebugOutput(table.context, "\n");
  EXPECT_EQ(debug, "one\n");
}

}  // namespace
}  // namespace sc3xx::test
