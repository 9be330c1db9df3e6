// Which faults wait, which stand and when they change. Knows nothing of labels or answers: the printer tells it what
// happened (a time, a label, a call, an exchange) and it says which faults begin and end with that.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "simulator/fault.h"
#include "simulator/status_answer.h"
#include "simulator/virtual_printer.h"

namespace simulator {

using Microseconds = std::uint64_t;

// A number of milliseconds in microseconds, at most the largest there is.
Microseconds FromMilliseconds(std::uint64_t milliseconds);
Microseconds AddSaturated(Microseconds time, Microseconds span);

class FaultBoard {
 public:
  struct Change {
    FaultId id = 0;
    Fault fault;
    bool begins = false;
  };
  using Changes = std::vector<Change>;

  FaultId Add(const Fault& fault);

  // Faults with this trigger whose number is reached begin.
  Changes Begin(FaultTrigger trigger, std::uint64_t number, Microseconds now);
  // Faults whose time is over end.
  Changes EndDue(Microseconds now);
  Changes Clear(FaultId id);
  Changes ClearAll();

  // The first standing fault of the kind, or null.
  const Fault* Standing(FaultKind kind) const;
  bool Stands(FaultId id) const;
  // One occurrence of the first standing fault of the kind is used up.
  Changes Spend(FaultKind kind);
  // One occurrence of every standing fault that a status answer shows is used up.
  Changes SpendShown();

  // The next time at which a fault begins or ends by itself.
  std::optional<Microseconds> NextChange() const;

  // A standing fault keeps the printer from printing.
  bool Stops() const;

 private:
  struct Entry {
    FaultId id = 0;
    Fault fault;
    bool stands = false;
    std::optional<Microseconds> endsAt;
    std::optional<std::uint32_t> left;
  };

  void Start(Entry& entry, Microseconds now);
  template <class Predicate>
  Changes EndWhere(Predicate over);

  std::vector<Entry> entries_;  // waiting and standing; what is over is gone
  FaultId lastId_ = 0;
};

}  // namespace simulator
