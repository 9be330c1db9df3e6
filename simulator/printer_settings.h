// What a virtual printer is made from. Plain data; every default is a printer in good order at full speed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/fault.h"
#include "simulator/models.h"

namespace simulator {

// What the printer answers to ESC V.
struct Firmware {
  std::string name = "KOVA";  // up to 16 bytes
  std::string type = "FWAP";  // four characters; "FWAP" is the application, "FWBL" the boot loader
  std::uint16_t number1 = 2;  // up to 9999
  std::uint16_t number2 = 1042;
  std::uint16_t number3 = 7;  // up to 99
  std::uint16_t number4 = 3;
  std::optional<HardwareIdForm> hardwareIdForm;           // default: as the model has it
  std::array<std::uint8_t, 2> rawHardwareId{};            // for HardwareIdForm::kRaw
  std::optional<std::array<std::uint8_t, 34>> rawAnswer;  // the whole answer, in place of all of the above
};

struct PrinterSettings {
  int model = 5;
  Firmware firmware;

  // Millimetres a second; nullopt prints a label in no time. UseModelSpeed() below paces by the model.
  std::optional<double> millimetresPerSecond;

  // Bytes that a client's data may wait for the mechanism; nullopt takes everything. What is being printed,
  // and a label that comes in while nothing stands before it, wait for nothing and don't count.
  std::optional<std::size_t> receiveBufferBytes;

  std::optional<StatusForm> statusForm;  // default: as the model has it
  std::uint8_t goodBay = 8;              // 6, 7 or 8

  // A command that stops in its middle is dropped after this silence, so that a host whose write failed
  // half-way is understood again. 0 waits for ever.
  std::uint64_t incompleteCommandTimeoutMs = 1000;

  // A label (its commands, or its raster once decompressed) beyond this is malformed and is not kept.
  std::size_t maxLabelBytes = 64u << 20;

  bool keepCommandBytes = true;  // fill PrintedLabel::leading and ::commands
  bool transcript = true;

  std::vector<Fault> faults;

  // Paces the printer by its model's own speed.
  PrinterSettings& UseModelSpeed();
};

// Empty when a printer can be made from these settings, else what is wrong with them.
std::string CheckSettings(const PrinterSettings& settings);

// Empty when this printer can have that fault, else why not: a desktop model has no cutter, and so on.
std::string CheckFault(const PrinterSettings& settings, const Fault& fault);

}  // namespace simulator
