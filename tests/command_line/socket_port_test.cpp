// The device port with the real monitor above it and a printer on a socket below: real bytes, real time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "apps/kpl/encode.h"
#include "apps/ports/device_port.h"
#include "apps/sc3xx/process.h"
#include "apps/spooler/document_runner.h"
#include "command_line/socket_printer.h"
#include "platform/text.h"
#include "simulator/models.h"

namespace sc3xx::test {
namespace {

using ::testing::HasSubstr;

class SocketJobTest : public ::testing::TestWithParam<int> {
 protected:
  SocketJobTest()
      : path((std::filesystem::path(::testing::TempDir()) / ("sc3xx_" + std::to_string(ProcessNumber()) + ".sock"))
                 .string()) {
    settings.model = GetParam();
    for (std::uint32_t label = 1; label <= 4; ++label) {
      Picture picture = BlankPicture(64, 260);
      for (std::uint32_t y = 0; y < picture.height; ++y) {
        picture.SetBlack((y * label) % picture.width, y);
      }
      artwork.push_back(picture);
    }
  }

  // With pauses that pass at once: only the bytes take real time.
  DocumentResult Print() {
    HostClock clock = SteadyHostClock();
    std::uint64_t skipped = 0;
    HostClock skipping{[&, ticks = clock.ticks] { return ticks() + skipped; },
                       [&](std::uint32_t milliseconds) { skipped += milliseconds; }};
    SpoolerHost host({}, skipping);
    Sc3xxSetHost(&host.Table());
    MONITORINIT init{};
    init.bLocal = TRUE;
    HANDLE monitor = nullptr;
    MONITOR2* const table = InitializePrintMonitor2(&init, &monitor);
    JobTicket ticket;
    ticket.printerName = L"Socket printer " + std::to_wstring(ProcessNumber() % 1000);
    ticket.driverName = sc3xxmon::platform::FromUtf8(simulator::FindModel(GetParam())->name);
    JobRecord job(ticket);
    host.AddJob(job);
    DevicePort device(path);
    DocumentResult result;
    {
      MonitorPort port(*table, device.Below(), ticket.printerName);
      ByteStream stream(EncodeJob(artwork));
      result = DocumentRunner(port, host, job).Print(stream, {artwork.size(), "", true});
    }
    Sc3xxSetHost(nullptr);
    return result;
  }

  void ExpectLastLabelsToBeTheArtwork(const std::vector<simulator::PrintedLabel>& printed) const {
    ASSERT_GE(printed.size(), artwork.size());
    for (std::size_t i = 0; i < artwork.size(); ++i) {
      EXPECT_EQ(printed[printed.size() - artwork.size() + i].raster, artwork[i].raster) << "label " << i + 1;
    }
  }

  std::string path;
  simulator::PrinterSettings settings;
  std::vector<Picture> artwork;
};

TEST_P(SocketJobTest, PrintsOnAPrinterThatAProgramPlays) {
  SocketPrinter printer(path, settings);
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(result.restarts, 0u);
  EXPECT_EQ(printer.Connections(), 1u);
  const auto printed = printer.Printed();
  EXPECT_EQ(printed.size(), artwork.size());
  ExpectLastLabelsToBeTheArtwork(printed);
}

TEST_P(SocketJobTest, StartsTheJobAgainWhenTheCableIsPulledAndPluggedIn) {
  SocketPrinter printer(path, settings);
  printer.UnplugAfter(300);
  const DocumentResult result = Print();
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(result.restarts, 1u);
  EXPECT_EQ(printer.Connections(), 2u);
  ExpectLastLabelsToBeTheArtwork(printer.Printed());
}

INSTANTIATE_TEST_SUITE_P(Rows, SocketJobTest, ::testing::Values(1, 4, 5, 9));

TEST(SocketJobAloneTest, ANoOneBehindTheSocketIsAFailureAndNoHang) {
  const std::string path = (std::filesystem::path(::testing::TempDir()) / "sc3xx_nobody.sock").string();
  DevicePort device(path);
  SpoolerHost host({});
  Sc3xxSetHost(&host.Table());
  MONITORINIT init{};
  init.bLocal = TRUE;
  HANDLE monitor = nullptr;
  MONITOR2* const table = InitializePrintMonitor2(&init, &monitor);
  EXPECT_THROW(MonitorPort(*table, device.Below(), L"Nobody"), PortError);
  EXPECT_THAT(device.LastTrouble(), HasSubstr("sc3xx_nobody.sock: No such file"));
  Sc3xxSetHost(nullptr);
}

}  // namespace
}  // namespace sc3xx::test
