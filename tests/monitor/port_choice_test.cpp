#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "lan/tcp_port.h"
#include "monitor/langmon.h"
#include "platform/text.h"
#include "support/log_lines.h"
#include "support/module_copy.h"
#include "support/scripted_port.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct NameCase {
  const wchar_t* portName;
  std::uint32_t isUsb;
};
void PrintTo(const NameCase& each, std::ostream* out) {
  *out << ::testing::PrintToString(std::wstring(each.portName != nullptr ? each.portName : L"none"));
}

class PortChoiceTest : public ::testing::Test {
 protected:
  PortChoiceTest() { test::TestHost::SetDebugLevel(1); }

  // 1 or 0 as the choice says; the table that is to be used is in `chosen`.
  std::uint32_t Choose(const wchar_t* portName) {
    std::uint32_t isUsb = 77;
    accepted = CLangMon::ValidateMonitor(portName, &next, &chosen, &isUsb);
    return isUsb;
  }
  // The next monitor comes from a file of this name, in a folder whose name begins with that word. Its functions are
  // not for calling.
  void ComesFrom(const std::string& fileName, const std::string& folderWord = "module") {
    WriteStandsAt(test::FunctionInModuleNamed(fileName, folderWord));
  }
  // The same, from memory that belongs to no file.
  void ComesFromNowhere() { WriteStandsAt(&host); }
  void WriteStandsAt(const void* address) {
    next.pfnWritePort = reinterpret_cast<decltype(next.pfnWritePort)>(reinterpret_cast<std::uintptr_t>(address));
  }
  bool RefusedWithout(void (*remove)(MONITOR2&)) {
    MONITOR2 table = port.Table();
    remove(table);
    std::uint32_t isUsb = 1;
    host.lastError = 0;
    return !CLangMon::ValidateMonitor(L"USB001", &table, &chosen, &isUsb) &&
           host.lastError == ERROR_INVALID_PRINT_MONITOR;
  }

  test::TestHost host;
  test::ScriptedPort port;
  MONITOR2 next = port.Table();
  MONITOR2 chosen{};
  bool accepted = false;
};

TEST_F(PortChoiceTest, AUsbPortUsesAWholeCopyOfTheNextMonitorsTable) {
  next.pfnAddPort = [](HANDLE, LPWSTR, void*, LPWSTR) { return BOOL{1}; };
  next.pfnPowerEvent = [](HANDLE, DWORD, void*) { return DWORD{1}; };
  EXPECT_EQ(Choose(L"USB001"), 1U);
  EXPECT_TRUE(accepted);
  EXPECT_EQ(chosen.cbSize, next.cbSize);
  EXPECT_EQ(chosen.pfnOpenPort, next.pfnOpenPort);
  EXPECT_EQ(chosen.pfnWritePort, next.pfnWritePort);
  EXPECT_EQ(chosen.pfnSetPortTimeOuts, next.pfnSetPortTimeOuts);
  EXPECT_EQ(chosen.pfnAddPort, next.pfnAddPort);
  EXPECT_EQ(chosen.pfnPowerEvent, next.pfnPowerEvent);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PortChoiceTest, EachOfTheSixFunctionsIsMandatory) {
  EXPECT_TRUE(RefusedWithout([](MONITOR2& table) { table.pfnOpenPort = nullptr; }));
  EXPECT_TRUE(RefusedWithout([](MONITOR2& table) { table.pfnStartDocPort = nullptr; }));
  EXPECT_TRUE(RefusedWithout([](MONITOR2& table) { table.pfnWritePort = nullptr; }));
  EXPECT_TRUE(RefusedWithout([](MONITOR2& table) { table.pfnReadPort = nullptr; }));
  EXPECT_TRUE(RefusedWithout([](MONITOR2& table) { table.pfnEndDocPort = nullptr; }));
  EXPECT_TRUE(RefusedWithout([](MONITOR2& table) { table.pfnClosePort = nullptr; }));
  EXPECT_EQ(host.LogCount("Mandatory MONITOR2 entries are empty"), 6U);
}

TEST_F(PortChoiceTest, NoOtherFunctionIsLookedAt) {
  EXPECT_FALSE(RefusedWithout([](MONITOR2& table) {
    table.pfnOpenPortEx = nullptr;
    table.pfnSetPortTimeOuts = nullptr;
    table.pfnShutdown = nullptr;
  }));
}

TEST_F(PortChoiceTest, ANullTableIsRefused) {
  std::uint32_t isUsb = 1;
  EXPECT_FALSE(CLangMon::ValidateMonitor(L"USB001", nullptr, &chosen, &isUsb));
  EXPECT_EQ(host.lastError, 3007U);
  EXPECT_THAT(test::LogLines(host), ElementsAre("CLangMon::ValidateMonitor: Mandatory MONITOR2 entries are empty"));
}

class PortNameTest : public PortChoiceTest, public ::testing::WithParamInterface<NameCase> {};

// The tests' own program holds neither word in its name.
TEST_P(PortNameTest, DecidesWhereTheModuleSaysNothing) {
  EXPECT_EQ(Choose(GetParam().portName), GetParam().isUsb);
}

TEST_P(PortNameTest, DecidesWhereTheModuleSaysBoth) {
  ComesFrom("tcp-over-usb.so");
  EXPECT_EQ(Choose(GetParam().portName), GetParam().isUsb);
}

INSTANTIATE_TEST_SUITE_P(Names, PortNameTest,
                         ::testing::Values(NameCase{L"USB001", 1}, NameCase{L"usb", 1}, NameCase{L"CLIENT:3", 1},
                                           NameCase{L"client:3", 1}, NameCase{L"CLIENT3", 0}, NameCase{L"MYUSB", 0},
                                           NameCase{L"IP_10.0.0.5", 0}, NameCase{L"", 0}, NameCase{nullptr, 0},
                                           NameCase{L" USB001", 0}, NameCase{L"TCP_USB", 0}));

TEST_F(PortChoiceTest, AModuleThatSaysUsbDecidesWhateverThePortsName) {
  for (const char* file : {"usbmon", "MyUSBport.dll", "libUsb.so.1"}) {
    ComesFrom(file);
    EXPECT_EQ(Choose(L"IP_10.0.0.5"), 1U) << file;
    EXPECT_TRUE(accepted);
    EXPECT_EQ(chosen.pfnWritePort, next.pfnWritePort);
    EXPECT_EQ(Choose(nullptr), 1U);
  }
}

TEST_F(PortChoiceTest, AModuleThatSaysTcpDecidesWhateverThePortsName) {
  for (const char* file : {"tcpmon", "TCPMON.DLL", "my-Tcp.so"}) {
    ComesFrom(file);
    EXPECT_EQ(Choose(L"USB001"), 0U) << file;
    EXPECT_TRUE(accepted);
    EXPECT_EQ(chosen.pfnWritePort, LanPortTable().pfnWritePort);
  }
}

TEST_F(PortChoiceTest, OnlyTheModulesFileNameCounts) {
  for (const char* folder : {"usb", "tcp"}) {
    ComesFrom("plain.so", folder);
    EXPECT_EQ(Choose(L"USB001"), 1U) << folder;
    EXPECT_EQ(Choose(L"IP_10.0.0.5"), 0U) << folder;
  }
}

// Then the port's name is searched as the module's would have been, wherever the words stand.
TEST_F(PortChoiceTest, WithoutAModuleThePortsNameStandsInForIt) {
  ComesFromNowhere();
  const std::wstring longName = std::wstring(256, L'x') + L"USB";
  for (const NameCase& c :
       {NameCase{L"MYUSB", 1}, NameCase{L"my-usb-port", 1}, NameCase{longName.c_str(), 1}, NameCase{L"MYTCP", 0},
        NameCase{L"TCP_CLIENT:3", 0}, NameCase{L"CLIENT:TCP", 0}, NameCase{L"USB_TCP", 1}, NameCase{L"MYTCP_USB", 0},
        NameCase{L"CLIENT:3", 1}, NameCase{L"IP_10.0.0.5", 0}, NameCase{L"", 0}, NameCase{nullptr, 0}}) {
    EXPECT_EQ(Choose(c.portName), c.isUsb) << (c.portName != nullptr ? platform::ToUtf8(c.portName) : "no name");
  }
}

TEST_F(PortChoiceTest, OfANameInTheModulesPlaceTheFirst259CharactersCount) {
  ComesFromNowhere();
  EXPECT_EQ(Choose((std::wstring(257, L'x') + L"USB").c_str()), 0U);
}

TEST_F(PortChoiceTest, ALanPortDoesntUseTheNextMonitorAtAll) {
  Choose(L"IP_10.0.0.5");
  EXPECT_NE(chosen.pfnOpenPort, next.pfnOpenPort);
  EXPECT_NE(chosen.pfnStartDocPort, next.pfnStartDocPort);
  EXPECT_NE(chosen.pfnWritePort, next.pfnWritePort);
  EXPECT_NE(chosen.pfnReadPort, next.pfnReadPort);
  EXPECT_NE(chosen.pfnEndDocPort, next.pfnEndDocPort);
  EXPECT_NE(chosen.pfnClosePort, next.pfnClosePort);
  EXPECT_NE(chosen.pfnSetPortTimeOuts, next.pfnSetPortTimeOuts);
}

TEST_F(PortChoiceTest, ALanPortIsAcceptedAndUsesTheTransportsTable) {
  Choose(L"IP_10.0.0.5");
  const MONITOR2 lan = LanPortTable();
  EXPECT_TRUE(accepted);
  EXPECT_EQ(host.lastError, 0U);
  EXPECT_THAT(host.log, IsEmpty());
  for (const bool there :
       {chosen.pfnOpenPort != nullptr, chosen.pfnStartDocPort != nullptr, chosen.pfnWritePort != nullptr,
        chosen.pfnReadPort != nullptr, chosen.pfnEndDocPort != nullptr, chosen.pfnClosePort != nullptr}) {
    EXPECT_TRUE(there);
  }
  EXPECT_EQ(chosen.pfnOpenPort, lan.pfnOpenPort);
  EXPECT_EQ(chosen.pfnStartDocPort, lan.pfnStartDocPort);
  EXPECT_EQ(chosen.pfnWritePort, lan.pfnWritePort);
  EXPECT_EQ(chosen.pfnReadPort, lan.pfnReadPort);
  EXPECT_EQ(chosen.pfnEndDocPort, lan.pfnEndDocPort);
  EXPECT_EQ(chosen.pfnClosePort, lan.pfnClosePort);
  EXPECT_EQ(chosen.pfnSetPortTimeOuts, lan.pfnSetPortTimeOuts);
}

// ------------------------------------------------------------------------------------ the arguments of a document

TEST_F(PortChoiceTest, ADocumentWithPrinterNameAndInfoAtLevel1MayGoOn) {
  const int info = 0;
  EXPECT_TRUE(CLangMon::ValidateDocInfo(L"Labels", 1, &info));
  EXPECT_EQ(host.lastError, 0U);
}

TEST_F(PortChoiceTest, WithoutDocumentInfoOrPrinterNameTheParameterIsInvalid) {
  const int info = 0;
  for (const auto& [name, given] : {std::pair<const wchar_t*, const void*>{L"Labels", nullptr},
                                    {nullptr, &info},
                                    {L"", &info},
                                    {nullptr, nullptr}}) {
    host.lastError = 0;
    EXPECT_FALSE(CLangMon::ValidateDocInfo(name, 1, given));
    EXPECT_EQ(host.lastError, 87U);
  }
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PortChoiceTest, AnotherLevelIsInvalidAndLogged) {
  const int info = 0;
  for (const DWORD level : {0U, 2U, 0xFFFFFFFFU}) {
    host.lastError = 0;
    EXPECT_FALSE(CLangMon::ValidateDocInfo(L"Labels", level, &info));
    EXPECT_EQ(host.lastError, 124U);
  }
  EXPECT_EQ(test::LogLines(host).front(), "CLangMon::ValidateDocInfo: Error");
  EXPECT_EQ(host.LogCount("Error"), 3U);
}

TEST_F(PortChoiceTest, TheArgumentsAreTestedBeforeTheLevel) {
  EXPECT_FALSE(CLangMon::ValidateDocInfo(L"Labels", 2, nullptr));
  EXPECT_EQ(host.lastError, 87U);
}

}  // namespace
}  // namespace sc3xxmon
