// The small spooler, the real monitor and the virtual printer, on a clock that only counts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "apps/kpl/encode.h"
#include "apps/ports/virtual_port.h"
#include "apps/sc3xx/process.h"
#include "apps/spooler/document_runner.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"
#include "simulator/fault_script.h"
#include "simulator/models.h"
#include "spooler/scripted_monitor.h"

namespace sc3xx::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::uint32_t kLines = 250;  // more than one chunk of the tape models

// A label that differs from every other in each line.
Picture LabelArtwork(std::uint32_t number) {
  Picture picture = BlankPicture(100, kLines);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      if ((x * 7 + y * 3 + number * 11) % 5 < 2) {
        picture.SetBlack(x, y);
      }
    }
  }
  return picture;
}

class RealMonitorTest : public ::testing::Test {
 protected:
  void AddFault(std::string_view text) {
    const auto fault = simulator::ParseFault(text);
    ASSERT_TRUE(std::holds_alternative<simulator::Fault>(fault));
    printer.faults.push_back(std::get<simulator::Fault>(fault));
  }

  DocumentResult Print(std::uint32_t labels) {
    for (std::uint32_t i = 1; i <= labels; ++i) {
      artwork.push_back(LabelArtwork(i));
    }
    ByteStream stream(EncodeJob(artwork));
    host = std::make_unique<SpoolerHost>(settings, clock.Clock());
    EXPECT_EQ(Sc3xxSetHost(&host->Table()), 1);
    MONITORINIT init{};
    init.cbSize = sizeof(init);
    init.bLocal = TRUE;
    HANDLE monitor = nullptr;
    MONITOR2* const table = InitializePrintMonitor2(&init, &monitor);
    const DocumentResult result = PrintThrough(*table, stream, labels);
    Sc3xxSetHost(nullptr);
    return result;
  }

  void ExpectEveryLabelOnceAndInOrder() {
    ASSERT_EQ(printed.size(), artwork.size());
    for (std::size_t i = 0; i < printed.size(); ++i) {
      EXPECT_EQ(printed[i].raster, artwork[i].raster) << "label " << i + 1;
    }
  }

  CountingClock clock;
  sc3xxmon::platform::SettingsFile settings;
  simulator::PrinterSettings printer;
  RunnerOptions options;
  std::function<void(JobRecord& job, DWORD labels)> onLabel;
  std::function<void(JobRecord& job)> onMessage;
  std::vector<Picture> artwork;
  std::vector<simulator::PrintedLabel> printed;
  std::vector<std::string> messages;
  std::unique_ptr<SpoolerHost> host;

 private:
  DocumentResult PrintThrough(MONITOR2& table, ByteStream& stream, std::uint32_t labels) {
    VirtualPort virtualPort(printer, *host);
    JobTicket ticket;
    ticket.jobId = 7;
    ticket.printerName = L"Test printer " + std::to_wstring(ProcessNumber() % 1000);
    ticket.driverName = sc3xxmon::platform::FromUtf8(simulator::FindModel(printer.model)->name);
    std::unique_ptr<JobRecord> job;
    JobObserver observer;
    observer.labelsAcknowledged = [&](DWORD count) {
      if (onLabel) {
        onLabel(*job, count);
      }
    };
    observer.messageShown = [&](const std::wstring& text) {
      messages.push_back(sc3xxmon::platform::ToUtf8(text));
      if (onMessage) {
        onMessage(*job);
      }
    };
    observer.messageCleared = [this] { messages.emplace_back("(cleared)"); };
    job = std::make_unique<JobRecord>(ticket, observer);
    host->AddJob(*job);
    DocumentResult result;
    {
      MonitorPort port(table, virtualPort.Below(), ticket.printerName);
      result = DocumentRunner(port, *host, *job, options).Print(stream, {labels, "", true});
    }
    virtualPort.WaitUntilIdle();
    printed = virtualPort.TakePrinted();
    EXPECT_EQ(host->OpenPrinterHandles(), 0u) << "a printer handle was left open";
    return result;
  }
};

class EveryModelTest : public RealMonitorTest, public ::testing::WithParamInterface<int> {};

TEST_P(EveryModelTest, PrintsEveryLabelOnceAndInOrder) {
  printer.model = GetParam();
  const DocumentResult result = Print(3);
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(result.labelsAcknowledged, 3u);
  ExpectEveryLabelOnceAndInOrder();
}

TEST_P(EveryModelTest, PrintsTheSameFromSingleBytes) {
  printer.model = GetParam();
  options.bufferBytes = 1;
  EXPECT_EQ(Print(2).outcome, JobOutcome::kPrinted);
  ExpectEveryLabelOnceAndInOrder();
}

TEST_P(EveryModelTest, StartsAgainWhenThePowerFailsInTheMiddle) {
  printer.model = GetParam();
  AddFault("power-off@label:2,for:10s");
  const DocumentResult result = Print(3);
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_GE(result.restarts, 1u);
  ASSERT_GE(printed.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(printed[printed.size() - 3 + i].raster, artwork[i].raster) << "the last run is whole";
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, EveryModelTest, ::testing::Range(1, 10));

TEST_F(RealMonitorTest, ShowsOutOfLabelsAndGoesOnWhenTheRollIsBack) {
  AddFault("bay=2@label:2,for:5s");
  const DocumentResult result = Print(3);
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_EQ(result.restarts, 0u);
  EXPECT_THAT(messages, ElementsAre("Out of labels", "(cleared)"));
  ExpectEveryLabelOnceAndInOrder();
}

TEST_F(RealMonitorTest, DeletesTheJobWhenAPersonAsksForIt) {
  onLabel = [](JobRecord& job, DWORD) { job.RequestDelete(); };
  const DocumentResult result = Print(5);
  EXPECT_EQ(result.outcome, JobOutcome::kDeleted);
  EXPECT_GE(printed.size(), 1u);
  EXPECT_LT(printed.size(), 5u);
}

TEST_F(RealMonitorTest, DeletesAJobThatWaitsForLabels) {
  AddFault("bay=2@label:1");
  onMessage = [this](JobRecord& job) {
    clock.onSleep = [this, &job] {
      if (clock.now > 60'000) {
        job.RequestDelete();
      }
    };
  };
  const DocumentResult result = Print(1);
  EXPECT_EQ(result.outcome, JobOutcome::kDeleted) << result.reason;
  EXPECT_LT(clock.now, 70'000u);
  EXPECT_THAT(printed, IsEmpty());
}

TEST_F(RealMonitorTest, ReportsACancelAtThePrinter) {
  AddFault("cancel@label:2");
  const DocumentResult result = Print(4);
  EXPECT_EQ(result.outcome, JobOutcome::kDeleted);
  EXPECT_THAT(result.reason, HasSubstr("cancelled at the printer"));
  EXPECT_LT(printed.size(), 4u);
}

TEST_F(RealMonitorTest, WaitsForAnotherHostsLock) {
  AddFault("lock,for:30s");
  EXPECT_EQ(Print(2).outcome, JobOutcome::kPrinted);
  EXPECT_GE(clock.now, 30'000u);
  ExpectEveryLabelOnceAndInOrder();
}

TEST_F(RealMonitorTest, OffersTheRestAgainWhileThePrinterRefuses) {
  AddFault("status=2@label:2,for:10s");
  const DocumentResult result = Print(3);
  EXPECT_EQ(result.outcome, JobOutcome::kPrinted) << result.reason;
  EXPECT_GE(result.refusedWrites, 1u);
  EXPECT_EQ(result.restarts, 0u);
  ExpectEveryLabelOnceAndInOrder();
}

TEST_F(RealMonitorTest, GivesUpOnAPrinterThatRefusesForGood) {
  options.patienceMs = 30'000;
  AddFault("status=2@label:2");
  const DocumentResult result = Print(3);
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("refused data for"));
}

TEST_F(RealMonitorTest, TheMonitorGivesUpOnAPrinterThatNeverAnswers) {
  AddFault("power-off");
  const DocumentResult result = Print(1);
  EXPECT_EQ(result.outcome, JobOutcome::kFailed);
  EXPECT_THAT(result.reason, HasSubstr("given the job up"));
  EXPECT_EQ(result.restarts, 1001u) << "the 1002nd run is the last";
  EXPECT_THAT(printed, IsEmpty());
}

TEST_F(RealMonitorTest, SettingsReachTheMonitor) {
  settings.SetNumber(sc3xxmon::platform::kOptionsKey, L"LabelCompressMode", 0);
  EXPECT_EQ(Print(1).outcome, JobOutcome::kPrinted);
  ASSERT_EQ(printed.size(), 1u);
  EXPECT_FALSE(printed[0].compressed);
  settings.SetNumber(sc3xxmon::platform::kOptionsKey, L"LabelCompressMode", 3);
  artwork.clear();
  EXPECT_EQ(Print(1).outcome, JobOutcome::kPrinted);
  ASSERT_EQ(printed.size(), 1u);
  EXPECT_TRUE(printed[0].compressed);
}

}  // namespace
}  // namespace sc3xx::test
