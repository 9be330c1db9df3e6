#include "sc3xxmon/spooler_abi.h"

#include "support/unique_printer.h"

namespace sc3xxmon::test {

UniquePrinter::~UniquePrinter() {
  if (blocker_ != nullptr) {
    CloseHandle(blocker_);
  }
}

// An object of another kind has the name.
bool UniquePrinter::BlockEvent() {
  blocker_ = CreateMutexW(nullptr, FALSE, (L"Global\\KOVA.Sc3xxSync." + name_).c_str());
  return blocker_ != nullptr;
}

}  // namespace sc3xxmon::test
