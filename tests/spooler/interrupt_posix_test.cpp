#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

#include "apps/sc3xx/interrupt.h"
#include "apps/sc3xx/process.h"

namespace sc3xx {
namespace {

class Latch {
 public:
  void Open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  bool WaitAtMost(std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

class InterruptWatchTest : public ::testing::TestWithParam<int> {};

TEST_P(InterruptWatchTest, TheFirstSignalRunsTheFunction) {
  Latch ran;
  const InterruptWatch watch([&] { ran.Open(); });
  raise(GetParam());
  EXPECT_TRUE(ran.WaitAtMost(std::chrono::seconds(60)));
}

TEST_P(InterruptWatchTest, TheSecondSignalLeavesAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Latch never;
        const InterruptWatch watch([&] { never.WaitAtMost(std::chrono::seconds(60)); });
        raise(GetParam());
        raise(GetParam());
      },
      ::testing::ExitedWithCode(130), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptWatchTest, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(InterruptWatchLifeTest, BringsBackWhatWasThereBefore) {
  struct sigaction mine {};
  mine.sa_handler = [](int) {};
  struct sigaction former {};
  sigaction(SIGINT, &mine, &former);
  {
    const InterruptWatch watch([] {});
  }
  struct sigaction now {};
  sigaction(SIGINT, nullptr, &now);
  EXPECT_EQ(now.sa_handler, mine.sa_handler);
  sigaction(SIGINT, &former, nullptr);
}

TEST(InterruptWatchLifeTest, MayLiveSeveralTimesOver) {
  for (int i = 0; i < 3; ++i) {
    Latch ran;
    const InterruptWatch watch([&] { ran.Open(); });
    raise(SIGINT);
    EXPECT_TRUE(ran.WaitAtMost(std::chrono::seconds(60)));
  }
}

TEST(InterruptWatchLifeTest, ASignalIgnoredByNohupStaysIgnored) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  struct sigaction former {};
  sigaction(SIGHUP, &ignore, &former);
  {
    const InterruptWatch watch([] { ADD_FAILURE() << "deleted by a hang-up that was to be ignored"; });
    raise(SIGHUP);
  }
  sigaction(SIGHUP, &former, nullptr);
}

TEST(BrokenPipeTest, AReaderThatWentAwayIsAFailedWriteAndNoSignal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        IgnoreBrokenPipes();
        int ends[2];
        if (pipe(ends) != 0) {
          _exit(9);
        }
        close(ends[0]);
        const char byte = 'x';
        _exit(write(ends[1], &byte, 1) == -1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace sc3xx
