// The same jobs over USB and over the network, on the same virtual printer: the same bytes both ways, the same job in
// the spooler, but for three differences, each with a test of its own.
#include <functional>
#include <map>

#include "lan/support/lan_door.h"
#include "lan/support/lockstep_port.h"
#include "simulator/in_process_port.h"

namespace sc3xxmon::test {
namespace {

using simulator::Fault;
using simulator::FaultKind;
using simulator::FaultTrigger;
using simulator::VirtualPrinter;
using ::testing::ElementsAre;

// What the printer's people and the spooler's do while a job runs.
struct World {
  RecordingHost& host;
  std::function<void(const std::function<void(VirtualPrinter&)>&)> withPrinter;
};

struct Scenario {
  const char* name;
  ByteString stream;
  std::size_t piece = SIZE_MAX;  // bytes a write
  std::vector<Fault> faults{};
  std::map<std::wstring, std::uint32_t> options{};
  std::function<void(World)> prepare{};
};

// Whatever stands is put right while the monitor sleeps for the n-th time.
std::function<void(World)> MendedAtSleep(std::size_t n) {
  return [n](World world) {
    world.host.onSleep = [world, n](std::uint32_t) {
      if (world.host.sleeps.size() == n) {
        world.withPrinter([](VirtualPrinter& printer) { printer.ClearFaults(0); });
      }
    };
  };
}

std::function<void(World)> DeletedAtQuery(std::size_t n) {
  return [n](World world) {
    world.host.onStatusQuery = [world, n](std::size_t query) {
      if (query == n) {
        world.host.jobs[LanDoor::kJobId].status |= JOB_STATUS_DELETING;
      }
    };
  };
}

Fault FaultOf(FaultKind kind, std::uint32_t value = 0, FaultTrigger trigger = FaultTrigger::kTime,
              std::uint64_t at = 0) {
  Fault fault;
  fault.kind = kind;
  fault.value = value;
  fault.trigger = trigger;
  fault.at = at;
  return fault;
}

std::vector<Scenario> Scenarios() {
  const ByteString between = Joined({JobStart(), Label(1), Bytes("1B 4C 20 00 1B 68"), Label(2), EndOfJob()});
  const auto atLabel = [](FaultKind kind, std::uint32_t value, std::uint64_t label) {
    return std::vector<Fault>{FaultOf(kind, value, FaultTrigger::kLabel, label)};
  };
  return {
      {"NoLabel", Joined({JobStart(), LabelIndex(1), EndOfJob()})},
      {"OneLabel", DocumentOf(1)},
      {"TwoLabels", DocumentOf(2)},
      {"FiveLabels", DocumentOf(5)},
      {"ByteByByte", DocumentOf(3), 1},
      {"InPieces", DocumentOf(3), 17},
      {"LargeLabels", Joined({JobStart(), Label(1, 600, 800), Label(2, 600, 800), EndOfJob()}), 4096},
      {"CommandsBetweenLabels", between},
      {"WithoutInterPageHeaders", between, SIZE_MAX, {}, {{L"SendIPHs", 0}}},
      {"Chunks", DocumentOf(3), SIZE_MAX, {}, {{L"PdChunkSize", 1}}},
      {"WholeLabelsOnTape", DocumentOf(3), SIZE_MAX, {}, {{L"PdChunkSize", 0}}},
      {"OutOfLabels", DocumentOf(3), SIZE_MAX, atLabel(FaultKind::kBay, 2, 2), {}, MendedAtSleep(4)},
      {"OutOfLabelsUnlocking",
       DocumentOf(3),
       SIZE_MAX,
       atLabel(FaultKind::kBay, 2, 2),
       {{L"UnlockOnError", 1}},
       MendedAtSleep(4)},
      {"PrinterInUse", DocumentOf(2), SIZE_MAX, {FaultOf(FaultKind::kLock)}, {}, MendedAtSleep(5)},
      {"CancelledAtThePrinter", DocumentOf(4), SIZE_MAX, atLabel(FaultKind::kCancel, 0, 2)},
      {"DeletedInTheSpooler", DocumentOf(4), SIZE_MAX, {}, {{L"PdChunkSize", 2}}, DeletedAtQuery(4)},
      {"UnfinishedJob", Joined({JobStart(), Label(1), Label(2)})},
  };
}

struct Seen {
  std::vector<std::string> wire;
  std::vector<std::uint32_t> sleeps;
  std::vector<DWORD> commands;
  RecordingHost::Job job;
  std::vector<ByteString> printed;
};

std::vector<std::string> WireOf(const std::vector<PortCall>& calls) {
  std::vector<std::string> wire;
  for (const PortCall& call : calls) {
    wire.push_back(std::string(call.isWrite ? "write " : "read ") + (call.succeeded ? Hex(call.bytes) : "fails"));
  }
  return wire;
}

// Writes the stream in its pieces; a buffer that isn't taken ends the document.
void PrintOnce(LanDoor& door, HANDLE port, const Scenario& story) {
  ASSERT_EQ(door.Start(port), TRUE);
  BOOL result = TRUE;
  for (std::size_t at = 0; at < story.stream.size() && result != FALSE;) {
    const std::size_t size = std::min(story.piece, story.stream.size() - at);
    const auto begin = story.stream.begin() + static_cast<std::ptrdiff_t>(at);
    result = door.Write(port, ByteString(begin, begin + static_cast<std::ptrdiff_t>(size)));
    at += size;
  }
  door.End(port);
}

void Fill(Seen& seen, LanDoor& door, const LockstepPort& calls, VirtualPrinter& printer) {
  seen.wire = WireOf(calls.calls);
  seen.sleeps = door.host.sleeps;
  seen.commands = door.host.commands;
  seen.job = door.host.jobs[LanDoor::kJobId];
  for (const auto& label : printer.Printed()) {
    seen.printed.push_back(label.raster);
  }
}

void Prepare(LanDoor& door, int row, const Scenario& story, World world) {
  for (const auto& [name, value] : story.options) {
    door.SetOption(name, value);
  }
  door.UseModel(row);
  if (story.prepare) {
    story.prepare(world);
  }
}

simulator::PrinterSettings SettingsOf(int row, const Scenario& story) {
  simulator::PrinterSettings settings = PrinterOfRow(row);
  settings.faults = story.faults;
  return settings;
}

Seen OverUsb(int row, const Scenario& story) {
  VirtualPrinter printer(SettingsOf(row, story));
  LanDoor door;
  simulator::InProcessPorts ports({[&] { return door.host.now; }, [&](std::uint64_t until) { door.host.now = until; }},
                                  [&](std::uint32_t code) { door.host.lastError = code; });
  ports.Add(L"USB001", printer);
  Prepare(door, row, story, {door.host, [&](const auto& use) { use(printer); }});
  MONITOR2 table = simulator::InProcessPorts::Table();
  std::wstring portName = L"USB001";
  HANDLE port = nullptr;
  EXPECT_EQ(
      door.monitor->pfnOpenPortEx(nullptr, ports.Handle(), portName.data(), door.printerName.data(), &port, &table),
      TRUE);
  LockstepPort calls;
  calls.TakeOver(port);
  PrintOnce(door, port, story);
  door.Close(port);
  Seen seen;
  Fill(seen, door, calls, printer);
  return seen;
}

Seen OverLan(int row, const Scenario& story) {
  PrinterServer printer(SettingsOf(row, story));
  LanDoor door;
  door.PrinterIsAt(printer.Address());
  Prepare(door, row, story, {door.host, [&](const auto& use) { printer.WithPrinter(use); }});
  const HANDLE port = door.Open();
  LockstepPort calls(printer, door.names);
  calls.TakeOver(port);
  PrintOnce(door, port, story);
  door.Close(port);
  EXPECT_EQ(printer.Finish(), 1u);
  Seen seen;
  printer.WithPrinter([&](VirtualPrinter& machine) { Fill(seen, door, calls, machine); });
  ByteString written;
  for (const PortCall& call : calls.calls) {
    if (call.isWrite) {
      written.insert(written.end(), call.bytes.begin(), call.bytes.end());
    }
  }
  EXPECT_EQ(printer.Taken(1), written) << "what the engine wrote, and nothing else";
  EXPECT_EQ(door.nextMonitor.opens, 0u) << "the next monitor isn't used";
  return seen;
}

class SameJob : public ::testing::TestWithParam<int> {};

TEST_P(SameJob, OverUsbAndOverTheNetwork) {
  for (const Scenario& story : Scenarios()) {
    SCOPED_TRACE(story.name);
    const Seen usb = OverUsb(GetParam(), story);
    Seen lan = OverLan(GetParam(), story);
    EXPECT_EQ(lan.wire, usb.wire);
    EXPECT_EQ(lan.printed, usb.printed);
    EXPECT_EQ(lan.sleeps, usb.sleeps);
    EXPECT_EQ(lan.job.status, usb.job.status);
    EXPECT_EQ(lan.job.pagesPrinted, usb.job.pagesPrinted);
    EXPECT_EQ(lan.job.texts, usb.job.texts);
    EXPECT_EQ(std::erase(lan.commands, JOB_CONTROL_SENT_TO_PRINTER), 1u);
    EXPECT_EQ(lan.commands, usb.commands);
  }
}

INSTANTIATE_TEST_SUITE_P(Lan, SameJob, ::testing::Range(1, 10),
                         [](const auto& row) { return "Row" + std::to_string(row.param); });

// --- the three differences

TEST(Difference, OnlyALanJobIsMarkedAsSentToThePrinter) {
  const Scenario story{"", DocumentOf(2)};
  EXPECT_THAT(OverUsb(5, story).commands, ElementsAre(JOB_CONTROL_LAST_PAGE_EJECTED));
  EXPECT_THAT(OverLan(5, story).commands, ElementsAre(JOB_CONTROL_SENT_TO_PRINTER, JOB_CONTROL_LAST_PAGE_EJECTED));
}

TEST(Difference, EachPathHasItsOwnBitForCompression) {
  const auto compresses = [](const Seen& seen) {
    return std::any_of(seen.wire.begin(), seen.wire.end(),
                       [](const std::string& call) { return call.find("1B 5A 03") != std::string::npos; });
  };
  for (const std::uint32_t mode : {0u, 1u, 2u, 3u}) {
    const Scenario story{"", DocumentOf(2), SIZE_MAX, {}, {{L"LabelCompressMode", mode}}};
    EXPECT_EQ(compresses(OverUsb(5, story)), (mode & 1) != 0);
    EXPECT_EQ(compresses(OverLan(5, story)), (mode & 2) != 0);
  }
}

TEST(Difference, LostContactRestartsAUsbJobAndIsWaitedOutOnTheNetwork) {
  const std::vector<Fault> powerCut{FaultOf(FaultKind::kPowerOff, 0, FaultTrigger::kLabel, 2)};
  const Seen usb = OverUsb(5, {"", DocumentOf(3), SIZE_MAX, powerCut});
  EXPECT_THAT(usb.commands, ElementsAre(JOB_CONTROL_RESTART, JOB_CONTROL_LAST_PAGE_EJECTED));

  PrinterServer printer(PrinterOfRow(5));
  LanDoor door;
  door.PrinterIsAt(printer.Address());
  const HANDLE port = door.Open();
  ASSERT_EQ(door.Start(port), TRUE);
  ASSERT_EQ(door.Write(port, Joined({JobStart(), Label(1)})), TRUE);
  printer.GoAway();
  door.host.onSleep = [&](std::uint32_t) {
    if (door.host.sleeps.size() == 3) {
      printer.ComeBack();
    }
  };
  EXPECT_EQ(door.Write(port, Joined({Label(2), Label(3), EndOfJob()})), TRUE);
  door.End(port);
  door.Close(port);
  EXPECT_FALSE(door.Did(JOB_CONTROL_RESTART));
}

}  // namespace
}  // namespace sc3xxmon::test
