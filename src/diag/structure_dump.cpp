#include "diag/structure_dump.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>

#include "diag/debug_log.h"
#include "platform/process.h"
#include "platform/text.h"

namespace sc3xxmon {
namespace {

constexpr std::size_t kGroupSize = 16;
constexpr std::size_t kLongestUserName = 128;

void DumpGroup(const std::uint8_t* b) {
  KovaDebugPrint("[%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x-%02x]", b[0], b[1], b[2],
                 b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

// A name that fills its field has no terminator.
template <std::size_t Size>
std::wstring FieldText(const wchar_t (&field)[Size]) {
  return {field, std::find(field, field + Size, L'\0')};
}

void DumpFields(const DEVMODEW& mode) {
  KovaDebugPrint("DeviceName          [%ws]  ", FieldText(mode.dmDeviceName).c_str());
  KovaDebugPrint("dmSpecVersion       [x%04X]", mode.dmSpecVersion);
  KovaDebugPrint("dmDriverVersion     [x%04X]", mode.dmDriverVersion);
  KovaDebugPrint("dmSize              [x%04X]", mode.dmSize);
  KovaDebugPrint("dmDriverExtra       [x%04X]", mode.dmDriverExtra);
  KovaDebugPrint("dmFields            [x%04X]", mode.dmFields);
  KovaDebugPrint("dmColor             [x%04X]", mode.dmColor);
  KovaDebugPrint("dmDuplex            [x%04X]", mode.dmDuplex);
  KovaDebugPrint("dmYResolution       [x%04x]", mode.dmYResolution);
  KovaDebugPrint("dmTTOption          [x%04X]", mode.dmTTOption);
  KovaDebugPrint("dmCollate           [x%04X]", mode.dmCollate);
  KovaDebugPrint("dmFormName          [%ws]  ", FieldText(mode.dmFormName).c_str());
  KovaDebugPrint("dmLogPixels         [x%04X]", mode.dmLogPixels);
  KovaDebugPrint("dmBitsPerPel        [x%04X]", mode.dmBitsPerPel);
  KovaDebugPrint("dmPelsWidth         [x%04X]", mode.dmPelsWidth);
  KovaDebugPrint("dmPelsHeight        [x%04X]", mode.dmPelsHeight);
  KovaDebugPrint("dmDisplayFrequency  [x%04X]", mode.dmDisplayFrequency);
  KovaDebugPrint("dmICMMethod         [x%04X]", mode.dmICMMethod);
  KovaDebugPrint("dmICMIntent         [x%04X]", mode.dmICMIntent);
  KovaDebugPrint("dmMediaType         [x%04X]", mode.dmMediaType);
  KovaDebugPrint("dmDitherType        [x%04X]", mode.dmDitherType);
  KovaDebugPrint("dmReserved1         [x%04X]", mode.dmReserved1);
  KovaDebugPrint("dmReserved2         [x%04X]", mode.dmReserved2);
  KovaDebugPrint("dmPanningWidth      [x%04X]", mode.dmPanningWidth);
  KovaDebugPrint("dmPanningHeight     [x%04X]", mode.dmPanningHeight);
}

}  // namespace

void DumpBuffer(const char* function, int line, const void* buffer, std::size_t count) {
  KovaDebugPrint("[%s,%04d] buff[%p] count[%04d] ", function, line, buffer, count);
  const auto* bytes = static_cast<const std::uint8_t*>(buffer);
  for (std::size_t at = 0; bytes != nullptr && at + kGroupSize <= count; at += kGroupSize) {
    DumpGroup(bytes + at);
  }
}

void DumpDevMode(const DEVMODEW* devmode) try {
  constexpr char kFunction[] = "DumpDevMode";
  KovaDebugPrint("[%s,%04d] pOEMDevmode[%p]   ", kFunction, __LINE__, static_cast<const void*>(devmode));
  if (devmode == nullptr) {
    KovaDebugPrint("[%s,%04d] unknown devmode ", kFunction, __LINE__);
    return;
  }
  if (DebugLevel() != kDebugLevelOff) {
    DumpFields(*devmode);
  }
} catch (const std::exception&) {
  // No memory for a name: the rest isn't told.
}

void LogStartBanner(const char* tag) try {
  if (DebugLevel() == kDebugLevelOff) {
    return;
  }
  const std::string user = platform::ToUtf8(platform::CurrentUserName(kLongestUserName));
  const std::string commandLine = platform::ToUtf8(platform::CurrentCommandLine());
  KovaDebugPrint("%s: %s started '%s'", tag, user.c_str(), commandLine.c_str());
} catch (const std::exception&) {
  // As above.
}

}  // namespace sc3xxmon
