// What a printer tells of its firmware. Pure functions of the bytes; a leaf.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace sc3xxmon {

inline constexpr std::size_t kFirmwareResponseSize = 34;

struct FwInfo {
  std::string FwName;
  std::uint16_t FwType = 0;  // 1 "FWBL", 2 "FWAP", 0 anything else
  std::uint16_t FwNumber1 = 0;
  std::uint16_t FwNumber2 = 0;
  std::uint16_t FwNumber3 = 0;
  std::uint16_t FwNumber4 = 0;
  std::uint32_t FwModel = 0;  // row of the model table, 0 unknown
};

// Takes the response to `ESC V` apart. A decimal field that doesn't begin with a digit, or doesn't fit, gives 0.
FwInfo ParseFwInfo(const std::array<std::uint8_t, kFirmwareResponseSize>& response);

}  // namespace sc3xxmon
