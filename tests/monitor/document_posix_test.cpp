// A second process that has a printer's sync and dies with it. Where the sync is an event of the system's, it outlives its
// taker for as long as anybody has it open.

#include <gtest/gtest.h>

#include "monitor/entry_points_fixture.h"
#include "platform/named_event.h"
#include "support/child_process.h"

namespace sc3xxmon {
namespace {

class DocumentInTwoProcessesTest : public test::EntryPointsFixture {};

TEST_F(DocumentInTwoProcessesTest, APrinterThatAnotherProcessHoldsIsBusyUntilThatDies) {
  test::ChildProcess child([this](test::ProcessChannel& parent) {
    HANDLE event = platform::CreateNamedEvent(L"Global\\KOVA.Sc3xxSync." + printer);
    parent.Tell(platform::WaitForNamedEvent(event, 0) ? 'T' : 'F');
    parent.Hear();
  });
  ASSERT_EQ(child.Channel().Hear(), 'T');
  HANDLE handle = Open();
  EXPECT_FALSE(Start(handle));
  EXPECT_EQ(host.lastError, 170U);
  child.Kill();
  EXPECT_TRUE(Start(handle));
}

}  // namespace
}  // namespace sc3xxmon
