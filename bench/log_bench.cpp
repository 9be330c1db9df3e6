#include <benchmark/benchmark.h>

#include "diag/debug_log.h"

namespace sc3xxmon::bench {
namespace {

void DebugPrintOff(benchmark::State& state) {
  int number = 0;
  for (auto _ : state) {
    KovaDebugPrint(At("DebugPrintOff"), "Sending label #%d; index=%d, size=%d", number, number, number);
    benchmark::DoNotOptimize(++number);
  }
}
BENCHMARK(DebugPrintOff);

}  // namespace
}  // namespace sc3xxmon::bench
