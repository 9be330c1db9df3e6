// What needs this system's own calls to be seen: signals, the table of descriptors, IPv6 on a port of its own.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "lan/socket.h"
#include "lan/support/lan_fixture.h"
#include "lan/support/open_descriptors.h"
#include "lan/support/peer_server.h"
#include "lan/support/thread_state.h"
#include "platform/posix/socket_error.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sc3xxmon::test {
namespace {

using namespace std::chrono_literals;

platform::SocketAddress PrinterAt(const std::wstring& address) {
  return platform::MakeSocketAddress(address.c_str(), platform::AddressFamily::kIPv4, kPrinterTcpPort);
}

// The text of the failure that a call ends with, and its code; empty if it doesn't fail.
std::string FailureOf(const std::function<void()>& call, std::uint32_t* code = nullptr) {
  try {
    call();
    return {};
  } catch (const Exception& failure) {
    if (code != nullptr) {
      *code = failure.ErrorCode;
    }
    return failure.what();
  }
}

// The lowest descriptor that is free: the one that the next socket gets.
int NextDescriptor() {
  const int descriptor = dup(STDERR_FILENO);
  close(descriptor);
  return descriptor;
}

// As long as this lives, no descriptor from this number on can be had; with 0 the system doesn't even wait for any.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit lower = before_;
    lower.rlim_cur = limit;
    setrlimit(RLIMIT_NOFILE, &lower);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_{};
};

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
  const LoopbackListener nobody;
  std::string socketText;
  std::string connectionText;
  {
    const DescriptorLimit limit(static_cast<rlim_t>(NextDescriptor()));
    socketText = FailureOf([] { CSocket socket(platform::AddressFamily::kIPv4); });
    connectionText = FailureOf([&] { KovaTcpIp connection(nobody.Address().c_str(), true); });
  }
  EXPECT_EQ(socketText, "WSASocket failed");
  EXPECT_EQ(connectionText, "WSASocket failed");
  EXPECT_EQ(host.LogCount("WSASocket failed: err=10024"), 2u);
}

// --- a wait that the system refuses

TEST_F(SocketPosix, AWaitThatTheSystemRefusesIsItsOwnFailure) {
  if constexpr (test::kRefusedAllocationsAreFatal) {
    GTEST_SKIP() << "a sanitizer needs a descriptor itself to look at a failure that is thrown";
  }
  LoopbackListener silent;  // no thread behind it, which would wait too
  silent.Listen(16 << 10);
  CSocket socket(platform::AddressFamily::kIPv4);
  socket.Connect(PrinterAt(silent.Address()));
  const ByteString large(24u << 20, 1);
  ByteString answer(32);
  std::string readText;
  std::string writeText;
  std::uint32_t readCode = 0;
  std::uint32_t writeCode = 0;
  {
    const DescriptorLimit limit(0);
    readText = FailureOf([&] { socket.Read(answer.data(), 32, 10000); }, &readCode);
    writeText = FailureOf([&] { socket.Write(large.data(), 24u << 20, 10000); }, &writeCode);
  }
  EXPECT_EQ(readText, "WSAWaitForMultipleEvents failed");
  EXPECT_EQ(readCode, 10022u);
  EXPECT_EQ(writeText, "WSAWaitForMultipleEvents failed!");
  EXPECT_EQ(writeCode, 10022u);
}

// --- signals

std::atomic<int> signalsSeen{0};

// Sends a signal to the test's thread whenever that waits inside the system, for as long as this object lives. The handler
// doesn't ask the system to restart interrupted calls.
class Interruptions {
 public:
  Interruptions() : target_(pthread_self()) {
    signalsSeen = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsSeen; };
    sigaction(SIGUSR1, &action, &before_);
    sender_ = std::thread([this] {
      while (!stop_) {
        if (!state_.Waits()) {
          std::this_thread::yield();
          continue;
        }
        const int seen = signalsSeen;
        pthread_kill(target_, SIGUSR1);
        while (!stop_ && signalsSeen == seen) {
          std::this_thread::yield();
        }
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
  const ThreadState state_;
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

// A listener whose queue of connections is full, so that making one more waits until somebody accepts.
class FullListener {
 public:
  FullListener() {
    listener_.Listen();
    listen(listener_.Descriptor(), 0);
    while (Queues()) {
    }
  }
  ~FullListener() {
    for (const int client : clients_) {
      close(client);
    }
  }
  FullListener(const FullListener&) = delete;
  FullListener& operator=(const FullListener&) = delete;

  const std::wstring& Address() const { return listener_.Address(); }
  // Accepts and drops connections until `enough` holds.
  void AcceptUntil(const std::atomic<bool>& enough) const {
    while (!enough) {
      pollfd entry{listener_.Descriptor(), POLLIN, 0};
      if (poll(&entry, 1, 10) > 0) {
        close(accept(listener_.Descriptor(), nullptr, nullptr));
      }
    }
  }

 private:
  bool Queues() {
    clients_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = PrinterAt(listener_.Address());
    connect(clients_.back(), reinterpret_cast<const sockaddr*>(address.bytes.data()), address.length);
    pollfd entry{clients_.back(), POLLOUT, 0};
    return poll(&entry, 1, 100) > 0;
  }

  LoopbackListener listener_;
  std::vector<int> clients_;
};

TEST_F(SocketPosix, AConnectionWhoseMakingASignalInterruptsIsMadeAllTheSame) {
  const FullListener listener;
  std::atomic<bool> isMade{false};
  CSocket socket(platform::AddressFamily::kIPv4);
  std::thread printer;
  std::string failure;
  {
    const Interruptions interruptions;
    printer = std::thread([&] {
      while (signalsSeen < 3 && !isMade) {
        std::this_thread::yield();
      }
      listener.AcceptUntil(isMade);
    });
    failure = FailureOf([&] { socket.Connect(PrinterAt(listener.Address())); });
  }
  isMade = true;
  printer.join();
  EXPECT_EQ(failure, "");
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
  std::uint32_t code = 0;
  const std::string text = FailureOf(
      [&] {
        CSocket socket(platform::AddressFamily::kIPv6);
        socket.Connect(nowhere);
      },
      &code);
  constexpr std::uint32_t kNoSuchFamily = 10047;
  if (code == kNoSuchFamily) {
    GTEST_SKIP() << "this machine has no IPv6";
  }
  EXPECT_EQ(text, "WSAConnect failed");
  EXPECT_EQ(code, 10049u) << "nobody is asked";
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
