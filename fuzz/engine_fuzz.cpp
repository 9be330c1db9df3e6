// The whole engine behind the monitor's port table: a job in arbitrary pieces, through a port and a printer that do
// whatever the input says, while the spooler may delete the job at any moment and feeds it again when it is asked to.
//
// Checked: every byte on the wire belongs there (WireCheck), the number of port calls has a bound, a job that comes
// to its end has every label acknowledged and its footer sent, and everything that was opened is closed.

#include "diag/debug_settings.h"
#include "fuzz/arbitrary_host.h"
#include "fuzz/arbitrary_port.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/stream_maker.h"
#include "fuzz/wire_check.h"
#include "monitor/langmon.h"
#include "monitor/options.h"

namespace sc3xxmon::fuzz {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr DWORD kJobId = 7;
constexpr std::uint32_t kMostLabels = 12;

// What stays fixed for a run.
struct Setting {
  std::uint32_t model = 0;
  bool lan = false;
  ByteString stream;
  std::vector<std::size_t> pieces;  // sizes, used round and round
  std::size_t rasterLines = 0;      // of all labels together
  bool logs = false;
  bool takesNoLock = false;

  // A call that doesn't go well uses up a byte of the input and costs at most all of the job once more.
  std::size_t MostCalls(std::size_t inputSize) const {
    return (inputSize + 2) * (stream.size() + kCallsPerLine * rasterLines + kCallsOfReadiness);
  }

 private:
  static constexpr std::size_t kCallsPerLine = 4;  // in chunks of one line
  static constexpr std::size_t kCallsOfReadiness = 200;
};

void ReadOptionsFrom(InputReader& input) {
  const std::uint8_t bits = input.Byte();
  PrintEmptyLabel = bits & 1;
  SendIPHs = (bits & 2) != 0 ? 0 : 1;
  UnlockOnError = (bits & 4) != 0 ? 1 : 0;
  LabelCompressMode = (bits >> 3) & 3;
  PdChunkSize = input.Byte() % 24;
}

std::size_t CountRasterLines(Bytes stream) {
  NaiveParser parser(true);
  parser.ProcessData(stream);
  std::size_t lines = 0;
  for (const NaiveLabel& label : parser.labels) {
    lines += label.raster ? label.LineCount() : 0;
  }
  return lines;
}

Setting ReadSetting(InputReader& input) {
  Setting setting;
  const std::uint8_t shape = input.Byte();
  setting.model = shape % 10;
  setting.lan = (shape & 0x40) != 0;
  const std::uint8_t debug = input.Byte();
  setting.logs = (debug & 1) != 0;
  setting.takesNoLock = (debug & 6) == 6;
  ReadOptionsFrom(input);
  for (std::uint32_t left = input.Choice(6) + 1; left > 0; --left) {
    const std::uint8_t size = input.Byte();
    setting.pieces.push_back(size < 200 ? size + std::size_t{1} : size * std::size_t{100});
  }
  InputReader job(input.Take(input.Number16() % 1024));
  setting.stream = (shape & 0x80) != 0 ? MakeCommands(job) : MakeJob(job, kMostLabels);
  setting.rasterLines = CountRasterLines(setting.stream);
  return setting;
}

enum class DocumentEnd { kFed, kRestart, kStopped };

class Run {
 public:
  Run(const Setting& setting, InputReader& input)
      : setting_(setting), host_(input, setting.model), port_(input, setting.MostCalls(input.Left())) {
    port_.acknowledged = [this] { return host_.PagesPrinted(); };
  }
  ~Run() {
    diag::debugLevel = 0;
    diag::flagWord = 0;
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  void Print() {
    Open();
    // A restart needs a failed call, which uses up input: there is an end to them.
    while (PrintDocument() == DocumentEnd::kRestart) {
    }
    FUZZ_CHECK(table_->pfnClosePort(handle_) != 0);
    FUZZ_CHECK(!port_.open && !port_.inDocument);
    FUZZ_CHECK(host_.OpenPrinters() == 0);
  }

 private:
  void Open() {
    MONITORINIT init{};
    init.bLocal = TRUE;
    HANDLE none = nullptr;
    table_ = InitializePrintMonitor2(&init, &none);
    FUZZ_CHECK(table_ != nullptr);
    SetOptionsAgain();
    MONITOR2 below = port_.Table();
    FUZZ_CHECK(table_->pfnOpenPortEx(none, &port_, portName_, printerName_, &handle_, &below) != 0);
    // The choice between the two kinds of port is made by names; here only its result matters.
    CLangMon::FindLangMon(reinterpret_cast<PortKey>(handle_))->isUsb = setting_.lan ? 0 : 1;
  }

  // InitializePrintMonitor2 has just read the defaults.
  void SetOptionsAgain() const {
    diag::debugLevel = setting_.logs ? 1 : 0;
    diag::flagWord = setting_.takesNoLock ? diag::kDontLock : 0u;
    PrintEmptyLabel = options_.printEmptyLabel;
    SendIPHs = options_.sendIphs;
    UnlockOnError = options_.unlockOnError;
    LabelCompressMode = options_.labelCompressMode;
    PdChunkSize = options_.pdChunkSize;
  }

  DocumentEnd PrintDocument() {
    host_.BeginDocument();
    WireCheck check(PrintEmptyLabel != 0);
    DOC_INFO_1W info{};
    FUZZ_CHECK(table_->pfnStartDocPort(handle_, printerName_, kJobId, 1, reinterpret_cast<LPBYTE>(&info)) != 0);
    port_.Watch(&check);
    const bool fed = Feed(check);
    if (fed) {
      CheckComplete(check);
    }
    port_.Watch(nullptr);
    FUZZ_CHECK(table_->pfnEndDocPort(handle_) != 0);
    return fed                                         ? DocumentEnd::kFed
           : host_.RestartWanted() && !host_.Deleted() ? DocumentEnd::kRestart
                                                       : DocumentEnd::kStopped;
  }

  // True if all pieces were taken. A piece that isn't taken is offered again, unless the job is at its end.
  bool Feed(WireCheck& check) {
    std::size_t turn = 0;
    for (Bytes rest = setting_.stream; !rest.empty();) {
      const Bytes piece = rest.first(std::min(rest.size(), setting_.pieces[turn++ % setting_.pieces.size()]));
      if (!Offer(check, piece)) {
        return false;
      }
      rest = rest.subspan(piece.size());
    }
    return true;
  }

  bool Offer(WireCheck& check, Bytes piece) {
    ByteString buffer(piece.begin(), piece.end());
    constexpr DWORD kUntouched = 0xFFFFFFFF;
    DWORD written = kUntouched;
    check.Expect(piece);
    const BOOL result = table_->pfnWritePort(handle_, buffer.data(), static_cast<DWORD>(buffer.size()), &written);
    FUZZ_CHECK(std::equal(piece.begin(), piece.end(), buffer.begin()));
    FUZZ_CHECK(written == piece.size() || (result == 0 && written == kUntouched));
    check.OnAcknowledged(host_.PagesPrinted());
    // What is refused is refused for good: the job is closed, or the printer is.
    return result != 0;
  }

  // A document that was taken to its last byte without a stop.
  void CheckComplete(const WireCheck& check) const {
    const NaiveParser& parser = check.Parser();
    if (parser.state < 3) {
      return;
    }
    FUZZ_CHECK(check.Acknowledged() == parser.labels.size());
  }

  struct Options {
    std::uint32_t printEmptyLabel = PrintEmptyLabel;
    std::uint32_t sendIphs = SendIPHs;
    std::uint32_t unlockOnError = UnlockOnError;
    std::uint32_t labelCompressMode = LabelCompressMode;
    std::uint32_t pdChunkSize = PdChunkSize;
  };

  const Setting& setting_;
  const Options options_;
  ArbitraryHost host_;
  ArbitraryPort port_;
  MONITOR2* table_ = nullptr;
  HANDLE handle_ = nullptr;
  wchar_t portName_[7] = L"USB001";
  wchar_t printerName_[12] = L"Fuzz target";
};

}  // namespace
}  // namespace sc3xxmon::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sc3xxmon::fuzz;
  InputReader input(data, size);
  const Setting setting = ReadSetting(input);
  // A raster whose size wraps may have billions of lines in a few bytes: its chunks are no hang, but take as long.
  constexpr std::size_t kMostLines = 10000;
  if (setting.rasterLines > kMostLines) {
    return 0;
  }
  Run(setting, input).Print();
  return 0;
}
