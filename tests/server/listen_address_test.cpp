#include "apps/server/listen_address.h"

#include <gtest/gtest.h>

namespace sc3xx::test {
namespace {

struct Reading {
  const char* text;
  const char* host;
  std::uint16_t port;
};

TEST(ListenAddressTest, ReadsAddressesOfBothFamiliesWithAndWithoutPort) {
  constexpr Reading kReadings[] = {{"127.0.0.2", "127.0.0.2", 9100},
                                   {"127.0.0.2:9101", "127.0.0.2", 9101},
                                   {"0.0.0.0:0", "0.0.0.0", 0},
                                   {"::1", "::1", 9100},
                                   {"[::1]", "::1", 9100},
                                   {"[fe80::2]:65535", "fe80::2", 65535},
                                   {"printer.example", "printer.example", 9100}};
  for (const Reading& reading : kReadings) {
    EXPECT_EQ(ParseListenAddress(reading.text), (ListenAddress{reading.host, reading.port})) << reading.text;
  }
}

TEST(ListenAddressTest, RefusesWhatIsNoAddress) {
  for (const char* text : {"", ":9100", "127.0.0.2:", "127.0.0.2:x", "127.0.0.2:65536", "127.0.0.2:-1", "127.0.0.2: 1",
                           "[::1", "[]:9100", "[::1]9100", "[::1]:", "127.0.0.2]"}) {
    EXPECT_EQ(ParseListenAddress(text), std::nullopt) << text;
  }
}

TEST(ListenAddressTest, IsWrittenAsItIsRead) {
  for (const char* text : {"127.0.0.2:9100", "[::1]:9101"}) {
    EXPECT_EQ(Format(*ParseListenAddress(text)), text);
  }
}

TEST(ListenAddressTest, TheMonitorSkipsTwoLoopbackAddressesAndNoOther) {
  EXPECT_TRUE(IsSkippedByMonitor({"127.0.0.1"}));
  EXPECT_TRUE(IsSkippedByMonitor({"::1"}));
  EXPECT_FALSE(IsSkippedByMonitor({"127.0.0.2"}));
  EXPECT_FALSE(IsSkippedByMonitor({"127.0.1.1"}));
  EXPECT_FALSE(IsSkippedByMonitor({"::"}));
}

}  // namespace
}  // namespace sc3xx::test
