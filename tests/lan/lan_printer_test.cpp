// The object behind one LAN port, and one connection.
#include "lan/lan_printer.h"

#include "lan/support/lan_fixture.h"
#include "lan/support/name_service.h"
#include "lan/support/open_descriptors.h"
#include "lan/support/peer_server.h"
#include "monitor/options.h"

namespace sc3xxmon::test {
namespace {

using namespace std::chrono_literals;

constexpr wchar_t kHost[] = L"printer.example";
constexpr wchar_t kPrinterName[] = L"Labels";
constexpr std::uint32_t kLong = 10000;

template <class Failure>
std::string TextOf(const std::function<void()>& call) {
  try {
    call();
    return "no failure";
  } catch (const Failure& failure) {
    return failure.what();
  }
}

class LanPrinterTest : public ::testing::Test {
 protected:
  void HostIs(const std::vector<std::wstring>& addresses) {
    EnterPrinter(host, kPrinterName, kHost);
    names.Set(kHost, addresses);
  }
  std::uint32_t Write(const ByteString& bytes) {
    return printer.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  }
  std::uint32_t Read(std::size_t size) {
    ByteString bytes(size);
    return printer.Read(bytes.data(), static_cast<std::uint32_t>(size));
  }

  TestHost host;
  NameService names;
  PeerServer server;
  CLanPrinter printer{7, L"IP_1"};
};

// --- starting a document

TEST_F(LanPrinterTest, NamesAreEmptyUntilTheFirstDocument) {
  EXPECT_EQ(printer.portName, L"IP_1");
  EXPECT_EQ(printer.key, 7u);
  EXPECT_EQ(printer.PrinterName(), L"");
  EXPECT_EQ(printer.HostName(), L"");
}

TEST_F(LanPrinterTest, DocumentConnectsToThePrintersHost) {
  HostIs({server.Address()});
  EXPECT_TRUE(printer.StartDoc(kPrinterName));
  EXPECT_EQ(printer.PrinterName(), kPrinterName);
  EXPECT_EQ(printer.HostName(), kHost);
  printer.CloseConnection();
  EXPECT_EQ(server.Finish(), 1u);
}

TEST_F(LanPrinterTest, NullPortNameIsRefused) {
  EXPECT_EQ(TextOf<Exception>([] { CLanPrinter nameless(1, nullptr); }), "portName parameter is invalid");
}

TEST_F(LanPrinterTest, DocumentWithoutAPrinterNameIsRefusedAndLeavesAllAsItWas) {
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
    EXPECT_EQ(TextOf<Exception>([&] { printer.StartDoc(name); }), "printerName parameter is invalid");
  }
  EXPECT_EQ(printer.PrinterName(), kPrinterName);
  EXPECT_FALSE(printer.OpenConnection()) << "the connection stands";
}

TEST_F(LanPrinterTest, PrinterWithoutAHostNameMakesNoSocket) {
  host.SetText(std::wstring(kPrinterKeys) + kPrinterName, L"Port", L"IP_1");
  const std::size_t before = OpenDescriptors();
  EXPECT_FALSE(printer.StartDoc(kPrinterName));
  EXPECT_EQ(names.QuestionCount(), 0u);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(printer.PrinterName(), kPrinterName) << "the name is kept all the same";
  EXPECT_EQ(printer.HostName(), L"");
}

TEST_F(LanPrinterTest, PrinterThatLostItsHostNameForgetsTheOldOne) {
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  host.ForgetValues();
  EXPECT_FALSE(printer.StartDoc(kPrinterName));
  EXPECT_EQ(printer.HostName(), L"");
  EXPECT_EQ(TextOf<CommunicationException>([&] { Write(Bytes("01 02")); }), "Socket is not created");
  EXPECT_EQ(TextOf<CommunicationException>([&] { printer.OpenConnection(); }), "OpenConnection failed");
}

TEST_F(LanPrinterTest, UnresolvedHostIsAFalseResultAtTheStart) {
  EnterPrinter(host, kPrinterName, L"nobody.example");
  EXPECT_FALSE(printer.StartDoc(kPrinterName));
}

TEST_F(LanPrinterTest, UnresolvedHostIsAFailureLater) {
  EnterPrinter(host, kPrinterName, L"nobody.example");
  printer.StartDoc(kPrinterName);
  EXPECT_EQ(TextOf<CommunicationException>([&] { printer.OpenConnection(); }), "OpenConnection failed");
}

TEST_F(LanPrinterTest, HostOfLoopbackAloneIsNotConnectedTo) {
  HostIs({L"::1", L"127.0.0.1"});
  EXPECT_FALSE(printer.StartDoc(kPrinterName));
}

TEST_F(LanPrinterTest, RefusedConnectionPassesOn) {
  const LoopbackListener nobody;
  HostIs({nobody.Address()});
  EXPECT_EQ(TextOf<WsaCommException>([&] { printer.StartDoc(kPrinterName); }), "WSAConnect failed");
  EXPECT_EQ(TextOf<CommunicationException>([&] { Read(32); }), "Socket is not created");
}

TEST_F(LanPrinterTest, ANewDocumentDropsTheConnectionOfTheOneBefore) {
  Signal closed;
  server.Next([closed](Peer& peer) {
    peer.AwaitEnd();
    closed.Set();
  });
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  closed.Await();
  printer.CloseConnection();
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(LanPrinterTest, DocumentThatCantConnectHasDroppedTheConnectionBeforeAllTheSame) {
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  names.Forget(kHost);
  EXPECT_FALSE(printer.StartDoc(kPrinterName));
  EXPECT_EQ(TextOf<CommunicationException>([&] { Read(32); }), "Socket is not created");
}

// --- which address

TEST_F(LanPrinterTest, IPv4WinsWhateverTheOrder) {
  PeerServer other;
  HostIs({L"::ffff:" + other.Address(), server.Address()});
  EXPECT_TRUE(printer.StartDoc(kPrinterName));
  printer.CloseConnection();
  EXPECT_EQ(server.Finish(), 1u);
  EXPECT_EQ(other.Finish(), 0u);
}

TEST_F(LanPrinterTest, RefusedIPv4IsNotFollowedByIPv6) {
  const LoopbackListener nobody;
  HostIs({L"::ffff:" + server.Address(), nobody.Address()});
  EXPECT_EQ(TextOf<WsaCommException>([&] { printer.StartDoc(kPrinterName); }), "WSAConnect failed");
  EXPECT_EQ(server.Finish(), 0u);
}

// An IPv6 address that this machine maps to its own IPv4 addresses: the one way to an IPv6 printer with an address of
// its own.
TEST_F(LanPrinterTest, HostWithIPv6AloneIsReachedOverIt) {
  HostIs({L"::ffff:" + server.Address()});
  try {
    EXPECT_TRUE(printer.StartDoc(kPrinterName));
  } catch (const WsaCommException& failure) {
    constexpr std::uint32_t kNoSuchFamily = 10047;
    if (failure.ErrorCode == kNoSuchFamily) {
      GTEST_SKIP() << "this machine has no IPv6";
    }
    throw;
  }
  printer.CloseConnection();
  EXPECT_EQ(server.Finish(), 1u);
}

TEST_F(LanPrinterTest, TheHostIsLookedUpAtEveryConnectAndItsEntryAtEveryDocument) {
  PeerServer moved;
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  printer.CloseConnection();
  names.Set(kHost, {moved.Address()});
  EnterPrinter(host, kPrinterName, L"another.example");  // counts from the next document on
  EXPECT_TRUE(printer.OpenConnection());
  printer.CloseConnection();
  EXPECT_EQ(server.Finish(), 1u);
  EXPECT_EQ(moved.Finish(), 1u);
}

// --- one connection

TEST_F(LanPrinterTest, OpeningAConnectedPrinterNeitherConnectsNorLooks) {
  server.Next([](Peer& peer) { peer.Reset(); });
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  EXPECT_EQ(server.Finish(), 1u);  // the link is dead by now
  EXPECT_FALSE(printer.OpenConnection());
  EXPECT_EQ(names.QuestionCount(), 1u);
}

TEST_F(LanPrinterTest, OpeningAnUnconnectedPrinterConnects) {
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  printer.CloseConnection();
  printer.CloseConnection();
  EXPECT_TRUE(printer.OpenConnection());
  printer.CloseConnection();
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(LanPrinterTest, TransferWithoutAConnectionSaysSo) {
  EXPECT_EQ(TextOf<CommunicationException>([&] { Read(32); }), "Socket is not created");
  EXPECT_EQ(TextOf<CommunicationException>([&] { Write(Bytes("01 02")); }), "Socket is not created");
}

TEST_F(LanPrinterTest, ConnectionLivesOnForATransferThatIsUnderWayOnAnotherThread) {
  HostIs({server.Address()});
  printer.SetTimeouts(kLong, kLong);
  const auto begin = std::chrono::steady_clock::now();
  std::uint32_t count = 0;
  std::size_t connections = 0;
  // A close that comes before the read has its connection finds nothing under way: the next round is luckier.
  while (count == 0 && std::chrono::steady_clock::now() < begin + kPatience) {
    Signal reading;
    Signal closed;
    server.Next([&](Peer& peer) {
      closed.Await();
      peer.Give(ByteString(32, 1));
      peer.AwaitEnd();
    });
    ASSERT_TRUE(printer.StartDoc(kPrinterName));
    std::thread reader([&] {
      reading.Set();
      TextOf<CommunicationException>([&] { count = Read(32); });
    });
    reading.Await();
    printer.CloseConnection();
    closed.Set();
    reader.join();
    server.Await(++connections);
  }
  EXPECT_EQ(count, 32u);
}

// --- time-outs

TEST_F(LanPrinterTest, TimeOutsComeFromTheOptions) {
  PortReadTimeout = 30;
  CLanPrinter impatient(8, L"IP_2");
  PortReadTimeout = 15000;
  HostIs({server.Address()});
  ASSERT_TRUE(impatient.StartDoc(kPrinterName));
  ByteString bytes(32);
  const auto time = TimeOf([&] {
    EXPECT_EQ(TextOf<WsaCommException>([&] { impatient.Read(bytes.data(), 32); }),
              "WSAWaitForMultipleEvents timed out");
  });
  EXPECT_GE(time, 30ms);
  EXPECT_LT(time, 5s);
}

TEST_F(LanPrinterTest, ATimeOutOfZeroIsRefusedAndChangesNeither) {
  HostIs({server.Address()});
  EXPECT_TRUE(printer.SetTimeouts(20, 30));
  host.lastError = 0;
  EXPECT_FALSE(printer.SetTimeouts(5000, 0));
  EXPECT_EQ(host.lastError, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  host.lastError = 0;
  EXPECT_FALSE(printer.SetTimeouts(0, 5000));
  EXPECT_EQ(host.lastError, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  EXPECT_LT(TimeOf([&] { TextOf<WsaCommException>([&] { Read(32); }); }), 4s);
}

TEST_F(LanPrinterTest, TimeOutsSurviveAReconnect) {
  HostIs({server.Address()});
  printer.SetTimeouts(20, kLong);
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  printer.CloseConnection();
  ASSERT_TRUE(printer.OpenConnection());
  EXPECT_LT(TimeOf([&] { TextOf<WsaCommException>([&] { Read(32); }); }), 5s);
}

// A printer that takes connections and never reads: writes end with their time-out alone.
class WriteTimeout : public LanPrinterTest {
 protected:
  WriteTimeout() {
    for (int connection = 0; connection < 2; ++connection) {
      stuck.Next([end = over](Peer&) { end.Await(); });
    }
    HostIs({stuck.Address()});
  }
  void TearDown() override { over.Set(); }

  // It is the short one of the two that the test has set.
  void ExpectTheShortTimeout(CLanPrinter& impatient) {
    const auto time = TimeOf([&] {
      EXPECT_EQ(
          TextOf<WsaCommException>([&] { impatient.Write(large.data(), static_cast<std::uint32_t>(large.size())); }),
          "WSAWaitForMultipleEvents timed out!");
    });
    EXPECT_GE(time, 40ms);
    EXPECT_LT(time, 5s);
  }

  static constexpr std::uint32_t kShort = 40;
  Signal over;
  PeerServer stuck{16 << 10};
  const ByteString large = ByteString(24u << 20, 1);
};

TEST_F(WriteTimeout, ComesFromItsOption) {
  PortWriteTimeout = kShort;
  CLanPrinter impatient(8, L"IP_2");
  PortWriteTimeout = 15000;
  ASSERT_TRUE(impatient.StartDoc(kPrinterName));
  ExpectTheShortTimeout(impatient);
}

TEST_F(WriteTimeout, IsLeftAloneByATimeOutOfZero) {
  EXPECT_TRUE(printer.SetTimeouts(kLong, kShort));
  EXPECT_FALSE(printer.SetTimeouts(0, kLong));
  EXPECT_FALSE(printer.SetTimeouts(kLong, 0));
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  ExpectTheShortTimeout(printer);
}

TEST_F(WriteTimeout, SurvivesAReconnect) {
  printer.SetTimeouts(kLong, kShort);
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  printer.CloseConnection();
  ASSERT_TRUE(printer.OpenConnection());
  ExpectTheShortTimeout(printer);
}

// --- what a connection moves

class Connection : public LanPrinterTest {
 protected:
  void SetUp() override {
    HostIs({server.Address()});
    printer.SetTimeouts(kLong, kLong);
    ASSERT_TRUE(printer.StartDoc(kPrinterName));
  }
};

TEST_F(Connection, BytesGoAsTheyAre) {
  ByteString taken;
  PeerServer other;
  other.Next([&](Peer& peer) { taken = peer.TakeAll(); });
  {
    KovaTcpIp connection(other.Address().c_str(), true);
    EXPECT_EQ(connection.Write(Bytes("1B 41 00").data(), 3, kLong), 3u);
    EXPECT_EQ(connection.Write(Bytes("0D 0A 00 FF").data(), 4, kLong), 4u);
  }
  other.Finish();
  EXPECT_EQ(taken, Bytes("1B 41 00 0D 0A 00 FF"));
}

TEST_F(Connection, AWriteOfOneByteIsDroppedAsASuccess) {
  EXPECT_EQ(Write(Bytes("1B")), 0u);
  EXPECT_EQ(Write(Bytes("1B 41")), 2u);
}

TEST_F(Connection, NothingIsMovedForNothing) {
  EXPECT_EQ(printer.Write(nullptr, 10), 0u);
  EXPECT_EQ(Write({}), 0u);
  EXPECT_EQ(printer.Read(nullptr, 10), 0u);
  EXPECT_EQ(Read(0), 0u);
}

TEST_F(LanPrinterTest, AReadOfOneByteIsARead) {
  server.Next([](Peer& peer) {
    peer.Give(Bytes("07"));
    peer.AwaitEnd();
  });
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  EXPECT_EQ(Read(1), 1u);
}

TEST_F(LanPrinterTest, TheDroppedByteNeverReachesThePrinter) {
  ByteString taken;
  server.Next([&](Peer& peer) { taken = peer.TakeAll(); });
  HostIs({server.Address()});
  ASSERT_TRUE(printer.StartDoc(kPrinterName));
  Write(Bytes("AA"));
  Write(Bytes("1B 51"));
  printer.CloseConnection();
  server.Finish();
  EXPECT_EQ(taken, Bytes("1B 51"));
}

TEST_F(LanPrinterTest, ConnectionWithoutAnAddressHasNoSocketAndMovesNothing) {
  KovaTcpIp nowhere(nullptr, true);
  ByteString bytes(32);
  EXPECT_EQ(nowhere.Read(bytes.data(), 32, 1), 0u);
  EXPECT_EQ(nowhere.Write(bytes.data(), 32, 1), 0u);
}

TEST_F(LanPrinterTest, FailedConnectionLeavesNoDescriptorBehind) {
  const LoopbackListener nobody;
  const std::size_t before = OpenDescriptors();
  EXPECT_EQ(TextOf<WsaCommException>([&] { KovaTcpIp refused(nobody.Address().c_str(), true); }), "WSAConnect failed");
  EXPECT_EQ(TextOf<WsaCommException>([] { KovaTcpIp garbage(L"not numeric", true); }), "WSAConnect failed");
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace sc3xxmon::test
