// A fault that the virtual printer plays: what goes wrong, when it begins, how long it lasts. Plain data; the
// text form of the command line is in fault_script.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace simulator {

enum class FaultKind {
  // State of the printer. While one of these stands with a value that is an error, the printer prints
  // nothing.
  kBay,            // value: the Bay byte; 6, 7 and 8 are good, anything else is a media error
  kHead,           // value: the Head byte (plain status form only)
  kCutter,         // value: the Cutter byte; 4 is a jam, anything else is good (ESC S form only)
  kBattery,        // battery too low (ESC S form only)
  kCommunication,  // the printer's own communication error bit
  kErrorBits,      // value: bits of the record's Err word, with Status 2
  kStatus,         // value: the Status byte itself, whatever the rest of the record says
  // What happens to an answer.
  kShortAnswer,  // value: bytes of the answer that get out; the rest never comes
  kLateAnswer,   // value: milliseconds by which the answer is late
  kNoAnswer,
  // What happens to a transfer of the port.
  kWriteFails,      // value: bytes that are taken all the same before the write fails
  kWriteTakesPart,  // value: bytes that are taken by a write that reports success
  kReadFails,
  // People and mains.
  kLock,    // somebody else takes the printer's lock
  kCancel,  // somebody presses cancel at the printer
  kPowerOff,
};

enum class FaultTrigger {
  kTime,      // at a time on the clock that the calls give
  kLabel,     // when the n-th label since the printer was made begins to print (on tape: with its first raster)
  kCall,      // at the n-th port call, writes and reads counted together
  kExchange,  // at the n-th request that has an answer (status or firmware)
};

struct Fault {
  FaultKind kind = FaultKind::kBay;
  std::uint32_t value = 0;

  FaultTrigger trigger = FaultTrigger::kTime;
  std::uint64_t at = 0;  // milliseconds for kTime, else a number counted from 1

  // How long. With neither, answer and transfer faults and the cancel happen once, the others stand until
  // cleared. What comes first ends it when both are given.
  std::optional<std::uint64_t> forMs;
  // Occurrences: answers for the kinds that shape an answer (kStatus too), failed calls for transfer faults.
  std::optional<std::uint32_t> count;
};

}  // namespace simulator
