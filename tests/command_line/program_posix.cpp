#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "command_line/program.h"

extern char** environ;

namespace sc3xx::test {

Program::Program(std::vector<std::string> arguments) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe for a program's output");
  }
  output_ = ends[0];
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  posix_spawn_file_actions_addclose(&actions, ends[1]);
  arguments.insert(arguments.begin(), SC3XX_PROGRAM);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  const int error = posix_spawn(&process_, SC3XX_PROGRAM, &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  if (error != 0) {
    process_ = -1;
    throw std::runtime_error("the program can't be started");
  }
}

Program::~Program() {
  CloseOutput();
  Kill();
}

bool Program::ReadSome() {
  char bytes[4096];
  const ssize_t count = output_ < 0 ? 0 : read(output_, bytes, sizeof(bytes));
  if (count <= 0) {
    return false;
  }
  text.append(bytes, static_cast<std::size_t>(count));
  return true;
}

bool Program::WaitFor(const std::string& words) {
  seen_ = 0;
  return WaitForNext(words);
}

bool Program::WaitForNext(const std::string& words) {
  while (text.find(words, seen_) == std::string::npos) {
    if (!ReadSome()) {
      return false;
    }
  }
  seen_ = text.find(words, seen_) + words.size();
  return true;
}

void Program::Interrupt() const {
  kill(process_, SIGINT);
}

void Program::Terminate() const {
  kill(process_, SIGTERM);
}

void Program::Kill() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
  }
}

void Program::CloseOutput() {
  if (output_ >= 0) {
    close(output_);
    output_ = -1;
  }
}

int Program::Wait() {
  while (ReadSome()) {
  }
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace sc3xx::test
