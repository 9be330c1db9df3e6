// What the log's statements cost the engine while the log is off: the library against one that was compiled without them.
// Labels of eight bytes show the statements at their dearest, parcel labels as they are on a day of work.

#include <benchmark/benchmark.h>

#include "bench/monitor_library.h"

namespace sc3xxmon::bench {
namespace {

const Stream& TinyLabels() {
  static const Stream job = MakeJob(20000, kTinyLabel);
  return job;
}
const Stream& ParcelLabels() {
  static const Stream job = MakeJob(60, kParcelLabel);
  return job;
}

void PrintThroughDoor(benchmark::State& state, const Stream& (*job)(), MonitorLibrary& (*library)()) {
  for (auto _ : state) {
    state.PauseTiming();
    const bool printed = library().Print([&](auto write) {
      bool taken = true;
      state.ResumeTiming();
      InPieces(job(), kSpoolerPiece, [&](Bytes piece) { taken = write(piece) && taken; });
      state.PauseTiming();
      return taken;
    });
    state.ResumeTiming();
    if (!printed) {
      state.SkipWithError("the monitor refused the job");
    }
  }
}

MonitorLibrary& WithLog() {
  static MonitorLibrary library(SC3XXMON_LIBRARY);
  return library;
}
MonitorLibrary& WithoutLog() {
  static MonitorLibrary library(SC3XXMON_LIBRARY_WITHOUT_LOG);
  return library;
}

BENCHMARK_CAPTURE(PrintThroughDoor, tinyLog, TinyLabels, WithLog)->Name("Tiny/log-off")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PrintThroughDoor, tiny, TinyLabels, WithoutLog)->Name("Tiny/no-log")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PrintThroughDoor, parcelsLog, ParcelLabels, WithLog)
    ->Name("Parcels/log-off")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PrintThroughDoor, parcels, ParcelLabels, WithoutLog)
    ->Name("Parcels/no-log")
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sc3xxmon::bench
