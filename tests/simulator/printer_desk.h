// A virtual printer on a test's desk: one client to begin with, a clock that the test turns, and the commands of the
// print language by their names.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "simulator/fault_script.h"
#include "simulator/virtual_printer.h"

namespace simulator::test {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes& right);

Bytes JobStart();
Bytes EndOfJob();
Bytes ShortFormFeed();
Bytes LongFormFeed();
Bytes Index(std::uint16_t index);
Bytes LabelLength(std::uint16_t length);  // ESC L, a command between labels
Bytes Ask(std::uint8_t operand);          // ESC A
Bytes AskFirmware();

// `lines` lines whose bytes count up from `seed`.
Bytes RasterBytes(std::uint32_t lines, std::uint32_t dots, std::uint8_t seed, std::uint8_t bits = 1);
Bytes Raster(std::uint32_t lines, std::uint32_t dots, const Bytes& raster, std::uint8_t bits = 1);  // ESC D
Bytes CompressedRaster(std::uint32_t lines, std::uint32_t dots, const Bytes& raster);               // ESC Z

// ESC n, ESC D with RasterBytes(lines, 64, index), ESC G.
Bytes Label(std::uint16_t index, std::uint32_t lines = 10);
Bytes OpenLabel(std::uint16_t index, std::uint32_t lines = 10);  // without the ESC G

Fault FaultOf(const std::string& text);

class PrinterDesk : public ::testing::Test {
 protected:
  // The printer is made at the first use, from these.
  PrinterSettings settings;

  VirtualPrinter& Printer();
  ClientId Host();  // the first client

  // All bytes at once; the test fails when the printer doesn't take them all.
  void Send(const Bytes& bytes);
  void SendAs(ClientId client, const Bytes& bytes);
  // What there is to read now.
  Bytes Receive();
  Bytes ReceiveAs(ClientId client);
  // Asks and gives the status byte of the answer, or -1 when there is none at once.
  int StatusAfter(std::uint8_t operand);
  int StatusAs(ClientId client, std::uint8_t operand);
  // The status bytes of all answers that can be read.
  std::vector<int> Statuses();
  std::vector<int> StatusesAs(ClientId client);

  void Pass(std::uint64_t milliseconds);
  void AddFault(const std::string& text) { Printer().AddFault(FaultOf(text)); }

  std::vector<int> PrintedIndexes();
  std::vector<PrinterEventKind> EventKinds();
  std::vector<DropReason> DropReasons();

  std::uint64_t now = 0;

 private:
  int StatusOf(const Bytes& answer) const;

  std::optional<VirtualPrinter> printer_;
  ClientId host_ = kNobody;
};

}  // namespace simulator::test
