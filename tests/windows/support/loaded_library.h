// The library as it is delivered, loaded by its file as a spooler does; taken out again at the end. Each load reads the
// settings afresh.
#pragma once

#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {

// The folder of this program, and the library in the folder above it.
std::wstring ProgramFolder();
std::wstring LibraryPath();

class LoadedLibrary {
 public:
  LoadedLibrary();  // throws std::runtime_error if the library can't be loaded
  ~LoadedLibrary();
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  MONITOR2* Initialize(BOOL local = TRUE) const;
  HMODULE Module() const { return module_; }

 private:
  HMODULE module_;
};

}  // namespace sc3xxmon::test
