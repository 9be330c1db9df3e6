// What every fuzz target is made of: one function that takes arbitrary bytes, and a check that ends the process where
// something is wrong. libFuzzer drives the function; so does the replay program, over the inputs kept in corpus/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace sc3xxmon::fuzz {

[[noreturn]] inline void Fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: not so: %s\n", file, line, what);
  std::abort();
}

}  // namespace sc3xxmon::fuzz

// Not assert: it has to hold in every build.
#define FUZZ_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : ::sc3xxmon::fuzz::Fail(#condition, __FILE__, __LINE__))
