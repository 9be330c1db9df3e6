#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <optional>

#include "bench/cold_caches.h"
#include "bench/memory_use.h"
#include "bench/streams.h"
#include "stream/byte_vector.h"
#include "stream/kpl_parser.h"

namespace sc3xxmon::bench {
namespace {

constexpr std::size_t kLargeSpanLabels = 248;  // 64 MB of parcel labels

const Stream& LargeJob() {
  static const Stream job = MakeJob(kLargeSpanLabels, kParcelLabel);
  return job;
}

// What ProcessData can't do without is one copy of the bytes into memory of their own. Both are measured with memory
// that the system has to hand out first, and with memory that is there: the pages cost more than the bytes.
void CopyInto(benchmark::State& state) {
  const Stream& job = LargeJob();
  for (auto _ : state) {
    std::optional<ByteVector> copy(std::in_place, job.size());
    std::memcpy(copy->data(), job.data(), job.size());
    benchmark::ClobberMemory();
    state.PauseTiming();
    copy.reset();
    state.ResumeTiming();
  }
}

void FetchPages() {
  const Stream& job = LargeJob();
  ByteVector(job.begin(), job.end());
  CKplParser(1).ProcessData(job.data(), job.size());
}

void CopyIntoNewMemory(benchmark::State& state) {
  CopyInto(state);
}
BENCHMARK(CopyIntoNewMemory)->Name("Memcpy/new")->Unit(benchmark::kMillisecond);

void CopyIntoMemoryAtHand(benchmark::State& state) {
  const PagesAtHand pages;
  FetchPages();
  CopyInto(state);
}
BENCHMARK(CopyIntoMemoryAtHand)->Name("Memcpy/at-hand")->Unit(benchmark::kMillisecond);

void ProcessLargeSpan(benchmark::State& state) {
  const Stream& job = LargeJob();
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<CKplParser> parser(std::in_place, 1);
    state.ResumeTiming();
    parser->ProcessData(job.data(), job.size());
    state.PauseTiming();
    parser.reset();
    state.ResumeTiming();
  }
}

void ProcessDataIntoNewMemory(benchmark::State& state) {
  ProcessLargeSpan(state);
}
BENCHMARK(ProcessDataIntoNewMemory)->Name("ProcessData/new")->Unit(benchmark::kMillisecond);

void ProcessDataIntoMemoryAtHand(benchmark::State& state) {
  const PagesAtHand pages;
  FetchPages();
  ProcessLargeSpan(state);
}
BENCHMARK(ProcessDataIntoMemoryAtHand)->Name("ProcessData/at-hand")->Unit(benchmark::kMillisecond);

// With memory at hand as well: whether the system takes pages back between two rounds depends on what ran before, and
// would decide the ratio.
void ParseLabels(benchmark::State& state) {
  const PagesAtHand pages;
  const Stream job = MakeJob(static_cast<std::size_t>(state.range(0)), kTinyLabel);
  CKplParser(1).ProcessData(job.data(), job.size());
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<CKplParser> parser(std::in_place, 1);
    ColdCaches();
    state.ResumeTiming();
    parser->ProcessData(job.data(), job.size());
    state.PauseTiming();
    parser.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(ParseLabels)->Arg(25000)->Arg(50000)->Arg(100000)->Unit(benchmark::kMillisecond);

void Acknowledge(benchmark::State& state) {
  const PagesAtHand pages;
  const Stream job = MakeJob(static_cast<std::size_t>(state.range(0)), kTinyLabel);
  for (auto _ : state) {
    state.PauseTiming();
    CKplParser parser(1);
    parser.ProcessData(job.data(), job.size());
    for (KplLabel& label : parser.Labels) {
      parser.MarkSent(label);
    }
    ColdCaches();
    state.ResumeTiming();
    while (parser.AckFirstLabel() != 0) {
    }
  }
}
BENCHMARK(Acknowledge)->Arg(25000)->Arg(50000)->Arg(100000)->Unit(benchmark::kMillisecond);

// A label of 2 MB in pieces of the given size.
void FeedLabel(benchmark::State& state) {
  constexpr LabelSize kSize{1024, 2 * 1024 * 1024 / 128};
  const Stream job = MakeJob(1, kSize);
  const auto pieceSize = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    CKplParser parser(1);
    InPieces(job, pieceSize, [&parser](Bytes piece) { parser.ProcessData(piece.data(), piece.size()); });
    if (parser.ParserState != kParserFooter || parser.Labels.size() != 1) {
      state.SkipWithError("the label wasn't cut");
    }
  }
}
BENCHMARK(FeedLabel)->Arg(1)->Arg(kSpoolerPiece)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sc3xxmon::bench
