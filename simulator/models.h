// The nine printers that the virtual printer can be, written from the printer's side: what is printed on the
// case, how fast the paper moves, and in which shape the firmware answers.
//
// Constant data: any thread, no allocation, no failure but "no such model".
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace simulator {

// The two layouts of a status record: the desktop models' own, and the one that begins with ESC S.
enum class StatusForm { kPlain, kEscapeS };

// How the last two bytes of the firmware answer name the hardware.
enum class HardwareIdForm { kAsciiHex, kBinary, kRaw };

struct PrinterModel {
  int row;  // 1 to 9
  std::string_view name;
  std::string_view shortName;
  bool tape;  // prints on a tape, chunk by chunk; the others print whole labels
  int rolls;  // 0 for a tape cassette
  double millimetresPerSecond;
  std::size_t statusAnswerBytes;  // 32, or 70 where there are two rolls
  StatusForm statusForm;
  std::uint16_t hardwareId;
  HardwareIdForm hardwareIdForm;
};

// Feed resolution of every model: 300 dots an inch.
inline constexpr double kLinesPerMillimetre = 300.0 / 25.4;

std::span<const PrinterModel> Models();

// Null when there is no such row.
const PrinterModel* FindModel(int row);

// By row number, name or short name, upper and lower case alike. Null when nothing fits.
const PrinterModel* FindModel(std::string_view nameOrRow);

// "1 SC310, 2 SC310S, ..." for messages.
std::string ModelChoices();

}  // namespace simulator
