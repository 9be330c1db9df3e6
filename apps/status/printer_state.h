// What a printer says of itself: its status record and its firmware answer, taken apart into words. Pure functions of
// the bytes. The monitor has a decoder of its own for what it acts on; this one is for people, names everything that a
// record holds, and takes no part in printing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/models.h"

namespace sc3xx {

inline constexpr std::size_t kRecordBytes = 32;
inline constexpr std::size_t kTwoRollAnswerBytes = 70;  // the record stands in the middle, behind six bytes
inline constexpr std::size_t kFirmwareBytes = 34;

enum class PrinterReadiness {
  kReady,
  kInUse,  // good, and somebody else's at the moment
  kError,  // a person has to do something
};

struct PrinterState {
  PrinterReadiness readiness = PrinterReadiness::kReady;
  std::vector<std::string> troubles;  // what a person has to mend, worst first; of no other state than kError
  std::string media;                  // "labels are in", "out of labels", ...
  // As they stand in the record:
  bool isEscapeS = false;  // the form that begins with ESC S
  std::uint8_t status = 0;
  std::uint8_t bay = 0;
  std::uint8_t head = 0;    // only in the plain form
  std::uint8_t cutter = 0;  // only in the ESC S form
  std::uint32_t err = 0;
};

// `answer` is what came to a status request: 32 bytes, or 70 with two rolls. Nothing for any other length.
std::optional<PrinterState> DecodeState(std::span<const std::uint8_t> answer);

struct FirmwareState {
  std::string name;
  std::string type;                                // "application", "boot loader", or the four letters
  std::string version;                             // "2.1042.7.3"
  std::uint16_t hardwareId = 0;                    // as the model has it
  const simulator::PrinterModel* model = nullptr;  // null: unknown hardware
};

// Nothing for any other length than 34.
std::optional<FirmwareState> DecodeFirmware(std::span<const std::uint8_t> answer);

}  // namespace sc3xx
