#include "printer/port_timeouts.h"

#include <gtest/gtest.h>

namespace sc3xxmon::test {
namespace {

TEST(PortTimeoutsTest, ALabelGetsItsTimeAt40MillimetresASecondAndThreeSecondsOver) {
  struct Row {
    std::uint32_t lineCount;
    std::uint32_t milliseconds;
    const char* label;
  };
  constexpr Row kRows[] = {
      {0, 3000, "no lines at all"},
      {1, 3002, "cut toward zero, not rounded"},
      {60, 3127, "in double precision it would be 3126"},
      {480, 4015, "the seconds are added before the milliseconds are made: else 4016"},
      {1740, 6682, "divided twice: else 6683"},
      {1000, 5116, "about 85 mm"},
      {5669, 14999, "the last that the default time-out covers"},
      {5670, 15001, "the first that it doesn't"},
      {14173, 32999, "about 1200 mm"},
      {2'500'000'000, 996'702'720, "past 2^32 ms: modulo"},
      {0x7FFFFFFF, 250'542'592, "past 2^32 ms: modulo"},
      {0xFFFFFFFF, 501'082'112, "past 2^33 ms: modulo"},
  };
  for (const Row& row : kRows) {
    EXPECT_EQ(LabelPrintTimeoutMs(row.lineCount), row.milliseconds) << row.label;
  }
}

TEST(PortTimeoutsTest, ThePortGetsConstantsAndAMultiplierOfOne) {
  const COMMTIMEOUTS timeouts = PortTimeouts(1234, 5678);
  EXPECT_EQ(timeouts.ReadIntervalTimeout, 0u);
  EXPECT_EQ(timeouts.ReadTotalTimeoutMultiplier, 1u);
  EXPECT_EQ(timeouts.ReadTotalTimeoutConstant, 1234u);
  EXPECT_EQ(timeouts.WriteTotalTimeoutMultiplier, 1u);
  EXPECT_EQ(timeouts.WriteTotalTimeoutConstant, 5678u);
}

}  // namespace
}  // namespace sc3xxmon::test
