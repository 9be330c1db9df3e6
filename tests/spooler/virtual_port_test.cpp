#include "apps/ports/virtual_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/spooler/last_error.h"
#include "spooler/scripted_monitor.h"

namespace sc3xx::test {
namespace {

// A job of one label of 100 lines of 8 dots, ended by a form feed.
Bytes OneLabelJob() {
  Bytes job = {0x1B, 's', 1, 0, 0, 0, 0x1B, 'n', 1, 0, 0x1B, 'D', 1, 0, 100, 0, 0, 0, 8, 0, 0, 0};
  job.insert(job.end(), 100, 0xAA);
  job.insert(job.end(), {0x1B, 'G', 0x1B, 'Q'});
  return job;
}

class VirtualPortTest : public ::testing::Test {
 protected:
  VirtualPortTest() : host({}, clock.Clock()) {}

  bool Write(VirtualPort& port, Bytes bytes) {
    const PortBelow below = port.Below();
    std::wstring name = below.name;
    HANDLE handle = nullptr;
    if (below.table->pfnOpenPort(below.monitorPort, name.data(), &handle) == 0) {
      return false;
    }
    DWORD written = 0;
    const BOOL written1 = below.table->pfnWritePort(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written);
    error = LastErrorCode();
    below.table->pfnClosePort(handle);
    return written1 != 0 && written == bytes.size();
  }

  CountingClock clock;
  SpoolerHost host;
  DWORD error = 0;
};

TEST_F(VirtualPortTest, PrintsWhatIsWritten) {
  VirtualPort port({}, host);
  EXPECT_EQ(port.Below().name, L"USB:virtual");
  ASSERT_TRUE(Write(port, OneLabelJob())) << error;
  port.WaitUntilIdle();
  const auto printed = port.TakePrinted();
  ASSERT_EQ(printed.size(), 1u);
  EXPECT_EQ(printed[0].raster, Bytes(100, 0xAA));
  EXPECT_TRUE(port.TakePrinted().empty()) << "handed over once";
  EXPECT_FALSE(port.TakeTranscript().empty());
}

TEST_F(VirtualPortTest, WaitsOnTheHostsClockUntilAPacedLabelIsOut) {
  simulator::PrinterSettings settings;
  settings.millimetresPerSecond = 1.0;  // 100 lines are 8.47 mm
  VirtualPort port(settings, host);
  const std::uint64_t begin = clock.now;
  ASSERT_TRUE(Write(port, OneLabelJob())) << error;
  port.WaitUntilIdle();
  EXPECT_EQ(port.TakePrinted().size(), 1u);
  EXPECT_NEAR(static_cast<double>(clock.now - begin), 8467, 50);
  for (const std::uint32_t sleep : clock.sleeps) {
    EXPECT_LE(sleep, 250u) << "a progress line has to move meanwhile";
  }
}

TEST_F(VirtualPortTest, DoesNotWaitForAPrinterThatCannotGoOn) {
  simulator::PrinterSettings settings;
  simulator::Fault empty;
  empty.kind = simulator::FaultKind::kBay;
  empty.value = 2;
  settings.faults.push_back(empty);
  VirtualPort port(settings, host);
  Write(port, OneLabelJob());
  port.WaitUntilIdle();
  EXPECT_TRUE(port.TakePrinted().empty());
}

TEST_F(VirtualPortTest, AFailingWriteLeavesItsReason) {
  simulator::PrinterSettings settings;
  simulator::Fault off;
  off.kind = simulator::FaultKind::kPowerOff;
  settings.faults.push_back(off);
  VirtualPort port(settings, host);
  EXPECT_FALSE(Write(port, OneLabelJob()));
  EXPECT_EQ(error, ERROR_GEN_FAILURE);
}

}  // namespace
}  // namespace sc3xx::test
