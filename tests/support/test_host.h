// A recording host for tests that reach inside the monitor: debug level and options go back to their defaults when it is
// made and when it goes. One at a time; its own thread only.
#pragma once

#include <cstdint>

#include "support/recording_host.h"

namespace sc3xxmon::test {

class TestHost : public RecordingHost {
 public:
  explicit TestHost(Story* story = nullptr);
  ~TestHost();
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;

  // Switches the log on (level 1) or off without the registry.
  static void SetDebugLevel(std::uint32_t level);
  // As if the library had just been loaded: the next that asks for a log names its file anew.
  static void ForgetLog();
};

}  // namespace sc3xxmon::test
