// The monitor's insides are linked in, and put back to where a load begins.
#include "diag/debug_settings.h"
#include "log_stories/fresh_library.h"
#include "support/test_host.h"

namespace sc3xxmon::test {

void BeginWithFreshLibrary() {
  TestHost::ForgetLog();
}

void LeaveLibrary() {
  TestHost::ForgetLog();
  diag::flagWord = 0;
}

}  // namespace sc3xxmon::test
