// The names that the settings file and the command line accept: the values of the monitor's two keys, and the
// keys that the file's tables stand for. A name that is missing here is refused as unknown, so that a slip of
// the pen is told instead of silently giving a default.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

namespace sc3xxmon::platform {

inline constexpr std::wstring_view kOptionsKey = L"Software\\KOVA\\SC3xx";
inline constexpr std::wstring_view kDebugKey = L"Software\\KOVA\\Debug";
inline constexpr std::wstring_view kPrintersKey = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\";
inline constexpr std::wstring_view kPortsKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\";

// The options, in the order in which the monitor reads them; behind them the offsets of the tape models, one
// for each model and tape width.
inline constexpr std::array<std::string_view, 23> kOptionNames = {
    "LabelDispatchMode",  "LabelCompressMode", "PortReadTimeout",   "PortWriteTimeout", "MinBatteryLevel",
    "CheckLockedPrinter", "SendIPHs",          "PrintEmptyLabel",   "UnlockOnError",    "RecoverLanComm",
    "TrimTapeLabel",      "HorzLabelOffset",   "PdChunkSize",       "RB410_6mm_offset", "RB410_9mm_offset",
    "RB410_12mm_offset",  "RB410_19mm_offset", "RB410_24mm_offset", "RB430_6mm_offset", "RB430_9mm_offset",
    "RB430_12mm_offset",  "RB430_19mm_offset", "RB430_24mm_offset"};

inline constexpr std::array<std::string_view, 6> kDebugNames = {"DebugLevel", "TraceDetail", "NoDeviceIO",
                                                                "BypassMode", "DontLock",    "NoMediaCheck"};

// What stands under a printer's and under a port's name.
inline constexpr std::array<std::string_view, 1> kPrinterNames = {"Port"};
inline constexpr std::array<std::string_view, 1> kPortNames = {"HostName"};

// The candidate that was most likely meant by `word`, judged by the number of letters to change, case aside;
// empty when none is near enough to be worth a guess.
std::string_view ClosestName(std::string_view word, std::span<const std::string_view> candidates);

// The candidates in one line, "A, B, C", for a message.
std::string JoinNames(std::span<const std::string_view> names);

}  // namespace sc3xxmon::platform
