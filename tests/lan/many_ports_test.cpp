// Sixty-four ports in one process, each with a printer of its own, all printing at once, with ports opened and closed
// among them. Made for the thread sanitizer.
#include <atomic>
#include <deque>
#include <thread>

#include "lan/support/lan_door.h"
#include "lan/support/open_descriptors.h"
#include "platform/posix/host_table.h"

namespace sc3xxmon::test {
namespace {

constexpr int kPorts = 64;
constexpr int kDocuments = 3;
constexpr std::uint16_t kLabels = 4;

// The host that the present thread's calls go to.
thread_local RecordingHost* threadHost = nullptr;
Sc3xxHost recording{};

// One table for all threads, each with its own recording host behind it.
Sc3xxHost HostOfThreads() {
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.OpenPrinterW = [](void*, LPWSTR name, HANDLE* printer, void* defaults) {
    return recording.OpenPrinterW(threadHost, name, printer, defaults);
  };
  host.GetJobW = [](void*, HANDLE printer, DWORD id, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
    return recording.GetJobW(threadHost, printer, id, level, job, size, needed);
  };
  host.SetJobW = [](void*, HANDLE printer, DWORD id, DWORD level, LPBYTE job, DWORD command) {
    return recording.SetJobW(threadHost, printer, id, level, job, command);
  };
  host.ClosePrinter = [](void*, HANDLE printer) { return recording.ClosePrinter(threadHost, printer); };
  host.QueryValue = [](void*, LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) {
    return recording.QueryValue(threadHost, key, name, data, size);
  };
  host.TickCount = [](void*) { return recording.TickCount(threadHost); };
  host.Sleep = [](void*, std::uint32_t milliseconds) {
    recording.Sleep(threadHost, milliseconds);
    std::this_thread::yield();
  };
  host.GetLastError = [](void*) { return recording.GetLastError(threadHost); };
  host.SetLastError = [](void*, DWORD code) { recording.SetLastError(threadHost, code); };
  host.DebugOutput = [](void*, const char* text) { recording.DebugOutput(threadHost, text); };
  return host;
}

// A spooler's thread with its port and printer.
struct Desk {
  explicit Desk(int number) : printer(PrinterOfRow(number % 9 + 1)), portName(L"IP_" + std::to_wstring(number)) {
    host.jobs[LanDoor::kJobId].driverName = DriverOfRow(number % 9 + 1);
    EnterPrinter(host, printerName, printer.Address());
  }

  void Print(MONITOR2* monitor);
  BOOL OnePrint(MONITOR2* monitor, HANDLE port);

  RecordingHost host;
  UniqueWord word;
  const std::wstring printerName = word.Text() + L"labels";
  PrinterServer printer;
  std::wstring portName;
  MONITOR2 next = ScriptedPort().Table();
};

// In pieces, so that threads take turns in the middle of labels as well.
BOOL Desk::OnePrint(MONITOR2* monitor, HANDLE port) {
  std::wstring name = printerName;
  DOC_INFO_1W info{};
  if (monitor->pfnStartDocPort(port, name.data(), LanDoor::kJobId, 1, reinterpret_cast<LPBYTE>(&info)) == FALSE) {
    return FALSE;
  }
  ByteString stream = DocumentOf(kLabels);
  constexpr std::size_t kPiece = 11;
  BOOL result = TRUE;
  for (std::size_t at = 0; at < stream.size() && result != FALSE; at += kPiece) {
    DWORD written = 0;
    const std::size_t size = std::min(kPiece, stream.size() - at);
    result = monitor->pfnWritePort(port, stream.data() + at, static_cast<DWORD>(size), &written);
  }
  monitor->pfnEndDocPort(port);
  return result;
}

// Each document on a port that was opened for it.
void Desk::Print(MONITOR2* monitor) {
  threadHost = &host;
  for (int document = 0; document < kDocuments; ++document) {
    std::wstring name = printerName;
    HANDLE port = nullptr;
    EXPECT_EQ(monitor->pfnOpenPortEx(nullptr, nullptr, portName.data(), name.data(), &port, &next), TRUE);
    EXPECT_EQ(OnePrint(monitor, port), TRUE);
    EXPECT_EQ(monitor->pfnClosePort(port), TRUE);
  }
}

// Opens and closes ports that nobody prints on until told to stop.
void OpenAndClose(MONITOR2* monitor, RecordingHost& host, int number, const std::atomic<bool>& stop) {
  threadHost = &host;
  MONITOR2 next = ScriptedPort().Table();
  std::wstring name = L"IP_idle" + std::to_wstring(number);
  do {
    HANDLE port = nullptr;
    EXPECT_EQ(monitor->pfnOpenPortEx(nullptr, nullptr, name.data(), name.data(), &port, &next), TRUE);
    EXPECT_EQ(monitor->pfnClosePort(port), TRUE);
  } while (!stop);
}

void ExpectPrinted(PrinterServer& printer) {
  EXPECT_EQ(printer.Finish(), static_cast<std::size_t>(kDocuments)) << "a connection for each document";
  printer.WithPrinter([](simulator::VirtualPrinter& machine) {
    const auto& printed = machine.Printed();
    ASSERT_EQ(printed.size(), std::size_t{kDocuments} * kLabels);
    for (std::size_t i = 0; i < printed.size(); ++i) {
      const auto index = static_cast<std::uint16_t>(i % kLabels + 1);
      const ByteString label = Label(index);
      EXPECT_EQ(printed[i].index, index);
      EXPECT_EQ(printed[i].raster, ByteString(label.begin() + 16, label.end() - 2));
    }
    EXPECT_EQ(machine.LockHolder(), simulator::kNobody);
    EXPECT_EQ(machine.Counts().malformed, 0u);
  });
}

TEST(ManyPorts, SixtyFourPrintAtOnceAndNothingIsLostOrLeft) {
  TestHost host;
  const std::size_t before = OpenDescriptors();
  {
    std::deque<RecordingHost> idleHosts(2);
    std::deque<Desk> desks;
    for (int number = 0; number < kPorts; ++number) {
      desks.emplace_back(number);
    }
    recording = platform::Host();
    threadHost = &host;
    const Sc3xxHost shared = HostOfThreads();
    Sc3xxSetHost(&shared);
    MONITORINIT init{};
    init.cbSize = sizeof(init);
    init.bLocal = TRUE;
    HANDLE handle = nullptr;
    MONITOR2* monitor = InitializePrintMonitor2(&init, &handle);

    std::atomic<bool> stop{false};
    std::vector<std::thread> idle;
    for (int number = 0; number < 2; ++number) {
      RecordingHost& own = idleHosts[static_cast<std::size_t>(number)];
      idle.emplace_back([&, number] { OpenAndClose(monitor, own, number, stop); });
    }
    std::vector<std::thread> printing;
    for (Desk& desk : desks) {
      printing.emplace_back([&] { desk.Print(monitor); });
    }
    for (std::thread& thread : printing) {
      thread.join();
    }
    stop = true;
    for (std::thread& thread : idle) {
      thread.join();
    }
    for (Desk& desk : desks) {
      ExpectPrinted(desk.printer);
      EXPECT_EQ(desk.host.jobs[LanDoor::kJobId].pagesPrinted, kLabels);
      EXPECT_TRUE(desk.host.sleeps.empty());
    }
  }
  threadHost = nullptr;
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace sc3xxmon::test
