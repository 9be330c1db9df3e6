#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "platform/named_mutex.h"
#include "platform/posix/shared_memory.h"
#include "support/child_process.h"

namespace sc3xxmon::platform {
namespace {

// The name as another copy of the monitor in the process would give it.
class NamedMutexTest : public ::testing::Test {
 protected:
  static bool OtherThreadTakes(HANDLE mutex) {
    bool taken = false;
    std::thread([&] {
      taken = TakeNamedMutex(mutex, 0);
      if (taken) {
        ReleaseNamedMutex(mutex);
      }
    }).join();
    return taken;
  }

  test::UniqueWord word;
  std::wstring name = word.Text() + L"mutex";
  HANDLE mutex = CreateNamedMutex(name);
};

TEST_F(NamedMutexTest, ANewOneIsFree) {
  ASSERT_NE(mutex, nullptr);
  EXPECT_TRUE(TakeNamedMutex(mutex, 0));
  ReleaseNamedMutex(mutex);
}

TEST_F(NamedMutexTest, WhileItIsTakenNobodyElseHasIt) {
  ASSERT_TRUE(TakeNamedMutex(mutex, 0));
  EXPECT_FALSE(OtherThreadTakes(mutex));
  ReleaseNamedMutex(mutex);
  EXPECT_TRUE(OtherThreadTakes(mutex));
}

TEST_F(NamedMutexTest, OneNameIsOneMutex) {
  HANDLE const again = CreateNamedMutex(name);
  ASSERT_NE(again, nullptr);
  ASSERT_TRUE(TakeNamedMutex(mutex, 0));
  EXPECT_FALSE(OtherThreadTakes(again));
  ReleaseNamedMutex(mutex);
  EXPECT_TRUE(OtherThreadTakes(again));
  CloseNamedMutex(again);
}

TEST_F(NamedMutexTest, TwoNamesAreTwo) {
  HANDLE const other = CreateNamedMutex(name + L" 2");
  ASSERT_TRUE(TakeNamedMutex(mutex, 0));
  EXPECT_TRUE(OtherThreadTakes(other));
  ReleaseNamedMutex(mutex);
}

TEST_F(NamedMutexTest, AWaiterGetsItWhenItIsReleased) {
  ASSERT_TRUE(TakeNamedMutex(mutex, 0));
  std::thread waiter([this] {
    EXPECT_TRUE(TakeNamedMutex(mutex, 60'000));
    ReleaseNamedMutex(mutex);
  });
  ReleaseNamedMutex(mutex);
  waiter.join();
}

TEST_F(NamedMutexTest, AWaitEndsAtItsTime) {
  ASSERT_TRUE(TakeNamedMutex(mutex, 0));
  std::thread([this] { EXPECT_FALSE(TakeNamedMutex(mutex, 5)); }).join();
  ReleaseNamedMutex(mutex);
}

TEST_F(NamedMutexTest, NoMutexIsNeverHad) {
  EXPECT_FALSE(TakeNamedMutex(nullptr, 1000));
}

TEST_F(NamedMutexTest, AThreadThatEndsGivesItBack) {
  std::thread([this] { EXPECT_TRUE(TakeNamedMutex(mutex, 0)); }).join();
  EXPECT_TRUE(TakeNamedMutex(mutex, 0));
  ReleaseNamedMutex(mutex);
  EXPECT_TRUE(OtherThreadTakes(mutex));
}

TEST_F(NamedMutexTest, AProcessThatDiesGivesItBack) {
  test::ChildProcess child([this](test::ProcessChannel& parent) {
    parent.Tell(TakeNamedMutex(mutex, 0) ? 'y' : 'n');
    parent.Hear();
  });
  ASSERT_EQ(child.Channel().Hear(), 'y');
  EXPECT_FALSE(TakeNamedMutex(mutex, 0));
  child.Kill();
  EXPECT_TRUE(TakeNamedMutex(mutex, 0));
  ReleaseNamedMutex(mutex);
}

// What a crash left under the name, taken at that moment.
TEST_F(NamedMutexTest, ANameThatACrashLeftBehindIsBegunAnew) {
  const std::wstring crashed = word.Text() + L"crashed";
  {
    test::ChildProcess child([&](test::ProcessChannel& parent) {
      parent.Tell(TakeNamedMutex(CreateNamedMutex(crashed), 0) ? 'y' : 'n');
      parent.Hear();
    });
    ASSERT_EQ(child.Channel().Hear(), 'y');
  }
  ASSERT_TRUE(std::filesystem::exists(SharedMemoryPath(crashed)));
  HANDLE const anew = CreateNamedMutex(crashed);
  ASSERT_NE(anew, nullptr);
  EXPECT_TRUE(TakeNamedMutex(anew, 0));
  ReleaseNamedMutex(anew);
}

TEST_F(NamedMutexTest, APrinterNameWithSlashesAndPercentSignsIsAName) {
  HANDLE const odd = CreateNamedMutex(word.Text() + L"\\\\server/100 % \u00FC?*:");
  HANDLE const twin = CreateNamedMutex(word.Text() + L"\\\\server/100 % \u00FC?*_");
  ASSERT_NE(odd, nullptr);
  ASSERT_NE(twin, nullptr);
  ASSERT_TRUE(TakeNamedMutex(odd, 0));
  EXPECT_TRUE(OtherThreadTakes(twin));
  ReleaseNamedMutex(odd);
}

TEST_F(NamedMutexTest, AVeryLongNameIsAName) {
  EXPECT_NE(CreateNamedMutex(word.Text() + std::wstring(1000, L'n')), nullptr);
}

}  // namespace
}  // namespace sc3xxmon::platform
