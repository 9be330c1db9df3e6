// Puts other bytes into the processor's caches. A printer works on a label for seconds, so that what the monitor comes
// back to is never in a cache; without this a short job would run from the caches and a long one wouldn't, and the
// two couldn't be compared.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sc3xxmon::bench {

inline void ColdCaches() {
  constexpr std::size_t kOtherBytes = std::size_t{256} << 20;
  constexpr std::size_t kCacheLine = 64;
  static std::vector<std::uint8_t> others(kOtherBytes);
  for (std::size_t at = 0; at < others.size(); at += kCacheLine) {
    ++others[at];
  }
  benchmark::ClobberMemory();
}

}  // namespace sc3xxmon::bench
