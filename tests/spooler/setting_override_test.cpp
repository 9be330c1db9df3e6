#include "apps/sc3xx/setting_override.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/sc3xx/usage_error.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace platform = sc3xxmon::platform;

TEST(SettingOverrideTest, TakesEveryOptionAndDebugSetting) {
  for (const std::string_view name : platform::kOptionNames) {
    EXPECT_EQ(ParseSettingOverride(std::string(name) + "=1").key, platform::kOptionsKey) << name;
  }
  for (const std::string_view name : platform::kDebugNames) {
    EXPECT_EQ(ParseSettingOverride(std::string(name) + "=1").key, platform::kDebugKey) << name;
  }
}

TEST(SettingOverrideTest, ReadsDecimalNegativeAndHexadecimalNumbers) {
  EXPECT_EQ(ParseSettingOverride("PdChunkSize=200").value, 200u);
  EXPECT_EQ(ParseSettingOverride("LabelDispatchMode=-1").value, 0xFFFFFFFFu);
  EXPECT_EQ(ParseSettingOverride("TraceDetail=0x1F").value, 31u);
  EXPECT_EQ(ParseSettingOverride("PdChunkSize=4294967295").value, 0xFFFFFFFFu);
}

struct Refused {
  const char* what;
  const char* text;
  const char* words;
};

class RefusedOverrideTest : public ::testing::TestWithParam<Refused> {};

TEST_P(RefusedOverrideTest, SaysWhatWouldBeRight) {
  try {
    ParseSettingOverride(GetParam().text);
    FAIL() << "accepted";
  } catch (const UsageError& error) {
    EXPECT_THAT(error.what(), HasSubstr(GetParam().words));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Settings, RefusedOverrideTest,
    ::testing::Values(
        Refused{"NoValue", "SendIPHs", "write NAME=VALUE"}, Refused{"Misspelt", "SendIPH=1", "did you mean SendIPHs?"},
        Refused{"Unknown", "Colour=1", "Known are: LabelDispatchMode, LabelCompressMode"},
        Refused{"NoName", "=1", "there is no option or debug setting \"\""},
        Refused{"Word", "SendIPHs=on", "must be a whole number"}, Refused{"Empty", "SendIPHs=", "but is \"\""},
        Refused{"Tail", "SendIPHs=1x", "but is \"1x\""}, Refused{"Blank", "SendIPHs= 1", "but is \" 1\""},
        Refused{"BareHex", "SendIPHs=0x", "but is \"0x\""}, Refused{"NegativeHex", "SendIPHs=0x-1", "but is \"0x-1\""},
        Refused{"TooLarge", "SendIPHs=4294967296", "at most 32 bits"},
        Refused{"TooSmall", "SendIPHs=-2147483649", "at most 32 bits"}),
    [](const auto& tested) { return tested.param.what; });

TEST(SettingOverrideTest, GoesOverTheSettingsFile) {
  platform::SettingsFile settings = platform::SettingsFile::Parse("[SC3xx]\nSendIPHs = 1\nPdChunkSize = 5\n", "x");
  ApplyOverrides({ParseSettingOverride("SendIPHs=0")}, settings);
  EXPECT_EQ(settings.Number(platform::kOptionsKey, L"SendIPHs", 9), 0u);
  EXPECT_EQ(settings.Number(platform::kOptionsKey, L"PdChunkSize", 9), 5u);
}

TEST(SettingOverrideTest, RemarksOnDebugSettingsThatTheLevelKeepsOff) {
  platform::SettingsFile settings;
  const std::vector<SettingOverride> overrides = {ParseSettingOverride("NoDeviceIO=1")};
  ApplyOverrides(overrides, settings);
  EXPECT_THAT(RemarksOn(overrides, settings), ElementsAre(HasSubstr("add --set DebugLevel=1")));
  ApplyOverrides({ParseSettingOverride("DebugLevel=1")}, settings);
  EXPECT_THAT(RemarksOn(overrides, settings), IsEmpty());
  ApplyOverrides({ParseSettingOverride("DebugLevel=3")}, settings);
  EXPECT_THAT(RemarksOn(overrides, settings), ElementsAre(HasSubstr("counts as 0"), HasSubstr("NoDeviceIO")));
}

}  // namespace
}  // namespace sc3xx
