#include "apps/sc3xx/port_choice.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "apps/ports/network_host.h"
#include "apps/sc3xx/usage_error.h"
#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xx {
namespace {

namespace platform = sc3xxmon::platform;

constexpr std::string_view kUsbPrefix = "usb:";
constexpr std::string_view kLanPrefix = "lan:";

std::wstring KeyOf(std::wstring_view folder, const std::string& name) {
  return std::wstring(folder) + platform::FromUtf8(name);
}

// Empty when the value isn't there or is no text.
std::string TextOf(const platform::SettingsFile& settings, const std::wstring& key, LPCWSTR name) {
  DWORD size = 0;
  if (settings.Query(key.c_str(), name, nullptr, &size) != 0 || size % sizeof(wchar_t) != 0) {
    return {};
  }
  std::wstring text(size / sizeof(wchar_t), L'\0');
  void* const bytes = text.data();
  settings.Query(key.c_str(), name, static_cast<LPBYTE>(bytes), &size);
  return platform::ToUtf8(text.c_str());
}

LanTarget PrinterOfSettings(const std::string& printer, const platform::SettingsFile& settings) {
  LanTarget target{printer, TextOf(settings, KeyOf(platform::kPrintersKey, printer), L"Port"), {}};
  if (target.portName.empty()) {
    throw UsageError("--port: the settings file knows the printer \"" + printer +
                     "\" but no port of it; write [Printers.\"" + printer + "\"] with Port = \"NAME OF A PORT\"");
  }
  target.hostName = TextOf(settings, KeyOf(platform::kPortsKey, target.portName), L"HostName");
  if (target.hostName.empty()) {
    throw UsageError("--port: the settings file gives the printer \"" + printer + "\" the port \"" + target.portName +
                     "\", which has no host; write [Ports.\"" + target.portName +
                     "\"] with HostName = \"NAME OR ADDRESS OF THE PRINTER\"");
  }
  return target;
}

bool MayStandInHost(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
         c == '_' || c == ':' || c == '%' || static_cast<unsigned char>(c) >= 0x80;
}

void RefusePortNumber(const std::string& host) {
  const std::size_t colon = host.find(':');
  if (colon == std::string::npos || colon == 0 || host.find(':', colon + 1) != std::string::npos) {
    return;  // no colon at all, or the several of an IPv6 address
  }
  throw UsageError("--port: lan: takes a host without a port number; printers are reached at TCP port " +
                   std::to_string(kPrinterTcpPort) + ". Write lan:" + host.substr(0, colon));
}

std::string HostFrom(const std::string& text) {
  const bool inBrackets = text.size() > 2 && text.front() == '[' && text.back() == ']';
  std::string host = inBrackets ? text.substr(1, text.size() - 2) : text;
  if (!std::all_of(host.begin(), host.end(), MayStandInHost)) {
    throw UsageError(
        "--port: \"" + text +
        "\" is neither a printer of the settings file ([Printers.\"NAME\"]) nor a host; write lan: and the "
        "printer's name or address, such as lan:192.168.1.20");
  }
  RefusePortNumber(host);
  return host;
}

}  // namespace

PortChoice ParsePortChoice(const std::string& text) {
  if (text == "virtual") {
    return {};
  }
  if (text.starts_with(kUsbPrefix) && text.size() > kUsbPrefix.size()) {
    return {PortKind::kDevice, text.substr(kUsbPrefix.size())};
  }
  if (text.starts_with(kLanPrefix) && text.size() > kLanPrefix.size()) {
    return {PortKind::kLan, text.substr(kLanPrefix.size())};
  }
  throw UsageError(
      "--port: \"" + text +
      "\" is no port; write \"virtual\"; or usb: and the path of a printer's device file or socket, such as "
      "usb:/dev/usb/lp0; or lan: and a printer's host or its name in the settings file, such as "
      "lan:192.168.1.20");
}

LanTarget FindLanTarget(const std::string& target, const platform::SettingsFile& settings) {
  if (settings.Query(KeyOf(platform::kPrintersKey, target).c_str(), nullptr, nullptr, nullptr) == 0) {
    return PrinterOfSettings(target, settings);
  }
  const std::string host = HostFrom(target);
  const std::string name = std::string(kLanPrefix) + host;
  return {name, name, host};
}

void EnterLanTarget(const LanTarget& target, platform::SettingsFile& settings) {
  settings.SetText(KeyOf(platform::kPrintersKey, target.printerName), L"Port", platform::FromUtf8(target.portName));
  settings.SetText(KeyOf(platform::kPortsKey, target.portName), L"HostName", platform::FromUtf8(target.hostName));
}

}  // namespace sc3xx
