// One socket, against printers that behave badly.
#include "lan/socket.h"

#include "lan/support/lan_fixture.h"
#include "lan/support/open_descriptors.h"
#include "lan/support/peer_server.h"
#include "lan/support/thread_state.h"
#include "platform/last_error.h"

namespace sc3xxmon::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::IsEmpty;

constexpr std::uint32_t kPending = 997;
constexpr std::uint32_t kNoSocketHere = 10038;
constexpr std::uint32_t kReset = 10054;
constexpr std::uint32_t kRefused = 10061;
constexpr std::uint32_t kAddressNotAvailable = 10049;
constexpr std::uint32_t kLong = 10000;

platform::SocketAddress PrinterAt(const std::wstring& address) {
  return platform::MakeSocketAddress(address.c_str(), platform::AddressFamily::kIPv4, kPrinterTcpPort);
}

class SocketTest : public ::testing::Test {
 protected:
  SocketTest() { TestHost::SetDebugLevel(1); }

  void Connect() { socket.Connect(PrinterAt(server.Address())); }
  std::uint32_t Read(std::size_t size, std::uint32_t timeoutMs) {
    buffer.assign(size, 0);
    return socket.Read(buffer.data(), static_cast<std::uint32_t>(size), timeoutMs);
  }
  std::uint32_t Write(const ByteString& bytes, std::uint32_t timeoutMs) {
    return socket.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), timeoutMs);
  }

  // The text of the failure that a call ends with; its code goes to `code`. Empty if it doesn't fail.
  template <class Call>
  std::string FailureOf(Call call) {
    try {
      call();
      return {};
    } catch (const WsaCommException& failure) {
      code = failure.ErrorCode;
      return failure.what();
    }
  }

  TestHost host;
  PeerServer server;
  CSocket socket{platform::AddressFamily::kIPv4};
  ByteString buffer;
  std::uint32_t code = 0;
};

// --- transfers

TEST_F(SocketTest, MovesBytesBothWays) {
  ByteString taken;
  server.Next([&](Peer& peer) {
    taken = peer.Take(3);
    peer.Give(ByteString(32, 7));
    peer.AwaitEnd();
  });
  Connect();
  EXPECT_EQ(Write(Bytes("1B 41 00"), kLong), 3u);
  EXPECT_EQ(Read(32, kLong), 32u);
  EXPECT_EQ(buffer, ByteString(32, 7));
  socket.Close();
  server.Finish();
  EXPECT_EQ(taken, Bytes("1B 41 00"));
}

TEST_F(SocketTest, TwentyOfThirtyTwoBytesFailAsSoonAsTheyArrive) {
  server.Next([](Peer& peer) {
    peer.Give(ByteString(20, 1));
    peer.AwaitEnd();
  });
  Connect();
  const auto time = TimeOf([&] { EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "Bytes read != bufSize"); });
  EXPECT_LT(time, 5s) << "the other twelve aren't waited for";
}

TEST_F(SocketTest, AnAnswerInTwoPiecesFailsAtTheFirst) {
  Signal failed;
  server.Next([failed](Peer& peer) {
    peer.Give(ByteString(20, 1));
    failed.Await();
    peer.Give(ByteString(12, 1));
    peer.AwaitEnd();
  });
  Connect();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "Bytes read != bufSize");
  failed.Set();
}

TEST_F(SocketTest, AByteAtATimeIsNoAnswer) {
  server.Next([](Peer& peer) {
    peer.Give(Bytes("01"));
    peer.AwaitEnd();
  });
  Connect();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "Bytes read != bufSize");
}

TEST_F(SocketTest, ReadWithoutDataTimesOut) {
  Connect();
  const auto time = TimeOf([&] { EXPECT_EQ(FailureOf([&] { Read(32, 40); }), "WSAWaitForMultipleEvents timed out"); });
  EXPECT_GE(time, 40ms);
  EXPECT_LT(time, 5s);
}

TEST_F(SocketTest, AfterATimeOutTheBufferIsLeftAlone) {
  Signal late;
  Signal sent;
  server.Next([late, sent](Peer& peer) {
    late.Await();
    peer.Give(ByteString(32, 9));
    sent.Set();
    peer.AwaitEnd();
  });
  Connect();
  FailureOf([&] { Read(32, 20); });
  late.Set();
  sent.Await();
  EXPECT_EQ(buffer, ByteString(32, 0));
}

TEST_F(SocketTest, TheLongestTimeOutNeverPasses) {
  server.Next([](Peer& peer) {
    peer.Take(2);
    peer.Give(ByteString(32, 1));
    peer.AwaitEnd();
  });
  Connect();
  EXPECT_EQ(Write(Bytes("1B 41"), 0xFFFFFFFF), 2u);
  EXPECT_EQ(Read(32, 0xFFFFFFFF), 32u);
}

TEST_F(SocketTest, BytesThatNobodyAskedForAreTheNextAnswer) {
  server.Next([](Peer& peer) {
    peer.Give(Joined({ByteString(32, 1), ByteString(32, 2)}));
    peer.AwaitEnd();
  });
  Connect();
  EXPECT_EQ(Read(32, kLong), 32u);
  EXPECT_EQ(buffer, ByteString(32, 1));
  EXPECT_EQ(Read(32, kLong), 32u);
  EXPECT_EQ(buffer, ByteString(32, 2));
}

// --- the other side goes

TEST_F(SocketTest, PeerThatClosesDuringAReadIsAShortTransfer) {
  server.Next([](Peer& peer) { peer.Take(1); });
  Connect();
  Write(Bytes("01"), kLong);
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "Bytes read != bufSize");
}

TEST_F(SocketTest, PeerThatClosesAfterSomeBytesIsAShortTransfer) {
  server.Next([](Peer& peer) { peer.Give(ByteString(31, 1)); });
  Connect();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "Bytes read != bufSize");
}

TEST_F(SocketTest, ResetDuringAReadIsTheOperationsResult) {
  Signal connected;
  const ThreadState reader;
  server.Next([connected, reader](Peer& peer) {
    connected.Await();
    reader.AwaitWaiting();
    peer.Reset();
  });
  Connect();
  connected.Set();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "WSAGetOverlappedResult failed");
  EXPECT_EQ(code, kReset);
}

TEST_F(SocketTest, ReadAfterAResetFailsInTheCall) {
  server.Next([](Peer& peer) { peer.Reset(); });
  Connect();
  server.Finish();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "WSARecv failed");
  EXPECT_EQ(code, kReset);
}

TEST_F(SocketTest, WriteAfterAResetFailsInTheCallAndRaisesNoSignal) {
  server.Next([](Peer& peer) { peer.Reset(); });
  Connect();
  server.Finish();
  FailureOf([&] { Read(1, kLong); });  // takes the reset's error
  EXPECT_EQ(FailureOf([&] { Write(Bytes("1B 41 00"), kLong); }), "WSASend failed!");
  EXPECT_EQ(code, 10053u);
}

TEST_F(SocketTest, AnswerThatCameBeforeTheResetIsStillThere) {
  server.Next([](Peer& peer) {
    peer.Give(ByteString(32, 3));
    peer.Reset();
  });
  Connect();
  server.Finish();
  EXPECT_EQ(Read(32, kLong), 32u);
  EXPECT_EQ(buffer, ByteString(32, 3));
}

// --- writes

constexpr std::size_t kMoreThanFits = 24u << 20;  // beyond what the system takes for a printer that doesn't read
constexpr int kSmallReceiveBuffer = 16 << 10;

class SlowPrinter : public SocketTest {
 protected:
  void ConnectSlow() { socket.Connect(PrinterAt(slow.Address())); }

  PeerServer slow{kSmallReceiveBuffer};
};

TEST_F(SlowPrinter, PrinterThatAcceptsAndNeverReadsTimesTheWriteOut) {
  Signal over;
  slow.Next([over](Peer&) { over.Await(); });
  ConnectSlow();
  const auto time = TimeOf([&] {
    EXPECT_EQ(FailureOf([&] { Write(ByteString(kMoreThanFits, 1), 60); }), "WSAWaitForMultipleEvents timed out!");
  });
  EXPECT_GE(time, 60ms);
  EXPECT_LT(time, 5s);
  EXPECT_EQ(code, kPending);
  over.Set();
}

TEST_F(SlowPrinter, WriteGoesOnUntilAllIsTaken) {
  std::size_t taken = 0;
  slow.Next([&](Peer& peer) { taken = peer.TakeAll().size(); });
  ConnectSlow();
  EXPECT_EQ(Write(ByteString(kMoreThanFits, 1), kLong), kMoreThanFits);
  socket.Close();
  slow.Finish();
  EXPECT_EQ(taken, kMoreThanFits);
}

TEST_F(SlowPrinter, TheTimeOutIsForTheWholeWriteAndNotForEachPiece) {
  // Takes a piece each time the writer's time has run on a little: there is always progress, and never an end in sight.
  Signal over;
  slow.Next([over](Peer& peer) {
    const auto begin = std::chrono::steady_clock::now();
    for (int piece = 1; !over.IsSet(); ++piece) {
      peer.TakeSome(4096);
      while (!over.IsSet() && std::chrono::steady_clock::now() < begin + piece * 2ms) {
        std::this_thread::yield();
      }
    }
    peer.AwaitEnd();
  });
  const ByteString large(kMoreThanFits, 1);
  ConnectSlow();
  const auto time =
      TimeOf([&] { EXPECT_EQ(FailureOf([&] { Write(large, 100); }), "WSAWaitForMultipleEvents timed out!"); });
  EXPECT_GE(time, 100ms);
  EXPECT_LT(time, 5s);
  over.Set();
  socket.Close();
}

TEST_F(SlowPrinter, WriteThatBeganAndIsResetFailsInItsResult) {
  slow.Next([](Peer& peer) {
    peer.Take(1000);
    peer.Reset();
  });
  ConnectSlow();
  EXPECT_EQ(FailureOf([&] { Write(ByteString(kMoreThanFits, 1), kLong); }), "WSAGetOverlappedResult failed");
  EXPECT_THAT(code, ::testing::AnyOf(kReset, 10053u));
}

// --- the code that goes with a failure

TEST_F(SocketTest, TimeOutCarriesTheCodeOfAnOperationUnderWay) {
  Connect();
  FailureOf([&] { Read(32, 5); });
  EXPECT_EQ(code, kPending);
}

TEST_F(SocketTest, ShortTransferCarriesWhateverCodeStood) {
  Signal given;
  server.Next([given](Peer& peer) {
    peer.Give(ByteString(20, 1));
    given.Set();
    peer.AwaitEnd();
  });
  Connect();
  given.Await();
  EXPECT_EQ(Read(1, kLong), 1u);  // the rest is here as well now
  platform::SetLastErrorCode(4711);
  FailureOf([&] { Read(32, kLong); });
  EXPECT_EQ(code, 4711u) << "no call of the system has failed";
}

TEST_F(SocketTest, FailureTakesItsCodeWhenItIsMade) {
  platform::SetLastErrorCode(1234);
  const WsaCommException failure("text");
  platform::SetLastErrorCode(1);
  EXPECT_EQ(failure.ErrorCode, 1234u);
  EXPECT_STREQ(failure.what(), "text");
}

TEST_F(SocketTest, TransfersLogNothing) {
  server.Next([](Peer& peer) {
    peer.Take(2);
    peer.Give(ByteString(33, 1));
    peer.AwaitEnd();
  });
  Connect();
  EXPECT_EQ(FailureOf([&] { Read(32, 1); }), "WSAWaitForMultipleEvents timed out");
  EXPECT_EQ(Write(Bytes("1B 41"), kLong), 2u);
  EXPECT_EQ(Read(32, kLong), 32u);
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "Bytes read != bufSize");
  socket.Close();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "WSARecv failed");
  EXPECT_EQ(FailureOf([&] { Write(Bytes("1B 41"), kLong); }), "WSASend failed!");
  EXPECT_THAT(host.log, IsEmpty());
}

// --- making, connecting, closing

TEST_F(SocketTest, ClosingTwiceIsHarmless) {
  Connect();
  socket.Close();
  socket.Close();
  EXPECT_EQ(FailureOf([&] { Read(32, kLong); }), "WSARecv failed");
  EXPECT_EQ(code, kNoSocketHere);
  EXPECT_EQ(FailureOf([&] { Write(Bytes("01 02"), kLong); }), "WSASend failed!");
}

TEST_F(SocketTest, RefusedConnectionIsLoggedAndRaised) {
  const LoopbackListener nobody;
  EXPECT_EQ(FailureOf([&] { socket.Connect(PrinterAt(nobody.Address())); }), "WSAConnect failed");
  EXPECT_EQ(code, kRefused);
  EXPECT_THAT(LogLines(host), Contains("CSocket::Connect: WSAConnect failed: err=10061"));
}

TEST_F(SocketTest, AddressOfZeroIsNotThisMachine) {
  EXPECT_EQ(FailureOf([&] { socket.Connect(PrinterAt(L"0.0.0.0")); }), "WSAConnect failed");
  EXPECT_EQ(code, kAddressNotAvailable);
  EXPECT_EQ(FailureOf([&] { socket.Connect(PrinterAt(L"no address")); }), "WSAConnect failed");
  EXPECT_EQ(code, kAddressNotAvailable);
}

TEST_F(SocketTest, ClosingWithUnaskedBytesUnreadEndsInOrder) {
  ByteString taken;
  Signal given;
  server.Next([&](Peer& peer) {
    peer.Give(ByteString(500, 1));
    given.Set();
    taken = peer.TakeAll();  // throws at a reset
  });
  Connect();
  given.Await();
  Read(1, kLong);
  Write(EndOfJob(), kLong);
  socket.Close();
  server.Finish();
  EXPECT_EQ(taken, EndOfJob());
}

TEST_F(SocketTest, EveryWayToFailLeavesNoDescriptorBehind) {
  const LoopbackListener nobody;
  const std::size_t before = OpenDescriptors();
  constexpr int kRounds = 12;
  for (int i = 0; i < kRounds; ++i) {
    server.Next([](Peer& peer) { peer.Reset(); }).Next([](Peer& peer) { peer.Give(Bytes("01")); });
    server.Next([](Peer& peer) { peer.AwaitEnd(); });
  }
  for (int i = 0; i < 4 * kRounds; ++i) {
    CSocket other(platform::AddressFamily::kIPv4);
    FailureOf([&] { other.Connect(PrinterAt(i % 4 < 3 ? server.Address() : nobody.Address())); });
    FailureOf([&] { other.Read(buffer.data(), 0, 1); });
    ByteString bytes(32);
    FailureOf([&] { other.Read(bytes.data(), 32, 2); });
    FailureOf([&] { other.Write(bytes.data(), 32, 2); });
  }
  server.Finish();
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(SocketTest, GuardsOfTheSystemsSocketsNestAndASocketWorksWithinThem) {
  const CWsaGuard outer;
  { const CWsaGuard inner; }
  Connect();
  EXPECT_EQ(Write(Bytes("1B 41"), kLong), 2u);
  EXPECT_THAT(host.log, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon::test
