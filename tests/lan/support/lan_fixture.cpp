#include "lan/support/lan_fixture.h"

#include "monitor/options.h"

namespace sc3xxmon::test {

void LanFixture::SetOption(const wchar_t* name, std::uint32_t value) {
  host.SetNumber(TestHost::kOptions, name, value);
  ReadOptions();
}

HANDLE LanFixture::Open(std::wstring portName) {
  HANDLE port = nullptr;
  EXPECT_EQ(table.pfnOpenPort(nullptr, portName.data(), &port), TRUE);
  openPorts_.push_back(port);
  return port;
}

BOOL LanFixture::SetTimeouts(HANDLE port, std::uint32_t readMs, std::uint32_t writeMs) {
  COMMTIMEOUTS timeouts{};
  timeouts.ReadTotalTimeoutConstant = readMs;
  timeouts.WriteTotalTimeoutConstant = writeMs;
  return table.pfnSetPortTimeOuts(port, &timeouts, 0);
}

HANDLE LanFixture::OpenAndStart(const std::wstring& hostName, std::uint32_t readMs, std::uint32_t writeMs) {
  EnterPrinter(host, kPrinter, hostName);
  HANDLE port = Open();
  EXPECT_EQ(SetTimeouts(port, readMs, writeMs), TRUE);
  EXPECT_EQ(Start(port), TRUE);
  return port;
}

BOOL LanFixture::Close(HANDLE port) {
  std::erase(openPorts_, port);
  return table.pfnClosePort(port);
}

}  // namespace sc3xxmon::test
