// Counts the bytes that the program holds through operator new, which this program replaces. What the C library's
// malloc takes beyond a request, and what doesn't go through operator new, isn't counted.
//
// Threads: the counters are for a program with one thread that allocates.
#pragma once

#include <cstddef>

namespace sc3xxmon::bench {

// The most that was held at once since it was made, beyond what was held then.
class PeakMemory {
 public:
  PeakMemory();
  std::size_t Bytes() const;

 private:
  std::size_t before_;
};

// While one lives, large blocks that are given back stay at hand for the next request of the same size, so that a
// measured loop shows the program's own work and not the system's: handing out new pages costs more than filling them.
class PagesAtHand {
 public:
  PagesAtHand();
  ~PagesAtHand();
  PagesAtHand(const PagesAtHand&) = delete;
  PagesAtHand& operator=(const PagesAtHand&) = delete;
};

}  // namespace sc3xxmon::bench
