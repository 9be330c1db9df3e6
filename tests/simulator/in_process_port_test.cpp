// The printer behind a port table, on a clock that jumps.
#include "simulator/in_process_port.h"

#include <atomic>
#include <thread>

#include "printer_desk.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class InProcessPortTest : public ::testing::Test {
 protected:
  void Make(PrinterSettings settings = {}) {
    printer.emplace(std::move(settings));
    ports.Add(L"virtual", *printer);
    handle = Open();
  }

  HANDLE Open() {
    std::wstring name = L"virtual";
    HANDLE opened = nullptr;
    EXPECT_TRUE(InProcessPorts::Table().pfnOpenPort(ports.Handle(), name.data(), &opened));
    return opened;
  }

  bool Write(Bytes bytes) {
    written = 0xDEAD;
    return InProcessPorts::Table().pfnWritePort(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written) !=
           FALSE;
  }

  bool Read(std::size_t size) {
    received.assign(size, 0);
    DWORD count = 0xDEAD;
    const bool succeeded =
        InProcessPorts::Table().pfnReadPort(handle, received.data(), static_cast<DWORD>(size), &count) != FALSE;
    received.resize(count);
    return succeeded;
  }

  void TimeOuts(DWORD read, DWORD write) {
    COMMTIMEOUTS timeOuts{0, 0, read, 0, write};
    EXPECT_TRUE(InProcessPorts::Table().pfnSetPortTimeOuts(handle, &timeOuts, 0));
  }

  std::uint64_t now = 0;
  std::uint32_t lastError = 0;
  std::optional<VirtualPrinter> printer;
  InProcessPorts ports{{[this] { return now; }, [this](std::uint64_t until) { now = std::max(now, until); }},
                       [this](std::uint32_t code) { lastError = code; }};
  HANDLE handle = nullptr;
  DWORD written = 0;
  Bytes received;
};

TEST_F(InProcessPortTest, FillsTheSlotsThatAPrinterNeeds) {
  const MONITOR2& table = InProcessPorts::Table();
  EXPECT_EQ(table.cbSize, sizeof(MONITOR2));
  EXPECT_NE(table.pfnOpenPort, nullptr);
  EXPECT_NE(table.pfnStartDocPort, nullptr);
  EXPECT_NE(table.pfnWritePort, nullptr);
  EXPECT_NE(table.pfnReadPort, nullptr);
  EXPECT_NE(table.pfnEndDocPort, nullptr);
  EXPECT_NE(table.pfnClosePort, nullptr);
  EXPECT_NE(table.pfnSetPortTimeOuts, nullptr);
  EXPECT_EQ(table.pfnOpenPortEx, nullptr);
}

TEST_F(InProcessPortTest, PrintsAJob) {
  Make();
  EXPECT_TRUE(InProcessPorts::Table().pfnStartDocPort(handle, nullptr, 1, 1, nullptr));
  EXPECT_TRUE(Write(JobStart() + Label(1) + Ask(2)));
  EXPECT_TRUE(Read(32));
  EXPECT_THAT(received, SizeIs(32));
  EXPECT_TRUE(Write(EndOfJob()));
  EXPECT_TRUE(InProcessPorts::Table().pfnEndDocPort(handle));
  EXPECT_THAT(printer->Printed(), SizeIs(1));
  EXPECT_EQ(now, 0u);
}

TEST_F(InProcessPortTest, KnowsNoPortOfAnotherName) {
  std::wstring name = L"usb";
  HANDLE opened = nullptr;
  EXPECT_FALSE(InProcessPorts::Table().pfnOpenPort(ports.Handle(), name.data(), &opened));
  EXPECT_EQ(lastError, ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(InProcessPorts::Table().pfnOpenPort(ports.Handle(), nullptr, &opened));
  EXPECT_EQ(lastError, ERROR_INVALID_PARAMETER);
}

TEST_F(InProcessPortTest, AReadWaitsForTheLabelByJumpingThere) {
  PrinterSettings settings;
  settings.millimetresPerSecond = 25.4;
  Make(settings);
  EXPECT_TRUE(Write(JobStart() + Label(1, 300) + Ask(2)));
  EXPECT_EQ(now, 0u);
  EXPECT_TRUE(Read(32));
  EXPECT_EQ(now, 1000u);
}

TEST_F(InProcessPortTest, AReadTimesOutAtItsTime) {
  Make();
  TimeOuts(1500, 1000);
  EXPECT_FALSE(Read(32));
  EXPECT_THAT(received, IsEmpty());
  EXPECT_EQ(now, 1500u);
  EXPECT_EQ(lastError, ERROR_TIMEOUT);
}

TEST_F(InProcessPortTest, AReadThatGetsPartSucceedsWithIt) {
  PrinterSettings settings;
  settings.faults = {FaultOf("short=20@exchange:1")};
  Make(settings);
  TimeOuts(1500, 1000);
  Write(Ask(0));
  EXPECT_TRUE(Read(32));
  EXPECT_THAT(received, SizeIs(20));
  EXPECT_EQ(now, 1500u);
}

TEST_F(InProcessPortTest, AddsTheMultiplierForEachByte) {
  Make();
  COMMTIMEOUTS timeOuts{0, 1, 1000, 1, 1000};
  InProcessPorts::Table().pfnSetPortTimeOuts(handle, &timeOuts, 0);
  EXPECT_FALSE(Read(32));
  EXPECT_EQ(now, 1032u);
  EXPECT_EQ(ports.TimeOuts(L"virtual").ReadTotalTimeoutConstant, 1000u);
}

TEST_F(InProcessPortTest, AWriteWaitsForRoomByJumpingThere) {
  PrinterSettings settings;
  settings.millimetresPerSecond = 25.4;
  settings.receiveBufferBytes = 100;
  Make(settings);
  EXPECT_TRUE(Write(JobStart() + Label(1, 300) + Label(2, 300) + Label(3, 300)));
  EXPECT_EQ(now, 2000u);
}

TEST_F(InProcessPortTest, AWriteTimesOutWithTheCountThatWasTaken) {
  PrinterSettings settings;
  settings.receiveBufferBytes = 100;
  settings.faults = {FaultOf("bay=2")};
  Make(settings);
  TimeOuts(1000, 3000);
  EXPECT_TRUE(Write(JobStart() + Label(1, 2)));
  EXPECT_FALSE(Write(Label(2, 300)));
  EXPECT_EQ(lastError, ERROR_TIMEOUT);
  EXPECT_EQ(now, 3000u);
  EXPECT_GT(written, 0u);
  EXPECT_LT(written, Label(2, 300).size());
}

TEST_F(InProcessPortTest, GivesUpWhenNothingCanEverHappen) {
  Make();
  TimeOuts(0, 0);
  EXPECT_FALSE(Read(32));
  EXPECT_EQ(lastError, ERROR_TIMEOUT);
}

TEST_F(InProcessPortTest, PlaysTheTransferFaultsOfThePrinter) {
  PrinterSettings settings;
  settings.faults = {FaultOf("write-fails@call:1"), FaultOf("write-part=4@call:2"), FaultOf("read-fails@call:4")};
  Make(settings);
  EXPECT_FALSE(Write(JobStart()));
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(lastError, ERROR_GEN_FAILURE);
  EXPECT_TRUE(Write(Ask(0) + Ask(1)));
  EXPECT_EQ(written, 4u);
  EXPECT_TRUE(Read(32));
  EXPECT_FALSE(Read(32));
  EXPECT_EQ(lastError, ERROR_GEN_FAILURE);
}

TEST_F(InProcessPortTest, FailsACallByItsNumber) {
  Make();
  ports.Fail({1, false, std::nullopt});
  ports.Fail({3, true, 5});
  ports.Fail({4, false, 2});
  EXPECT_FALSE(Write(Ask(0)));
  EXPECT_EQ(written, 0u);
  EXPECT_TRUE(Write(Ask(0)));
  EXPECT_TRUE(Read(32));
  EXPECT_THAT(received, SizeIs(5));
  EXPECT_FALSE(Write(Ask(0)));
  EXPECT_EQ(written, 2u);
  EXPECT_EQ(ports.TransferCalls(), 4u);
}

TEST_F(InProcessPortTest, FailsWhileThePowerIsOff) {
  PrinterSettings settings;
  settings.faults = {FaultOf("power-off@1s,for:2s")};
  Make(settings);
  TimeOuts(5000, 5000);
  EXPECT_FALSE(Read(32)) << "the power goes while it waits";
  EXPECT_EQ(lastError, ERROR_GEN_FAILURE);
  EXPECT_EQ(now, 1000u);
  EXPECT_FALSE(Write(Ask(0)));
  now = 3000;
  EXPECT_TRUE(Write(Ask(0)));
  EXPECT_TRUE(Read(32));
}

TEST_F(InProcessPortTest, RecordsItsCalls) {
  Make();
  ports.RecordCalls(true);
  Write(Ask(0));
  Read(32);
  InProcessPorts::Table().pfnClosePort(handle);
  const std::vector<PortCall> calls = ports.Calls();
  ASSERT_THAT(calls, SizeIs(3));
  EXPECT_EQ(calls[0].kind, PortCallKind::kWrite);
  EXPECT_EQ(calls[0].number, 1u);
  EXPECT_EQ(calls[0].asked, 3u);
  EXPECT_EQ(calls[0].moved, 3u);
  EXPECT_EQ(calls[1].kind, PortCallKind::kRead);
  EXPECT_EQ(calls[1].moved, 32u);
  EXPECT_EQ(calls[2].kind, PortCallKind::kClose);
}

TEST_F(InProcessPortTest, GivesEachOpenPortAClientOfItsOwn) {
  Make();
  EXPECT_TRUE(Write(Ask(1)));
  EXPECT_TRUE(Read(32));
  const HANDLE first = handle;
  handle = Open();
  EXPECT_EQ(ports.OpenPorts(), 2u);
  EXPECT_TRUE(Write(Ask(1)));
  EXPECT_TRUE(Read(32));
  EXPECT_EQ(received[0], 4);
  EXPECT_TRUE(InProcessPorts::Table().pfnClosePort(first));
  EXPECT_TRUE(Write(Ask(1)));
  EXPECT_TRUE(Read(32));
  EXPECT_EQ(received[0], 0);
  EXPECT_EQ(ports.OpenPorts(), 1u);
}

TEST_F(InProcessPortTest, RefusesNullPointers) {
  Make();
  DWORD count = 0;
  std::uint8_t byte = 0;
  const MONITOR2& table = InProcessPorts::Table();
  EXPECT_FALSE(table.pfnWritePort(handle, nullptr, 1, &count));
  EXPECT_EQ(lastError, ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(table.pfnReadPort(handle, &byte, 1, nullptr));
  EXPECT_FALSE(table.pfnSetPortTimeOuts(handle, nullptr, 0));
  EXPECT_FALSE(table.pfnWritePort(nullptr, &byte, 1, &count));
  EXPECT_FALSE(table.pfnOpenPort(nullptr, nullptr, nullptr));
}

TEST_F(InProcessPortTest, ServesManyThreadsAtOnce) {
  constexpr int kThreads = 4;
  std::atomic<std::uint64_t> time{0};
  InProcessPorts shared{{[&] { return time.load(); }, [&](std::uint64_t) { ++time; }, 1}, {}};
  VirtualPrinter one{PrinterSettings{}};
  shared.Add(L"virtual", one);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&shared] {
      const MONITOR2& table = InProcessPorts::Table();
      std::wstring name = L"virtual";
      HANDLE port = nullptr;
      ASSERT_TRUE(table.pfnOpenPort(shared.Handle(), name.data(), &port));
      for (int count = 0; count < 200; ++count) {
        Bytes request = Ask(0);
        Bytes answer(32);
        DWORD moved = 0;
        ASSERT_TRUE(table.pfnWritePort(port, request.data(), 3, &moved));
        ASSERT_TRUE(table.pfnReadPort(port, answer.data(), 32, &moved));
        ASSERT_EQ(moved, 32u);
      }
      ASSERT_TRUE(table.pfnClosePort(port));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(one.Counts().exchanges, 200u * kThreads);
  EXPECT_EQ(shared.OpenPorts(), 0u);
}

TEST_F(InProcessPortTest, LetsAnotherThreadLookAtThePrinter) {
  Make();
  Write(JobStart() + Label(1));
  std::size_t printed = 0;
  ports.WithPrinter(L"virtual", [&](VirtualPrinter& it) { printed = it.Printed().size(); });
  EXPECT_EQ(printed, 1u);
  ports.WithPrinter(L"nowhere", [](VirtualPrinter&) { FAIL(); });
}

}  // namespace
}  // namespace simulator::test
