#include "support/test_host.h"

#include "diag/debug_settings.h"
#include "monitor/options.h"

namespace sc3xxmon::test {
namespace {

void ResetSettings() {
  diag::debugLevel = 0;
  diag::traceWord = 1;
  diag::flagWord = 0;
}

}  // namespace

TestHost::TestHost(Story* story) : RecordingHost(story) {
  ResetSettings();
  ReadOptions();
}

TestHost::~TestHost() {
  ForgetValues();
  ResetSettings();
  ReadOptions();
}

void TestHost::SetDebugLevel(std::uint32_t level) {
  diag::debugLevel = level;
}

}  // namespace sc3xxmon::test
