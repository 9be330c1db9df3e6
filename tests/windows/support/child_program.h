// A program beside this one, with its standard input and output in the test's hands.
#pragma once

#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {

class ChildProgram {
 public:
  // `arguments` follow the program's name on its command line. Throws std::runtime_error if it can't be started.
  // `creationFlags` are the system's.
  ChildProgram(const std::wstring& fileName, const std::wstring& arguments, DWORD creationFlags = 0);
  // Kills a child that still runs.
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  // The next character that it says; '\0' once it has gone. Blocks.
  char Hear() const;
  void Tell(char word) const;
  // Ends it at once, as a crash would, and waits until it is gone.
  void Kill();

 private:
  HANDLE toChild_ = nullptr;
  HANDLE fromChild_ = nullptr;
  HANDLE process_ = nullptr;
};

}  // namespace sc3xxmon::test
