// What an event leaves on a system without events: a file for as long as somebody has it open. On the real clock, since
// a test's own isn't made for several threads.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/named_event.h"
#include "platform/text.h"
#include "support/child_process.h"

namespace sc3xxmon::platform {
namespace {

class NamedEventFileTest : public ::testing::Test {
 protected:
  std::size_t Files() const {
    std::size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator("/dev/shm")) {
      count += file.path().filename().string().find(ToUtf8(word.Text())) != std::string::npos ? 1u : 0u;
    }
    return count;
  }

  test::UniqueWord word;
  const std::wstring name = L"Global\\KOVA.Sc3xxSync." + word.Text();
};

TEST_F(NamedEventFileTest, TheFileGoesWithTheLastHandle) {
  HANDLE first = CreateNamedEvent(name);
  HANDLE second = CreateNamedEvent(name);
  EXPECT_EQ(Files(), 1u);
  CloseNamedEvent(first);
  EXPECT_EQ(Files(), 1u);
  CloseNamedEvent(second);
  EXPECT_EQ(Files(), 0u);
}

TEST_F(NamedEventFileTest, AHandleInAnotherProcessKeepsIt) {
  test::ChildProcess child([this](test::ProcessChannel& parent) {
    HANDLE event = CreateNamedEvent(name);
    parent.Tell('O');
    parent.Hear();
    CloseNamedEvent(event);
    parent.Tell('C');
    parent.Hear();
  });
  ASSERT_EQ(child.Channel().Hear(), 'O');
  CloseNamedEvent(CreateNamedEvent(name));
  EXPECT_EQ(Files(), 1u);
  child.Channel().Tell('C');
  ASSERT_EQ(child.Channel().Hear(), 'C');
  EXPECT_EQ(Files(), 0u);
}

// Whoever opens while another one closes for the last time must not be left with a file of his own.
TEST_F(NamedEventFileTest, AtATimeOneIsInsideHoweverOftenItIsMadeAndRemoved) {
  std::atomic<int> inside = 0;
  std::atomic<int> admitted = 0;
  std::atomic<bool> alone = true;
  const auto comeAndGo = [&] {
    for (int round = 0; round < 2000; ++round) {
      HANDLE event = CreateNamedEvent(name);
      if (WaitForNamedEvent(event, 0)) {
        alone = alone && ++inside == 1;
        ++admitted;
        --inside;
        SignalNamedEvent(event);
      }
      CloseNamedEvent(event);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back(comeAndGo);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_TRUE(alone);
  EXPECT_GT(admitted, 0);
}

}  // namespace
}  // namespace sc3xxmon::platform
