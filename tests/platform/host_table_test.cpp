#include "platform/posix/host_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace sc3xxmon::platform {
namespace {

// A host whose every member is there.
Sc3xxHost WholeHost() {
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.context = &host;
  host.OpenPrinterW = [](void*, LPWSTR, HANDLE*, void*) { return BOOL{1}; };
  host.GetJobW = [](void*, HANDLE, DWORD, DWORD, LPBYTE, DWORD, LPDWORD) { return BOOL{1}; };
  host.SetJobW = [](void*, HANDLE, DWORD, DWORD, LPBYTE, DWORD) { return BOOL{1}; };
  host.ClosePrinter = [](void*, HANDLE) { return BOOL{1}; };
  host.QueryValue = [](void*, LPCWSTR, LPCWSTR, LPBYTE, LPDWORD) { return LONG{0}; };
  host.TickCount = [](void*) { return std::uint64_t{4}; };
  host.Sleep = [](void*, std::uint32_t) {};
  host.GetLastError = [](void*) { return DWORD{0}; };
  host.SetLastError = [](void*, DWORD) {};
  host.DebugOutput = [](void*, const char*) {};
  return host;
}

class HostTableTest : public ::testing::Test {
 protected:
  ~HostTableTest() override { Sc3xxSetHost(nullptr); }

  Sc3xxHost host = WholeHost();
};

TEST_F(HostTableTest, TheTableIsCopied) {
  EXPECT_EQ(Sc3xxSetHost(&host), 1);
  const Sc3xxHost given = host;
  host = Sc3xxHost{};
  EXPECT_EQ(Host().context, given.context);
  EXPECT_EQ(Host().OpenPrinterW, given.OpenPrinterW);
  EXPECT_EQ(Host().DebugOutput, given.DebugOutput);
}

TEST_F(HostTableTest, NullBringsTheDefaultsBack) {
  Sc3xxSetHost(&host);
  EXPECT_EQ(Sc3xxSetHost(nullptr), 1);
  EXPECT_EQ(Host().context, nullptr);
  EXPECT_EQ(Host().OpenPrinterW, nullptr);
  EXPECT_EQ(Host().DebugOutput, nullptr);
}

TEST_F(HostTableTest, ASizeThatDoesntReachTheFirstFunctionIsRefusedWithoutEffect) {
  Sc3xxSetHost(&host);
  Sc3xxHost other = WholeHost();
  other.context = &other;
  for (const std::size_t size : {std::size_t{0}, std::size_t{4}, offsetof(Sc3xxHost, OpenPrinterW) - 1}) {
    other.size = static_cast<std::uint32_t>(size);
    EXPECT_EQ(Sc3xxSetHost(&other), 0) << size;
    EXPECT_EQ(Host().context, host.context);
  }
}

TEST_F(HostTableTest, MembersBeyondTheHostsSizeAreNull) {
  host.size = offsetof(Sc3xxHost, TickCount);
  EXPECT_EQ(Sc3xxSetHost(&host), 1);
  EXPECT_EQ(Host().QueryValue, host.QueryValue);
  EXPECT_EQ(Host().TickCount, nullptr);
  EXPECT_EQ(Host().Sleep, nullptr);
  EXPECT_EQ(Host().DebugOutput, nullptr);
}

TEST_F(HostTableTest, AMemberThatTheSizeCutsInTwoIsNull) {
  host.size = offsetof(Sc3xxHost, TickCount) + 4;
  EXPECT_EQ(Sc3xxSetHost(&host), 1);
  EXPECT_EQ(Host().QueryValue, host.QueryValue);
  EXPECT_EQ(Host().TickCount, nullptr);
}

TEST_F(HostTableTest, AHostFromTheFutureIsTakenAsFarAsItIsKnown) {
  struct {
    Sc3xxHost known;
    void* unknown;
  } later{host, &host};
  later.known.size = sizeof(later);
  EXPECT_EQ(Sc3xxSetHost(&later.known), 1);
  EXPECT_EQ(Host().DebugOutput, host.DebugOutput);
}

TEST_F(HostTableTest, NothingIsReadBeyondTheHostsSize) {
  // Exactly as many bytes as the size says: a sanitizer watches.
  const auto size = static_cast<std::uint32_t>(offsetof(Sc3xxHost, QueryValue));
  host.size = size;
  const auto exact =
      std::make_unique<std::max_align_t[]>((size + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t));
  std::memcpy(exact.get(), &host, size);
  EXPECT_EQ(Sc3xxSetHost(reinterpret_cast<const Sc3xxHost*>(exact.get())), 1);
  EXPECT_EQ(Host().ClosePrinter, host.ClosePrinter);
  EXPECT_EQ(Host().QueryValue, nullptr);
}

}  // namespace
}  // namespace sc3xxmon::platform
