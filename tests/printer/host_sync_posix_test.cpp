// Two starts of a document at the same moment. Threads seldom meet inside a few instructions, and on one processor hardly
// ever; a timer's signal interrupts a start at any instruction, so that the start in its handler is the second one.
#include <signal.h>
#include <sys/time.h>

#include <atomic>

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

struct Interruption {
  CLangMon* port = nullptr;
  std::atomic<int> count = 0;
  std::atomic<bool> wasAdmitted = false;  // and hasn't ended
};
Interruption interruption;

void StartInBetween(int) {
  ++interruption.count;
  if (interruption.port->AcquireHostSync(nullptr)) {
    interruption.wasAdmitted = true;
  }
}

// Sends SIGALRM to the process every few microseconds for as long as this lives.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = StartInBetween;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, &before_);
    SetInterval(20);
  }
  ~SignalStorm() {
    SetInterval(0);
    sigaction(SIGALRM, &before_, nullptr);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;

 private:
  static void SetInterval(suseconds_t microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  struct sigaction before_ {};
};

class HostSyncInterruptedTest : public PrintingFixture {};

TEST_F(HostSyncInterruptedTest, OfTwoDocumentsThatStartAtTheSameMomentOneIsAdmitted) {
  constexpr int kInterruptions = 3000;
  constexpr long kMostStarts = 100'000'000;
  interruption.port = &monitor;
  interruption.count = 0;
  int bothAdmitted = 0;
  long starts = 0;
  {
    const SignalStorm storm;
    for (; interruption.count < kInterruptions && starts < kMostStarts; ++starts) {
      const bool admitted = monitor.AcquireHostSync(nullptr);
      const bool otherAdmitted = interruption.wasAdmitted.exchange(false);
      bothAdmitted += admitted && otherAdmitted ? 1 : 0;
      if (admitted || otherAdmitted) {
        monitor.ReleaseHostSync();
      }
    }
  }
  EXPECT_GE(interruption.count, kInterruptions) << "no test without interruptions";
  EXPECT_EQ(bothAdmitted, 0);
}

}  // namespace
}  // namespace sc3xxmon::test
