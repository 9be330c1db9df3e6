#include "platform/thread_id.h"

#include <gtest/gtest.h>

#include <thread>

namespace sc3xxmon::platform {
namespace {

TEST(ThreadIdTest, IsTheSameAtEachCallAndAnotherInAnotherThread) {
  const std::uint32_t own = CurrentThreadId();
  std::uint32_t others = own;
  std::thread other([&others] { others = CurrentThreadId(); });
  other.join();
  EXPECT_EQ(CurrentThreadId(), own);
  EXPECT_NE(others, own);
  EXPECT_NE(own, 0U);
}

}  // namespace
}  // namespace sc3xxmon::platform
