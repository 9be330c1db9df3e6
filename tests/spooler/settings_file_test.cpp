#include "platform/posix/settings_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/posix/settings_names.h"

namespace sc3xxmon::platform {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const wchar_t* kSc3xx = L"Software\\KOVA\\SC3xx";

SettingsFile Parsed(std::string_view text) {
  return SettingsFile::Parse(text, "settings.toml");
}

std::wstring QueryText(const SettingsFile& settings, const wchar_t* key, const wchar_t* name) {
  DWORD size = 0;
  if (settings.Query(key, name, nullptr, &size) != 0) {
    return L"(none)";
  }
  std::vector<wchar_t> text(size / sizeof(wchar_t) + 1);
  void* const bytes = text.data();
  return settings.Query(key, name, static_cast<LPBYTE>(bytes), &size) == 0 ? std::wstring(text.data()) : L"(failed)";
}

TEST(SettingsFileTest, TablesStandForKeys) {
  const SettingsFile settings = Parsed(
      "LogRoot = \"/var/log/kova\"\n"
      "[SC3xx]\nPdChunkSize = 0x64\nRB410_12mm_offset = -3\n"
      "[Debug]\nDebugLevel = 2\n"
      "[Printers.\"Etiketten Büro\"]\nPort = \"IP_10.0.0.5\"\n"
      "[Ports.\"IP_10.0.0.5\"]\nHostName = \"label.example\"\n");
  EXPECT_EQ(settings.Number(kSc3xx, L"PdChunkSize", 1), 100u);
  EXPECT_EQ(settings.Number(kSc3xx, L"RB410_12mm_offset", 1), 0xFFFFFFFDu);
  EXPECT_EQ(settings.Number(L"Software\\KOVA\\Debug", L"DebugLevel", 0), 2u);
  EXPECT_EQ(QueryText(settings, L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\Etiketten Büro", L"Port"),
            L"IP_10.0.0.5");
  const std::wstring port =
      L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\IP_10.0.0.5";
  EXPECT_EQ(QueryText(settings, port.c_str(), L"HostName"), L"label.example");
  EXPECT_EQ(QueryText(settings, L"", L"LogRoot"), L"/var/log/kova");
}

TEST(SettingsFileTest, NumbersAreFourLittleEndianBytes) {
  const SettingsFile settings = Parsed("[SC3xx]\nPortReadTimeout = 0x01020304\n");
  BYTE data[4] = {};
  DWORD size = sizeof(data);
  ASSERT_EQ(settings.Query(kSc3xx, L"PortReadTimeout", data, &size), 0);
  EXPECT_EQ(size, 4u);
  EXPECT_THAT(data, ::testing::ElementsAre(4, 3, 2, 1));
}

TEST(SettingsFileTest, KeysAndNamesAreFoundInAnyCase) {
  const SettingsFile settings = Parsed("[SC3xx]\nSendIPHs = 7\n");
  EXPECT_EQ(settings.Number(L"SOFTWARE\\kova\\sc3XX", L"sendiphs", 0), 7u);
}

TEST(SettingsFileTest, AShortBufferGetsTheLengthAndNothingElse) {
  const SettingsFile settings = Parsed("[SC3xx]\nSendIPHs = 7\n");
  BYTE data[4] = {9, 9, 9, 9};
  DWORD size = 3;
  EXPECT_EQ(settings.Query(kSc3xx, L"SendIPHs", data, &size), static_cast<LONG>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 4u);
  EXPECT_THAT(data, ::testing::ElementsAre(9, 9, 9, 9));
}

TEST(SettingsFileTest, AMissingKeyOrValueIsNotFound) {
  const SettingsFile settings = Parsed("[SC3xx]\nSendIPHs = 7\n");
  DWORD size = 0;
  EXPECT_EQ(settings.Query(kSc3xx, L"PdChunkSize", nullptr, &size), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(settings.Query(L"Software\\KOVA\\Debug", L"SendIPHs", nullptr, &size),
            static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(settings.Query(nullptr, L"SendIPHs", nullptr, &size), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
}

TEST(SettingsFileTest, ANullNameAsksForTheKey) {
  const SettingsFile settings = Parsed("[SC3xx]\nSendIPHs = 7\n[Debug]\n");
  EXPECT_EQ(settings.Query(kSc3xx, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(settings.Query(L"Software\\KOVA\\Debug", nullptr, nullptr, nullptr), 0) << "an empty key exists";
  EXPECT_EQ(settings.Query(L"Software\\KOVA", nullptr, nullptr, nullptr), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
}

TEST(SettingsFileTest, LaterNumbersReplaceEarlierOnes) {
  SettingsFile settings = Parsed("[SC3xx]\nSendIPHs = 7\n");
  settings.SetNumber(kOptionsKey, L"SendIPHs", 0);
  EXPECT_EQ(settings.Number(kSc3xx, L"SendIPHs", 5), 0u);
}

TEST(SettingsFileTest, TheBitsOfANumberMayBeWrittenWithOrWithoutSign) {
  EXPECT_EQ(Parsed("[SC3xx]\nHorzLabelOffset = -2147483648\n").Number(kSc3xx, L"HorzLabelOffset", 0), 0x80000000u);
  EXPECT_EQ(Parsed("[SC3xx]\nHorzLabelOffset = 4294967295\n").Number(kSc3xx, L"HorzLabelOffset", 0), 0xFFFFFFFFu);
}

TEST(SettingsFileTest, AnEmptyFileIsRight) {
  EXPECT_NO_THROW(Parsed(""));
}

struct Mistake {
  const char* what;
  const char* text;
  const char* place;
  const char* words;
};

class SettingsFileMistakeTest : public ::testing::TestWithParam<Mistake> {};

TEST_P(SettingsFileMistakeTest, IsToldWithItsPlace) {
  try {
    Parsed(GetParam().text);
    FAIL() << "accepted";
  } catch (const SettingsFileError& error) {
    EXPECT_THAT(error.what(), StartsWith("settings.toml:" + std::string(GetParam().place) + ": "));
    EXPECT_THAT(error.what(), HasSubstr(GetParam().words));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Settings, SettingsFileMistakeTest,
    ::testing::Values(Mistake{"NoToml", "[SC3xx]\nSendIPHs 1\n", "2:10", "expected"},
                      Mistake{"ValueMissing", "[Debug]\nDebugLevel =\n", "2:13", "expected value"},
                      Mistake{"UnknownTable", "\n[SC3x]\n", "2:2", "unknown table [SC3x]"},
                      Mistake{"UnknownTableGuess", "[Sc3xx]\n", "1:2", "did you mean SC3xx?"},
                      Mistake{"UnknownOption", "[SC3xx]\n\n  SendIPH = 1\n", "3:3", "did you mean SendIPHs?"},
                      Mistake{"OptionUnderDebug", "[Debug]\nSendIPHs = 1\n", "2:1",
                              "unknown name \"SendIPHs\" in [Debug]"},
                      Mistake{"OptionOutside", "SendIPHs = 1\n", "1:1", "options belong under [SC3xx]"},
                      Mistake{"Text", "[SC3xx]\nSendIPHs = \"on\"\n", "2:12", "must be a whole number, but is a text"},
                      Mistake{"Boolean", "[Debug]\nNoDeviceIO = true\n", "2:14", "but is true or false"},
                      Mistake{"Fraction", "[SC3xx]\nPdChunkSize = 1.5\n", "2:15", "a number with a fraction"},
                      Mistake{"TooLarge", "[SC3xx]\nPdChunkSize = 4294967296\n", "2:15", "doesn't fit in 32 bits"},
                      Mistake{"TooSmall", "[SC3xx]\nPdChunkSize = -2147483649\n", "2:15", "doesn't fit in 32 bits"},
                      Mistake{"Twice", "[SC3xx]\nSendIPHs = 1\nSendIPHs = 2\n", "3:12", "redefine"},
                      Mistake{"LogRootNumber", "LogRoot = 4\n", "1:11", "must be a text in quotes"},
                      Mistake{"TableIsNumber", "SC3xx = 4\n", "1:9", "must be a table"},
                      Mistake{"PrinterIsText", "[Printers]\nBureau = \"x\"\n", "2:10", "must be a table"},
                      Mistake{"HostNameSlip", "[Ports.a]\nHostNmae = \"x\"\n", "2:1", "did you mean HostName?"},
                      Mistake{"HostNameNumber", "[Ports.a]\nHostName = 5\n", "2:12", "must be a text in quotes"},
                      Mistake{"PortSlip", "[Printers.a]\nHostName = \"x\"\n", "2:1", "known: Port"}),
    [](const auto& tested) { return tested.param.what; });

TEST(SettingsFileTest, AFileThatCannotBeReadIsTold) {
  for (const char* path : {"/nowhere/settings.toml", "/"}) {
    try {
      SettingsFile::Load(path);
      FAIL() << "read " << path;
    } catch (const SettingsFileError& error) {
      EXPECT_THAT(error.what(), StartsWith(std::string(path) + ": "));
      EXPECT_EQ(error.Line(), 0u);
    }
  }
}

TEST(SettingsFileTest, TheEnvironmentNamesTheFile) {
  const std::filesystem::path path = std::filesystem::path(::testing::TempDir()) / "sc3xx_settings_file_test.toml";
  std::ofstream(path) << "[SC3xx]\nPdChunkSize = 17\n";
  ASSERT_EQ(setenv("SC3XXMON_CONFIG", path.c_str(), 1), 0);
  EXPECT_EQ(SettingsFile::LoadDefault().Number(kSc3xx, L"PdChunkSize", 0), 17u);
  std::filesystem::remove(path);
  EXPECT_THROW(SettingsFile::LoadDefault(), SettingsFileError) << "a named file that isn't there is a mistake";
  unsetenv("SC3XXMON_CONFIG");
}

TEST(SettingsNamesTest, GuessesOnlyWhatIsNear) {
  EXPECT_EQ(ClosestName("pdchunksize", kOptionNames), "PdChunkSize");
  EXPECT_EQ(ClosestName("PortReadTimeut", kOptionNames), "PortReadTimeout");
  EXPECT_EQ(ClosestName("colour", kOptionNames), "");
  EXPECT_EQ(ClosestName("", kOptionNames), "");
}

}  // namespace
}  // namespace sc3xxmon::platform
