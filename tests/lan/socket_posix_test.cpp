// What needs this system's own calls to be seen: signals, the table of descriptors, IPv6 on a port of its own.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <optional>

#include "lan/socket.h"
#include "lan/support/lan_fixture.h"
#include "lan/support/open_descriptors.h"
#include "lan/support/peer_server.h"
#include "platform/posix/socket_error.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sc3xxmon::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;

platform::SocketAddress PrinterAt(const std::wstring& address) {
  return platform::MakeSocketAddress(address.c_str(), platform::AddressFamily::kIPv4, kPrinterTcpPort);
}

std::string FailureOf(const std::function<void()>& call) {
  try {
    call();
    return {};
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

// The lowest descriptor that is free: the one that the next socket gets.
int NextDescriptor() {
  const int descriptor = dup(STDERR_FILENO);
  close(descriptor);
  return descriptor;
}

class SocketPosix : public ::testing::Test {
 protected:
  SocketPosix() { TestHost::SetDebugLevel(1); }

  TestHost host;
};

TEST_F(SocketPosix, DescriptorZeroIsASocketLikeAnyOther) {
  PeerServer server;
  server.Next([](Peer& peer) {
    peer.Give(peer.Take(4));
    peer.AwaitEnd();
  });
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  {
    CSocket socket(platform::AddressFamily::kIPv4);
    EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1) << "the socket didn't get descriptor 0";
    socket.Connect(PrinterAt(server.Address()));
    ByteString bytes = Bytes("01 02 03 04");
    EXPECT_EQ(FailureOf([&] { socket.Write(bytes.data(), 4, 5000); }), "");
    EXPECT_EQ(FailureOf([&] { socket.Read(bytes.data(), 4, 5000); }), "");
  }
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST_F(SocketPosix, SocketsAreNotInheritedAndDontGatherSmallWrites) {
  const int descriptor = NextDescriptor();
  const CSocket socket(platform::AddressFamily::kIPv4);
  EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  int noDelay = 0;
  socklen_t length = sizeof(noDelay);
  getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &noDelay, &length);
  EXPECT_NE(noDelay, 0);
}

TEST_F(SocketPosix, NoDescriptorsLeftIsAFailureOfTheSocket) {
  if constexpr (test::kRefusedAllocationsAreFatal) {
    GTEST_SKIP() << "a sanitizer needs a descriptor itself to look at a failure that is thrown";
  }
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = before;
  none.rlim_cur = static_cast<rlim_t>(NextDescriptor());
  setrlimit(RLIMIT_NOFILE, &none);
  const std::string text = FailureOf([] { CSocket socket(platform::AddressFamily::kIPv4); });
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(text, "WSASocket failed");
  EXPECT_THAT(LogLines(host), Contains("CSocket::CSocket: WSASocket failed: err=10024"));
}

// --- signals

std::atomic<int> signalsSeen{0};
constexpr auto kBetweenSignals = 1ms;

// Sends a signal to the test's thread again and again for as long as it lives, at a pace that leaves the thread time for
// its work. The handler doesn't ask the system to restart interrupted calls.
class Interruptions {
 public:
  Interruptions() : target_(pthread_self()) {
    signalsSeen = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsSeen; };
    sigaction(SIGUSR1, &action, &before_);
    sender_ = std::thread([this] {
      while (!stop_) {
        const int seen = signalsSeen;
        pthread_kill(target_, SIGUSR1);
        while (!stop_ && signalsSeen == seen) {
          std::this_thread::yield();
        }
        std::this_thread::sleep_for(kBetweenSignals);
      }
    });
  }
  ~Interruptions() {
    stop_ = true;
    sender_.join();
    sigaction(SIGUSR1, &before_, nullptr);
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

 private:
  pthread_t target_;
  struct sigaction before_ {};
  std::atomic<bool> stop_{false};
  std::thread sender_;
};

TEST_F(SocketPosix, SignalsNeitherCutATimeOutShortNorFailATransfer) {
  PeerServer server(16 << 10);
  std::size_t taken = 0;
  server.Next([&](Peer& peer) {
    taken = peer.Take(8u << 20).size();
    peer.Give(ByteString(32, 1));
    peer.AwaitEnd();
  });
  CSocket socket(platform::AddressFamily::kIPv4);
  {
    const Interruptions interruptions;
    EXPECT_EQ(FailureOf([&] { socket.Connect(PrinterAt(server.Address())); }), "");
    const ByteString large(8u << 20, 1);
    EXPECT_EQ(FailureOf([&] { socket.Write(large.data(), 8u << 20, 10000); }), "");
    ByteString answer(32);
    EXPECT_EQ(FailureOf([&] { socket.Read(answer.data(), 32, 10000); }), "");
    const auto time = TimeOf([&] {
      EXPECT_EQ(FailureOf([&] { socket.Read(answer.data(), 32, 50); }), "WSAWaitForMultipleEvents timed out");
    });
    EXPECT_GE(time, 50ms);
    EXPECT_LT(time, 5s);
  }
  EXPECT_GT(signalsSeen, 0);
  socket.Close();
  server.Finish();
  EXPECT_EQ(taken, 8u << 20);
}

// --- IPv6: there is one loopback address for all, so that the port is the system's choice

class IPv6Listener {
 public:
  IPv6Listener() : descriptor_(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in6 record{};
    record.sin6_family = AF_INET6;
    record.sin6_addr = in6addr_loopback;
    socklen_t length = sizeof(record);
    isThere_ = descriptor_ >= 0 && bind(descriptor_, reinterpret_cast<sockaddr*>(&record), length) == 0 &&
               listen(descriptor_, 1) == 0 &&
               getsockname(descriptor_, reinterpret_cast<sockaddr*>(&record), &length) == 0;
    port_ = ntohs(record.sin6_port);
  }
  ~IPv6Listener() { close(descriptor_); }
  IPv6Listener(const IPv6Listener&) = delete;
  IPv6Listener& operator=(const IPv6Listener&) = delete;

  bool IsThere() const { return isThere_; }
  std::uint16_t Port() const { return port_; }
  int Accept() const { return accept(descriptor_, nullptr, nullptr); }

 private:
  int descriptor_;
  bool isThere_ = false;
  std::uint16_t port_ = 0;
};

TEST_F(SocketPosix, ConnectsOverIPv6) {
  const IPv6Listener listener;
  if (!listener.IsThere()) {
    GTEST_SKIP() << "this machine has no IPv6 loopback address";
  }
  CSocket socket(platform::AddressFamily::kIPv6);
  socket.Connect(platform::MakeSocketAddress(L"::1", platform::AddressFamily::kIPv6, listener.Port()));
  Peer peer(listener.Accept());
  socket.Write(Bytes("1B 41 00").data(), 3, 5000);
  EXPECT_EQ(peer.Take(3), Bytes("1B 41 00"));
}

TEST_F(SocketPosix, IPv6AddressOfZeroIsNotThisMachine) {
  const auto nowhere = platform::MakeSocketAddress(L"::", platform::AddressFamily::kIPv6, kPrinterTcpPort);
  EXPECT_FALSE(FailureOf([&] {
                 CSocket socket(platform::AddressFamily::kIPv6);
                 socket.Connect(nowhere);
               }).empty());
}

// --- numbers

TEST(SocketError, SystemsCodesBecomeSocketCodes) {
  EXPECT_EQ(platform::ToSocketError(ECONNREFUSED), 10061u);
  EXPECT_EQ(platform::ToSocketError(ECONNRESET), 10054u);
  EXPECT_EQ(platform::ToSocketError(EPIPE), 10053u);
  EXPECT_EQ(platform::ToSocketError(ETIMEDOUT), 10060u);
  EXPECT_EQ(platform::ToSocketError(EHOSTUNREACH), 10065u);
  EXPECT_EQ(platform::ToSocketError(ENETUNREACH), 10051u);
  EXPECT_EQ(platform::ToSocketError(EAFNOSUPPORT), 10047u);
  EXPECT_EQ(platform::ToSocketError(EMFILE), 10024u);
  EXPECT_EQ(platform::ToSocketError(EBADF), 10038u);
  EXPECT_EQ(platform::ToSocketError(EDOM), 10022u) << "one without a counterpart";
}

}  // namespace
}  // namespace sc3xxmon::test
