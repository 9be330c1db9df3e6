// Replaces functions that a loaded module imports: every call of that module goes to the replacement, every other
// module's stays what it was. This is how a test puts a clock or a registry of its own under a library that calls the
// system's, without the library knowing.
//
// Not to be used while the module runs on another thread.
#pragma once

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {

// A module's pointer to a function that it imports by name. Empty if it imports none of that name.
class ImportSlot {
 public:
  ImportSlot(HMODULE module, const char* function);

  // Null brings the original back. No effect on an empty slot.
  void Replace(const void* replacement) const;
  explicit operator bool() const { return slot_ != nullptr; }

 private:
  const void** slot_ = nullptr;
  const void* original_ = nullptr;
};

}  // namespace sc3xxmon::test
