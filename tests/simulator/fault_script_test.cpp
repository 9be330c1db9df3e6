// Faults as text.
#include "simulator/fault_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace simulator {
namespace {

using ::testing::HasSubstr;

struct ScriptCase {
  const char* text;
  FaultKind kind;
  std::uint32_t value;
  FaultTrigger trigger;
  std::uint64_t at;
  std::optional<std::uint64_t> forMs;
  std::optional<std::uint32_t> count;
};
void PrintTo(const ScriptCase& each, std::ostream* out) {
  *out << each.text;
}

class FaultScriptTest : public ::testing::TestWithParam<ScriptCase> {};

void ExpectFault(const Fault& fault, const ScriptCase& expected) {
  EXPECT_EQ(fault.kind, expected.kind);
  EXPECT_EQ(fault.value, expected.value);
  EXPECT_EQ(fault.trigger, expected.trigger);
  EXPECT_EQ(fault.at, expected.at);
  EXPECT_EQ(fault.forMs, expected.forMs);
  EXPECT_EQ(fault.count, expected.count);
}

TEST_P(FaultScriptTest, ReadsAndWritesTheSameFault) {
  const auto parsed = ParseFault(GetParam().text);
  ASSERT_TRUE(std::holds_alternative<Fault>(parsed)) << std::get<FaultScriptError>(parsed).message;
  ExpectFault(std::get<Fault>(parsed), GetParam());
  const auto again = ParseFault(FormatFault(std::get<Fault>(parsed)));
  ASSERT_TRUE(std::holds_alternative<Fault>(again)) << FormatFault(std::get<Fault>(parsed));
  ExpectFault(std::get<Fault>(again), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FaultScriptTest,
    ::testing::Values(
        ScriptCase{"bay=2@label:3,for:5s", FaultKind::kBay, 2, FaultTrigger::kLabel, 3, 5000, {}},
        ScriptCase{"head@2s,for:3s", FaultKind::kHead, 1, FaultTrigger::kTime, 2000, 3000, {}},
        ScriptCase{"power-off@label:2,for:4s", FaultKind::kPowerOff, 0, FaultTrigger::kLabel, 2, 4000, {}},
        ScriptCase{"lock@0s,for:3s", FaultKind::kLock, 0, FaultTrigger::kTime, 0, 3000, {}},
        ScriptCase{"cancel@label:2", FaultKind::kCancel, 0, FaultTrigger::kLabel, 2, {}, {}},
        ScriptCase{"status=5@label:2,count:1", FaultKind::kStatus, 5, FaultTrigger::kLabel, 2, {}, 1},
        ScriptCase{"short=20@exchange:4", FaultKind::kShortAnswer, 20, FaultTrigger::kExchange, 4, {}, {}},
        ScriptCase{"late=3s@exchange:2", FaultKind::kLateAnswer, 3000, FaultTrigger::kExchange, 2, {}, {}},
        ScriptCase{"silent@exchange:3", FaultKind::kNoAnswer, 0, FaultTrigger::kExchange, 3, {}, {}},
        ScriptCase{"write-fails@call:7", FaultKind::kWriteFails, 0, FaultTrigger::kCall, 7, {}, {}},
        ScriptCase{"write-fails=9@call:7", FaultKind::kWriteFails, 9, FaultTrigger::kCall, 7, {}, {}},
        ScriptCase{"write-part=10@call:7", FaultKind::kWriteTakesPart, 10, FaultTrigger::kCall, 7, {}, {}},
        ScriptCase{"read-fails@call:8,count:2", FaultKind::kReadFails, 0, FaultTrigger::kCall, 8, {}, 2},
        ScriptCase{"cutter", FaultKind::kCutter, 4, FaultTrigger::kTime, 0, {}, {}},
        ScriptCase{"battery@250ms", FaultKind::kBattery, 0, FaultTrigger::kTime, 250, {}, {}},
        ScriptCase{"communication@1.5s", FaultKind::kCommunication, 0, FaultTrigger::kTime, 1500, {}, {}},
        ScriptCase{"error-bits=0x1F@2min", FaultKind::kErrorBits, 31, FaultTrigger::kTime, 120000, {}, {}},
        ScriptCase{"bay=9@3,for:1,count:4", FaultKind::kBay, 9, FaultTrigger::kTime, 3000, 1000, 4}));

struct WrongCase {
  const char* text;
  const char* says;
};
void PrintTo(const WrongCase& each, std::ostream* out) {
  *out << '\'' << each.text << '\'';
}

class WrongFaultScriptTest : public ::testing::TestWithParam<WrongCase> {};

TEST_P(WrongFaultScriptTest, SaysWhatIsWrong) {
  const auto parsed = ParseFault(GetParam().text);
  ASSERT_TRUE(std::holds_alternative<FaultScriptError>(parsed));
  const std::string& message = std::get<FaultScriptError>(parsed).message;
  EXPECT_THAT(message, HasSubstr(GetParam().says));
  EXPECT_THAT(message, HasSubstr(std::string("\"") + GetParam().text + "\""));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WrongFaultScriptTest,
    ::testing::Values(WrongCase{"", "there are bay, head, cutter"}, WrongCase{"bya=2", "no fault is called \"bya\""},
                      WrongCase{"bay", "needs a value: bay=STATE"}, WrongCase{"bay=", "not a number"},
                      WrongCase{"bay=two", "not a number"}, WrongCase{"bay=256", "the most is 255"},
                      WrongCase{"bay=-1", "not a number"}, WrongCase{"battery=1", "takes no value"},
                      WrongCase{"bay=2@", "not a time"}, WrongCase{"bay=2@label:0", "counted from 1"},
                      WrongCase{"bay=2@label:x", "not a number"}, WrongCase{"bay=2@page:3", "@label:N"},
                      WrongCase{"bay=2@soon", "not a time"}, WrongCase{"bay=2@-3s", "not a time"},
                      WrongCase{"bay=2@3h", "not a time"}, WrongCase{"bay=2,until:5", "for:TIME or count:N"},
                      WrongCase{"bay=2,count:0", "never happen"}, WrongCase{"bay=2,for:99999999999s", "46 days"},
                      WrongCase{"bay=2,", "for:TIME or count:N"}, WrongCase{"late=x", "not a time"},
                      WrongCase{"error-bits=0x1FFFFFFFF", "too large"}));

TEST(FaultScriptHelpTest, TellsOfEveryKind) {
  const std::string help = FaultScriptHelp();
  for (int kind = 0; kind <= static_cast<int>(FaultKind::kPowerOff); ++kind) {
    EXPECT_THAT(help, HasSubstr(std::string(FaultName(static_cast<FaultKind>(kind)))));
  }
}

}  // namespace
}  // namespace simulator
