#include "platform/clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_host.h"

namespace sc3xxmon::platform {
namespace {

using ::testing::ElementsAre;

TEST(ClockTest, TicksAndSleepsAreTheHosts) {
  test::TestHost host;
  host.now = 123456789012345;
  EXPECT_EQ(TickCountMs(), 123456789012345U);
  SleepMs(2000);
  SleepMs(0);
  EXPECT_THAT(host.sleeps, ElementsAre(2000, 0));
  EXPECT_EQ(TickCountMs(), 123456789014345U);
}

TEST(ClockTest, WithoutAHostTheSystemsClockNeverGoesBack) {
  Sc3xxSetHost(nullptr);
  const std::uint64_t before = TickCountMs();
  SleepMs(0);
  EXPECT_GE(TickCountMs(), before);
}

}  // namespace
}  // namespace sc3xxmon::platform
