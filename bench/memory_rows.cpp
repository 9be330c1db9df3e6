// How much the monitor holds at its worst moment, against the bytes that it has taken and the printer hasn't
// acknowledged: those it can't do without.

#include <algorithm>

#include "bench/memory_use.h"
#include "bench/ready_printer.h"
#include "bench/streams.h"
#include "bench/table.h"
#include "monitor/options.h"

namespace sc3xxmon::bench {
namespace {

constexpr Aim kAtMost{AimKind::kAtMost, 2.2};
constexpr std::size_t kLabels = 200;
// The longest label whose length can be told, as wide as the heads are: 10 MB.
constexpr LabelSize kHugeLabel{1280, 65534};

double Ratio(std::size_t peak, std::size_t unacknowledged) {
  return static_cast<double>(peak) / static_cast<double>(unacknowledged);
}

// Nothing is acknowledged: all that was fed counts.
double ParserPeak(Bytes job, std::size_t pieceSize) {
  const PeakMemory peak;
  CKplParser parser(1);
  InPieces(job, pieceSize, [&parser](Bytes piece) { parser.ProcessData(piece.data(), piece.size()); });
  return Ratio(peak.Bytes(), job.size());
}

// Labels are acknowledged as the printer takes them: what counts is the most that was ever outstanding.
double EnginePeak(Bytes job, std::size_t labelBytes, std::size_t pieceSize) {
  ReadyPrinter printer;
  const PeakMemory peak;
  std::size_t fed = 0;
  std::size_t mostOutstanding = 0;
  InPieces(job, pieceSize, [&](Bytes piece) {
    fed += piece.size();
    mostOutstanding = std::max(mostOutstanding, fed - printer.Job().LabelsAcked * labelBytes);
    printer.WritePort(piece);
  });
  return Ratio(peak.Bytes(), mostOutstanding);
}

}  // namespace

std::vector<TableRow> MemoryRows() {
  const Stream parcels = MakeJob(kLabels, kParcelLabel);
  const Stream huge = MakeJob(1, kHugeLabel);
  const std::size_t parcel = kParcelLabel.StreamBytes();
  const std::size_t hugeLabel = kHugeLabel.StreamBytes();
  return {
      {"peak memory of the parser: one span of 54 MB", ParserPeak(parcels, parcels.size()), "", kAtMost},
      {"peak memory of the parser: the same in pieces of 64 KB", ParserPeak(parcels, kSpoolerPiece), "", kAtMost},
      {"peak memory of the parser: one label of 10 MB in pieces", ParserPeak(huge, kSpoolerPiece), "", kAtMost},
      {"peak memory of the engine: one span of 54 MB", EnginePeak(parcels, parcel, parcels.size()), "", kAtMost},
      {"peak memory of the engine: the same in pieces of 64 KB", EnginePeak(parcels, parcel, kSpoolerPiece), "",
       kAtMost},
      {"peak memory of the engine: one label of 10 MB in pieces", EnginePeak(huge, hugeLabel, kSpoolerPiece), "",
       kAtMost},
  };
}

}  // namespace sc3xxmon::bench
