#include "diag/debug_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "support/bytes.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::TestHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DebugSettingsTest : public ::testing::Test {
 protected:
  void Set(const wchar_t* name, std::uint32_t number) { host.SetNumber(TestHost::kDebug, name, number); }
  static void Read() { ReadDebugSettings(nullptr); }

  TestHost host;
};

TEST_F(DebugSettingsTest, WithoutTheKeyEverythingIsOff) {
  diag::debugLevel = 2;
  diag::traceWord = 31;
  Read();
  EXPECT_EQ(DebugLevel(), 0U);
  EXPECT_EQ(TraceWord(), 1U);
  EXPECT_EQ(FlagWord(), 0U);
  EXPECT_THAT(host.queriedValues, IsEmpty());
}

TEST_F(DebugSettingsTest, AKeyWithoutValuesLeavesTheDefaults) {
  Set(L"SomethingElse", 1);
  Read();
  EXPECT_EQ(DebugLevel(), 0U);
  EXPECT_EQ(TraceWord(), 1U);
  EXPECT_EQ(FlagWord(), 0U);
}

TEST_F(DebugSettingsTest, TheSixValuesAreReadInTheirOrder) {
  Set(L"DebugLevel", 0);
  Read();
  std::vector<std::wstring> names;
  for (const auto& [key, name] : host.queriedValues) {
    EXPECT_EQ(key, L"Software\\KOVA\\Debug");
    names.push_back(name);
  }
  EXPECT_THAT(names,
              ElementsAre(L"DebugLevel", L"TraceDetail", L"NoDeviceIO", L"BypassMode", L"DontLock", L"NoMediaCheck"));
}

TEST_F(DebugSettingsTest, TheLevelsZeroToTwoAreTaken) {
  for (std::uint32_t level = 0; level <= 2; ++level) {
    Set(L"DebugLevel", level);
    Read();
    EXPECT_EQ(DebugLevel(), level);
  }
}

TEST_F(DebugSettingsTest, Level3LeavesTheLogOffAndAllFlagsReadFalse) {
  Set(L"DebugLevel", 3);
  Set(L"NoDeviceIO", 1);
  Set(L"TraceDetail", 31);
  Read();
  EXPECT_EQ(DebugLevel(), 0U);
  EXPECT_FALSE(IsNoDeviceIO());
  EXPECT_FALSE(TraceHasPackets());
  EXPECT_EQ(FlagWord(), 1U);  // the raw words are kept all the same
  EXPECT_EQ(TraceWord(), 31U);
}

TEST_F(DebugSettingsTest, AnAbsurdLevelIsIgnored) {
  Set(L"DebugLevel", 0xFFFFFFFF);
  Read();
  EXPECT_EQ(DebugLevel(), 0U);
}

TEST_F(DebugSettingsTest, EveryReadBeginsWithTheLogOff) {
  Set(L"DebugLevel", 1);
  Read();
  Set(L"DebugLevel", 3);
  Read();
  EXPECT_EQ(DebugLevel(), 0U);
}

struct FlagCase {
  const wchar_t* name;
  std::uint32_t bit;
  bool (*accessor)();
};
void PrintTo(const FlagCase& each, std::ostream* out) {
  *out << "bit " << each.bit;
}

class DebugFlagTest : public DebugSettingsTest, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(DebugFlagTest, IsOnForExactlyOne) {
  Set(L"DebugLevel", 1);
  Set(GetParam().name, 1);
  Read();
  EXPECT_TRUE(GetParam().accessor());
  EXPECT_EQ(FlagWord(), GetParam().bit);
}

TEST_P(DebugFlagTest, IsOffForAnyOtherNumber) {
  Set(L"DebugLevel", 1);
  for (const std::uint32_t number : {0U, 2U, 3U, 0x101U, 0xFFFFFFFFU}) {
    Set(GetParam().name, number);
    Read();
    EXPECT_FALSE(GetParam().accessor()) << number;
    EXPECT_EQ(FlagWord(), 0U);
  }
}

TEST_P(DebugFlagTest, ReadsFalseAtLevel0) {
  Set(L"DebugLevel", 0);
  Set(GetParam().name, 1);
  Read();
  EXPECT_FALSE(GetParam().accessor());
  EXPECT_EQ(FlagWord(), GetParam().bit);
}

TEST_P(DebugFlagTest, ReadsFalseWhenOnlyTheOthersAreSet) {
  TestHost::SetDebugLevel(1);
  diag::flagWord = ~GetParam().bit;
  EXPECT_FALSE(GetParam().accessor());
}

INSTANTIATE_TEST_SUITE_P(Flags, DebugFlagTest,
                         ::testing::Values(FlagCase{L"NoDeviceIO", 1, IsNoDeviceIO},
                                           FlagCase{L"BypassMode", 2, IsBypassMode},
                                           FlagCase{L"DontLock", 4, IsDontLock},
                                           FlagCase{L"NoMediaCheck", 8, IsNoMediaCheck}));

struct TraceCase {
  std::uint32_t bit;
  bool (*accessor)();
};
void PrintTo(const TraceCase& each, std::ostream* out) {
  *out << "bit " << each.bit;
}

class TraceBitTest : public DebugSettingsTest, public ::testing::WithParamInterface<TraceCase> {};

TEST_P(TraceBitTest, IsSeenAtAnyLevelButZero) {
  Set(L"TraceDetail", GetParam().bit);
  for (std::uint32_t level = 0; level <= 2; ++level) {
    Set(L"DebugLevel", level);
    Read();
    EXPECT_EQ(GetParam().accessor(), level != 0) << level;
  }
}

TEST_P(TraceBitTest, IsFalseWhenOnlyTheOthersAreSet) {
  Set(L"DebugLevel", 1);
  Set(L"TraceDetail", ~GetParam().bit);
  Read();
  EXPECT_FALSE(GetParam().accessor());
}

INSTANTIATE_TEST_SUITE_P(Bits, TraceBitTest,
                         ::testing::Values(TraceCase{4, TraceHasPackets}, TraceCase{8, TraceHasJobDump},
                                           TraceCase{16, TraceHasLabelDump}));

TEST_F(DebugSettingsTest, TraceDetailAlwaysHasItsLowestBit) {
  Set(L"TraceDetail", 0);
  Read();
  EXPECT_EQ(TraceWord(), 1U);
  Set(L"TraceDetail", 12);
  Read();
  EXPECT_EQ(TraceWord(), 13U);
}

TEST_F(DebugSettingsTest, TraceDetail12GivesPacketsAndJobDump) {
  Set(L"DebugLevel", 2);
  Set(L"TraceDetail", 12);
  Read();
  EXPECT_TRUE(TraceHasPackets());
  EXPECT_TRUE(TraceHasJobDump());
  EXPECT_FALSE(TraceHasLabelDump());
}

TEST_F(DebugSettingsTest, TheTraceWordGoesBackToItsDefaultAtEachRead) {
  Set(L"TraceDetail", 12);
  Read();
  host.SetBytes(TestHost::kDebug, L"TraceDetail", Bytes("00 00 00 00 00"));
  Read();
  EXPECT_EQ(TraceWord(), 1U);
}

TEST_F(DebugSettingsTest, FlagsAreAddedOneByOneAndNeverCleared) {
  Set(L"NoDeviceIO", 1);
  Set(L"NoMediaCheck", 1);
  Read();
  EXPECT_EQ(FlagWord(), 9U);
  Set(L"NoDeviceIO", 0);
  Set(L"DontLock", 1);
  Read();
  EXPECT_EQ(FlagWord(), 13U);
}

TEST_F(DebugSettingsTest, AValueOfMoreThanFourBytesIsSkippedAndTheNextOnesCount) {
  Set(L"DebugLevel", 1);
  host.SetBytes(TestHost::kDebug, L"TraceDetail", Bytes("04 00 00 00 00 00 00 00"));
  host.SetBytes(TestHost::kDebug, L"NoDeviceIO", Bytes("01 00 00 00 FF"));
  Set(L"BypassMode", 1);
  Read();
  EXPECT_EQ(DebugLevel(), 1U);
  EXPECT_EQ(TraceWord(), 1U);
  EXPECT_EQ(FlagWord(), 2U);
}

TEST_F(DebugSettingsTest, AShortValueCountsAndTheNextOnesAreReadWhole) {
  host.SetBytes(TestHost::kDebug, L"DebugLevel", Bytes("01"));
  Set(L"TraceDetail", 0x10004);
  Set(L"NoDeviceIO", 1);
  Read();
  EXPECT_EQ(DebugLevel(), 1U);
  EXPECT_EQ(TraceWord(), 0x10005U);
  EXPECT_EQ(FlagWord(), 1U);
}

TEST_F(DebugSettingsTest, NothingIsLoggedWhileTheSettingsAreRead) {
  Set(L"DebugLevel", 1);
  Set(L"NoDeviceIO", 1);
  Read();
  EXPECT_THAT(host.log, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon
