#include "platform/last_error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "support/test_host.h"

namespace sc3xxmon::platform {
namespace {

TEST(LastErrorTest, IsTheHosts) {
  test::TestHost host;
  SetLastErrorCode(170);
  EXPECT_EQ(host.lastError, 170U);
  host.lastError = 31;
  EXPECT_EQ(LastError(), 31U);
}

TEST(LastErrorTest, WithoutAHostItIsTheMonitorsOwn) {
  Sc3xxSetHost(nullptr);
  SetLastErrorCode(87);
  EXPECT_EQ(LastError(), 87U);
}

TEST(LastErrorTest, WithoutAHostEachThreadHasItsOwn) {
  Sc3xxSetHost(nullptr);
  SetLastErrorCode(87);
  std::uint32_t seen = 1;
  std::uint32_t kept = 0;
  std::thread other([&] {
    seen = LastError();
    SetLastErrorCode(124);
    kept = LastError();
  });
  other.join();
  EXPECT_EQ(seen, 0U);
  EXPECT_EQ(kept, 124U);
  EXPECT_EQ(LastError(), 87U);
}

}  // namespace
}  // namespace sc3xxmon::platform
