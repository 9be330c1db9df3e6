// The monitor's options, one global a registry value, under the value's name. Written once by ReadOptions, before any
// port exists, and read without a lock from then on. A leaf: any folder may include it.
#pragma once

#include <cstdint>

namespace sc3xxmon {

// The registry key that holds the options and the tape offsets.
inline constexpr wchar_t kOptionsKey[] = L"Software\\KOVA\\SC3xx";

inline std::int32_t LabelDispatchMode = 0;      // reported at start-up; there is one dispatch behaviour
inline std::uint32_t LabelCompressMode = 3;     // bit value 1: compress on USB; 2: on LAN
inline std::uint32_t PortReadTimeout = 15000;   // milliseconds, 1000 to 60000
inline std::uint32_t PortWriteTimeout = 15000;  // milliseconds, 1000 to 60000
inline std::uint32_t MinBatteryLevel = 20;      // 5 to 50; kept for driver tools, no routine reads it
inline std::uint32_t CheckLockedPrinter = 1;    // kept for driver tools, no routine reads it
inline std::uint32_t SendIPHs = 1;              // 0 leaves the between-labels commands out of each label
inline std::uint32_t PrintEmptyLabel = 0;       // 0 discards a label without raster dots
inline std::uint32_t UnlockOnError = 0;         // not 0: give the printer's lock back while it shows errors
inline std::uint32_t RecoverLanComm = 0;        // kept for driver tools, no routine reads it
inline std::uint32_t TrimTapeLabel = 0;         // reported at start-up
inline std::uint32_t HorzLabelOffset = 0;       // reported at start-up
inline std::uint32_t PdChunkSize = 200;         // raster lines in a chunk on the tape models; 0 turns chunks off

// Reads and clamps them all. A key or value that is missing is a default; nothing fails, nothing is logged.
void ReadOptions();

}  // namespace sc3xxmon
