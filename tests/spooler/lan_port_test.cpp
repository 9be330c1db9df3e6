#include "apps/ports/lan_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/ports/network_host.h"
#include "apps/spooler/last_error.h"

namespace sc3xx::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// --- where a host is; numeric addresses ask no name service

TEST(NetworkHost, NumericAddressStandsForItself) {
  EXPECT_EQ(FindNetworkHost("10.0.0.7").address, "10.0.0.7");
  EXPECT_TRUE(FindNetworkHost("10.0.0.7").isIPv4);
  EXPECT_EQ(FindNetworkHost("fd00::7").address, "fd00::7");
  EXPECT_FALSE(FindNetworkHost("fd00::7").isIPv4);
}

TEST(NetworkHost, OnlyTheTwoExactLoopbackAddressesAreThisComputer) {
  for (const char* own : {"127.0.0.1", "::1"}) {
    EXPECT_TRUE(FindNetworkHost(own).isThisComputer) << own;
    EXPECT_EQ(FindNetworkHost(own).address, "") << own;
  }
  EXPECT_FALSE(FindNetworkHost("127.0.0.2").isThisComputer);
  EXPECT_EQ(FindNetworkHost("127.0.0.2").address, "127.0.0.2");
}

TEST(NetworkHost, LoopbackAloneIsToldWithAWayOut) {
  EXPECT_THAT(WordsForFailedConnection("127.0.0.1", 122),
              AllOf(HasSubstr("127.0.0.1 is this computer itself"), HasSubstr("such as 127.0.0.2")));
  EXPECT_THAT(WordsForFailedConnection("::1", 0), HasSubstr("such as 127.0.0.2"));
}

TEST(NetworkHost, UnknownHostIsToldWhateverCodeStands) {
  for (const std::uint32_t code : {0u, 122u, 10061u}) {
    EXPECT_THAT(WordsForFailedConnection("host..invalid", code),
                HasSubstr("the host \"host..invalid\" can't be found"));
  }
}

struct CodeCase {
  std::uint32_t code;
  const char* words;
};

TEST(NetworkHost, EachFailureHasWordsWithThePlace) {
  const CodeCase cases[] = {{10061, "nobody takes connections there; check that the printer is switched on"},
                            {10060, "nobody answers there; check that the printer is switched on"},
                            {10049, "no address that a connection can be made to"},
                            {10022, "no address that a connection can be made to"},
                            {10047, "this computer has no addresses of that family"},
                            {10065, "no way leads to that host"},
                            {10051, "no way leads to that network"},
                            {10099, "error 10099; check the address"},
                            {122, "couldn't be found at first; print again"}};
  for (const CodeCase& each : cases) {
    EXPECT_THAT(WordsForFailedConnection("10.0.0.7", each.code),
                AllOf(HasSubstr("10.0.0.7, TCP port 9100: "), HasSubstr(each.words)));
  }
}

// --- the table below a port on the network

TEST(LanPortTable, HoldsTheSixFunctionsThatTheMonitorWantsToSee) {
  LanPort port("10.0.0.7", L"lan:10.0.0.7");
  const MONITOR2& table = *port.Below().table;
  EXPECT_NE(table.pfnOpenPort, nullptr);
  EXPECT_NE(table.pfnStartDocPort, nullptr);
  EXPECT_NE(table.pfnWritePort, nullptr);
  EXPECT_NE(table.pfnReadPort, nullptr);
  EXPECT_NE(table.pfnEndDocPort, nullptr);
  EXPECT_NE(table.pfnClosePort, nullptr);
  EXPECT_EQ(port.Below().name, L"lan:10.0.0.7");
}

TEST(LanPortTable, EveryFunctionFailsAndOpeningSaysWhy) {
  LanPort port("10.0.0.7", L"lan:10.0.0.7");
  const PortBelow below = port.Below();
  HANDLE handle = nullptr;
  std::wstring name = below.name;
  DWORD count = 0;
  SetLastErrorCode(0);
  EXPECT_EQ(below.table->pfnOpenPort(below.monitorPort, name.data(), &handle), FALSE);
  EXPECT_EQ(LastErrorCode(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
  EXPECT_THAT(port.Misuse(), HasSubstr("must not hold \"USB\""));
  EXPECT_EQ(below.table->pfnStartDocPort(handle, name.data(), 1, 1, nullptr), FALSE);
  EXPECT_EQ(below.table->pfnWritePort(handle, nullptr, 0, &count), FALSE);
  EXPECT_EQ(below.table->pfnReadPort(handle, nullptr, 0, &count), FALSE);
  EXPECT_EQ(below.table->pfnEndDocPort(handle), FALSE);
  EXPECT_EQ(below.table->pfnClosePort(handle), FALSE);
}

// --- what a waiting job is told

TEST(LanPortTrouble, NothingIsWrongUntilASocketCallFails) {
  LanPort port("10.0.0.7", L"lan:10.0.0.7");
  EXPECT_EQ(port.Trouble(), "");
  port.NoteErrorCode(ERROR_INSUFFICIENT_BUFFER);
  port.NoteErrorCode(ERROR_PRINT_CANCELLED);
  EXPECT_EQ(port.Trouble(), "") << "these are no socket's";
}

TEST(LanPortTrouble, IsTheLatestFailureForAsLongAsCallsFail) {
  LanPort port("10.0.0.7", L"lan:10.0.0.7");
  port.NoteErrorCode(10054);
  port.NoteErrorCode(10061);
  EXPECT_EQ(port.Trouble(), "connection refused (error 10061)");
  port.NoteErrorCode(10060);
  EXPECT_THAT(port.Trouble(), HasSubstr("error 10060"));
  EXPECT_EQ(port.Trouble(), "") << "no call has failed since";
}

TEST(LanPortTrouble, AHostThatIsGoneIsToldWhenTheCodesEnd) {
  LanPort port("host..invalid", L"lan:host");
  EXPECT_EQ(port.Trouble(), "") << "nobody looks a host up before something is wrong";
  port.NoteErrorCode(10054);
  EXPECT_THAT(port.Trouble(), HasSubstr("error 10054"));
  EXPECT_THAT(port.Trouble(), HasSubstr("can't be found"));
  EXPECT_THAT(port.Trouble(), AllOf(HasSubstr("can't be found"), Not(HasSubstr("10054"))));
}

}  // namespace
}  // namespace sc3xx::test
