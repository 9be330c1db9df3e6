#include "diag/debug_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

#include "sc3xxmon/host.h"

#include "platform/thread_id.h"
#include "support/matches_pattern.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

std::string ThreadPrefix() {
  char text[16];
  std::snprintf(text, sizeof(text), "[%04X] ", platform::CurrentThreadId());
  return text;
}

// The debugger channel as it is: every call to it, untouched.
class DebugLogTest : public ::testing::Test {
 protected:
  DebugLogTest() {
    Sc3xxHost table{};
    table.size = sizeof(table);
    table.context = this;
    table.DebugOutput = [](void* context, const char* text) {
      static_cast<DebugLogTest*>(context)->channel.emplace_back(text);
    };
    table.GetLastError = [](void*) { return DWORD{123}; };
    table.SetLastError = [](void* context, DWORD) { ++static_cast<DebugLogTest*>(context)->lastErrorWrites; };
    Sc3xxSetHost(&table);
    test::TestHost::SetDebugLevel(1);
  }
  ~DebugLogTest() override {
    test::TestHost::SetDebugLevel(0);
    Sc3xxSetHost(nullptr);
  }

  std::vector<std::string> channel;
  int lastErrorWrites = 0;
};

TEST_F(DebugLogTest, AtLevel0NothingGoesToTheDebugger) {
  test::TestHost::SetDebugLevel(0);
  KovaDebugPrint("text %d", 1);
  KovaDebugPrint(At("Function"), "text %ws", L"wide");
  EXPECT_THAT(channel, IsEmpty());
}

TEST_F(DebugLogTest, AtLevel1ARecordIsItsTextAndThenALineEnd) {
  KovaDebugPrint("plain text");
  EXPECT_THAT(channel, ElementsAre(ThreadPrefix() + "plain text", "\n"));
}

TEST_F(DebugLogTest, ARecordCarriesNoTimeStamp) {
  KovaDebugPrint("x");
  EXPECT_THAT(channel.at(0), test::MatchesPattern("\\[[0-9A-F]+\\] x"));
}

TEST_F(DebugLogTest, TheThreadIsAtLeastFourHexadecimalDigitsUpperCase) {
  KovaDebugPrint("x");
  EXPECT_THAT(channel.at(0), test::MatchesPattern("\\[[0-9A-F][0-9A-F][0-9A-F][0-9A-F]+\\] x"));
}

TEST_F(DebugLogTest, EachThreadWritesItsOwnNumber) {
  std::string expected;
  std::thread other([&expected] {
    expected = ThreadPrefix();
    KovaDebugPrint("other");
  });
  other.join();
  KovaDebugPrint("main");
  EXPECT_NE(expected, ThreadPrefix());
  EXPECT_THAT(channel, ElementsAre(expected + "other", "\n", ThreadPrefix() + "main", "\n"));
}

TEST_F(DebugLogTest, ThePrefixIsBuildFunctionAndLine) {
  KovaDebugPrint(At("CLangMon::Send", 42), "WritePort failed. written=%d; err=%d", 3, 31);
  EXPECT_EQ(channel.at(0), ThreadPrefix() + "[218:CLangMon::Send,0042] WritePort failed. written=3; err=31");
}

TEST_F(DebugLogTest, TheLineIsThatOfTheStatement) {
  const int line = __LINE__ + 1;
  KovaDebugPrint(At("Here"), "");
  char expected[32];
  std::snprintf(expected, sizeof(expected), "[218:Here,%04d] ", line);
  EXPECT_EQ(channel.at(0), ThreadPrefix() + expected);
}

TEST_F(DebugLogTest, AnEmptyMessageIsThePrefixAlone) {
  KovaDebugPrint(At("SCMon_WritePort", 7), "");
  EXPECT_EQ(channel.at(0), ThreadPrefix() + "[218:SCMon_WritePort,0007] ");
}

TEST_F(DebugLogTest, ALineNumberOfFiveDigitsIsWritten) {
  KovaDebugPrint(At("F", 12345), "");
  EXPECT_EQ(channel.at(0), ThreadPrefix() + "[218:F,12345] ");
}

TEST_F(DebugLogTest, WideArgumentsAreConverted) {
  KovaDebugPrint(At("SCMon_OpenPortEx", 61), "port=%ws; printer=%ws, isUsb=%d", L"USB001", L"B\u00FCro", 1);
  EXPECT_EQ(channel.at(0), ThreadPrefix() + "[218:SCMon_OpenPortEx,0061] port=USB001; printer=B\xC3\xBCro, isUsb=1");
}

TEST_F(DebugLogTest, ALongMessageIsCutOffAndStillEnds) {
  const std::string longText(5000, 'x');
  KovaDebugPrint("%s", longText.c_str());
  const std::string whole = ThreadPrefix() + longText;
  EXPECT_THAT(channel, ElementsAre(whole.substr(0, 2046), "\n"));
}

TEST_F(DebugLogTest, ThreadPrefixAndMessageShareTheRoom) {
  const std::string fits(2046 - ThreadPrefix().size(), 'y');
  KovaDebugPrint("%s", fits.c_str());
  EXPECT_EQ(channel.at(0), ThreadPrefix() + fits);
  KovaDebugPrint("%s!", fits.c_str());
  EXPECT_EQ(channel.at(2), ThreadPrefix() + fits);
}

TEST_F(DebugLogTest, AMessageThatIsFullBeforeItBeginsIsCutOffToo) {
  const std::string longName(3000, 'n');
  KovaDebugPrint(At(longName.c_str(), 1), "never seen %s %ws", "a", L"b");
  EXPECT_THAT(channel.at(0), SizeIs(2046));
}

TEST_F(DebugLogTest, LoggingLeavesTheLastErrorAlone) {
  KovaDebugPrint(At("F"), "%ws", L"wide");
  EXPECT_EQ(lastErrorWrites, 0);
}

// Texts of several threads may come in any order, but each in one piece.
TEST(DebugLogThreadsTest, ThreadsThatLogAtOnceWriteWholeTexts) {
  struct Channel {
    std::mutex lock;
    std::map<std::string, int> texts;
  } channel;
  Sc3xxHost table{};
  table.size = sizeof(table);
  table.context = &channel;
  table.DebugOutput = [](void* context, const char* text) {
    auto* self = static_cast<Channel*>(context);
    const std::lock_guard guard(self->lock);
    const std::string line = text;
    ++self->texts[line.substr(line.find("] ") == std::string::npos ? 0 : line.find("] ") + 2)];
  };
  Sc3xxSetHost(&table);
  test::TestHost::SetDebugLevel(1);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      for (int n = 0; n < 100; ++n) {
        KovaDebugPrint("thread %d says %ws", i, L"a whole sentence");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  test::TestHost::SetDebugLevel(0);
  Sc3xxSetHost(nullptr);
  EXPECT_THAT(channel.texts,
              ElementsAre(Pair("\n", 400), Pair("thread 0 says a whole sentence", 100),
                          Pair("thread 1 says a whole sentence", 100), Pair("thread 2 says a whole sentence", 100),
                          Pair("thread 3 says a whole sentence", 100)));
}

}  // namespace
}  // namespace sc3xxmon
