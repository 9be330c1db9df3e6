// Ctrl-C while a job prints: the first one runs a function (which deletes the job, so that the printer gets
// its cancel sequence), the second one leaves the program at once with exit code 130. A request to terminate
// counts as Ctrl-C.
//
// While an InterruptWatch lives it owns the process's handling of these signals; there may be one at a time.
#pragma once

#include <functional>
#include <thread>

namespace sc3xx {

class InterruptWatch {
 public:
  // `onFirst` runs once at most, on a thread of this object's own, free to take locks. It must not throw.
  // Throws std::system_error if the system refuses the pipe or the thread.
  explicit InterruptWatch(std::function<void()> onFirst);

  // Brings back what was there before, and waits for a running `onFirst`.
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

 private:
  static void Listen(int pipe, const std::function<void()>& onFirst);

  std::thread listener_;
};

}  // namespace sc3xx
