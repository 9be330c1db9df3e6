// The port table for printers on the network, call by call.
#include "lan/tcp_port.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <ostream>
#include <string>
#include <thread>

#include "lan/support/lan_fixture.h"
#include "lan/support/name_service.h"
#include "lan/support/open_descriptors.h"
#include "lan/support/peer_server.h"
#include "lan/support/thread_state.h"
#include "monitor/langmon.h"
#include "monitor/options.h"
#include "support/module_copy.h"

namespace sc3xxmon::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kHost[] = L"printer.example";

HANDLE HandleOf(std::uintptr_t key) {
  return reinterpret_cast<HANDLE>(key);  // NOLINT(performance-no-int-to-ptr): a key
}

class TcpPort : public LanFixture {
 protected:
  PeerServer server;
};

// --- the table

TEST_F(TcpPort, TableHoldsSevenFunctionsAndNothingElse) {
  EXPECT_EQ(table.cbSize, 184u);
  MONITOR2 expected{};
  expected.cbSize = 184;
  expected.pfnOpenPort = table.pfnOpenPort;
  expected.pfnStartDocPort = table.pfnStartDocPort;
  expected.pfnWritePort = table.pfnWritePort;
  expected.pfnReadPort = table.pfnReadPort;
  expected.pfnEndDocPort = table.pfnEndDocPort;
  expected.pfnClosePort = table.pfnClosePort;
  expected.pfnSetPortTimeOuts = table.pfnSetPortTimeOuts;
  EXPECT_EQ(std::memcmp(&table, &expected, sizeof(table)), 0);
  EXPECT_TRUE(table.pfnOpenPort && table.pfnStartDocPort && table.pfnWritePort && table.pfnReadPort &&
              table.pfnEndDocPort && table.pfnClosePort && table.pfnSetPortTimeOuts);
}

// --- opening and closing

TEST_F(TcpPort, OpeningMakesNoConnection) {
  EnterPrinter(host, kPrinter, server.Address());
  Open();
  EXPECT_EQ(server.Finish(), 0u);
}

TEST_F(TcpPort, NullArgumentsAreRefusedInSilence) {
  HANDLE port = nullptr;
  std::wstring name = L"IP_1";
  host.lastError = 5;
  EXPECT_EQ(table.pfnOpenPort(nullptr, nullptr, &port), FALSE);
  EXPECT_EQ(table.pfnOpenPort(nullptr, name.data(), nullptr), FALSE);
  EXPECT_EQ(host.lastError, 5u);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(TcpPort, TwoPortsOfOneNameHaveTwoKeysAndTwoPrinters) {
  const HANDLE first = Open(L"IP_1");
  const HANDLE second = Open(L"IP_1");
  EXPECT_NE(first, second);
  EXPECT_NE(CLanPrinter::GetPrinter(reinterpret_cast<std::uintptr_t>(first)),
            CLanPrinter::GetPrinter(reinterpret_cast<std::uintptr_t>(second)));
}

TEST_F(TcpPort, KeysCountUpAndAreNeverUsedAgain) {
  const HANDLE first = Open();
  Close(first);
  const HANDLE second = Open();
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second), reinterpret_cast<std::uintptr_t>(first) + 1);
}

// A process of its own, in which no other port has been opened before.
TEST_F(TcpPort, TheFirstKeyIsOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto openTheFirst = [this] { std::_Exit(Open() == HandleOf(1) ? 0 : 1); };
  EXPECT_EXIT(openTheFirst(), ::testing::ExitedWithCode(0), "");
}

TEST_F(TcpPort, PortNamedAsThePrinterOfAnotherPortIsThatPort) {
  EnterPrinter(host, kPrinter, server.Address());
  const HANDLE first = Open(L"IP_1");
  Start(first);
  EXPECT_EQ(Open(kPrinter), first);
  EXPECT_NE(Open(L"LABEL PRINTER"), first) << "case counts";
}

TEST_F(TcpPort, PrintersNameIsLookedForAlsoWhenItsDocumentCouldntStart) {
  const HANDLE first = Open(L"IP_1");
  EXPECT_EQ(Start(first), FALSE);
  EXPECT_EQ(Open(kPrinter), first);
}

TEST_F(TcpPort, EmptyPortNameFindsAPrinterThatHasntHadADocument) {
  const HANDLE first = Open(L"IP_1");
  EXPECT_EQ(Open(L""), first);
}

TEST_F(TcpPort, ClosingTakesNoPrinterFromATransferThatIsUnderWay) {
  Signal started;
  Signal closed;
  std::optional<ThreadState> reader;
  server.Next([closed](Peer& peer) {
    closed.Await();
    peer.Give(ByteString(32, 1));
    peer.AwaitEnd();
  });
  const HANDLE port = OpenAndStart(server.Address());
  BOOL result = FALSE;
  std::thread reading([&] {
    reader.emplace();
    started.Set();
    result = Read(port, 32);
  });
  started.Await();
  reader->AwaitWaiting();
  EXPECT_EQ(Close(port), TRUE);
  closed.Set();
  reading.join();
  EXPECT_EQ(result, TRUE);
  EXPECT_EQ(readBytes, ByteString(32, 1));
}

TEST_F(TcpPort, ClosingDropsTheConnectionAndTheKey) {
  const std::size_t before = OpenDescriptors();
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(Close(port), TRUE);
  EXPECT_EQ(server.Finish(), 1u);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(Close(port), FALSE);
}

TEST_F(TcpPort, UnknownKeysAreToldByAllButTheTransfers) {
  const HANDLE nobody = HandleOf(0xFFFFFFFFFFFFULL);
  host.lastError = 5;
  EXPECT_EQ(Start(nobody), FALSE);
  EXPECT_EQ(End(nobody), FALSE);
  EXPECT_EQ(table.pfnClosePort(nobody), FALSE);
  EXPECT_EQ(SetTimeouts(nobody, 1, 1), FALSE);
  EXPECT_THAT(LogLines(host), ElementsAre("Tcp_StartDocPort: No printer found with given port key",
                                          "Tcp_EndDocPort: No printer found with given port key",
                                          "Tcp_ClosePort: No printer found with given port key",
                                          "Tcp_SetPortTimeOuts: No printer found with given port key"));
  EXPECT_EQ(host.lastError, 5u);
}

TEST_F(TcpPort, TransfersOnAnUnknownKeyFailInSilence) {
  const HANDLE nobody = HandleOf(0xFFFFFFFFFFFFULL);
  host.lastError = 5;
  EXPECT_EQ(Read(nobody, 32), FALSE);
  EXPECT_EQ(Write(nobody, Bytes("1B 41")), FALSE);
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(host.lastError, 5u);
  EXPECT_EQ(read, kUntouched);
  EXPECT_EQ(written, kUntouched);
}

// --- documents

TEST_F(TcpPort, EveryDocumentHasAConnectionOfItsOwn) {
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(End(port), TRUE);
  EXPECT_EQ(Start(port), TRUE);
  EXPECT_EQ(End(port), TRUE);
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(TcpPort, EmptyPrinterNameIsLogged) {
  const HANDLE port = Open();
  host.lastError = 5;
  EXPECT_EQ(table.pfnStartDocPort(port, nullptr, 7, 1, nullptr), FALSE);
  EXPECT_EQ(Start(port, L""), FALSE);
  EXPECT_THAT(LogLines(host), ElementsAre("Tcp_StartDocPort: printerName parameter is invalid",
                                          "Tcp_StartDocPort: printerName parameter is invalid"));
  EXPECT_EQ(host.lastError, 5u);
}

TEST_F(TcpPort, PrinterWithoutAHostFailsInSilence) {
  const HANDLE port = Open();
  host.lastError = 5;
  EXPECT_EQ(Start(port), FALSE);
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(host.lastError, 5u);
}

TEST_F(TcpPort, PrinterWithoutAnAddressFailsInSilence) {
  const NameService names;
  EnterPrinter(host, kPrinter, L"nobody.example");
  const HANDLE port = Open();
  host.lastError = 5;
  EXPECT_EQ(Start(port), FALSE);
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(host.lastError, 5u);
}

TEST_F(TcpPort, RefusedConnectionIsToldWithItsCode) {
  const LoopbackListener nobody;
  EnterPrinter(host, kPrinter, nobody.Address());
  const HANDLE port = Open();
  EXPECT_EQ(Start(port), FALSE);
  EXPECT_THAT(LogLines(host),
              ElementsAre("CSocket::Connect: WSAConnect failed: err=10061", "Tcp_StartDocPort: WSAConnect failed"));
  EXPECT_EQ(host.lastError, 10061u);
}

TEST_F(TcpPort, EndingWithoutADocumentSucceeds) {
  EXPECT_EQ(End(Open()), TRUE);
}

// --- time-outs

TEST_F(TcpPort, NullTimeOutsAreRefusedWhateverTheKey) {
  host.lastError = 5;
  EXPECT_EQ(table.pfnSetPortTimeOuts(HandleOf(0xFFFFFFFFFFFFULL), nullptr, 0), FALSE);
  EXPECT_EQ(host.lastError, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(TcpPort, ATimeOutOfZeroFailsAndChangesNeither) {
  const HANDLE port = OpenAndStart(server.Address(), 20, 5000);
  for (const auto& [readMs, writeMs] : {std::pair{0u, 5000u}, std::pair{5000u, 0u}}) {
    host.lastError = 5;
    EXPECT_EQ(SetTimeouts(port, readMs, writeMs), FALSE);
    EXPECT_EQ(host.lastError, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  }
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_LT(TimeOf([&] { Read(port, 32); }), 4s) << "the short time-out stands";
}

TEST_F(TcpPort, OnlyTheConstantsOfTheTimeOutsCount) {
  const HANDLE port = OpenAndStart(server.Address());
  COMMTIMEOUTS timeouts{};
  timeouts.ReadIntervalTimeout = 60000;
  timeouts.ReadTotalTimeoutMultiplier = 60000;
  timeouts.ReadTotalTimeoutConstant = 20;
  timeouts.WriteTotalTimeoutMultiplier = 60000;
  timeouts.WriteTotalTimeoutConstant = 20;
  EXPECT_EQ(table.pfnSetPortTimeOuts(port, &timeouts, 1), TRUE);
  EXPECT_LT(TimeOf([&] { EXPECT_EQ(Read(port, 32), FALSE); }), 5s);
}

// --- recovering transfers

TEST_F(TcpPort, TransfersCountTheirBytes) {
  server.Next([](Peer& peer) {
    peer.Take(3);
    peer.Give(ByteString(32, 1));
    peer.AwaitEnd();
  });
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), TRUE);
  EXPECT_EQ(written, 3u);
  EXPECT_EQ(Read(port, 32), TRUE);
  EXPECT_EQ(read, 32u);
  EXPECT_EQ(readBytes, ByteString(32, 1));
}

TEST_F(TcpPort, CountsMayBeLeftOut) {
  server.Next([](Peer& peer) {
    peer.Give(peer.Take(3));
    peer.AwaitEnd();
  });
  const HANDLE port = OpenAndStart(server.Address());
  ByteString bytes = Bytes("1B 41 00");
  EXPECT_EQ(table.pfnWritePort(port, bytes.data(), 3, nullptr), TRUE);
  EXPECT_EQ(table.pfnReadPort(port, bytes.data(), 3, nullptr), TRUE);
}

TEST_F(TcpPort, AWriteOfOneByteIsASuccessOfNoBytes) {
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(Write(port, Bytes("1B")), TRUE);
  EXPECT_EQ(written, 0u);
}

TEST_F(TcpPort, WriteOnAConnectionThatDiedSinceReconnectsAndSucceeds) {
  ByteString taken;
  Signal dead;
  server
      .Next([&](Peer& peer) {
        peer.Reset();
        dead.Set();
      })
      .Next([&](Peer& peer) { taken = peer.TakeAll(); });
  const HANDLE port = OpenAndStart(server.Address());
  dead.Await();
  server.Await(1);
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), TRUE);
  EXPECT_EQ(written, 3u);
  Close(port);
  EXPECT_EQ(server.Finish(), 2u);
  EXPECT_EQ(taken, Bytes("1B 41 00"));
  EXPECT_THAT(LogLines(host), ElementsAre("WritePort_Recover: WSASend failed!"));
}

TEST_F(TcpPort, ReadOnAConnectionThatDiedSinceReconnectsAndSucceeds) {
  server.Next([](Peer& peer) { peer.Close(); }).Next([](Peer& peer) {
    peer.Give(ByteString(32, 5));
    peer.AwaitEnd();
  });
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(Read(port, 32), TRUE);
  EXPECT_EQ(readBytes, ByteString(32, 5));
  Close(port);
  EXPECT_EQ(server.Finish(), 2u);
  EXPECT_THAT(host.log, IsEmpty()) << "a read that fails isn't told";
}

TEST_F(TcpPort, AReadTimeOutOnAnOldConnectionCostsASecondOneAndLeavesNoConnection) {
  const HANDLE port = OpenAndStart(server.Address(), 30);
  const auto time = TimeOf([&] { EXPECT_EQ(Read(port, 32), FALSE); });
  EXPECT_GE(time, 60ms);
  EXPECT_LT(time, 5s);
  EXPECT_EQ(read, kUntouched);
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(TcpPort, AnAnswerThatComesLateGoesToNobody) {
  Signal timedOut;
  server
      .Next([timedOut](Peer& peer) {
        peer.Take(3);
        peer.AwaitEnd();  // the time-out drops the connection
        peer.Give(ByteString(32, 1));
        timedOut.Set();
      })
      .Next([timedOut](Peer& peer) {
        timedOut.Await();
        peer.AwaitEnd();
      })
      .Next([](Peer& peer) {
        peer.Take(3);
        peer.Give(ByteString(32, 2));
        peer.AwaitEnd();
      });
  const HANDLE port = OpenAndStart(server.Address(), 30);
  Write(port, Bytes("1B 41 00"));
  EXPECT_EQ(Read(port, 32), FALSE);
  SetTimeouts(port, 5000, 5000);
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), TRUE);
  EXPECT_EQ(Read(port, 32), TRUE);
  EXPECT_EQ(readBytes, ByteString(32, 2));
}

TEST_F(TcpPort, BytesThatNobodyAskedForAreTheNextAnswer) {
  Signal given;
  server.Next([given](Peer& peer) {
    peer.Give(ByteString(32, 0xAA));
    given.Set();
    peer.AwaitEnd();
  });
  const HANDLE port = OpenAndStart(server.Address());
  given.Await();
  Write(port, Bytes("1B 41 00"));
  EXPECT_EQ(Read(port, 32), TRUE);
  EXPECT_EQ(readBytes, ByteString(32, 0xAA));
}

TEST_F(TcpPort, AFreshConnectionThatFailsIsNotFollowedByAThird) {
  server.Next([](Peer& peer) { peer.Close(); }).Next([](Peer& peer) { peer.Close(); });
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(Read(port, 32), FALSE);
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(TcpPort, TransferThatHasToConnectHasOneAttempt) {
  server.Next([](Peer& peer) { peer.AwaitEnd(); }).Next([](Peer& peer) { peer.Close(); });
  const HANDLE port = OpenAndStart(server.Address());
  End(port);
  EXPECT_EQ(Read(port, 32), FALSE);
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(TcpPort, PrinterGoneForGoodFailsWithTheSecondAttemptsCode) {
  server.Next([](Peer& peer) { peer.Reset(); });
  const HANDLE port = OpenAndStart(server.Address());
  server.Finish();
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), FALSE);
  EXPECT_EQ(written, kUntouched);
  EXPECT_EQ(host.lastError, 10061u);
  EXPECT_THAT(LogLines(host),
              ElementsAre("WritePort_Recover: WSASend failed!", "CSocket::Connect: WSAConnect failed: err=10061",
                          "WritePort_Recover: WSAConnect failed"));
}

TEST_F(TcpPort, HostThatNoLongerResolvesFailsTheConnection) {
  NameService names;
  names.Set(kHost, {server.Address()});
  server.Next([](Peer& peer) { peer.Reset(); });
  const HANDLE port = OpenAndStart(kHost);
  server.Await(1);
  names.Forget(kHost);
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), FALSE);
  EXPECT_THAT(LogLines(host),
              ElementsAre("WritePort_Recover: WSASend failed!", "WritePort_Recover: OpenConnection failed"));
}

TEST_F(TcpPort, BytesOfTheFirstAttemptAreSentAgainFromTheStart) {
  constexpr std::size_t kLarge = 24u << 20;
  PeerServer slow(16 << 10);
  std::size_t taken = 0;
  slow.Next([](Peer& peer) {
        peer.Take(1000);
        peer.Reset();
      })
      .Next([&](Peer& peer) { taken = peer.TakeAll().size(); });
  const HANDLE port = OpenAndStart(slow.Address(), 5000, 10000);
  EXPECT_EQ(Write(port, ByteString(kLarge, 1)), TRUE);
  EXPECT_EQ(written, kLarge);
  Close(port);
  slow.Finish();
  EXPECT_EQ(taken, kLarge);
  EXPECT_THAT(LogLines(host), ElementsAre("WritePort_Recover: WSAGetOverlappedResult failed"));
}

TEST_F(TcpPort, PrinterThatNeverReadsCostsTwoWriteTimeOuts) {
  Signal over;
  PeerServer slow(16 << 10);
  slow.Next([over](Peer&) { over.Await(); }).Next([over](Peer&) { over.Await(); });
  const HANDLE port = OpenAndStart(slow.Address(), 5000, 40);
  const auto time = TimeOf([&] { EXPECT_EQ(Write(port, ByteString(24u << 20, 1)), FALSE); });
  EXPECT_GE(time, 80ms);
  EXPECT_LT(time, 8s);
  EXPECT_THAT(LogLines(host), ElementsAre("WritePort_Recover: WSAWaitForMultipleEvents timed out!",
                                          "WritePort_Recover: WSAWaitForMultipleEvents timed out!"));
  over.Set();
}

TEST_F(TcpPort, TransferBeforeAnyDocumentHasNoHostToConnectTo) {
  EnterPrinter(host, kPrinter, server.Address());
  const HANDLE port = Open();
  EXPECT_EQ(Write(port, Bytes("1B 41")), FALSE);
  EXPECT_EQ(server.Finish(), 0u);
  EXPECT_THAT(LogLines(host), ElementsAre("WritePort_Recover: OpenConnection failed"));
}

TEST_F(TcpPort, OptionForRecoveryByNameHasNoPart) {
  struct Row {
    std::uint32_t sendIphs;
    std::uint32_t recoverLanComm;
    bool recovers;
  };
  for (const Row& row : {Row{1, 0, true}, Row{1, 1, true}, Row{0, 1, false}, Row{0, 0, false}, Row{2, 0, true}}) {
    SetOption(L"SendIPHs", row.sendIphs);
    SetOption(L"RecoverLanComm", row.recoverLanComm);
    PeerServer printer;
    printer.Next([](Peer& peer) { peer.Reset(); });
    const HANDLE port = OpenAndStart(printer.Address());
    printer.Await(1);
    EXPECT_EQ(Write(port, Bytes("1B 41")), row.recovers ? TRUE : FALSE) << row.sendIphs << row.recoverLanComm;
    Close(port);
    EXPECT_EQ(printer.Finish(), row.recovers ? 2u : 1u) << row.sendIphs << row.recoverLanComm;
  }
}

// --- simple transfers

class SimplePort : public TcpPort {
 protected:
  SimplePort() { SetOption(L"SendIPHs", 0); }
};

TEST_F(SimplePort, TransferBeforeAnyDocumentIsToldByTheWriteAloneAndConnectsNowhere) {
  EnterPrinter(host, kPrinter, server.Address());
  const HANDLE port = Open();
  EXPECT_EQ(Write(port, Bytes("1B 41")), FALSE);
  EXPECT_EQ(Read(port, 32), FALSE);
  EXPECT_THAT(LogLines(host), ElementsAre("WritePort_Simple: Socket is not created"));
  EXPECT_EQ(server.Finish(), 0u);
}

TEST_F(SimplePort, MovesBytes) {
  server.Next([](Peer& peer) {
    peer.Give(peer.Take(3));
    peer.AwaitEnd();
  });
  const HANDLE port = OpenAndStart(server.Address());
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), TRUE);
  EXPECT_EQ(written, 3u);
  EXPECT_EQ(Read(port, 3), TRUE);
  EXPECT_EQ(read, 3u);
}

TEST_F(SimplePort, AFailureTakesTheConnectionAwayUntilTheNextDocument) {
  server.Next([](Peer& peer) { peer.Reset(); });
  const HANDLE port = OpenAndStart(server.Address());
  server.Await(1);
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), FALSE);
  EXPECT_EQ(written, kUntouched);
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), FALSE);
  EXPECT_EQ(Read(port, 32), FALSE);
  EXPECT_THAT(LogLines(host),
              ElementsAre("WritePort_Simple: WSASend failed!", "WritePort_Simple: Socket is not created"));
  EXPECT_EQ(Start(port), TRUE);
  EXPECT_EQ(Write(port, Bytes("1B 41 00")), TRUE);
  Close(port);
  EXPECT_EQ(server.Finish(), 2u);
}

TEST_F(SimplePort, AReadTimeOutCostsOneAndIsntTold) {
  const HANDLE port = OpenAndStart(server.Address(), 30);
  EXPECT_EQ(Read(port, 32), FALSE);
  EXPECT_EQ(Read(port, 32), FALSE);
  EXPECT_THAT(host.log, IsEmpty());
  EXPECT_EQ(server.Finish(), 1u);
}

// --- which ports come here

struct Choice {
  const char* module;
  const wchar_t* port;
  std::uint32_t isUsb;
};
void PrintTo(const Choice& each, std::ostream* out) {
  *out << each.module << " and " << ::testing::PrintToString(std::wstring(each.port));
}

class PathChoice : public ::testing::TestWithParam<Choice> {
 protected:
  TestHost host;
};

TEST_P(PathChoice, FollowsTheModulesNameThenThePorts) {
  const Choice& choice = GetParam();
  MONITOR2 next{};
  next.cbSize = sizeof(next);
  const void* function = FunctionInModuleNamed(choice.module);
  std::memcpy(&next.pfnWritePort, &function, sizeof(function));
  next.pfnOpenPort = LanPortTable().pfnOpenPort;
  next.pfnStartDocPort = LanPortTable().pfnStartDocPort;
  next.pfnReadPort = LanPortTable().pfnReadPort;
  next.pfnEndDocPort = LanPortTable().pfnEndDocPort;
  next.pfnClosePort = LanPortTable().pfnClosePort;
  MONITOR2 chosen{};
  std::uint32_t isUsb = 7;
  ASSERT_TRUE(CLangMon::ValidateMonitor(choice.port, &next, &chosen, &isUsb));
  EXPECT_EQ(isUsb, choice.isUsb);
  EXPECT_EQ(chosen.pfnWritePort == next.pfnWritePort, choice.isUsb == 1);
  EXPECT_EQ(chosen.pfnWritePort == LanPortTable().pfnWritePort, choice.isUsb == 0);
}

INSTANTIATE_TEST_SUITE_P(TcpPort, PathChoice,
                         ::testing::Values(Choice{"tcpmon.so", L"USB001", 0}, Choice{"MyTCPmon.so", L"IP_1", 0},
                                           Choice{"usbmon.so", L"IP_10.0.0.5", 1}, Choice{"USBMON.so", L"x", 1},
                                           Choice{"usbtcp.so", L"USB001", 1}, Choice{"usbtcp.so", L"client:7", 1},
                                           Choice{"usbtcp.so", L"IP_1", 0}, Choice{"localmon.so", L"USB001", 1},
                                           Choice{"localmon.so", L"usb002", 1}, Choice{"localmon.so", L"CLIENT:7", 1},
                                           Choice{"localmon.so", L"MYUSB", 0},
                                           Choice{"localmon.so", L"IP_10.0.0.5", 0}));

}  // namespace
}  // namespace sc3xxmon::test
