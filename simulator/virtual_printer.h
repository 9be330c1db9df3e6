// The virtual printer: one of nine label printers as a pure machine. Bytes in, bytes out, time as an argument.
//
// There is no thread, file, socket or clock in here. Every call takes `now`, milliseconds on a clock that the caller
// keeps; a `now` that lies in the past counts as the last one. Nothing blocks. One printer may have many clients; calls
// must not overlap, so a host with threads locks around them. Malformed input is recorded, never an error of a call.
//
// How it treats a label, since hosts depend on it:
// - An answer decides. A label that stands before a status answer which passes (Status 0, 1 or 4) is the printer's
//   business from then on: it is held through any error and printed when the error is gone. A label that isn't finished
//   when an answer doesn't pass is dropped, with everything behind that answer until the next ESC A 0, ESC A 1, ESC s or
//   ESC Q, because the host sends all of it again. So a label comes out once unless an answer is lost.
// - ESC A 2 waits until what stands before it is printed, or until an error makes that impossible; ESC A 0, ESC A 1 and
//   ESC V are answered when they are reached. Answers leave in the order of the requests.
// - A desktop label ends at ESC G, ESC p, the next ESC n, ESC E, ESC Q, or at a status request behind a whole raster.
//   On tape a status request stands between the chunks of a label, so it ends none: ESC A 2 is answered when the labels
//   before are printed, and speaks for what has been received.
// - An open label that its host begins anew (ESC n with the same index after an ESC A 0 or 1, or a new ESC s and the
//   first index of the job) is dropped in favour of the new one. On tape that holds for an acknowledged label whose
//   client has gone, too: it waits for what the next client does.
// - While a fault stands that spoils the status, nothing is printed: the label in work starts over when it is gone.
// - The first ESC A 1, ESC s or label of a client takes the lock when it is free; ESC Q and a client's going give it
//   back. Without the lock a client's labels are refused: its next answer is 5. It is 4 while nothing was refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/print_record.h"
#include "simulator/printer_settings.h"

namespace simulator {

using FaultId = std::uint32_t;

// What becomes of one call of a port, beyond the printer taking or giving bytes.
struct TransferPlan {
  bool fails = false;                // report failure, after at most `limit` bytes
  std::optional<std::size_t> limit;  // move at most so many bytes in this call
};

enum class TransferDirection { kWrite, kRead };

// A look at the printer for a line of status.
struct PrinterView {
  bool poweredOn = true;
  bool printing = false;
  bool stopped = false;  // an error keeps it from printing
  std::size_t labelsWaiting = 0;
  std::size_t jobsOpen = 0;
  ClientId lockHolder = kNobody;
  std::string state;  // in words: "printing label 3", "Out of labels", ...
};

class VirtualPrinter {
 public:
  // Throws std::invalid_argument with CheckSettings' words.
  explicit VirtualPrinter(PrinterSettings settings);
  ~VirtualPrinter();
  VirtualPrinter(VirtualPrinter&& other) noexcept;
  VirtualPrinter& operator=(VirtualPrinter&& other) noexcept;
  VirtualPrinter(const VirtualPrinter&) = delete;
  VirtualPrinter& operator=(const VirtualPrinter&) = delete;

  // --- clients and their bytes. An unknown client takes and gives nothing.
  ClientId Connect(std::uint64_t now);
  void Disconnect(ClientId client, std::uint64_t now);

  // Asked once by a transport for each call on its port, before the bytes move. Counts the call, lets faults begin, and
  // says what the transport is to play. While the power is off every call fails with limit 0.
  TransferPlan BeginTransfer(ClientId client, TransferDirection direction, std::uint64_t now);

  // Takes as many bytes as there is room for. 0 with bytes offered is back-pressure (or power off): wait for NextEvent.
  std::size_t Write(ClientId client, std::span<const std::uint8_t> bytes, std::uint64_t now);

  // Bytes of answers that are due.
  std::size_t Read(ClientId client, std::span<std::uint8_t> bytes, std::uint64_t now);
  std::size_t Readable(ClientId client, std::uint64_t now);

  // --- time
  void Advance(std::uint64_t now);

  // The earliest time, from the last `now` on, at which something changes without a call: a label is finished, an answer
  // falls due, a fault begins or ends. Nothing: only a call can change anything.
  std::optional<std::uint64_t> NextEvent() const;

  // Somebody switches the printer off in order. It first prints, at once, what it has answered for, as far as
  // no fault keeps it from that; the rest is dropped as in a power cut. Clients stay and begin anew.
  void SwitchOff(std::uint64_t now);

  // --- faults
  // Throws std::invalid_argument with CheckFault's words. One that is due at once begins at the next call with a time.
  FaultId AddFault(const Fault& fault);
  void ClearFault(FaultId fault, std::uint64_t now);
  void ClearFaults(std::uint64_t now);
  bool FaultStands(FaultId fault) const;

  // --- what came of it
  // A Take hands the list over and starts an empty one: what runs for long takes, so that nothing grows.
  const std::vector<PrintedLabel>& Printed() const;
  std::vector<PrintedLabel> TakePrinted();
  const std::vector<DroppedLabel>& Dropped() const;
  std::vector<DroppedLabel> TakeDropped();
  const std::vector<PrinterEvent>& Events() const;
  std::vector<PrinterEvent> TakeEvents();
  const std::vector<MalformedInput>& Malformed() const;  // the first 1000
  const PrinterCounts& Counts() const;
  const std::vector<Exchange>& Transcript() const;
  std::vector<Exchange> TakeTranscript();

  // --- how it stands
  const PrinterSettings& Settings() const;
  const PrinterModel& Model() const;
  bool PoweredOn() const;
  ClientId LockHolder() const;
  bool JobOpen() const;  // any client's
  bool JobOpen(ClientId client) const;
  // Nothing received that isn't printed or dropped, no answer unread, no label or command half here.
  bool Idle() const;
  PrinterView View() const;

 private:
  class Machine;
  std::unique_ptr<Machine> machine_;
};

}  // namespace simulator
