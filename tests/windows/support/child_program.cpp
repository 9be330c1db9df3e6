#include "support/child_program.h"

#include <stdexcept>
#include <utility>

#include "support/loaded_library.h"

namespace sc3xxmon::test {
namespace {

// A pipe of which the child inherits one end: `childReads` says which. Gives the child's end and ours.
std::pair<HANDLE, HANDLE> Pipe(bool childReads) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (CreatePipe(&read, &write, &inherited, 0) == FALSE) {
    throw std::runtime_error("no pipe for a child");
  }
  const auto ends = childReads ? std::pair(read, write) : std::pair(write, read);
  SetHandleInformation(ends.second, HANDLE_FLAG_INHERIT, 0);
  return ends;
}

}  // namespace

ChildProgram::ChildProgram(const std::wstring& fileName, const std::wstring& arguments, DWORD creationFlags) {
  const auto [childInput, toChild] = Pipe(true);
  const auto [childOutput, fromChild] = Pipe(false);
  toChild_ = toChild;
  fromChild_ = fromChild;
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = childInput;
  start.hStdOutput = childOutput;
  start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  std::wstring commandLine = L"\"" + ProgramFolder() + L"\\" + fileName + L"\" " + arguments;
  PROCESS_INFORMATION started{};
  const BOOL runs = CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, creationFlags, nullptr, nullptr,
                                   &start, &started);
  CloseHandle(childInput);
  CloseHandle(childOutput);
  if (runs == FALSE) {
    throw std::runtime_error("a child program can't be started");
  }
  CloseHandle(started.hThread);
  process_ = started.hProcess;
}

ChildProgram::~ChildProgram() {
  Kill();
  CloseHandle(toChild_);
  CloseHandle(fromChild_);
  CloseHandle(process_);
}

char ChildProgram::Hear() const {
  char word = '\0';
  DWORD count = 0;
  return ReadFile(fromChild_, &word, 1, &count, nullptr) != FALSE && count == 1 ? word : '\0';
}

void ChildProgram::Tell(char word) const {
  const char line[] = {word, '\n'};
  DWORD count = 0;
  WriteFile(toChild_, line, sizeof(line), &count, nullptr);
}

void ChildProgram::Kill() {
  TerminateProcess(process_, 1);
  WaitForSingleObject(process_, INFINITE);
}

}  // namespace sc3xxmon::test
