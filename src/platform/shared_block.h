// A block of memory with a name, for all copies of the monitor in one process: its name has to hold the process id. Zero
// when it is new. It lives until the process ends; the same remarks on names hold as for a named mutex.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// Two handles, both null until they are opened.
struct SharedBlock {
  HANDLE mapping = nullptr;  // stays null off Windows, where the view is all there is
  void* view = nullptr;
};

// Opens the block of `size` bytes, making it first where it doesn't exist. On a failure the view is null.
SharedBlock OpenSharedBlock(const std::wstring& name, std::uint32_t size);

void CloseSharedBlock(const SharedBlock& block, std::uint32_t size);

}  // namespace sc3xxmon::platform
