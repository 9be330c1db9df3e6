// The library as it is delivered stays loaded for as long as the test's process lives: a process tells one story.
#include <gtest/gtest.h>

#include "log_stories/fresh_library.h"

namespace sc3xxmon::test {

void BeginWithFreshLibrary() {
  static bool begun = false;
  EXPECT_FALSE(begun) << "run each story in a process of its own, as ctest does";
  begun = true;
}

void LeaveLibrary() {}

}  // namespace sc3xxmon::test
