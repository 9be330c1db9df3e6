// Jobs whose printer goes away: for a while, for good, to another address.
#include <chrono>

#include "lan/support/lan_door.h"
#include "lan/support/open_descriptors.h"

namespace sc3xxmon::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::uint16_t> IndexesOf(PrinterServer& printer) {
  return printer.WithPrinter([](simulator::VirtualPrinter& machine) {
    std::vector<std::uint16_t> indexes;
    for (const auto& label : machine.Printed()) {
      indexes.push_back(label.index);
    }
    return indexes;
  });
}

class PrinterGone : public ::testing::Test {
 protected:
  PrinterGone() {
    door.PrinterIsAt(printer.Address());
    port = door.Open();
  }
  void TearDown() override {
    if (port != nullptr) {
      door.End(port);
      door.Close(port);
    }
  }

  // The job's header and its first label are with the printer.
  void StartPrinting() {
    ASSERT_EQ(door.Start(port), TRUE);
    ASSERT_EQ(door.Write(port, Joined({JobStart(), Label(1)})), TRUE);
  }
  BOOL PrintTheRest() { return door.Write(port, Joined({Label(2), Label(3), EndOfJob()})); }

  // Runs once, while the monitor sleeps for the n-th time.
  void AtSleep(std::size_t n, std::function<void()> event) {
    door.host.onSleep = [this, n, event](std::uint32_t) {
      if (door.host.sleeps.size() == n) {
        event();
      }
    };
  }

  LanDoor door;
  PrinterServer printer{PrinterOfRow(5)};
  HANDLE port = nullptr;
};

TEST_F(PrinterGone, BackAtTheSameAddressItGetsEverythingThatWasOpen) {
  StartPrinting();
  printer.GoAway();
  AtSleep(20, [this] { printer.ComeBack(); });
  EXPECT_EQ(PrintTheRest(), TRUE);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 1, 2, 3)) << "the first was taken and not acknowledged";
  EXPECT_THAT(door.host.sleeps, Each(1000u));
  EXPECT_EQ(door.host.sleeps.size(), 20u);
  EXPECT_FALSE(door.Did(JOB_CONTROL_RESTART));
  EXPECT_EQ(door.host.jobs[7].pagesPrinted, 3u);
}

TEST_F(PrinterGone, BackAtAnotherAddressItIsFoundByItsName) {
  PrinterServer moved(PrinterOfRow(5));
  StartPrinting();
  printer.GoAway();
  AtSleep(3, [&] { door.names.Set(LanDoor::kHost, {moved.Address()}); });
  EXPECT_EQ(PrintTheRest(), TRUE);
  EXPECT_THAT(IndexesOf(moved), ElementsAre(1, 2, 3));
  door.End(port);
  EXPECT_EQ(moved.Finish(), 1u);
}

TEST_F(PrinterGone, AnotherHostNameInThePortsEntryDoesntCountBeforeTheNextDocument) {
  PrinterServer other(PrinterOfRow(5));
  door.names.Set(L"other.example", {other.Address()});
  StartPrinting();
  printer.GoAway();
  AtSleep(3, [&] {
    EnterPrinter(door.host, door.printerName, L"other.example");
    printer.ComeBack();
  });
  EXPECT_EQ(PrintTheRest(), TRUE);
  EXPECT_THAT(IndexesOf(other), IsEmpty());
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 1, 2, 3));
  door.End(port);
  EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u);
  EXPECT_THAT(IndexesOf(other), ElementsAre(1, 2));
}

TEST_F(PrinterGone, ANameThatDoesntResolveForAWhileIsWaitedFor) {
  StartPrinting();
  printer.GoAway();
  printer.ComeBack();
  door.names.Forget(LanDoor::kHost);
  AtSleep(5, [this] { door.names.Set(LanDoor::kHost, {printer.Address()}); });
  EXPECT_EQ(PrintTheRest(), TRUE);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 1, 2, 3));
  EXPECT_EQ(door.host.sleeps.size(), 5u);
}

TEST_F(PrinterGone, ForGoodAndTheJobDeletedMeanwhileEndsTheJob) {
  const std::size_t before = OpenDescriptors();
  StartPrinting();
  printer.GoAway();
  AtSleep(50, [this] { door.host.jobs[7].status |= JOB_STATUS_DELETING; });
  EXPECT_EQ(PrintTheRest(), FALSE);
  EXPECT_EQ(door.host.sleeps.size(), 50u) << "noticed within one round";
  EXPECT_TRUE(door.host.Logged("Print job aborted by the spooler"));
  EXPECT_EQ(door.Write(port, Label(4)), FALSE) << "the write path is closed";
  EXPECT_EQ(door.End(port), TRUE);
  EXPECT_THAT(door.host.commands, ElementsAre(JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_LAST_PAGE_EJECTED));
  EXPECT_EQ(door.host.sleeps.size(), 50u) << "no delay at the end";
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(PrinterGone, DeletedJobLeavesThePrinterCleanWhenItIsBackInTime) {
  StartPrinting();
  printer.GoAway();
  AtSleep(5, [this] {
    printer.ComeBack();
    door.host.jobs[7].status |= JOB_STATUS_DELETING;
  });
  EXPECT_EQ(PrintTheRest(), FALSE);
  door.End(port);
  EXPECT_EQ(printer.Finish(), 2u);
  EXPECT_EQ(printer.Taken(2), Bytes("1B 45 1B 51")) << "form feed and end of job over a connection of their own";
}

TEST_F(PrinterGone, AtTheStartTheDocumentDoesntStartAndThePortIsFreeForTheNext) {
  printer.GoAway();
  EXPECT_EQ(door.Start(port), FALSE);
  EXPECT_EQ(door.host.lastError, 10061u);
  EXPECT_TRUE(door.host.Logged("StartDocPort failed"));
  printer.ComeBack();
  EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 2));
}

TEST_F(PrinterGone, BetweenTwoDocumentsNobodyNotices) {
  EXPECT_EQ(door.Print(port, DocumentOf(1)), 1u);
  printer.GoAway();
  printer.ComeBack();
  EXPECT_EQ(door.Print(port, DocumentOf(1)), 1u);
  EXPECT_THAT(door.host.sleeps, IsEmpty());
}

TEST_F(PrinterGone, BetweenTwoWritesOfAHeaderNobodyNotices) {
  ASSERT_EQ(door.Start(port), TRUE);
  ASSERT_EQ(door.Write(port, JobStart()), TRUE);
  printer.GoAway();
  printer.ComeBack();
  EXPECT_EQ(door.Write(port, Joined({Label(1), EndOfJob()})), TRUE);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1));
  EXPECT_THAT(door.host.sleeps, IsEmpty()) << "the header goes out on a connection made for it";
}

TEST_F(PrinterGone, WithoutRecoveryInPlaceTheSpoolerRestartsTheJobUntilThePrinterIsBack) {
  door.Close(port);
  door.SetOption(L"SendIPHs", 0);
  port = door.Open();
  std::size_t restarts = 0;
  door.host.onCommand = [&](DWORD, DWORD command) { restarts += command == JOB_CONTROL_RESTART ? 1u : 0u; };
  StartPrinting();
  printer.GoAway();
  EXPECT_EQ(PrintTheRest(), FALSE);
  EXPECT_EQ(restarts, 1u);
  EXPECT_TRUE(door.host.Logged("Communication issues. Restarting print job."));
  door.End(port);
  EXPECT_EQ(door.host.sleeps.back(), 2000u);
  EXPECT_EQ(door.Start(port), FALSE);
  printer.ComeBack();
  EXPECT_EQ(door.Print(port, DocumentOf(3)), 1u);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 1, 2, 3));
}

// --- printers that don't answer

simulator::Fault AtExchange(std::uint64_t exchange, simulator::FaultKind kind, std::uint32_t value) {
  simulator::Fault fault;
  fault.kind = kind;
  fault.value = value;
  fault.trigger = simulator::FaultTrigger::kExchange;
  fault.at = exchange;
  return fault;
}

TEST(SilentPrinter, UnansweredFirmwareRequestCostsTwoTimeOutsAndTheJobGoesOnOverANewConnection) {
  simulator::PrinterSettings settings = PrinterOfRow(5);
  settings.faults.push_back(AtExchange(2, simulator::FaultKind::kNoAnswer, 0));
  PrinterServer printer(settings);
  LanDoor door;
  door.SetReadTimeout(60);
  door.PrinterIsAt(printer.Address());
  HANDLE port = door.Open();
  const auto time = TimeOf([&] { EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u); });
  door.Close(port);
  EXPECT_GE(time, 120ms);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 2));
  EXPECT_EQ(printer.Finish(), 3u) << "the document's, the second attempt's, and the one for what follows";
  EXPECT_TRUE(printer.Taken(2).empty());
}

TEST(SilentPrinter, AnswerThatNeverComesIsRepeatedOverANewConnection) {
  simulator::PrinterSettings settings = PrinterOfRow(5);
  settings.faults.push_back(AtExchange(3, simulator::FaultKind::kNoAnswer, 0));
  PrinterServer printer(settings);
  LanDoor door;
  door.SetReadTimeout(60);
  door.PrinterIsAt(printer.Address());
  HANDLE port = door.Open();
  EXPECT_EQ(door.Print(port, DocumentOf(3)), 1u);
  door.Close(port);
  EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 2, 1, 2, 3)) << "neither of the two in flight was acknowledged";
  EXPECT_EQ(door.host.jobs[7].pagesPrinted, 3u);
}

TEST(SilentPrinter, ShortAnswerIsNoAnswer) {
  for (const std::uint32_t bytes : {1u, 31u}) {
    simulator::PrinterSettings settings = PrinterOfRow(5);
    settings.faults.push_back(AtExchange(4, simulator::FaultKind::kShortAnswer, bytes));
    PrinterServer printer(settings);
    LanDoor door;
    door.SetReadTimeout(60);
    door.PrinterIsAt(printer.Address());
    HANDLE port = door.Open();
    EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u);
    door.Close(port);
    EXPECT_THAT(IndexesOf(printer), ElementsAre(1, 2, 2)) << "the last label's answer was cut at " << bytes;
  }
}

}  // namespace
}  // namespace sc3xxmon::test
