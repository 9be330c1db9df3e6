// `sc3xx print --port lan:...` as a process, with a printer behind a real socket at an address of its own. Nothing here
// waits for time to pass: each step follows from what the program says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "apps/sc3xx/process.h"
#include "command_line/program.h"
#include "lan/support/printer_server.h"
#include "platform/text.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

using sc3xxmon::test::Cut;
using sc3xxmon::test::CutKind;
using sc3xxmon::test::LoopbackListener;
using sc3xxmon::test::PrinterServer;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string kOneLabel = std::string(SC3XXMON_SOURCE_DIR) + "/samples/address-label.kpl";
const std::string kLabels = std::string(SC3XXMON_SOURCE_DIR) + "/samples/asset-labels.kpl";
constexpr std::size_t kLabelCount = 25;

simulator::PrinterSettings OrdinaryPrinter() {
  simulator::PrinterSettings settings;
  settings.transcript = false;
  return settings;
}

simulator::PrinterSettings OutOfLabelsAt(std::uint64_t label) {
  simulator::PrinterSettings settings = OrdinaryPrinter();
  simulator::Fault fault;
  fault.kind = simulator::FaultKind::kBay;
  fault.value = 2;
  fault.trigger = simulator::FaultTrigger::kLabel;
  fault.at = label;
  settings.faults.push_back(fault);
  return settings;
}

std::string PortOf(const PrinterServer& printer) {
  return "lan:" + sc3xxmon::platform::ToUtf8(printer.Address());
}

std::vector<std::uint16_t> IndexesOf(PrinterServer& printer) {
  return printer.WithPrinter([](simulator::VirtualPrinter& machine) {
    std::vector<std::uint16_t> indexes;
    for (const auto& label : machine.Printed()) {
      indexes.push_back(label.index);
    }
    return indexes;
  });
}

std::vector<std::uint16_t> AllLabels() {
  std::vector<std::uint16_t> labels(kLabelCount);
  std::iota(labels.begin(), labels.end(), std::uint16_t{1});
  return labels;
}

void Mend(PrinterServer& printer) {
  printer.WithPrinter([](simulator::VirtualPrinter& machine) { machine.ClearFaults(0); });
}

TEST(NetworkPrint, PrintsOverARealSocket) {
  PrinterServer printer(OrdinaryPrinter());
  Program program({"print", kLabels, "--port", PortOf(printer)});
  EXPECT_EQ(program.Wait(), 0) << program.text;
  EXPECT_THAT(program.text, AllOf(HasSubstr("Printed 25 labels on " + PortOf(printer)), Not(HasSubstr("no contact"))));
  EXPECT_EQ(IndexesOf(printer), AllLabels());
  EXPECT_EQ(printer.Finish(), 1u);
}

TEST(NetworkPrint, PrintsOnAPrinterOfTheSettingsFile) {
  PrinterServer printer(OrdinaryPrinter());
  const fs::path file = fs::path(::testing::TempDir()) / ("sc3xx_lan_" + std::to_string(ProcessNumber()) + ".toml");
  std::ofstream(file) << "[Printers.\"Front desk " << ProcessNumber()
                      << "\"]\nPort = \"IP_1\"\n[Ports.IP_1]\nHostName = \""
                      << sc3xxmon::platform::ToUtf8(printer.Address()) << "\"\n";
  Program program(
      {"print", kOneLabel, "--config", file.string(), "--port", "lan:Front desk " + std::to_string(ProcessNumber())});
  EXPECT_EQ(program.Wait(), 0) << program.text;
  EXPECT_EQ(IndexesOf(printer).size(), 1u);
  fs::remove(file);
}

// One cut for each place where a person might trip over the cable.
class NetworkCut : public ::testing::TestWithParam<std::size_t> {};

TEST_P(NetworkCut, InTheMiddleOfTheJobLosesNoLabel) {
  PrinterServer printer(OrdinaryPrinter(), Cut{CutKind::kReset, GetParam(), false, 0});
  Program program({"print", kLabels, "--port", PortOf(printer), "--set", "SendIPHs=0"});
  EXPECT_EQ(program.Wait(), 0) << program.text;
  const std::vector<std::uint16_t> printed = IndexesOf(printer);
  ASSERT_GE(printed.size(), kLabelCount);
  EXPECT_EQ(std::vector<std::uint16_t>(printed.end() - kLabelCount, printed.end()), AllLabels())
      << "the last run is whole";
}

INSTANTIATE_TEST_SUITE_P(Bytes, NetworkCut, ::testing::Values(0, 1000, 50000));

TEST(NetworkPrint, PrinterThatGoesAndComesBackIsWaitedForAndGetsEveryLabel) {
  PrinterServer printer(OutOfLabelsAt(3));
  Program program({"print", kLabels, "--port", PortOf(printer)});
  ASSERT_TRUE(program.WaitFor("Out of labels")) << program.text;
  printer.GoAway();
  ASSERT_TRUE(program.WaitFor("no contact: ")) << program.text;
  ASSERT_TRUE(program.WaitFor("connection refused (error 10061)")) << program.text;
  Mend(printer);
  printer.ComeBack();
  EXPECT_EQ(program.Wait(), 0) << program.text;
  const std::vector<std::uint16_t> printed = IndexesOf(printer);
  for (std::uint16_t label = 1; label <= kLabelCount; ++label) {
    EXPECT_NE(std::find(printed.begin(), printed.end(), label), printed.end()) << "label " << label << " is lost";
  }
}

TEST(NetworkPrint, CtrlCDeletesAJobWhosePrinterIsGone) {
  PrinterServer printer(OutOfLabelsAt(1));
  Program program({"print", kLabels, "--port", PortOf(printer)});
  ASSERT_TRUE(program.WaitFor("Out of labels")) << program.text;
  printer.GoAway();
  ASSERT_TRUE(program.WaitFor("no contact: ")) << program.text;
  program.Interrupt();
  EXPECT_EQ(program.Wait(), 3) << program.text;
  EXPECT_THAT(program.text, HasSubstr("Deleted, with 0 of 25 labels"));
}

TEST(NetworkPrint, CtrlCLeavesAPrinterThatIsThereClean) {
  PrinterServer printer(OutOfLabelsAt(2));
  Program program({"print", kLabels, "--port", PortOf(printer)});
  ASSERT_TRUE(program.WaitFor("Out of labels")) << program.text;
  program.Interrupt();
  EXPECT_EQ(program.Wait(), 3) << program.text;
  printer.Finish();
  const sc3xxmon::test::ByteString taken = printer.Taken(1);
  ASSERT_GE(taken.size(), 4u);
  EXPECT_THAT(sc3xxmon::test::ByteString(taken.end() - 4, taken.end()), ElementsAre(0x1B, 0x45, 0x1B, 0x51))
      << "form feed and end of job";
  EXPECT_EQ(printer.WithPrinter([](simulator::VirtualPrinter& machine) { return machine.LockHolder(); }),
            simulator::kNobody);
}

TEST(NetworkPrint, PrinterThatRefusesAtTheStartFailsAtOnceAndSaysSo) {
  const LoopbackListener nobody;
  Program program({"print", kOneLabel, "--port", "lan:" + sc3xxmon::platform::ToUtf8(nobody.Address())});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.text, AllOf(HasSubstr("TCP port 9100: nobody takes connections there"),
                                  HasSubstr("check that the printer is switched on")));
}

TEST(NetworkPrint, ThisComputerItselfIsToldWithAWayOut) {
  for (const char* own : {"lan:127.0.0.1", "lan:::1"}) {
    Program program({"print", kOneLabel, "--port", own});
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(program.text, AllOf(HasSubstr("is this computer itself"), HasSubstr("such as 127.0.0.2")));
  }
}

}  // namespace
}  // namespace sc3xx::test
