// A job whose printer on the network goes away and comes back, and what its log tells.
#include "lan/support/lan_door.h"
#include "log_stories/story_log.h"

namespace sc3xxmon::test {
namespace {

class LanLogStory : public ::testing::Test {
 protected:
  LanDoor door;
  StoryLog log{door.host};
};

TEST_F(LanLogStory, LostLan) {
  PrinterServer printer(PrinterOfRow(5));
  door.PrinterIsAt(printer.Address());
  door.SetOption(L"SendIPHs", 1);
  HANDLE const port = door.Open();
  ASSERT_EQ(door.Start(port), TRUE);
  ASSERT_EQ(door.Write(port, Joined({JobStart(), Label(1)})), TRUE);
  printer.GoAway();
  door.host.onSleep = [&](std::uint32_t) {
    if (door.host.sleeps.size() == 2) {
      printer.ComeBack();
    }
  };
  EXPECT_EQ(door.Write(port, Joined({Label(2), EndOfJob()})), TRUE);
  door.End(port);
  door.Close(port);
  log.ExpectToldAsIn("lost_lan", door.printerName);
}

TEST_F(LanLogStory, NobodyThere) {
  door.PrinterIsAt(std::make_unique<LoopbackListener>()->Address());
  door.SetOption(L"SendIPHs", 1);
  HANDLE const port = door.Open();
  EXPECT_EQ(door.Start(port), FALSE);
  door.Close(port);
  log.ExpectToldAsIn("nobody_there", door.printerName);
}

}  // namespace
}  // namespace sc3xxmon::test
