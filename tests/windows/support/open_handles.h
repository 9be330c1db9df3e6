// How many handles this process has open: what a failure path leaves behind shows here. Counted by asking for each, since
// not every system that runs these tests counts them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {

inline std::size_t OpenHandles() {
  constexpr std::uintptr_t kStep = 4;
  constexpr std::uintptr_t kBeyond = 0x2000;
  std::size_t count = 0;
  for (std::uintptr_t value = kStep; value < kBeyond; value += kStep) {
    DWORD flags = 0;
    count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != FALSE ? 1u : 0u;
  }
  return count;
}

}  // namespace sc3xxmon::test
