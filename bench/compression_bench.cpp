#include <benchmark/benchmark.h>
#include <lz4.h>

#include "bench/streams.h"
#include "stream/raster_compression.h"

namespace sc3xxmon::bench {
namespace {

// Straight from one buffer into another, both there already.
void BareLz4(benchmark::State& state) {
  const Stream raster = LabelRaster(kParcelLabel);
  const int size = static_cast<int>(raster.size());
  Stream block(static_cast<std::size_t>(LZ4_compressBound(size)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(LZ4_compress_default(reinterpret_cast<const char*>(raster.data()),
                                                  reinterpret_cast<char*>(block.data()), size,
                                                  static_cast<int>(block.size())));
  }
}
BENCHMARK(BareLz4)->Unit(benchmark::kMicrosecond);

void CompressParcelRaster(benchmark::State& state) {
  const Stream raster = LabelRaster(kParcelLabel);
  for (auto _ : state) {
    benchmark::DoNotOptimize(CompressRaster(raster));
  }
}
BENCHMARK(CompressParcelRaster)->Name("CompressRaster")->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace sc3xxmon::bench
