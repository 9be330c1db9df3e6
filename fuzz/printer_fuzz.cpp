// The virtual printer under arbitrary bytes from several clients, with faults and time in between. It must take
// everything in its stride, keep its counts straight, and come to rest once nothing more happens to it.

#include <algorithm>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "fuzz/input_reader.h"
#include "simulator/fault_script.h"
#include "simulator/virtual_printer.h"

namespace sc3xxmon::fuzz {
namespace {

using simulator::Fault;
using simulator::VirtualPrinter;

constexpr std::size_t kMostLabelBytes = 1 << 16;

simulator::PrinterSettings ReadSettings(InputReader& input) {
  simulator::PrinterSettings settings;
  const std::uint8_t shape = input.Byte();
  settings.model = shape % 9 + 1;
  settings.maxLabelBytes = kMostLabelBytes;
  settings.transcript = (shape & 0x10) != 0;
  settings.keepCommandBytes = (shape & 0x20) != 0;
  if ((shape & 0x40) != 0) {
    settings.receiveBufferBytes = std::size_t{input.Byte()} + 1;
  }
  if ((shape & 0x80) != 0) {
    settings.UseModelSpeed();
  }
  const std::uint8_t form = input.Byte();
  if ((form & 3) == 3) {
    settings.statusForm = (form & 4) != 0 ? simulator::StatusForm::kEscapeS : simulator::StatusForm::kPlain;
  }
  return settings;
}

Fault ReadFault(InputReader& input) {
  Fault fault;
  fault.kind =
      static_cast<simulator::FaultKind>(input.Choice(static_cast<std::uint32_t>(simulator::FaultKind::kPowerOff) + 1));
  fault.value = input.Byte();
  fault.trigger = static_cast<simulator::FaultTrigger>(input.Choice(4));
  fault.at = input.Byte();
  const std::uint8_t limits = input.Byte();
  if ((limits & 1) != 0) {
    fault.forMs = input.Number16();
  }
  if ((limits & 2) != 0) {
    fault.count = std::uint32_t{input.Byte()} + 1;
  }
  return fault;
}

class Bench {
 public:
  explicit Bench(const simulator::PrinterSettings& settings) : printer_(settings) {
    clients_.push_back(printer_.Connect(now_));
  }

  void Do(InputReader& input) {
    const std::uint8_t what = input.Byte();
    const simulator::ClientId client = clients_[(what >> 4) % clients_.size()];
    switch (what & 0x0F) {
      case 0:
        ChangeClients(client, input);
        break;
      case 1:
      case 2:
        Read(client, input.Byte());
        break;
      case 3:
        now_ += input.Number16();
        printer_.Advance(now_);
        break;
      case 4:
        AddFault(input);
        break;
      case 5:
        ClearFaults(input);
        break;
      case 6:
        printer_.BeginTransfer(
            client, input.Flag() ? simulator::TransferDirection::kWrite : simulator::TransferDirection::kRead, now_);
        break;
      case 7:
        JumpToNextEvent();
        break;
      default:
        Write(client, input.Take(input.Byte()));
        break;
    }
    CheckCounts();
  }

  // Faults gone and clients too, nothing may stay in the machine. A label that a tape printer has acknowledged in part
  // waits for the next host, which may begin it anew; one that ends the job says that it won't.
  void ComeToRest() {
    printer_.ClearFaults(now_);
    for (const simulator::ClientId client : clients_) {
      printer_.Disconnect(client, now_);
    }
    RunOut();
    const simulator::ClientId next = printer_.Connect(now_);
    Write(next, kEndOfJob);
    printer_.Disconnect(next, now_);
    RunOut();
    CheckCounts();
    FUZZ_CHECK(printer_.Idle());
  }

 private:
  static constexpr std::uint8_t kEndOfJob[] = {0x1B, 'Q'};

  void RunOut() {
    constexpr int kMostEvents = 100000;
    int events = 0;
    while (JumpToNextEvent()) {
      FUZZ_CHECK(++events < kMostEvents);
    }
  }

  void ChangeClients(simulator::ClientId client, InputReader& input) {
    constexpr std::size_t kMostClients = 4;
    if (input.Flag() && clients_.size() < kMostClients) {
      clients_.push_back(printer_.Connect(now_));
    } else {
      printer_.Disconnect(client, now_);
      *std::find(clients_.begin(), clients_.end(), client) = printer_.Connect(now_);
    }
  }

  void Write(simulator::ClientId client, std::span<const std::uint8_t> bytes) {
    FUZZ_CHECK(printer_.Write(client, bytes, now_) <= bytes.size());
  }

  void Read(simulator::ClientId client, std::size_t size) {
    const std::size_t readable = printer_.Readable(client, now_);
    std::vector<std::uint8_t> bytes(size);
    FUZZ_CHECK(printer_.Read(client, bytes, now_) == std::min(readable, size));
  }

  void AddFault(InputReader& input) {
    const Fault fault = ReadFault(input);
    if (!simulator::CheckFault(printer_.Settings(), fault).empty()) {
      return;
    }
    faults_.push_back(printer_.AddFault(fault));
  }

  void ClearFaults(InputReader& input) {
    if (input.Flag() && !faults_.empty()) {
      printer_.ClearFault(faults_.back(), now_);
      FUZZ_CHECK(!printer_.FaultStands(faults_.back()));
      faults_.pop_back();
    } else {
      printer_.ClearFaults(now_);
      faults_.clear();
    }
  }

  bool JumpToNextEvent() {
    const auto next = printer_.NextEvent();
    if (!next) {
      return false;
    }
    FUZZ_CHECK(*next >= now_);  // a fault that is due at once begins at the next call
    now_ = *next;
    printer_.Advance(now_);
    return true;
  }

  void CheckCounts() {
    const simulator::PrinterCounts& counts = printer_.Counts();
    const auto& labels = printer_.Printed();
    FUZZ_CHECK(counts.labelsPrinted == labels.size());
    FUZZ_CHECK(counts.labelsDropped == printer_.Dropped().size());
    FUZZ_CHECK(counts.labelsLost <= counts.labelsDropped);
    FUZZ_CHECK(counts.malformed >= printer_.Malformed().size());
    for (; checked_ < labels.size(); ++checked_) {
      const simulator::PrintedLabel& label = labels[checked_];
      FUZZ_CHECK(label.raster.size() == label.LineBytes() * label.lines);
      FUZZ_CHECK(label.raster.size() <= kMostLabelBytes);
      FUZZ_CHECK(label.receivedMs <= label.finishedMs && label.finishedMs <= now_);
    }
    static_cast<void>(printer_.View());
  }

  VirtualPrinter printer_;
  std::vector<simulator::ClientId> clients_;
  std::vector<simulator::FaultId> faults_;
  std::uint64_t now_ = 1;
  std::size_t checked_ = 0;
};

// A fault's text form gives the same fault back.
void CheckFaultText(InputReader& input) {
  const Fault fault = ReadFault(input);
  const auto again = simulator::ParseFault(simulator::FormatFault(fault));
  if (const auto* parsed = std::get_if<Fault>(&again)) {
    FUZZ_CHECK(simulator::FormatFault(*parsed) == simulator::FormatFault(fault));
  }
  const auto any = input.TakeAll();
  const std::string_view text(reinterpret_cast<const char*>(any.data()), any.size());
  const auto result = simulator::ParseFault(text);
  if (const auto* error = std::get_if<simulator::FaultScriptError>(&result)) {
    FUZZ_CHECK(!error->message.empty());
  }
}

}  // namespace
}  // namespace sc3xxmon::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sc3xxmon::fuzz;
  InputReader input(data, size);
  if (input.Byte() == 'F') {
    CheckFaultText(input);
    return 0;
  }
  const simulator::PrinterSettings settings = ReadSettings(input);
  if (!simulator::CheckSettings(settings).empty()) {
    return 0;
  }
  Bench bench(settings);
  while (!input.Empty()) {
    bench.Do(input);
  }
  bench.ComeToRest();
  return 0;
}
