// One connection on the system's real overlapped sockets, against a peer in this process that behaves badly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
// before any header that includes windows.h
#include <winsock2.h>
#include <ws2tcpip.h>

#include <functional>
#include <string>
#include <thread>

#include "lan/socket.h"
#include "support/bytes.h"
#include "support/open_handles.h"

namespace sc3xxmon::test {
namespace {

constexpr std::uint32_t kLong = 10000;
constexpr std::uint32_t kReset = 10054;
constexpr std::uint32_t kRefused = 10061;

// The printer's end: takes connections on a port that nobody else has.
class Listener {
 public:
  Listener() : socket_(WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED)) {
    sockaddr_in record = LoopbackAt(0);
    bind(socket_, reinterpret_cast<const sockaddr*>(&record), sizeof(record));
    listen(socket_, 16);
    int length = sizeof(record);
    getsockname(socket_, reinterpret_cast<sockaddr*>(&record), &length);
    port_ = ntohs(record.sin_port);
  }
  ~Listener() { Close(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  platform::SocketAddress Address() const {
    return platform::MakeSocketAddress(L"127.0.0.1", platform::AddressFamily::kIPv4, port_);
  }
  SOCKET Accept() const { return accept(socket_, nullptr, nullptr); }
  void Close() { closesocket(std::exchange(socket_, INVALID_SOCKET)); }

 private:
  static sockaddr_in LoopbackAt(u_short port) {
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = htons(port);
    record.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return record;
  }

  SOCKET socket_;
  u_short port_ = 0;
};

class OverlappedSocketTest : public ::testing::Test {
 protected:
  ~OverlappedSocketTest() override { closesocket(peer); }

  void Connect() {
    socket.Connect(listener.Address());
    peer = listener.Accept();
  }
  void PeerGives(const ByteString& bytes) const {
    send(peer, reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()), 0);
  }
  ByteString PeerTakes(std::size_t count) const {
    ByteString bytes(count);
    std::size_t taken = 0;
    while (taken < count) {
      const int more = recv(peer, reinterpret_cast<char*>(bytes.data() + taken), static_cast<int>(count - taken), 0);
      if (more <= 0) {
        break;
      }
      taken += static_cast<std::size_t>(more);
    }
    bytes.resize(taken);
    return bytes;
  }
  void PeerResets() {
    const linger atOnce{1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce), sizeof(atOnce));
    closesocket(std::exchange(peer, INVALID_SOCKET));
  }
  std::uint32_t Read(std::size_t size, std::uint32_t timeoutMs) {
    buffer.assign(size, kUntouched);
    return socket.Read(buffer.data(), static_cast<std::uint32_t>(size), timeoutMs);
  }
  std::uint32_t Write(const ByteString& bytes, std::uint32_t timeoutMs) {
    return socket.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), timeoutMs);
  }
  // The text of the failure that a call ends with; its code goes to `code`. Empty if it doesn't fail.
  std::string FailureOf(const std::function<void()>& call) {
    const ULONGLONG before = GetTickCount64();
    std::string text;
    try {
      call();
    } catch (const WsaCommException& failure) {
      code = failure.ErrorCode;
      text = failure.what();
    }
    milliseconds = GetTickCount64() - before;
    return text;
  }

  static constexpr std::uint8_t kUntouched = 0xEE;
  const CWsaGuard sockets;
  Listener listener;
  CSocket socket{platform::AddressFamily::kIPv4};
  SOCKET peer = INVALID_SOCKET;
  ByteString buffer;
  std::uint32_t code = 0;
  ULONGLONG milliseconds = 0;
};

TEST_F(OverlappedSocketTest, MovesBytesBothWays) {
  Connect();
  EXPECT_EQ(Write(Bytes("1B 41 00"), kLong), 3u);
  EXPECT_EQ(PeerTakes(3), Bytes("1B 41 00"));
  PeerGives(ByteString(32, 7));
  EXPECT_EQ(Read(32, kLong), 32u);
  EXPECT_EQ(buffer, ByteString(32, 7));
}

TEST_F(OverlappedSocketTest, AReadWaitsForBytesThatAreYetToCome) {
  Connect();
  std::thread later([this] {
    Sleep(30);  // long enough that the read is pending; the test passes either way
    PeerGives(ByteString(32, 9));
  });
  EXPECT_EQ(Read(32, kLong), 32u);
  later.join();
  EXPECT_EQ(buffer, ByteString(32, 9));
}

TEST_F(OverlappedSocketTest, AShortReadFailsAtOnce) {
  Connect();
  PeerGives(ByteString(20, 7));
  EXPECT_EQ(FailureOf([this] { Read(32, kLong); }), "Bytes read != bufSize");
  EXPECT_LT(milliseconds, 1000u);
}

TEST_F(OverlappedSocketTest, AReadThatTimesOutNoLongerTouchesItsBuffer) {
  Connect();
  EXPECT_EQ(FailureOf([this] { Read(32, 50); }), "WSAWaitForMultipleEvents timed out");
  EXPECT_GE(milliseconds, 49u);
  EXPECT_LT(milliseconds, 2000u);
  PeerGives(ByteString(32, 7));
  ByteString later(32);
  EXPECT_EQ(socket.Read(later.data(), 32, kLong), 32u) << "the cancelled read took none of these";
  EXPECT_EQ(buffer, ByteString(32, kUntouched));
}

TEST_F(OverlappedSocketTest, AnOrderlyCloseIsAShortRead) {
  Connect();
  closesocket(std::exchange(peer, INVALID_SOCKET));
  EXPECT_EQ(FailureOf([this] { Read(32, kLong); }), "Bytes read != bufSize");
}

// Wine tells a reset that came before the read as the end of the bytes.
TEST_F(OverlappedSocketTest, AResetFailsTheRead) {
  Connect();
  PeerResets();
  const std::string text = FailureOf([this] { Read(32, kLong); });
  EXPECT_THAT(text, ::testing::AnyOf("WSARecv failed", "WSAGetOverlappedResult failed", "Bytes read != bufSize"));
  EXPECT_EQ(code, text == "Bytes read != bufSize" ? 0u : kReset);
}

TEST_F(OverlappedSocketTest, APrinterThatTakesNothingFailsTheWrite) {
  Connect();
  const ByteString much(64u << 20, 7);
  EXPECT_EQ(FailureOf([&] { Write(much, 100); }), "WSAWaitForMultipleEvents timed out!");
}

TEST_F(OverlappedSocketTest, AMegabyteGoesInOneCall) {
  Connect();
  ByteString bytes(1u << 20);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 31);
  }
  ByteString taken;
  std::thread printer([&] { taken = PeerTakes(bytes.size()); });
  EXPECT_EQ(Write(bytes, kLong), bytes.size());
  printer.join();
  EXPECT_EQ(taken, bytes);
}

TEST_F(OverlappedSocketTest, NobodyAtTheAddressIsAFailedConnect) {
  const platform::SocketAddress address = listener.Address();
  listener.Close();
  EXPECT_EQ(FailureOf([&] { socket.Connect(address); }), "WSAConnect failed");
  EXPECT_EQ(code, kRefused);
}

TEST_F(OverlappedSocketTest, ClosingTwiceIsHarmless) {
  Connect();
  socket.Close();
  socket.Close();
  EXPECT_EQ(PeerTakes(1), ByteString());
}

TEST_F(OverlappedSocketTest, AThousandTransfersLeaveNoHandle) {
  Connect();
  const auto transfer = [this] {
    EXPECT_EQ(Write(Bytes("1B 41 00"), kLong), 3u);
    EXPECT_EQ(PeerTakes(3).size(), 3u);
    PeerGives(ByteString(32, 7));
    EXPECT_EQ(Read(32, kLong), 32u);
  };
  transfer();
  const std::size_t before = OpenHandles();
  for (int i = 0; i < 500; ++i) {
    transfer();
  }
  EXPECT_EQ(OpenHandles(), before);
}

TEST_F(OverlappedSocketTest, FailedTransfersLeaveNoHandle) {
  Connect();
  const auto fail = [this] { EXPECT_NE(FailureOf([this] { Read(32, 1); }), ""); };
  fail();
  const std::size_t before = OpenHandles();
  for (int i = 0; i < 100; ++i) {
    fail();
    PeerGives(ByteString(20, 7));
    EXPECT_EQ(FailureOf([this] { Read(32, kLong); }), "Bytes read != bufSize");
  }
  EXPECT_EQ(OpenHandles(), before);
}

}  // namespace
}  // namespace sc3xxmon::test
