#include "support/test_host.h"

#include "diag/debug_block.h"
#include "diag/debug_settings.h"
#include "diag/log_file.h"
#include "monitor/options.h"
#include "platform/named_mutex.h"
#include "platform/shared_block.h"

namespace sc3xxmon::test {
namespace {

void ResetSettings() {
  diag::debugLevel = 0;
  diag::traceWord = 1;
  diag::flagWord = 0;
  TestHost::ForgetLog();
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

void TestHost::ForgetLog() {
  if (HANDLE const mutex = diag::log.mutex.exchange(nullptr); mutex != nullptr) {
    platform::CloseNamedMutex(mutex);
  }
  diag::log.path = {};
  diag::log.ready = 0;
  platform::CloseSharedBlock(diag::block, sizeof(DebugBlock));
  diag::block = {};
}

}  // namespace sc3xxmon::test
