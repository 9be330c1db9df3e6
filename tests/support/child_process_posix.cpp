#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "platform/text.h"
#include "support/child_process.h"

namespace sc3xxmon::test {
namespace {

struct Pipe {
  int read = -1;
  int write = -1;
};

Pipe MakePipe() {
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::runtime_error("no pipe for a child process");
  }
  return {ends[0], ends[1]};
}

}  // namespace

void ProcessChannel::Tell(char word) const {
  if (write(writeTo_, &word, 1) != 1) {
    throw std::runtime_error("the other process is gone");
  }
}

char ProcessChannel::Hear() const {
  char word = '\0';
  return read(readFrom_, &word, 1) == 1 ? word : '\0';
}

ChildProcess::ChildProcess(const std::function<void(ProcessChannel& parent)>& body) {
  const Pipe down = MakePipe();
  const Pipe up = MakePipe();
  process_ = fork();
  if (process_ < 0) {
    throw std::runtime_error("no child process");
  }
  if (process_ == 0) {
    close(down.write);
    close(up.read);
    ProcessChannel parent(down.read, up.write);
    body(parent);
    _exit(0);
  }
  close(down.read);
  close(up.write);
  ownRead_ = up.read;
  ownWrite_ = down.write;
  channel_ = ProcessChannel(ownRead_, ownWrite_);
}

ChildProcess::~ChildProcess() {
  Kill();
  close(ownRead_);
  close(ownWrite_);
}

void ChildProcess::Kill() {
  if (process_ < 0) {
    return;
  }
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

std::uint32_t ProcessId() {
  return static_cast<std::uint32_t>(getpid());
}

UniqueWord::UniqueWord() {
  static std::uint32_t count = 0;
  text_ = L"test-" + std::to_wstring(ProcessId()) + L"-" + std::to_wstring(++count) + L"-";
}

UniqueWord::~UniqueWord() {
  const std::string word = platform::ToUtf8(text_);
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", ignored)) {
    if (entry.path().filename().string().find(word) != std::string::npos) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

}  // namespace sc3xxmon::test
