// The bytes of the printer's answers: status records in both forms, the long answer of the printers with two rolls, and
// the firmware answer. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/models.h"
#include "simulator/printer_settings.h"

namespace simulator {

struct StatusReport {
  std::uint8_t status = 0;
  std::uint8_t bay = 8;
  std::uint8_t head = 0;
  std::uint8_t cutter = 0;
  std::uint32_t errorBits = 0;
};

// Status values. 4 and 5 both mean that somebody else has the printer: 4 that the labels before the request were
// taken all the same, 5 that they were not.
inline constexpr std::uint8_t kStatusReady = 0;
inline constexpr std::uint8_t kStatusError = 2;
inline constexpr std::uint8_t kStatusCancelled = 3;
inline constexpr std::uint8_t kStatusTaken = 4;
inline constexpr std::uint8_t kStatusRefused = 5;

// What a host takes as the acknowledgement of its labels.
inline constexpr bool Passes(std::uint8_t status) {
  return (status & ~0x05u) == 0 && status != kStatusRefused;
}

inline constexpr bool IsGoodBay(std::uint32_t bay) {
  return bay >= 6 && bay <= 8;
}

std::uint32_t CommunicationBit(StatusForm form);
std::uint32_t BatteryBit();  // ESC S form only

// `size` is 32 or 70.
std::vector<std::uint8_t> BuildStatusAnswer(StatusForm form, const StatusReport& report, std::size_t size);

// 34 bytes.
std::vector<std::uint8_t> BuildFirmwareAnswer(const Firmware& firmware, const PrinterModel& model);

std::string DescribeBay(std::uint8_t bay);
std::string DescribeReport(const StatusReport& report, StatusForm form);

}  // namespace simulator
