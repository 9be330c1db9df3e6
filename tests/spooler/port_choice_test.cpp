#include "apps/sc3xx/port_choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/sc3xx/usage_error.h"
#include "platform/posix/settings_names.h"

namespace sc3xx::test {
namespace {

namespace platform = sc3xxmon::platform;

using ::testing::AllOf;
using ::testing::HasSubstr;

template <class Call>
std::string Refusal(Call call) {
  try {
    call();
  } catch (const UsageError& error) {
    return error.what();
  }
  return "(accepted)";
}

std::wstring ValueOf(const platform::SettingsFile& settings, const std::wstring& key, LPCWSTR name) {
  wchar_t text[100] = L"(none)";
  DWORD size = sizeof(text);
  void* const bytes = text;
  settings.Query(key.c_str(), name, static_cast<LPBYTE>(bytes), &size);
  return text;
}

TEST(PortChoice, TellsThreeKindsApart) {
  EXPECT_EQ(ParsePortChoice("virtual").kind, PortKind::kVirtual);
  EXPECT_EQ(ParsePortChoice("usb:/dev/usb/lp0").kind, PortKind::kDevice);
  EXPECT_EQ(ParsePortChoice("usb:/dev/usb/lp0").target, "/dev/usb/lp0");
  EXPECT_EQ(ParsePortChoice("lan:10.0.0.7").kind, PortKind::kLan);
  EXPECT_EQ(ParsePortChoice("lan:10.0.0.7").target, "10.0.0.7");
}

TEST(PortChoice, RefusesWhatIsNoneOfThem) {
  for (const char* text : {"", "lan", "lan:", "usb:", "LAN:10.0.0.7", "10.0.0.7", "/dev/usb/lp0"}) {
    EXPECT_THAT(Refusal([text] { ParsePortChoice(text); }), AllOf(HasSubstr("usb:/dev/usb/lp0"), HasSubstr("lan:192")))
        << text;
  }
}

TEST(LanTarget, AHostLeadsToItselfUnderNamesOfItsOwn) {
  for (const char* host : {"10.0.0.7", "printer.example", "fd00::7", "127.0.0.2", "localhost"}) {
    const LanTarget target = FindLanTarget(host, {});
    EXPECT_EQ(target.hostName, host);
    EXPECT_EQ(target.printerName, std::string("lan:") + host);
    EXPECT_EQ(target.portName, std::string("lan:") + host);
  }
}

TEST(LanTarget, AddressInBracketsIsTheAddress) {
  EXPECT_EQ(FindLanTarget("[fd00::7]", {}).hostName, "fd00::7");
}

TEST(LanTarget, PrinterOfTheSettingsFileComesBeforeAHostOfThatName) {
  const auto settings = platform::SettingsFile::Parse(
      "[Printers.\"Front desk\"]\nPort = \"IP_7\"\n[Ports.\"IP_7\"]\nHostName = \"10.0.0.7\"\n", "test.toml");
  const LanTarget target = FindLanTarget("Front desk", settings);
  EXPECT_EQ(target.printerName, "Front desk");
  EXPECT_EQ(target.portName, "IP_7");
  EXPECT_EQ(target.hostName, "10.0.0.7");
}

TEST(LanTarget, PrinterWithoutAPortIsToldWhatIsMissing) {
  for (const char* text : {"[Printers.desk]\n", "[Printers.desk]\nPort = \"\"\n"}) {
    const auto settings = platform::SettingsFile::Parse(text, "test.toml");
    EXPECT_THAT(Refusal([&] { FindLanTarget("desk", settings); }),
                HasSubstr("[Printers.\"desk\"] with Port = \"NAME OF A PORT\""))
        << text;
  }
}

TEST(LanTarget, PortWithoutAHostIsToldWhatIsMissing) {
  for (const char* port :
       {"", "[Ports.IP_7]\n", "[Ports.IP_7]\nHostName = \"\"\n", "[Ports.IP_8]\nHostName = \"a\"\n"}) {
    const auto settings =
        platform::SettingsFile::Parse(std::string("[Printers.desk]\nPort = \"IP_7\"\n") + port, "test.toml");
    EXPECT_THAT(Refusal([&] { FindLanTarget("desk", settings); }), HasSubstr("[Ports.\"IP_7\"] with HostName")) << port;
  }
}

TEST(LanTarget, RefusesWhatCantBeAHost) {
  for (const char* text : {"hello world", "http://10.0.0.7", "a\nb", "10.0.0.7/24", "user@host", "a\\b", "\"a\""}) {
    EXPECT_THAT(Refusal([&] { FindLanTarget(text, {}); }), HasSubstr("neither a printer of the settings file")) << text;
  }
}

TEST(LanTarget, RefusesAPortNumberAndSaysWhatToWrite) {
  EXPECT_THAT(Refusal([] { FindLanTarget("10.0.0.7:9100", {}); }),
              AllOf(HasSubstr("TCP port 9100"), HasSubstr("Write lan:10.0.0.7")));
  EXPECT_EQ(FindLanTarget("::2", {}).hostName, "::2") << "an address may begin with a colon";
}

TEST(LanTarget, EntriesLeadFromThePrinterToItsHost) {
  platform::SettingsFile settings;
  EnterLanTarget(FindLanTarget("10.0.0.7", settings), settings);
  const std::wstring port = ValueOf(settings, std::wstring(platform::kPrintersKey) + L"lan:10.0.0.7", L"Port");
  EXPECT_EQ(port, L"lan:10.0.0.7");
  EXPECT_EQ(ValueOf(settings, std::wstring(platform::kPortsKey) + port, L"HostName"), L"10.0.0.7");
}

}  // namespace
}  // namespace sc3xx::test
