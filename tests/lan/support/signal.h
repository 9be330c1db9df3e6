// How threads of a test wait for one another. Never for ever: past ten seconds a wait fails the test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace sc3xxmon::test {

inline constexpr std::chrono::seconds kPatience{10};

class Signal {
 public:
  void Set() {
    const std::lock_guard lock(mutex_);
    isSet_ = true;
    changed_.notify_all();
  }
  void Await() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kPatience, [this] { return isSet_; })) {
      throw std::runtime_error("a signal between the threads of a test never came");
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isSet_ = false;
};

}  // namespace sc3xxmon::test
