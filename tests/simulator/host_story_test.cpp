// A small host that prints as the printers' hosts do (readiness, pipelined status requests, resends after a bad answer),
// against random faults: whatever happens at the printer, every label comes out once and in order.
#include <algorithm>
#include <random>
#include <utility>

#include "printer_desk.h"
#include "simulator/status_answer.h"
#include "simulator/transcript.h"

namespace simulator::test {
namespace {

struct Story {
  PrinterSettings settings;
  std::vector<Bytes> labels;   // without their ESC n index order they mean nothing: 1, 2, 3, ...
  std::size_t chunkLines = 0;  // above 0: tape labels go out in chunks
  std::uint32_t linesOfLabel = 0;
};

// Its own clock jumps to whatever the printer does next.
class SmallHost {
 public:
  SmallHost(VirtualPrinter& printer, const Story& story) : printer_(printer), story_(story) {
    client_ = printer.Connect(now_);
  }

  // False when the story doesn't come to an end.
  bool Print() {
    while (acknowledged_ < story_.labels.size()) {
      if (++rounds_ > 3000) return false;
      if (!WaitUntilReady()) continue;
      if (story_.chunkLines > 0 ? !SendChunked() : !SendPipelined()) sent_ = acknowledged_;
    }
    Write(EndOfJob());
    printer_.ClearFaults(now_);  // one that ends by being asked about has nobody left who asks
    printer_.Advance(now_ + 3600000);
    return true;
  }

 private:
  void Write(const Bytes& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t taken = printer_.Write(client_, std::span(bytes).subspan(at), now_);
      at += taken;
      if (taken == 0 && !Jump(now_ + 60000)) return;
    }
  }

  bool Jump(std::uint64_t deadline) {
    const auto next = printer_.NextEvent();
    const std::uint64_t until = std::min(next.value_or(deadline), deadline);
    if (until <= now_ && !next) return false;
    now_ = std::max(until, now_ + 1);
    printer_.Advance(now_);
    return true;
  }

  // The status byte of the next answer, or -1.
  int ReadStatus(StatusReport* report = nullptr) {
    const PrinterModel& model = printer_.Model();
    const std::uint64_t deadline = now_ + 600000;
    while (printer_.Readable(client_, now_) < model.statusAnswerBytes) {
      if (now_ >= deadline || !Jump(deadline)) return -1;
    }
    Bytes bytes(model.statusAnswerBytes);
    printer_.Read(client_, bytes, now_);
    if (bytes.size() == 70) bytes = Bytes(bytes.begin() + 6, bytes.begin() + 38);
    const bool escapeS = bytes[0] == 0x1B && bytes[1] == 0x53;
    if (report != nullptr) {
      report->bay = bytes[escapeS ? 11 : 10];
      report->head = escapeS ? std::uint8_t{0} : bytes[8];
      report->cutter = escapeS ? bytes[10] : std::uint8_t{0};
    }
    return bytes[escapeS ? 3 : 0];
  }

  bool WaitUntilReady() {
    if (ready_) return true;
    Write(Ask(askForLock_ ? 1 : 0));
    StatusReport report;
    const int status = ReadStatus(&report);
    const bool good = status == 0 || status == 1;
    if (!good || !IsGoodBay(report.bay) || report.head != 0 || report.cutter == 4) {
      askForLock_ = status == 4 || status == 5;
      if (askForLock_) headerSent_ = false;
      now_ += 500;
      printer_.Advance(now_);
      return false;
    }
    ready_ = true;
    if (!headerSent_) Write(JobStart());
    headerSent_ = true;
    return true;
  }

  bool Acknowledge() {
    ready_ = Passes(static_cast<std::uint8_t>(ReadStatus()));
    if (ready_) ++acknowledged_;
    return ready_;
  }

  bool SendPipelined() {
    while (sent_ < story_.labels.size()) {
      if (sent_ > acknowledged_) Write(Ask(2));
      Write(story_.labels[sent_++]);
      if (sent_ - acknowledged_ == 2 && !Acknowledge()) return false;
    }
    Write(Ask(0));
    return Acknowledge();
  }

  bool SendChunked() {
    const auto index = static_cast<std::uint16_t>(acknowledged_ + 1);
    const Bytes raster = RasterBytes(story_.linesOfLabel, 64, static_cast<std::uint8_t>(index));
    Write(Index(index));
    for (std::size_t line = 0; line < story_.linesOfLabel; line += story_.chunkLines) {
      const std::size_t lines = std::min(story_.chunkLines, story_.linesOfLabel - line);
      const auto from = raster.begin() + static_cast<std::ptrdiff_t>(line * 8);
      Write(Raster(static_cast<std::uint32_t>(lines), 64, Bytes(from, from + static_cast<std::ptrdiff_t>(lines * 8))));
      if (line > 0) {
        ready_ = Passes(static_cast<std::uint8_t>(ReadStatus()));
        if (!ready_) return false;
      }
      Write(Ask(2));
    }
    Write(ShortFormFeed());
    return Acknowledge();
  }

  VirtualPrinter& printer_;
  const Story& story_;
  ClientId client_ = kNobody;
  std::uint64_t now_ = 0;
  std::size_t acknowledged_ = 0;
  std::size_t sent_ = 0;
  int rounds_ = 0;
  bool ready_ = false;
  bool headerSent_ = false;
  bool askForLock_ = false;
};

Fault RandomFault(std::mt19937& random, bool tape) {
  constexpr std::array<FaultKind, 4> kDesktop{FaultKind::kBay, FaultKind::kHead, FaultKind::kStatus,
                                              FaultKind::kCommunication};
  constexpr std::array<FaultKind, 4> kTape{FaultKind::kBay, FaultKind::kCutter, FaultKind::kStatus,
                                           FaultKind::kBattery};
  Fault fault;
  fault.kind = (tape ? kTape : kDesktop)[random() % 4];
  fault.value = fault.kind == FaultKind::kStatus ? (random() % 2 == 0 ? 2 : 5) : fault.kind == FaultKind::kBay ? 2 : 4;
  constexpr std::array<FaultTrigger, 3> kTriggers{FaultTrigger::kTime, FaultTrigger::kLabel, FaultTrigger::kExchange};
  fault.trigger = kTriggers[random() % 3];
  fault.at = fault.trigger == FaultTrigger::kTime ? random() % 5000 : 1 + random() % 6;
  if (random() % 2 == 0) {
    fault.count = static_cast<std::uint32_t>(1 + random() % 3);
  } else {
    fault.forMs = 1 + random() % 8000;
  }
  return fault;
}

Story RandomStory(std::mt19937& random) {
  Story story;
  story.settings.model = static_cast<int>(1 + random() % 9);
  const bool tape = story.settings.model >= 8;
  // A label that takes its time is still there when a bad answer about it goes out, and so comes out once. A printer
  // that takes none has finished it before, and would print its resend as well.
  story.settings.millimetresPerSecond = 10.0 + static_cast<double>(random() % 100);
  if (random() % 2 == 0) story.settings.receiveBufferBytes = 100 + random() % 4000;
  story.linesOfLabel = static_cast<std::uint32_t>(20 + random() % 200);
  if (tape && random() % 2 == 0) story.chunkLines = 15 + random() % 60;
  const bool feeds = random() % 2 == 0;
  for (std::uint16_t index = 1; index <= 4; ++index) {
    story.labels.push_back(feeds ? Label(index, story.linesOfLabel) : OpenLabel(index, story.linesOfLabel));
  }
  for (auto count = random() % 4; count > 0; --count) {
    Fault fault = RandomFault(random, tape);
    // An error that ends by being asked about would never end for a host that waits for room in the middle of a label.
    if (fault.count && story.settings.receiveBufferBytes) fault.forMs = 1000 * std::exchange(fault.count, {}).value();
    story.settings.faults.push_back(fault);
  }
  return story;
}

TEST(HostStoryTest, EveryLabelComesOutOnceAndInOrder) {
  for (std::uint32_t seed = 1; seed <= 3000; ++seed) {
    std::mt19937 random(seed);
    const Story story = RandomStory(random);
    VirtualPrinter printer(story.settings);
    ASSERT_TRUE(SmallHost(printer, story).Print()) << "seed " << seed << " hangs";
    std::vector<int> indexes;
    for (const PrintedLabel& label : printer.Printed()) {
      indexes.push_back(label.index);
      ASSERT_EQ(label.raster, RasterBytes(story.linesOfLabel, 64, static_cast<std::uint8_t>(label.index)))
          << "seed " << seed;
    }
    ASSERT_THAT(indexes, ::testing::ElementsAre(1, 2, 3, 4)) << "seed " << seed << "\n"
                                                             << ToJsonLines(printer.Transcript());
    ASSERT_TRUE(printer.Idle()) << "seed " << seed;
    ASSERT_FALSE(printer.JobOpen()) << "seed " << seed;
    ASSERT_EQ(printer.LockHolder(), kNobody) << "seed " << seed;
    ASSERT_EQ(printer.Counts().labelsLost, 0u) << "seed " << seed;
    ASSERT_EQ(printer.Counts().malformed, 0u) << "seed " << seed;
  }
}

}  // namespace
}  // namespace simulator::test
