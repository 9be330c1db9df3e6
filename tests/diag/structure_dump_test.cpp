#include "diag/structure_dump.h"

#include <array>
#include <numeric>

#include "diag/log_fixture.h"
#include "platform/process.h"

namespace sc3xxmon {
namespace {

using test::LogFixture;
using test::TestHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class StructureDumpTest : public LogFixture {
 protected:
  StructureDumpTest() {
    TestHost::SetDebugLevel(kDebugLevelDebugger);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0xF0});
  }
  std::vector<std::string> Told() const {
    std::vector<std::string> lines;
    for (const std::string& text : host.channel) {
      if (text != "\n") {
        lines.push_back(text.substr(text.find("] ") + 2));
      }
    }
    return lines;
  }

  std::array<std::uint8_t, 40> bytes{};
};

std::string Head(const void* buffer, const char* count) {
  char text[96];
  std::snprintf(text, sizeof(text), "[Caller,0042] buff[%p] count[%s] ", buffer, count);
  return text;
}

constexpr char kFirstRow[] = "[f0-f1-f2-f3-f4-f5-f6-f7-f8-f9-fa-fb-fc-fd-fe-ff]";
constexpr char kSecondRow[] = "[00-01-02-03-04-05-06-07-08-09-0a-0b-0c-0d-0e-0f]";

TEST_F(StructureDumpTest, TwentyBytesAreOneRow) {
  DumpBuffer("Caller", 42, bytes.data(), 20);
  EXPECT_THAT(Told(), ElementsAre(Head(bytes.data(), "0020"), kFirstRow));
}

TEST_F(StructureDumpTest, FifteenBytesAreNoRow) {
  DumpBuffer("Caller", 42, bytes.data(), 15);
  EXPECT_THAT(Told(), ElementsAre(Head(bytes.data(), "0015")));
}

TEST_F(StructureDumpTest, ThirtyTwoBytesAreTwoRows) {
  DumpBuffer("Caller", 42, bytes.data(), 32);
  EXPECT_THAT(Told(), ElementsAre(Head(bytes.data(), "0032"), kFirstRow, kSecondRow));
}

TEST_F(StructureDumpTest, NoBufferIsToldAndNotRead) {
  DumpBuffer("Caller", 42, nullptr, 32);
  EXPECT_THAT(Told(), SizeIs(1));
}

TEST_F(StructureDumpTest, ADeviceModeIsALineForEachField) {
  DEVMODEW mode{};
  std::copy_n(L"KOVA Scrivelo 310", 18, mode.dmDeviceName);
  mode.dmSpecVersion = 0x0401;
  mode.dmDriverVersion = 2;
  mode.dmSize = 220;
  mode.dmDriverExtra = 4;
  mode.dmFields = 0x12345678;
  mode.dmOrientation = 99;  // not shown
  mode.dmColor = 1;
  mode.dmDuplex = -1;
  mode.dmYResolution = 0x12C;
  mode.dmTTOption = 3;
  mode.dmCollate = 4;
  std::fill(std::begin(mode.dmFormName), std::end(mode.dmFormName), L'F');
  mode.dmLogPixels = 5;
  mode.dmBitsPerPel = 6;
  mode.dmPelsWidth = 7;
  mode.dmPelsHeight = 8;
  mode.dmDisplayFrequency = 9;
  mode.dmICMMethod = 10;
  mode.dmICMIntent = 11;
  mode.dmMediaType = 12;
  mode.dmDitherType = 13;
  mode.dmReserved1 = 14;
  mode.dmReserved2 = 15;
  mode.dmPanningWidth = 16;
  mode.dmPanningHeight = 17;
  DumpDevMode(&mode);
  const std::vector<std::string> lines = Told();
  ASSERT_THAT(lines, SizeIs(26));
  EXPECT_THAT(lines[0], MatchesRegex("\\[DumpDevMode,[0-9]+\\] pOEMDevmode\\[.+\\]   "));
  EXPECT_THAT(
      std::vector<std::string>(lines.begin() + 1, lines.end()),
      ElementsAre("DeviceName          [KOVA Scrivelo 310]  ", "dmSpecVersion       [x0401]",
                  "dmDriverVersion     [x0002]", "dmSize              [x00DC]", "dmDriverExtra       [x0004]",
                  "dmFields            [x12345678]", "dmColor             [x0001]", "dmDuplex            [xFFFFFFFF]",
                  "dmYResolution       [x012c]", "dmTTOption          [x0003]", "dmCollate           [x0004]",
                  "dmFormName          [" + std::string(32, 'F') + "]  ", "dmLogPixels         [x0005]",
                  "dmBitsPerPel        [x0006]", "dmPelsWidth         [x0007]", "dmPelsHeight        [x0008]",
                  "dmDisplayFrequency  [x0009]", "dmICMMethod         [x000A]", "dmICMIntent         [x000B]",
                  "dmMediaType         [x000C]", "dmDitherType        [x000D]", "dmReserved1         [x000E]",
                  "dmReserved2         [x000F]", "dmPanningWidth      [x0010]", "dmPanningHeight     [x0011]"));
}

TEST_F(StructureDumpTest, NoDeviceModeIsUnknown) {
  DumpDevMode(nullptr);
  EXPECT_THAT(Told(), ElementsAre(MatchesRegex("\\[DumpDevMode,[0-9]+\\] pOEMDevmode\\[.+\\]   "),
                                  MatchesRegex("\\[DumpDevMode,[0-9]+\\] unknown devmode ")));
}

TEST_F(StructureDumpTest, TheBannerTellsWhoStartedWhat) {
  LogStartBanner("Monitor");
  const std::string user = platform::ToUtf8(platform::CurrentUserName(128));
  EXPECT_THAT(Told(), ElementsAre(::testing::AllOf(::testing::StartsWith("Monitor: " + user + " started '"),
                                                   ::testing::HasSubstr("diag_tests"), ::testing::EndsWith("'"))));
}

TEST_F(StructureDumpTest, AUserNameIsCutAtTheLimit) {
  EXPECT_EQ(platform::CurrentUserName(2), platform::CurrentUserName(128).substr(0, 2));
}

TEST_F(StructureDumpTest, NothingIsToldAtLevel0) {
  TestHost::SetDebugLevel(0);
  DEVMODEW mode{};
  DumpBuffer("Caller", 42, bytes.data(), 32);
  DumpDevMode(&mode);
  LogStartBanner("Monitor");
  EXPECT_THAT(host.channel, IsEmpty());
}

}  // namespace
}  // namespace sc3xxmon
