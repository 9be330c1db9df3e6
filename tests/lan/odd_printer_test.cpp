// Whole jobs on printers that are there and behave badly: they don't read, answer in drops, answer too late, or talk
// without being asked. Whatever one connection does, the job ends as it would on any connection that failed.
#include <mutex>

#include "lan/support/lan_door.h"
#include "lan/support/open_descriptors.h"
#include "lan/support/peer_server.h"
#include "monitor/options.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A printer in good order, once a connection has got over its odd beginning.
class GoodPrinter {
 private:
  template <class Use>
  auto With(Use use) {
    const std::lock_guard lock(mutex_);
    return use(machine_);
  }

 public:
  void Serve(Peer& peer) {
    const simulator::ClientId client = With([](auto& machine) { return machine.Connect(0); });
    for (ByteString bytes = peer.TakeSome(65536); !bytes.empty(); bytes = peer.TakeSome(65536)) {
      const ByteString answer = With([&](auto& machine) {
        machine.Write(client, bytes, 0);
        ByteString given(4096);
        given.resize(machine.Read(client, given, 0));
        return given;
      });
      if (!answer.empty()) {
        peer.Give(answer);
      }
    }
    With([&](auto& machine) { machine.Disconnect(client, 0); });
  }

  std::vector<std::uint16_t> Printed() {
    return With([](auto& machine) {
      std::vector<std::uint16_t> indexes;
      for (const auto& label : machine.Printed()) {
        indexes.push_back(label.index);
      }
      return indexes;
    });
  }

 private:
  std::mutex mutex_;
  simulator::VirtualPrinter machine_{PrinterOfRow(5)};  // guarded by mutex_
};

class OddPrinter : public ::testing::Test {
 protected:
  static constexpr std::uint32_t kShortMs = 60;

  OddPrinter() {
    door.SetReadTimeout(kShortMs);
    door.PrinterIsAt(server.Address());
  }

  // Connections behind the odd one are served as they should be.
  void GoodFromNowOn(int connections) {
    for (int i = 0; i < connections; ++i) {
      server.Next([this](Peer& peer) { good.Serve(peer); });
    }
  }

  std::size_t Print(std::uint16_t labels) {
    const HANDLE port = door.Open();
    const std::size_t starts = door.Print(port, DocumentOf(labels));
    door.Close(port);
    server.Finish();
    return starts;
  }

  LanDoor door;
  GoodPrinter good;
  PeerServer server;
};

TEST_F(OddPrinter, AnswersThatComeByteByByteAreNoAnswers) {
  const auto drop = [](Peer& peer) {
    peer.Take(3);
    peer.Give(ByteString(1, 0));
    peer.AwaitEnd();
  };
  server.Next(drop);
  GoodFromNowOn(8);
  EXPECT_EQ(Print(3), 1u);
  EXPECT_THAT(good.Printed(), ElementsAre(1, 2, 3));
  EXPECT_EQ(door.host.jobs[LanDoor::kJobId].pagesPrinted, 3u);
}

TEST_F(OddPrinter, AnAnswerAfterTheTimeOutGoesToNobody) {
  server.Next([](Peer& peer) {
    peer.Take(3);
    peer.AwaitEnd();
    peer.Give(PlainStatus({.status = 3}));  // "cancelled" to whoever took it for his answer
  });
  GoodFromNowOn(8);
  EXPECT_EQ(Print(3), 1u);
  EXPECT_THAT(good.Printed(), ElementsAre(1, 2, 3));
  EXPECT_FALSE(door.Did(JOB_CONTROL_DELETE));
}

// Taken for the answer to the first request, it puts every later answer of the connection out of step.
TEST_F(OddPrinter, AnAnswerThatNobodyAskedForLosesNoLabel) {
  server.Next([this](Peer& peer) {
    peer.Give(PlainStatus());
    good.Serve(peer);
  });
  GoodFromNowOn(8);
  EXPECT_EQ(Print(3), 1u);
  std::vector<std::uint16_t> lastCopies;
  for (const std::uint16_t label : good.Printed()) {
    std::erase(lastCopies, label);
    lastCopies.push_back(label);
  }
  EXPECT_THAT(lastCopies, ElementsAre(1, 2, 3));
  EXPECT_EQ(door.host.jobs[LanDoor::kJobId].pagesPrinted, 3u);
}

TEST_F(OddPrinter, GarbageInsteadOfAnswersIsWaitedOutUntilTheJobIsDeleted) {
  const auto babble = [](Peer& peer) {
    peer.Give(ByteString(7, 0xFF));
    peer.AwaitEnd();
  };
  for (int i = 0; i < 200; ++i) {
    server.Next(babble);
  }
  door.host.onSleep = [this](std::uint32_t) {
    if (door.host.sleeps.size() == 10) {
      door.host.jobs[LanDoor::kJobId].status |= JOB_STATUS_DELETING;
    }
  };
  const std::size_t before = OpenDescriptors();
  const HANDLE port = door.Open();
  ASSERT_EQ(door.Start(port), TRUE);
  EXPECT_EQ(door.Write(port, DocumentOf(2)), FALSE);
  door.End(port);
  door.Close(port);
  server.Finish();
  EXPECT_LE(OpenDescriptors(), before);
  EXPECT_FALSE(door.Did(JOB_CONTROL_RESTART));
}

// Accepts, answers what is asked before the label, and reads no byte of the label.
TEST(PrinterThatStopsReading, TheJobWaitsForItUntilItIsDeletedAndLeavesNothingBehind) {
  constexpr int kSmallBuffer = 16 << 10;
  PeerServer server(kSmallBuffer);
  const Signal over;
  server.Next([over](Peer& peer) {
    peer.Take(3);
    peer.Give(PlainStatus());
    peer.Take(2);
    peer.Give(Firmware("FWAP", "0002", "1042", "2C"));
    over.Await();
  });
  for (int i = 0; i < 20; ++i) {
    server.Next([over](Peer&) { over.Await(); });
  }
  LanDoor door;
  door.SetOption(L"LabelCompressMode", 0);
  door.SetReadTimeout(60);
  PortWriteTimeout = 60;
  door.PrinterIsAt(server.Address());
  door.host.onSleep = [&](std::uint32_t) {
    if (door.host.sleeps.size() == 3) {
      door.host.jobs[LanDoor::kJobId].status |= JOB_STATUS_DELETING;
    }
  };
  const std::size_t before = OpenDescriptors();
  const HANDLE port = door.Open();
  ASSERT_EQ(door.Start(port), TRUE);
  const ByteString large = Joined({JobStart(), Label(1, 8000, 8000), EndOfJob()});
  EXPECT_EQ(door.Write(port, large), FALSE);
  EXPECT_EQ(door.host.jobs[LanDoor::kJobId].pagesPrinted, 0u);
  door.End(port);
  door.Close(port);
  over.Set();
  server.Finish();
  EXPECT_LE(OpenDescriptors(), before);
}

TEST(DocumentThatNeverReachedThePrinter, IsMarkedAsSentAndEjectedAndSendsNothing) {
  PrinterServer printer(PrinterOfRow(5));
  LanDoor door;
  door.PrinterIsAt(printer.Address());
  const HANDLE port = door.Open();
  ASSERT_EQ(door.Start(port), TRUE);
  EXPECT_EQ(door.End(port), TRUE);
  door.Close(port);
  EXPECT_EQ(printer.Finish(), 1u);
  EXPECT_THAT(printer.Taken(1), IsEmpty());
  EXPECT_THAT(door.host.commands, ElementsAre(JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_LAST_PAGE_EJECTED));
}

}  // namespace
}  // namespace sc3xxmon::test
