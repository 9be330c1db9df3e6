// A second process for tests: what two processes of one machine share can't be shown in one. No system header here.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace sc3xxmon::test {

// One end of a pair of pipes: single characters, in order. Both calls block until the other side is there.
class ProcessChannel {
 public:
  ProcessChannel(int readFrom, int writeTo) : readFrom_(readFrom), writeTo_(writeTo) {}

  void Tell(char word) const;
  // '\0' once the other side is gone.
  char Hear() const;

 private:
  int readFrom_;
  int writeTo_;
};

// Runs `body` in a fork of this process; the child ends when it returns, without running exit handlers. Make it while
// this process has one thread. The destructor kills a child that still runs, and waits for it.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<void(ProcessChannel& parent)>& body);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  ProcessChannel& Channel() { return channel_; }
  // Ends the child at once, as a crash would, and waits until it is gone.
  void Kill();

 private:
  ProcessChannel channel_{-1, -1};
  int process_ = -1;
  int ownRead_ = -1;
  int ownWrite_ = -1;
};

std::uint32_t ProcessId();

// A word that no other test process and no other object of this one uses. What named objects leave behind under names
// that hold the word is removed with it.
class UniqueWord {
 public:
  UniqueWord();
  ~UniqueWord();
  UniqueWord(const UniqueWord&) = delete;
  UniqueWord& operator=(const UniqueWord&) = delete;

  const std::wstring& Text() const { return text_; }

 private:
  std::wstring text_;
};

}  // namespace sc3xxmon::test
