// What tests need of processes here. A process can't be forked: tests that need a second one start a program instead
// (support/second_process.h).
#include <random>

#include "sc3xxmon/spooler_abi.h"

#include "support/child_process.h"

namespace sc3xxmon::test {

std::uint32_t ProcessId() {
  return GetCurrentProcessId();
}

// The machine's objects go with their last handle: there is nothing to remove.
UniqueWord::UniqueWord() : text_(std::to_wstring(ProcessId()) + L"x" + std::to_wstring(std::random_device{}())) {}
UniqueWord::~UniqueWord() = default;

}  // namespace sc3xxmon::test
