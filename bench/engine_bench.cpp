#include <benchmark/benchmark.h>
#include <lz4.h>

#include "bench/cold_caches.h"
#include "bench/ready_printer.h"
#include "bench/streams.h"
#include "engine/engine.h"
#include "monitor/options.h"

namespace sc3xxmon::bench {
namespace {

constexpr std::size_t kJobLabels = 60;  // 16 MB of parcel labels

const Stream& ParcelJob() {
  static const Stream job = MakeJob(kJobLabels, kParcelLabel);
  return job;
}

void Dispatch(benchmark::State& state) {
  const Stream job = MakeJob(static_cast<std::size_t>(state.range(0)), kTinyLabel);
  LabelCompressMode = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ReadyPrinter printer;
    printer.Job().ProcessData(job.data(), job.size());
    ColdCaches();
    state.ResumeTiming();
    if (DispatchLabels(printer.Monitor()) != DispatchResult::kAllSent) {
      state.SkipWithError("labels were left over");
    }
  }
}
BENCHMARK(Dispatch)->Arg(25000)->Arg(50000)->Arg(100000)->Unit(benchmark::kMillisecond);

void PortAlone(benchmark::State& state) {
  const Stream& job = ParcelJob();
  CountingPort port;
  for (auto _ : state) {
    InPieces(job, kSpoolerPiece, [&port](Bytes piece) { port.Write(piece); });
    benchmark::ClobberMemory();
  }
}
BENCHMARK(PortAlone)->Unit(benchmark::kMillisecond);

void RunEngine(benchmark::State& state, std::uint32_t compressMode) {
  const Stream& job = ParcelJob();
  LabelCompressMode = compressMode;
  for (auto _ : state) {
    ReadyPrinter printer;
    InPieces(job, kSpoolerPiece, [&printer](Bytes piece) { printer.WritePort(piece); });
    if (printer.Job().LabelsAcked != kJobLabels || printer.Job().FooterSent == 0) {
      state.SkipWithError("the job didn't come to its end");
    }
  }
}
BENCHMARK_CAPTURE(RunEngine, plain, 0)->Name("Engine/plain")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RunEngine, compressing, 3)->Name("Engine/compressing")->Unit(benchmark::kMillisecond);

void BareLz4OfJob(benchmark::State& state) {
  const Stream raster = LabelRaster(kParcelLabel);
  const int size = static_cast<int>(raster.size());
  Stream block(static_cast<std::size_t>(LZ4_compressBound(size)));
  for (auto _ : state) {
    for (std::size_t label = 0; label < kJobLabels; ++label) {
      benchmark::DoNotOptimize(LZ4_compress_default(reinterpret_cast<const char*>(raster.data()),
                                                    reinterpret_cast<char*>(block.data()), size,
                                                    static_cast<int>(block.size())));
    }
  }
}
BENCHMARK(BareLz4OfJob)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sc3xxmon::bench
