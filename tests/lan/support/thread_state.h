// Whether a thread waits inside the system: what a test does "while a call is under way" begins then. Linux alone.
#pragma once

#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "lan/support/signal.h"

namespace sc3xxmon::test {

// The thread that makes this object.
class ThreadState {
 public:
  // The thread's state stands behind the program's name in brackets.
  bool Waits() const {
    std::ifstream file(file_);
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(')');
    return name != std::string::npos && name + 2 < line.size() && line[name + 2] == 'S';
  }
  void AwaitWaiting() const {
    const auto begin = std::chrono::steady_clock::now();
    while (!Waits()) {
      if (std::chrono::steady_clock::now() > begin + kPatience) {
        throw std::runtime_error("a thread never came to its wait");
      }
      std::this_thread::yield();
    }
  }

 private:
  std::string file_ = "/proc/self/task/" + std::to_string(gettid()) + "/stat";
};

}  // namespace sc3xxmon::test
