// How many files and sockets this process has open: what a failure path leaves behind shows here.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace sc3xxmon::test {

inline std::size_t OpenDescriptors() {
  const std::filesystem::directory_iterator begin("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}

}  // namespace sc3xxmon::test
