// A job of three labels, its connection cut at every byte.
//
// Where the monitor recovers in place, one class of cuts loses a label. A write that goes into a dying connection counts
// as done. If the death shows at the request for that label's status, not before, the request goes out anew on a fresh
// connection; the printer, which knows nothing of the label and is ready, answers it, and the answer counts for the label.
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
  run.printed = printer.WithPrinter([](simulator::VirtualPrinter& machine) { return machine.Printed(); });
  return run;
}

ByteString RasterOf(std::uint16_t index) {
  const ByteString label = Label(index);
  return {label.begin() + 16, label.end() - 2};
}

// The labels that came out, each at the place of its last copy.
std::vector<std::uint16_t> LastCopies(const std::vector<PrintedLabel>& printed) {
  std::vector<std::uint16_t> order;
  for (const PrintedLabel& label : printed) {
    std::erase(order, label.index);
    order.push_back(label.index);
  }
  return order;
}

// All labels but `lost`, in their order.
std::vector<std::uint16_t> AllBut(std::optional<std::uint16_t> lost) {
  std::vector<std::uint16_t> order;
  for (std::uint16_t index = 1; index <= kLabels; ++index) {
    if (index != lost) {
      order.push_back(index);
    }
  }
  return order;
}

// The calls of a job that nothing happens to, with where their bytes stand in the stream of each direction.
class Plan {
 public:
  explicit Plan(const JobSettings& settings) : calls_(PrintWith(settings, std::nullopt).calls) {
    std::size_t given = 0;
    for (std::size_t at = 0; at < calls_.size(); ++at) {
      (calls_[at].isWrite ? taken_ : given) += calls_[at].bytes.size();
      end_.push_back(calls_[at].isWrite ? taken_ : given);
    }
    given_ = given;
  }

  std::size_t Taken() const { return taken_; }
  std::size_t Given() const { return given_; }

  // The label that is lost by the cut.
  std::optional<std::uint16_t> LostBy(const Cut& cut) const;

 private:
  bool IsStatusRequest(std::size_t call) const {
    return calls_[call].isWrite && calls_[call].bytes.size() == 3 && calls_[call].bytes[1] == 'A';
  }
  bool Asks(std::size_t call) const {
    return IsStatusRequest(call) || (calls_[call].isWrite && calls_[call].bytes == Bytes("1B 56"));
  }
  std::size_t RequestOf(std::size_t read) const;
  // 0 if the call writes no label.
  std::uint16_t LabelOf(std::size_t call) const {
    const ByteString& bytes = calls_[call].bytes;
    const bool isLabel = calls_[call].isWrite && bytes.size() > 16 && bytes[1] == 'n';
    return isLabel ? static_cast<std::uint16_t>(bytes[2]) : std::uint16_t{0};
  }
  std::size_t CallOfCut(const Cut& cut) const;
  bool IsAnswered(std::size_t read, const Cut& cut) const;
  bool ReachedThePrinter(std::size_t call, const Cut& cut) const;
  std::optional<std::size_t> FirstDeadWrite(const Cut& cut) const;

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

// A label lacks nothing but its form feed.
bool Plan::ReachedThePrinter(std::size_t call, const Cut& cut) const {
  constexpr std::size_t kFormFeed = 2;
  return cut.countsAnswers ? call <= CallOfCut(cut) : end_[call] - kFormFeed <= cut.at;
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

std::optional<std::uint16_t> Plan::LostBy(const Cut& cut) const {
  const auto dead = FirstDeadWrite(cut);
  if (!dead || !IsStatusRequest(*dead)) {
    return std::nullopt;
  }
  for (std::size_t call = *dead; call-- > 0;) {
    if (const std::uint16_t label = LabelOf(call); label != 0) {
      return ReachedThePrinter(call, cut) ? std::nullopt : std::optional(label);
    }
  }
  return std::nullopt;
}

std::string Words(const Cut& cut) {
  return std::string(cut.kind == CutKind::kReset ? "reset" : "close") + " at " +
         (cut.countsAnswers ? "answer byte " : "byte ") + std::to_string(cut.at) + ", " +
         std::to_string(cut.callsLater) + " calls later";
}

void ExpectWholeRasters(const JobRun& run) {
  for (const PrintedLabel& label : run.printed) {
    EXPECT_EQ(label.raster, RasterOf(label.index)) << "label " << label.index;
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
      const auto lost = settings.sendIphs != 0 ? plan.LostBy(cut) : std::nullopt;
      losses += lost ? 1u : 0u;
      EXPECT_EQ(LastCopies(run.printed), AllBut(lost));
      ExpectWholeRasters(run);
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

TEST_P(CutJob, WithoutRecoveryInPlaceNoCutLosesALabel) {
  const JobSettings settings{.row = 5, .sendIphs = 0};
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
  EXPECT_EQ(LastCopies(run.printed), AllBut(std::nullopt));
  EXPECT_EQ(run.starts, 1u);
  ExpectDone(run);
}

}  // namespace
}  // namespace sc3xxmon::test
