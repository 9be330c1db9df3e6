#include "apps/ports/virtual_port.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "apps/spooler/last_error.h"

namespace sc3xx {
namespace {

constexpr const wchar_t* kPortName = L"USB:virtual";
// Short enough for a progress line that shows seconds.
constexpr std::uint64_t kLongestSleepMs = 250;

}  // namespace

VirtualPort::VirtualPort(simulator::PrinterSettings settings, const SpoolerHost& host)
    : host_(host),
      printer_(std::move(settings)),
      ports_({[this] { return host_.TickCount(); }, [this](std::uint64_t timeMs) { SleepUntil(timeMs); }},
             SetLastErrorCode),
      table_(simulator::InProcessPorts::Table()) {
  ports_.Add(kPortName, printer_);
}

PortBelow VirtualPort::Below() {
  return {&table_, ports_.Handle(), kPortName};
}

void VirtualPort::SleepUntil(std::uint64_t timeMs) const {
  for (std::uint64_t now = host_.TickCount(); now < timeMs; now = host_.TickCount()) {
    host_.Sleep(static_cast<std::uint32_t>(std::min(timeMs - now, kLongestSleepMs)));
  }
}

void VirtualPort::WaitUntilIdle() {
  for (;;) {
    std::optional<std::uint64_t> next;
    ports_.WithPrinter(kPortName, [this, &next](simulator::VirtualPrinter& printer) {
      printer.Advance(host_.TickCount());
      next = printer.Idle() ? std::nullopt : printer.NextEvent();
    });
    if (!next) {
      return;
    }
    SleepUntil(*next);
  }
}

std::vector<simulator::PrintedLabel> VirtualPort::TakePrinted() {
  std::vector<simulator::PrintedLabel> printed;
  ports_.WithPrinter(kPortName, [&](simulator::VirtualPrinter& printer) { printed = printer.TakePrinted(); });
  return printed;
}

std::vector<simulator::Exchange> VirtualPort::TakeTranscript() {
  std::vector<simulator::Exchange> exchanges;
  ports_.WithPrinter(kPortName, [&](simulator::VirtualPrinter& printer) { exchanges = printer.TakeTranscript(); });
  return exchanges;
}

std::size_t VirtualPort::LabelsToBeSentAgain() {
  std::size_t count = 0;
  ports_.WithPrinter(kPortName, [&](simulator::VirtualPrinter& printer) {
    const auto& dropped = printer.Dropped();
    count = static_cast<std::size_t>(std::count_if(
        dropped.begin(), dropped.end(),
        [](const simulator::DroppedLabel& label) { return label.reason != simulator::DropReason::kCancelled; }));
  });
  return count;
}

}  // namespace sc3xx
