#include "platform/debug_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "sc3xxmon/host.h"

namespace sc3xxmon::platform {
namespace {

using ::testing::ElementsAre;

TEST(DebugChannelTest, TextsGoToTheHostAsTheyAre) {
  std::vector<std::string> texts;
  Sc3xxHost host{};
  host.size = sizeof(host);
  host.context = &texts;
  host.DebugOutput = [](void* context, const char* text) {
    static_cast<std::vector<std::string>*>(context)->emplace_back(text);
  };
  Sc3xxSetHost(&host);
  WriteDebugChannel("one %d");
  WriteDebugChannel("\n");
  Sc3xxSetHost(nullptr);
  EXPECT_THAT(texts, ElementsAre("one %d", "\n"));
}

// The subprocess's standard error is what the expectation reads.
TEST(DebugChannelDeathTest, WithoutAHostTextsGoToStandardErrorWithoutALineEnd) {
  EXPECT_EXIT(
      {
        Sc3xxSetHost(nullptr);
        WriteDebugChannel("no ");
        WriteDebugChannel("host %s");
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "no host %s$");
}

}  // namespace
}  // namespace sc3xxmon::platform
