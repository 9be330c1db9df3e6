// Jobs whose labels a printer never takes, over a real socket.
#include "lan/support/lan_door.h"
#include "lan/support/peer_server.h"
#include "monitor/options.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Each;
using ::testing::IsEmpty;

constexpr std::uint32_t kInVainMs = 40;

class StubbornPrinter : public ::testing::Test {
 protected:
  // Options first, then the short time-outs for what is in vain anyway, which loading the options would undo.
  StubbornPrinter() {
    door.SetOption(L"LabelCompressMode", 0);
    PortReadTimeout = kInVainMs;
    PortWriteTimeout = kInVainMs;
  }
  void TearDown() override {
    over.Set();
    if (port != nullptr) {
      door.End(port);
      door.Close(port);
    }
  }

  void StartDocument() {
    door.PrinterIsAt(printer.Address());
    port = door.Open();
    ASSERT_EQ(door.Start(port), TRUE);
  }
  void DeleteTheJobAtSleep(std::size_t n) {
    door.host.onSleep = [this, n](std::uint32_t) {
      if (door.host.sleeps.size() == n) {
        door.host.jobs[LanDoor::kJobId].status |= JOB_STATUS_DELETING;
      }
    };
  }

  Signal over;
  PeerServer printer{16 << 10};
  LanDoor door;
  HANDLE port = nullptr;
};

TEST_F(StubbornPrinter, ThatNeverReadsALabelHoldsTheJobUntilItIsDeleted) {
  printer.Next([end = over](Peer& peer) {
    peer.Take(3);
    peer.Give(PlainStatus());
    peer.Take(2);
    peer.Give(ByteString(34, 0));
    end.Await();
  });
  printer.Next([end = over](Peer&) { end.Await(); });  // where the label is tried once more
  StartDocument();
  DeleteTheJobAtSleep(3);
  const ByteString stream = Joined({JobStart(), Label(1, 2000, 32000), EndOfJob()});
  EXPECT_EQ(door.Write(port, stream), FALSE);
  EXPECT_EQ(door.written, stream.size());
  EXPECT_TRUE(door.host.Logged("SendLabel failed"));
  EXPECT_TRUE(door.host.Logged("Print job aborted by the spooler"));
  EXPECT_EQ(door.host.sleeps.size(), 3u) << "noticed within one round";
  EXPECT_THAT(door.host.sleeps, Each(1000u));
  EXPECT_FALSE(door.Did(JOB_CONTROL_RESTART));
  EXPECT_EQ(door.host.jobs[LanDoor::kJobId].pagesPrinted, 0u);
}

TEST_F(StubbornPrinter, IsConnectedToWithoutDeviceIoAsWell) {
  door.host.SetNumber(TestHost::kDebug, L"NoDeviceIO", 1);
  door.SetOption(L"LabelCompressMode", 0);
  ByteString taken;
  printer.Next([&](Peer& peer) { taken = peer.TakeAll(); });
  StartDocument();
  EXPECT_EQ(door.Write(port, DocumentOf(2)), TRUE);
  EXPECT_EQ(door.End(port), TRUE);
  EXPECT_EQ(printer.Finish(), 1u);
  EXPECT_THAT(taken, IsEmpty());
  EXPECT_EQ(door.Start(port), FALSE) << "there is nobody to connect to any more";
}

}  // namespace
}  // namespace sc3xxmon::test
