// Two processes of one machine and one printer on the network.
#include "lan/support/lan_door.h"
#include "support/child_process.h"

namespace sc3xxmon::test {
namespace {

// The printer is played in this process; the other one's spooler prints on it and holds its document until told to end.
class TwoProcesses : public ::testing::Test {
 protected:
  static constexpr char kGo = 'g';
  static constexpr char kDone = 'd';

  void OtherPrints(ProcessChannel& parent) {
    parent.Hear();
    LanDoor door;
    Enter(door);
    const HANDLE port = door.Open();
    const bool started = door.Start(port) != FALSE && door.Write(port, Joined({JobStart(), Label(1)})) != FALSE;
    parent.Tell(started ? kDone : 'x');
    parent.Hear();
    door.Write(port, EndOfJob());
    door.End(port);
    door.Close(port);
    parent.Tell(kDone);
  }
  void Enter(LanDoor& door) {
    door.printerName = word.Text() + L"labels";
    door.PrinterIsAt(address);
  }

  UniqueWord word;
  std::unique_ptr<LoopbackListener> reserved = std::make_unique<LoopbackListener>();
  const std::wstring address = reserved->Address();
  ChildProcess other{[this](ProcessChannel& parent) { OtherPrints(parent); }};
};

TEST_F(TwoProcesses, ASecondDocumentForThePrinterWaitsFiveSecondsAndIsToldBusy) {
  PrinterServer printer(PrinterOfRow(5), std::nullopt, std::move(reserved));
  other.Channel().Tell(kGo);
  ASSERT_EQ(other.Channel().Hear(), kDone);
  {
    LanDoor door;
    Enter(door);
    const HANDLE port = door.Open();
    const std::uint64_t before = door.host.now;
    EXPECT_EQ(door.Start(port), FALSE);
    EXPECT_EQ(door.host.now - before, 5000u);
    EXPECT_EQ(door.host.lastError, static_cast<DWORD>(ERROR_BUSY));
    EXPECT_TRUE(door.host.Logged("StartDocPort is busy - canst start new doc"));

    other.Channel().Tell(kGo);
    ASSERT_EQ(other.Channel().Hear(), kDone);
    EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u) << "the printer is free again";
    door.Close(port);
  }
  EXPECT_EQ(printer.Finish(), 2u) << "the refused document made no connection";
  EXPECT_EQ(printer.WithPrinter([](simulator::VirtualPrinter& machine) { return machine.Printed().size(); }), 3u);
}

TEST_F(TwoProcesses, ASecondDocumentIsAdmittedAsSoonAsTheFirstIsOver) {
  PrinterServer printer(PrinterOfRow(5), std::nullopt, std::move(reserved));
  other.Channel().Tell(kGo);
  ASSERT_EQ(other.Channel().Hear(), kDone);
  {
    LanDoor door;
    Enter(door);
    const HANDLE port = door.Open();
    const std::uint64_t before = door.host.now;
    door.host.onSleep = [&](std::uint32_t) {
      if (door.host.now - before == 2000) {
        other.Channel().Tell(kGo);
        other.Channel().Hear();
      }
    };
    EXPECT_EQ(door.Start(port), TRUE);
    EXPECT_LT(door.host.now - before, 2100u);
    door.End(port);
    door.Close(port);
  }
  EXPECT_EQ(printer.Finish(), 2u);
}

TEST_F(TwoProcesses, AProcessThatDiesInItsDocumentGivesThePrinterFree) {
  PrinterServer printer(PrinterOfRow(5), std::nullopt, std::move(reserved));
  other.Channel().Tell(kGo);
  ASSERT_EQ(other.Channel().Hear(), kDone);
  other.Kill();
  LanDoor door;
  Enter(door);
  const HANDLE port = door.Open();
  EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u);
  EXPECT_LT(door.host.now, 6000u);
  door.Close(port);
}

TEST_F(TwoProcesses, AnotherPrintersDocumentDoesntWait) {
  PrinterServer printer(PrinterOfRow(5), std::nullopt, std::move(reserved));
  PrinterServer second(PrinterOfRow(5));
  other.Channel().Tell(kGo);
  ASSERT_EQ(other.Channel().Hear(), kDone);
  {
    LanDoor door;
    door.PrinterIsAt(second.Address());
    const std::uint64_t before = door.host.now;
    const HANDLE port = door.Open();
    EXPECT_EQ(door.Print(port, DocumentOf(2)), 1u);
    EXPECT_EQ(door.host.now, before);
    door.Close(port);
  }
  other.Channel().Tell(kGo);
  EXPECT_EQ(other.Channel().Hear(), kDone);
}

}  // namespace
}  // namespace sc3xxmon::test
