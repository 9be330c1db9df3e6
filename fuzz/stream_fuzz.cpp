// The iterator and the parser against the naive parser: the same stream in the same pieces, with labels sent,
// acknowledged and reverted in between, has to give the same everything after every piece, log lines included.

#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "fuzz/input_reader.h"
#include "fuzz/log_capture.h"
#include "fuzz/naive_parser.h"
#include "fuzz/stream_maker.h"
#include "monitor/options.h"
#include "stream/kpl_iterator.h"
#include "stream/kpl_parser.h"

namespace sc3xxmon::fuzz {
namespace {

using Bytes = std::span<const std::uint8_t>;

bool Same(Bytes one, Bytes other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

void CompareIterators(Bytes stream, LogCapture& log) {
  std::vector<std::string> naiveLog;
  std::size_t offset = 0;
  CKplIterator it(stream.data(), stream.size());
  while (const auto command = NaiveCommandAt(stream, offset, naiveLog)) {
    FUZZ_CHECK(!it.AtEnd());
    FUZZ_CHECK(it.Current.Data == stream.data() + offset);
    FUZZ_CHECK(it.Current.Length == command->length);
    FUZZ_CHECK(it.Current.Letter() == command->letter);
    const CKplIterator before = it++;
    FUZZ_CHECK(before.Current.Length == command->length);
    offset += static_cast<std::size_t>(command->length);
  }
  FUZZ_CHECK(it.AtEnd());
  FUZZ_CHECK(it == CKplIterator());
  FUZZ_CHECK(log.lines == naiveLog);
  log.lines.clear();
}

void CompareLabel(const KplLabel& label, const NaiveLabel& naive) {
  FUZZ_CHECK(Same(label.Data, naive.data));
  FUZZ_CHECK(label.IphLength == naive.iphLength);
  FUZZ_CHECK(label.LabelIndex == naive.labelIndex);
  FUZZ_CHECK(label.CompressedSize == naive.compressedSize);
  FUZZ_CHECK(label.Retries == naive.retries);
  FUZZ_CHECK(label.Sent() == naive.sent);
  FUZZ_CHECK(label.RasterSize() == naive.RasterSize());
  FUZZ_CHECK((label.PrintDataCommand != nullptr) == naive.raster.has_value());
  if (naive.raster) {
    FUZZ_CHECK(label.PrintDataCommand == label.Data.data() + naive.raster->offset);
    FUZZ_CHECK(label.PrintDataParams == label.Data.data() + naive.DescriptorOffset());
    FUZZ_CHECK(label.PrintDataHead.index() == (naive.raster->letter == 'D' ? 1 : 2));
  } else {
    FUZZ_CHECK(label.PrintDataParams == nullptr);
  }
}

class TwoParsers {
 public:
  TwoParsers(bool keepEmptyLabels, LogCapture& log) : naive_(keepEmptyLabels), log_(log) {}

  void Feed(Bytes piece) {
    const std::int32_t taken = fast_.ProcessData(piece.data(), piece.size());
    FUZZ_CHECK(taken == static_cast<std::int32_t>(piece.size()));
    naive_.ProcessData(piece);
    Compare();
  }

  void Send() {
    KplLabel* label = fast_.FirstUnsentLabel();
    const auto naive =
        std::find_if(naive_.labels.begin(), naive_.labels.end(), [](const NaiveLabel& each) { return !each.sent; });
    FUZZ_CHECK((label != nullptr) == (naive != naive_.labels.end()));
    if (label != nullptr) {
      FUZZ_CHECK(label == &fast_.Labels[static_cast<std::size_t>(naive - naive_.labels.begin())]);
      fast_.MarkSent(*label);
      naive->sent = true;
    }
  }

  void Acknowledge() { FUZZ_CHECK(fast_.AckFirstLabel() == naive_.AckFirstLabel()); }

  void Revert() {
    fast_.RevertSentLabels();
    naive_.RevertSentLabels();
  }

  void Compare() {
    FUZZ_CHECK(fast_.ParserState == naive_.state);
    FUZZ_CHECK(Same(fast_.Buffer(), naive_.Buffer()));
    FUZZ_CHECK(Same(fast_.JobHeader, naive_.jobHeader));
    FUZZ_CHECK(Same(fast_.JobFooter, naive_.jobFooter));
    FUZZ_CHECK(fast_.ParserQParameter == naive_.qParameter);
    FUZZ_CHECK(fast_.OpenLengthLabels == naive_.openLengthLabels);
    FUZZ_CHECK(fast_.LabelsParsed == naive_.labelsParsed);
    FUZZ_CHECK(fast_.LabelsAcked == naive_.labelsAcked);
    FUZZ_CHECK(log_.lines == naive_.log);
    log_.lines.clear();
    naive_.log.clear();
    CompareLabels();
  }

 private:
  void CompareLabels() {
    FUZZ_CHECK(fast_.Labels.size() == naive_.labels.size());
    for (std::size_t i = 0; i < naive_.labels.size(); ++i) {
      CompareLabel(fast_.Labels[i], naive_.labels[i]);
    }
    const auto sent = static_cast<std::uint32_t>(
        std::count_if(naive_.labels.begin(), naive_.labels.end(), [](const NaiveLabel& label) { return label.sent; }));
    FUZZ_CHECK(fast_.SentLabelCount() == sent);
    FUZZ_CHECK(fast_.UnsentLabelCount() == naive_.labels.size() - sent);
  }

  CKplParser fast_{1};
  NaiveParser naive_;
  LogCapture& log_;
};

void Disturb(TwoParsers& parsers, std::uint8_t what) {
  switch (what & 7) {
    case 1:
    case 2:
      parsers.Send();
      break;
    case 3:
      parsers.Send();
      parsers.Acknowledge();
      break;
    case 4:
      parsers.Acknowledge();
      break;
    case 5:
      parsers.Revert();
      break;
    default:
      break;
  }
  parsers.Compare();
}

// Sizes of pieces: one that is always the same, or one after another from the input.
std::size_t PieceSize(InputReader& cuts, std::uint8_t rule) {
  return rule < 200 ? rule % 50u + std::size_t{1} : std::size_t{cuts.Byte()} + 1;
}

void RunOne(InputReader input) {
  Sc3xxHost host{};
  host.size = sizeof(host);
  LogCapture log(host);
  Sc3xxSetHost(&host);
  const std::uint8_t shape = input.Byte();
  PrintEmptyLabel = shape & 1;
  const std::uint8_t cutRule = input.Byte();
  InputReader cuts(input.Take(cutRule < 200 ? 0 : input.Byte()));
  InputReader disturbances(input.Take(input.Byte() & 0x3F));

  ByteString stream;
  switch ((shape >> 1) & 3) {
    case 0: {
      const Bytes all = input.TakeAll();
      stream.assign(all.begin(), all.end());
      break;
    }
    case 1:
      stream = MakeJob(input, 30);
      break;
    default:
      stream = MakeCommands(input);
      break;
  }
  CompareIterators(stream, log);
  TwoParsers parsers(PrintEmptyLabel != 0, log);
  for (Bytes rest = stream; !rest.empty();) {
    const std::size_t size = (shape & 8) != 0 ? rest.size() : std::min(rest.size(), PieceSize(cuts, cutRule));
    parsers.Feed(rest.first(size));
    rest = rest.subspan(size);
    Disturb(parsers, disturbances.Byte());
  }
  Sc3xxSetHost(nullptr);
  PrintEmptyLabel = 0;
}

}  // namespace
}  // namespace sc3xxmon::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sc3xxmon::fuzz::RunOne(sc3xxmon::fuzz::InputReader(data, size));
  return 0;
}
