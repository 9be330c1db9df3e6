// A job of three labels, its connection cut at every byte.
//
// Where the monitor recovers in place, one class of cuts loses a label. A write that goes into a dying connection counts
// as done. If the death shows at a later write for the same label, that one buffer goes out anew on a fresh connection,
// and nothing before it. If moreover no answer is awaited from the dead connection at that moment, nothing fails: the
// printer, which knows nothing of what was lost and is ready, answers the requests that follow, and the answers count for
// the label. A whole label has one such place, the request for its status; a label in chunks has some in each chunk, and it
// may come out without its last lines instead of not at all.
// A label in chunks is acknowledged by an answer to a request that stands before its form feed. If the form feed is lost,
// the label stays open in the printer, which has said that it has it, and comes out when the next job or label comes.
// That is how the transport is meant to work: it resends the one buffer whose call failed, and nothing else. The tests
// know these cuts from the order of the calls alone, and hold the monitor to them exactly; any other cut loses nothing.
#include <algorithm>
#include <optional>

#include "lan/support/lan_door.h"
#include "lan/support/lockstep_port.h"

namespace sc3xxmon::test {
namespace {

using simulator::PrintedLabel;

constexpr std::uint16_t kLabels = 3;
constexpr std::size_t kMostCallsLater = 2;

struct JobRun {
  std::vector<PortCall> calls;
  std::vector<PrintedLabel> printed;
  std::size_t starts = 0;
  std::vector<DWORD> commands;
  RecordingHost::Job job;
};

struct JobSettings {
  int row = 5;
  std::uint32_t sendIphs = 1;
  std::uint32_t chunkLines = 200;
};

// Reads that get no answer wait for as little as can be: in these runs an answer that is to come is there before the read.
constexpr std::uint32_t kReadInVainMs = 1;

// One of no labels: what the printer still holds open comes out.
void BringTheNextJob(simulator::VirtualPrinter& machine) {
  const simulator::ClientId client = machine.Connect(0);
  machine.Write(client, Joined({JobStart(), EndOfJob()}), 0);
  machine.Disconnect(client, 0);
}

JobRun PrintWith(const JobSettings& settings, std::optional<Cut> cut) {
  PrinterServer printer(PrinterOfRow(settings.row), cut);
  JobRun run;
  {
    LanDoor door;
    door.SetOption(L"LabelCompressMode", 0);
    door.SetOption(L"SendIPHs", settings.sendIphs);
    door.SetOption(L"PdChunkSize", settings.chunkLines);
    door.SetReadTimeout(kReadInVainMs);
    door.UseModel(settings.row);
    door.PrinterIsAt(printer.Address());
    LockstepPort lockstep(printer, door.names);
    const HANDLE port = door.Open();
    lockstep.TakeOver(port);
    run.starts = door.Print(port, DocumentOf(kLabels));
    door.Close(port);
    run.calls = lockstep.calls;
    run.commands = door.host.commands;
    run.job = door.host.jobs[LanDoor::kJobId];
  }
  printer.Finish();
  run.printed = printer.WithPrinter([](simulator::VirtualPrinter& machine) {
    BringTheNextJob(machine);
    return machine.Printed();
  });
  return run;
}

ByteString RasterOf(std::uint16_t index) {
  const ByteString label = Label(index);
  return {label.begin() + 16, label.end() - 2};
}

bool IsWhole(const PrintedLabel& label) {
  return label.raster == RasterOf(label.index);
}

// The labels that came out whole, each at the place of its last copy.
std::vector<std::uint16_t> LastCopies(const std::vector<PrintedLabel>& printed) {
  std::vector<std::uint16_t> order;
  for (const PrintedLabel& label : printed) {
    if (IsWhole(label)) {
      std::erase(order, label.index);
      order.push_back(label.index);
    }
  }
  return order;
}

bool Holds(const std::vector<std::uint16_t>& labels, std::uint16_t index) {
  return std::find(labels.begin(), labels.end(), index) != labels.end();
}

// All labels but `lost`, in their order.
std::vector<std::uint16_t> AllBut(const std::vector<std::uint16_t>& lost) {
  std::vector<std::uint16_t> order;
  for (std::uint16_t index = 1; index <= kLabels; ++index) {
    if (!Holds(lost, index)) {
      order.push_back(index);
    }
  }
  return order;
}

// The calls of a job that nothing happens to, with where their bytes stand in the stream of each direction.
class Plan {
 public:
  explicit Plan(const JobSettings& settings)
      : isTape_(settings.row >= 8), calls_(PrintWith(settings, std::nullopt).calls) {
    std::size_t given = 0;
    for (std::size_t at = 0; at < calls_.size(); ++at) {
      (calls_[at].isWrite ? taken_ : given) += calls_[at].bytes.size();
      end_.push_back(calls_[at].isWrite ? taken_ : given);
    }
    given_ = given;
  }

  std::size_t Taken() const { return taken_; }
  std::size_t Given() const { return given_; }

  // The labels that are lost by the cut.
  std::vector<std::uint16_t> LostBy(const Cut& cut) const;

 private:
  bool IsStatusRequest(std::size_t call) const {
    return calls_[call].isWrite && calls_[call].bytes.size() == 3 && calls_[call].bytes[1] == 'A';
  }
  bool Asks(std::size_t call) const {
    return IsStatusRequest(call) || (calls_[call].isWrite && calls_[call].bytes == Bytes("1B 56"));
  }
  std::size_t RequestOf(std::size_t read) const;
  bool BeginsALabel(std::size_t call) const { return calls_[call].isWrite && calls_[call].bytes[1] == 'n'; }
  // Only the head part of it, without the raster.
  bool BeginsChunks(std::size_t call) const { return calls_[call].bytes.size() <= 4; }
  std::size_t EndOfLabel(std::size_t begin) const;
  bool IsLostInPlace(std::size_t begin, const Cut& cut) const;
  std::size_t AnswersAwaitedBefore(std::size_t call) const;
  std::size_t CallOfCut(const Cut& cut) const;
  bool IsAnswered(std::size_t read, const Cut& cut) const;
  bool ReachedThePrinter(std::size_t call, const Cut& cut, std::size_t missing = 0) const;
  std::optional<std::size_t> FirstDeadWrite(const Cut& cut) const;

  const bool isTape_;
  std::vector<PortCall> calls_;
  std::vector<std::size_t> end_;  // of each call's bytes
  std::size_t taken_ = 0;
  std::size_t given_ = 0;
};

// The write that asked for what a call reads: answers come in the order of their requests.
std::size_t Plan::RequestOf(std::size_t read) const {
  const auto reads = std::count_if(calls_.begin(), calls_.begin() + static_cast<std::ptrdiff_t>(read) + 1,
                                   [](const PortCall& call) { return !call.isWrite; });
  std::ptrdiff_t requests = 0;
  std::size_t call = 0;
  while ((requests += Asks(call) ? 1 : 0) < reads) {
    ++call;
  }
  return call;
}

// In which call the cut is reached: an answer gets out when its request comes in. One before the first call, so to speak,
// for a cut at nothing, and one behind the last for a cut that is never reached.
std::size_t Plan::CallOfCut(const Cut& cut) const {
  if (cut.at == 0) {
    return SIZE_MAX;
  }
  for (std::size_t call = 0; call < calls_.size(); ++call) {
    if (calls_[call].isWrite != cut.countsAnswers && end_[call] >= cut.at) {
      return cut.countsAnswers ? RequestOf(call) : call;
    }
  }
  return calls_.size();
}

// Whether the answer that a call reads got out whole before the cut.
bool Plan::IsAnswered(std::size_t read, const Cut& cut) const {
  return end_[cut.countsAnswers ? read : RequestOf(read)] <= cut.at;
}

// The write with which the label that begins at `begin` leaves the engine's hands: the request for its status, or the form
// feed behind its chunks.
std::size_t Plan::EndOfLabel(std::size_t begin) const {
  std::size_t call = begin + 1;
  while (BeginsChunks(begin) ? calls_[call].bytes != Bytes("1B 47") : !IsStatusRequest(call)) {
    ++call;
  }
  return call;
}

std::size_t Plan::AnswersAwaitedBefore(std::size_t call) const {
  std::size_t awaited = 0;
  for (std::size_t before = 0; before < call; ++before) {
    awaited += Asks(before) ? 1u : 0u;
    awaited -= calls_[before].isWrite ? 0u : 1u;
  }
  return awaited;
}

// But for the last `missing` bytes.
bool Plan::ReachedThePrinter(std::size_t call, const Cut& cut, std::size_t missing) const {
  return cut.countsAnswers ? call <= CallOfCut(cut) : end_[call] - missing <= cut.at;
}

// The first write that meets a dead connection with every call before it a success: nothing if a read fails before.
std::optional<std::size_t> Plan::FirstDeadWrite(const Cut& cut) const {
  std::size_t live = CallOfCut(cut) + 1 + cut.callsLater;  // the first call behind the connection's end
  bool takesOneMore = cut.kind == CutKind::kClose;         // and only then says that nobody is there
  for (std::size_t call = CallOfCut(cut) + 1; call < calls_.size(); ++call) {
    if (!calls_[call].isWrite) {
      if (!IsAnswered(call, cut)) {
        return std::nullopt;
      }
    } else if (call >= live) {
      if (!takesOneMore) {
        return call;
      }
      takesOneMore = false;
    }
  }
  return std::nullopt;
}

bool Plan::IsLostInPlace(std::size_t begin, const Cut& cut) const {
  constexpr std::size_t kFormFeed = 2;
  const auto dead = FirstDeadWrite(cut);
  if (!dead || *dead <= begin || *dead > EndOfLabel(begin) || AnswersAwaitedBefore(*dead) > 0) {
    return false;
  }
  // Only a desktop printer can do without what is still to come: it drops no label that lacks its form feed alone. On tape
  // what the printer never said it has is dropped.
  return BeginsChunks(begin) || !ReachedThePrinter(begin, cut, isTape_ ? 0 : kFormFeed);
}

std::vector<std::uint16_t> Plan::LostBy(const Cut& cut) const {
  std::vector<std::uint16_t> lost;
  for (std::size_t call = 0; call < calls_.size(); ++call) {
    if (BeginsALabel(call) && IsLostInPlace(call, cut)) {
      lost.push_back(calls_[call].bytes[2]);
    }
  }
  return lost;
}

std::string Words(const Cut& cut) {
  return std::string(cut.kind == CutKind::kReset ? "reset" : "close") + " at " +
         (cut.countsAnswers ? "answer byte " : "byte ") + std::to_string(cut.at) + ", " +
         std::to_string(cut.callsLater) + " calls later";
}

void ExpectWholeRasters(const JobRun& run, const std::vector<std::uint16_t>& lost) {
  for (const PrintedLabel& label : run.printed) {
    EXPECT_TRUE(IsWhole(label) || Holds(lost, label.index)) << "label " << label.index << ": " << Hex(label.raster);
  }
}

void ExpectDone(const JobRun& run) {
  EXPECT_EQ(run.job.status, static_cast<DWORD>(JOB_STATUS_COMPLETE));
  EXPECT_EQ(run.job.pagesPrinted, kLabels);
  ASSERT_GE(run.commands.size(), 2u);
  EXPECT_EQ(run.commands[run.commands.size() - 2], static_cast<DWORD>(JOB_CONTROL_SENT_TO_PRINTER));
  EXPECT_EQ(run.commands.back(), static_cast<DWORD>(JOB_CONTROL_LAST_PAGE_EJECTED));
}

struct Case {
  const char* name;
  CutKind kind;
  std::size_t callsLater;
};
void PrintTo(const Case& each, std::ostream* out) {
  *out << each.name;
}

class CutJob : public ::testing::TestWithParam<Case> {
 protected:
  // Cuts at every byte of one direction and compares each run with what the plan says. Gives how many cuts lost a label.
  std::size_t CutEverywhere(const JobSettings& settings, bool answers) {
    const Plan plan(settings);
    std::size_t losses = 0;
    for (std::size_t at = 0; at <= (answers ? plan.Given() : plan.Taken()); ++at) {
      const Cut cut{GetParam().kind, at, answers, GetParam().callsLater};
      SCOPED_TRACE(Words(cut));
      const JobRun run = PrintWith(settings, cut);
      const std::vector<std::uint16_t> lost = settings.sendIphs != 0 ? plan.LostBy(cut) : std::vector<std::uint16_t>();
      losses += lost.empty() ? 0u : 1u;
      EXPECT_EQ(LastCopies(run.printed), AllBut(lost));
      ExpectWholeRasters(run, lost);
      ExpectDone(run);
      if (settings.sendIphs != 0) {
        EXPECT_EQ(run.starts, 1u) << "recovered in place";
      }
      if (HasFailure()) {
        break;
      }
    }
    return losses;
  }
};

TEST_P(CutJob, EveryByteToThePrinter) {
  const JobSettings settings;
  const std::size_t losses = CutEverywhere(settings, false);
  RecordProperty("cuts_that_lose_a_label", static_cast<int>(losses));
  std::printf("%s: %zu of %zu cuts lose a label\n", GetParam().name, losses, Plan(settings).Taken() + 1);
}

TEST_P(CutJob, EveryByteOfTheAnswers) {
  const JobSettings settings;
  const std::size_t losses = CutEverywhere(settings, true);
  std::printf("%s: %zu of %zu cuts lose a label\n", GetParam().name, losses, Plan(settings).Given() + 1);
}

TEST_P(CutJob, EveryByteOfTheLongAnswers) {
  const JobSettings settings{.row = 4};
  const std::size_t losses = CutEverywhere(settings, true);
  std::printf("%s: %zu of %zu cuts lose a label\n", GetParam().name, losses, Plan(settings).Given() + 1);
}

// Four lines a label: in chunks of two, of three and one, and whole.
TEST_P(CutJob, EveryByteToATapePrinterAndOfItsAnswers) {
  const JobSettings jobs[] = {{.row = 8, .chunkLines = 2},
                              {.row = 8, .chunkLines = 3},
                              {.row = 8, .chunkLines = 200},
                              {.row = 9, .chunkLines = 2}};
  for (const JobSettings& settings : jobs) {
    const std::string words =
        "row " + std::to_string(settings.row) + ", chunks of " + std::to_string(settings.chunkLines) + " lines";
    SCOPED_TRACE(words);
    const std::size_t losses = CutEverywhere(settings, false);
    const std::size_t lossesByAnswers = CutEverywhere(settings, true);
    const Plan plan(settings);
    std::printf("%s, %s: %zu of %zu cuts lose a label, %zu of %zu in the answers\n", GetParam().name, words.c_str(),
                losses, plan.Taken() + 1, lossesByAnswers, plan.Given() + 1);
  }
}

TEST_P(CutJob, EveryByteOfTheOtherModelsLongAnswers) {
  const JobSettings settings{.row = 6};
  CutEverywhere(settings, true);
}

TEST_P(CutJob, WithoutRecoveryInPlaceNoCutLosesALabel) {
  const JobSettings settings{.row = 5, .sendIphs = 0};
  EXPECT_EQ(CutEverywhere(settings, false), 0u);
  EXPECT_EQ(CutEverywhere(settings, true), 0u);
}

TEST_P(CutJob, WithoutRecoveryInPlaceNoCutLosesALabelOnTape) {
  const JobSettings settings{.row = 8, .sendIphs = 0, .chunkLines = 2};
  EXPECT_EQ(CutEverywhere(settings, false), 0u);
  EXPECT_EQ(CutEverywhere(settings, true), 0u);
}

INSTANTIATE_TEST_SUITE_P(Lan, CutJob,
                         ::testing::Values(Case{"Reset", CutKind::kReset, 0},
                                           Case{"ResetOneCallLater", CutKind::kReset, 1},
                                           Case{"ResetTwoCallsLater", CutKind::kReset, 2},
                                           Case{"Close", CutKind::kClose, 0},
                                           Case{"CloseOneCallLater", CutKind::kClose, 1},
                                           Case{"CloseTwoCallsLater", CutKind::kClose, kMostCallsLater}),
                         [](const auto& each) { return each.param.name; });

TEST(UncutJob, PrintsItsLabelsOnce) {
  const JobRun run = PrintWith({}, std::nullopt);
  ASSERT_EQ(run.printed.size(), kLabels);
  EXPECT_EQ(LastCopies(run.printed), AllBut({}));
  EXPECT_EQ(run.starts, 1u);
  ExpectDone(run);
}

}  // namespace
}  // namespace sc3xxmon::test
