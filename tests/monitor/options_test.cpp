#include "monitor/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "support/bytes.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::TestHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OptionsTest : public ::testing::Test {
 protected:
  void Set(const wchar_t* name, std::uint32_t number) { host.SetNumber(TestHost::kOptions, name, number); }

  TestHost host;
};

void ExpectDefaults() {
  EXPECT_EQ(LabelDispatchMode, 0);
  EXPECT_EQ(LabelCompressMode, 3U);
  EXPECT_EQ(PortReadTimeout, 15000U);
  EXPECT_EQ(PortWriteTimeout, 15000U);
  EXPECT_EQ(MinBatteryLevel, 20U);
  EXPECT_EQ(CheckLockedPrinter, 1U);
  EXPECT_EQ(SendIPHs, 1U);
  EXPECT_EQ(PrintEmptyLabel, 0U);
  EXPECT_EQ(UnlockOnError, 0U);
  EXPECT_EQ(RecoverLanComm, 0U);
  EXPECT_EQ(TrimTapeLabel, 0U);
  EXPECT_EQ(HorzLabelOffset, 0U);
  EXPECT_EQ(PdChunkSize, 200U);
}

TEST_F(OptionsTest, AKeyThatDoesntExistGivesTheDefaults) {
  SendIPHs = 0;
  PdChunkSize = 5;
  PortReadTimeout = 1;
  ReadOptions();
  ExpectDefaults();
}

TEST_F(OptionsTest, AKeyWithoutTheValuesGivesTheDefaults) {
  Set(L"SomethingElse", 5);
  LabelCompressMode = 0;
  ReadOptions();
  ExpectDefaults();
}

TEST_F(OptionsTest, TheValuesAreReadInTheirOrder) {
  Set(L"SendIPHs", 1);
  host.queriedValues.clear();
  ReadOptions();
  std::vector<std::wstring> names;
  for (const auto& [key, name] : host.queriedValues) {
    EXPECT_EQ(key, L"Software\\KOVA\\SC3xx");
    names.push_back(name);
  }
  EXPECT_THAT(names,
              ElementsAre(L"LabelDispatchMode", L"LabelCompressMode", L"PortReadTimeout", L"PortWriteTimeout",
                          L"MinBatteryLevel", L"CheckLockedPrinter", L"SendIPHs", L"PrintEmptyLabel", L"UnlockOnError",
                          L"RecoverLanComm", L"TrimTapeLabel", L"HorzLabelOffset", L"PdChunkSize"));
}

struct OptionCase {
  const wchar_t* name;
  std::uint32_t* option;
  std::uint32_t given;
  std::uint32_t kept;
};
void PrintTo(const OptionCase& each, std::ostream* out) {
  *out << ::testing::PrintToString(std::wstring(each.name)) << " = " << each.given;
}

class OptionValueTest : public OptionsTest, public ::testing::WithParamInterface<OptionCase> {};

TEST_P(OptionValueTest, IsKeptWithinItsBounds) {
  Set(GetParam().name, GetParam().given);
  ReadOptions();
  EXPECT_EQ(*GetParam().option, GetParam().kept);
}

constexpr std::uint32_t kMost = 0xFFFFFFFF;

INSTANTIATE_TEST_SUITE_P(Values, OptionValueTest,
                         ::testing::Values(OptionCase{L"PortReadTimeout", &PortReadTimeout, 0, 1000},
                                           OptionCase{L"PortReadTimeout", &PortReadTimeout, 999, 1000},
                                           OptionCase{L"PortReadTimeout", &PortReadTimeout, 1000, 1000},
                                           OptionCase{L"PortReadTimeout", &PortReadTimeout, 60000, 60000},
                                           OptionCase{L"PortReadTimeout", &PortReadTimeout, 60001, 60000},
                                           OptionCase{L"PortReadTimeout", &PortReadTimeout, kMost, 60000},
                                           OptionCase{L"PortWriteTimeout", &PortWriteTimeout, 0, 1000},
                                           OptionCase{L"PortWriteTimeout", &PortWriteTimeout, 999, 1000},
                                           OptionCase{L"PortWriteTimeout", &PortWriteTimeout, 2500, 2500},
                                           OptionCase{L"PortWriteTimeout", &PortWriteTimeout, 60001, 60000},
                                           OptionCase{L"PortWriteTimeout", &PortWriteTimeout, 0x80000000, 60000},
                                           OptionCase{L"MinBatteryLevel", &MinBatteryLevel, 4, 5},
                                           OptionCase{L"MinBatteryLevel", &MinBatteryLevel, 5, 5},
                                           OptionCase{L"MinBatteryLevel", &MinBatteryLevel, 50, 50},
                                           OptionCase{L"MinBatteryLevel", &MinBatteryLevel, 51, 50},
                                           OptionCase{L"MinBatteryLevel", &MinBatteryLevel, kMost, 50},
                                           OptionCase{L"LabelCompressMode", &LabelCompressMode, 0, 0},
                                           OptionCase{L"LabelCompressMode", &LabelCompressMode, 1, 1},
                                           OptionCase{L"LabelCompressMode", &LabelCompressMode, kMost, kMost},
                                           OptionCase{L"CheckLockedPrinter", &CheckLockedPrinter, 0, 0},
                                           OptionCase{L"CheckLockedPrinter", &CheckLockedPrinter, 77, 77},
                                           OptionCase{L"SendIPHs", &SendIPHs, 0, 0},
                                           OptionCase{L"SendIPHs", &SendIPHs, 5, 5},
                                           OptionCase{L"PrintEmptyLabel", &PrintEmptyLabel, 2, 2},
                                           OptionCase{L"UnlockOnError", &UnlockOnError, kMost, kMost},
                                           OptionCase{L"RecoverLanComm", &RecoverLanComm, 1, 1},
                                           OptionCase{L"TrimTapeLabel", &TrimTapeLabel, 1, 1},
                                           OptionCase{L"HorzLabelOffset", &HorzLabelOffset, kMost, kMost},
                                           OptionCase{L"PdChunkSize", &PdChunkSize, 0, 0},
                                           OptionCase{L"PdChunkSize", &PdChunkSize, kMost, kMost}));

TEST_F(OptionsTest, DispatchModeIsKeptUpToOneAsASignedNumber) {
  struct {
    std::uint32_t given;
    std::int32_t kept;
  } const cases[] = {{0, 0}, {1, 1}, {2, 0}, {0x7FFFFFFF, 0}, {0xFFFFFFFF, -1}, {0x80000000, -2147483647 - 1}};
  for (const auto& c : cases) {
    LabelDispatchMode = 7;
    Set(L"LabelDispatchMode", c.given);
    ReadOptions();
    EXPECT_EQ(LabelDispatchMode, c.kept) << c.given;
  }
}

TEST_F(OptionsTest, AValueThatIsGoneIsADefaultAtTheNextRead) {
  Set(L"PdChunkSize", 7);
  ReadOptions();
  EXPECT_EQ(PdChunkSize, 7U);
  host.ForgetValues();
  ReadOptions();
  EXPECT_EQ(PdChunkSize, 200U);
}

TEST_F(OptionsTest, AValueOfMoreThanFourBytesIsADefault) {
  host.SetBytes(TestHost::kOptions, L"PortReadTimeout", Bytes("D0 07 00 00 00 00 00 00"));
  Set(L"PortWriteTimeout", 2000);
  ReadOptions();
  EXPECT_EQ(PortReadTimeout, 15000U);
  EXPECT_EQ(PortWriteTimeout, 2000U);
}

TEST_F(OptionsTest, AShortValueLandsInTheLowBytesOfTheDefault) {
  host.SetBytes(TestHost::kOptions, L"PortReadTimeout", Bytes("00"));  // 15000 is 0x3A98
  host.SetBytes(TestHost::kOptions, L"PdChunkSize", Bytes("34 12"));
  ReadOptions();
  EXPECT_EQ(PortReadTimeout, 0x3A00U);
  EXPECT_EQ(PdChunkSize, 0x1234U);
}

TEST_F(OptionsTest, ReadingThemLogsNothing) {
  TestHost::SetDebugLevel(1);
  Set(L"PortReadTimeout", 5);
  ReadOptions();
  EXPECT_THAT(host.log, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon
