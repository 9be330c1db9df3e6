// `sc3xx status` as a process, asking printers behind real sockets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>

#include "apps/sc3xx/process.h"
#include "command_line/program.h"
#include "command_line/socket_printer.h"
#include "lan/support/peer_server.h"
#include "lan/support/printer_server.h"
#include "platform/text.h"
#include "simulator/fault_script.h"

namespace sc3xx::test {
namespace {

using sc3xxmon::test::ByteString;
using sc3xxmon::test::LoopbackListener;
using sc3xxmon::test::Peer;
using sc3xxmon::test::PeerServer;
using sc3xxmon::test::PrinterServer;
using ::testing::AllOf;
using ::testing::HasSubstr;

const std::string kLabels = std::string(SC3XXMON_SOURCE_DIR) + "/samples/asset-labels.kpl";

std::string PortAt(const std::wstring& address) {
  return "lan:" + sc3xxmon::platform::ToUtf8(address);
}

simulator::PrinterSettings PrinterOf(int row, const char* fault = nullptr) {
  simulator::PrinterSettings settings;
  settings.model = row;
  settings.transcript = false;
  if (fault != nullptr) {
    settings.faults.push_back(std::get<simulator::Fault>(simulator::ParseFault(fault)));
  }
  return settings;
}

class NetworkStatus : public ::testing::TestWithParam<int> {};

TEST_P(NetworkStatus, TellsTheModelAndItsStateWithTwoRequestsThatChangeNothing) {
  PrinterServer printer(PrinterOf(GetParam()));
  Program program({"status", "--port", PortAt(printer.Address()), "--json"});
  EXPECT_EQ(program.Wait(), 0) << program.text;
  const auto report = nlohmann::json::parse(program.text);
  EXPECT_EQ(report["state"], "ready");
  EXPECT_EQ(report["model"]["row"], GetParam());
  EXPECT_EQ(printer.Finish(), 1u);
  EXPECT_EQ(printer.Taken(1), sc3xxmon::test::Bytes("1B 41 00 1B 56"));
}

INSTANTIATE_TEST_SUITE_P(Rows, NetworkStatus, ::testing::Values(1, 4, 5, 6, 9));

TEST(NetworkStatusBeside, AJobThatIsPrintingIsNotDisturbed) {
  PrinterServer printer(PrinterOf(5, "bay=2@label:3"));
  Program job({"print", kLabels, "--port", PortAt(printer.Address())});
  ASSERT_TRUE(job.WaitFor("Out of labels")) << job.text;
  for (int i = 0; i < 3; ++i) {
    Program status({"status", "--port", PortAt(printer.Address())});
    EXPECT_EQ(status.Wait(), 1) << status.text;
    EXPECT_THAT(status.text, HasSubstr("ERROR: out of labels"));
  }
  printer.WithPrinter([](simulator::VirtualPrinter& machine) { machine.ClearFaults(0); });
  EXPECT_EQ(job.Wait(), 0) << job.text;
  std::vector<std::uint16_t> printed;
  printer.WithPrinter([&](simulator::VirtualPrinter& machine) {
    for (const auto& label : machine.Printed()) {
      printed.push_back(label.index);
    }
  });
  std::vector<std::uint16_t> all(25);
  std::iota(all.begin(), all.end(), std::uint16_t{1});
  EXPECT_EQ(printed, all) << "each once and in order";
}

TEST(NetworkStatusBeside, APrinterThatSomebodyElseHasIsInUse) {
  PrinterServer printer(PrinterOf(5, "lock"));
  Program program({"status", "--port", PortAt(printer.Address())});
  EXPECT_EQ(program.Wait(), 0) << program.text;
  EXPECT_THAT(program.text, HasSubstr("good, and in use"));
}

TEST(NetworkStatusFailure, NobodyThereIsToldAndGivesOne) {
  const LoopbackListener nobody;
  Program program({"status", "--port", PortAt(nobody.Address())});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.text, HasSubstr("nobody takes connections there"));
}

TEST(NetworkStatusFailure, APrinterThatNeverAnswersCostsOneTimeOut) {
  PeerServer printer;
  Program program({"status", "--port", PortAt(printer.Address()), "--timeout", "1"});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.text, HasSubstr("the printer doesn't answer"));
}

TEST(NetworkStatusFailure, AServerThatIsNoPrinterIsTold) {
  PeerServer server;
  server.Next([](Peer& peer) {
    peer.Give(ByteString(20, 'x'));
    peer.AwaitEnd();
  });
  Program program({"status", "--port", PortAt(server.Address())});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.text, AllOf(HasSubstr("20 bytes instead of 32 or 70"), HasSubstr("no label printer")));
}

TEST(NetworkStatusFailure, AServerThatTalksWithoutEndIsTold) {
  PeerServer server;
  server.Next([](Peer& peer) {
    peer.Give(ByteString(100'000, 'x'));
    peer.AwaitEnd();
  });
  Program program({"status", "--port", PortAt(server.Address()), "--timeout", "2"});
  EXPECT_LE(program.Wait(), 1) << "70 bytes of anything have the shape of an answer";
}

TEST(NetworkStatusFailure, AConnectionThatIsClosedInsteadOfAnsweredIsTold) {
  PeerServer server;
  server.Next([](Peer& peer) {
    peer.Take(3);
    peer.Close();
  });
  Program program({"status", "--port", PortAt(server.Address())});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.text, HasSubstr("closed the connection instead of answering"));
}

TEST(NetworkStatusFailure, AConnectionThatIsResetIsTold) {
  PeerServer server;
  server.Next([](Peer& peer) {
    peer.Take(3);
    peer.Reset();
  });
  Program program({"status", "--port", PortAt(server.Address())});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.text, HasSubstr("Connection reset by peer"));
}

TEST(SocketStatus, AsksAPrinterThatAProgramPlaysOnASocket) {
  const std::string path =
      (std::filesystem::path(::testing::TempDir()) / ("sc3xx_status_" + std::to_string(ProcessNumber()) + ".sock"))
          .string();
  for (const int row : {4, 5, 9}) {
    SocketPrinter printer(path, PrinterOf(row));
    Program program({"status", "--port", "usb:" + path, "--json"});
    EXPECT_EQ(program.Wait(), 0) << program.text;
    EXPECT_EQ(nlohmann::json::parse(program.text)["model"]["row"], row);
  }
}

}  // namespace
}  // namespace sc3xx::test
