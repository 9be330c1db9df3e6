// The printer's 32-byte status record and the errors decoded from it. Pure functions of the bytes; a leaf.
#pragma once

#include <array>
#include <cstdint>

namespace sc3xxmon {

// Operand of the ESC A request that brings a record.
inline constexpr std::uint8_t kAskState = 0;
inline constexpr std::uint8_t kAskForLock = 1;   // the printer is ours from then on, if it is free
inline constexpr std::uint8_t kAskInFlight = 2;  // answered once what stands before it is done

// Values of Status that decide something.
inline constexpr std::uint8_t kStatusPrinterError = 2;
inline constexpr std::uint8_t kStatusCancelled = 3;
inline constexpr std::uint8_t kStatusTaken = 4;
inline constexpr std::uint8_t kStatusTakenBusy = 5;

// A record comes in one of two forms. Its own first two bytes decide, never the model: 1B 53 is the `ESC S` form, all
// else the plain one. Bytes that no accessor names are the printer's business and are kept as they came.
struct StatusRecord {
  std::array<std::uint8_t, 32> Bytes{};

  bool IsEscS() const { return Bytes[0] == 0x1B && Bytes[1] == 0x53; }
  std::uint8_t Status() const { return IsEscS() ? Bytes[3] : Bytes[0]; }
  std::uint8_t Bay() const { return IsEscS() ? Bytes[11] : Bytes[10]; }  // state of the media
  std::uint8_t Head() const { return IsEscS() ? 0 : Bytes[8]; }
  std::uint8_t Cutter() const { return IsEscS() ? Bytes[10] : 0; }
  std::uint32_t Err() const;

  // Someone else holds the printer.
  bool IsTaken() const { return Status() == kStatusTaken || Status() == kStatusTakenBusy; }

  // What a label's status may be: 0, 1 or 4; nothing else passes, 5 neither.
  bool PassesStatusCheck() const { return (Status() & ~0x05u) == 0 && Status() != 5; }

  // The printer complains of the communication. The two forms differ in the bit as well as in the word's place.
  bool HasCommError() const;

  // Asymmetric on purpose: an `ESC S` record has error bits only while its status is 2, a plain one whenever its error
  // word isn't 0.
  bool HasStatusErrorBits() const;

  friend bool operator==(const StatusRecord&, const StatusRecord&) = default;
};

// Bits of ErrorFlags.
inline constexpr std::uint32_t kMediaError = 1;
inline constexpr std::uint32_t kHeadError = 2;
inline constexpr std::uint32_t kCutterError = 4;
inline constexpr std::uint32_t kBatteryError = 8;

// What of a record a person has to mend.
struct PrinterErrors {
  std::uint8_t Bay = 0;
  std::uint8_t Head = 0;
  std::uint8_t Cutter = 0;
  std::uint32_t BatteryGood = 0;
  std::uint32_t ErrorFlags = 0;

  friend bool operator==(const PrinterErrors&, const PrinterErrors&) = default;
};

PrinterErrors DecodePrinterErrors(const StatusRecord& record);

// Stands in for every response while no byte goes to the port.
StatusRecord FabricatedStatus(std::uint32_t model);

}  // namespace sc3xxmon
