// How threads of a test wait for one another. Never for ever: past ten seconds a wait fails the test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace sc3xxmon::test {

inline constexpr std::chrono::seconds kPatience{10};

// Copies are the same signal, so that a thread may hold one for longer than the test that made it.
class Signal {
 public:
  void Set() const {
    const std::lock_guard lock(state_->mutex);
    state_->isSet = true;
    state_->changed.notify_all();
  }
  bool IsSet() const {
    const std::lock_guard lock(state_->mutex);
    return state_->isSet;
  }
  void Await() const {
    std::unique_lock lock(state_->mutex);
    if (!state_->changed.wait_for(lock, kPatience, [this] { return state_->isSet; })) {
      throw std::runtime_error("a signal between the threads of a test never came");
    }
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool isSet = false;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace sc3xxmon::test
