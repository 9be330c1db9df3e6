#include "apps/status/printer_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace sc3xx::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

Bytes Plain(std::uint8_t status, std::uint8_t bay = 8, std::uint8_t head = 0, std::uint32_t err = 0) {
  Bytes record(32);
  record[0] = status;
  record[8] = head;
  record[10] = bay;
  for (std::size_t i = 0; i < 4; ++i) {
    record[23 + i] = static_cast<std::uint8_t>(err >> (8 * i));
  }
  return record;
}

Bytes EscapeS(std::uint8_t status, std::uint8_t bay = 8, std::uint8_t cutter = 0, std::uint32_t err = 0) {
  Bytes record(32);
  record[0] = 0x1B;
  record[1] = 0x53;
  record[3] = status;
  record[10] = cutter;
  record[11] = bay;
  for (std::size_t i = 0; i < 4; ++i) {
    record[24 + i] = static_cast<std::uint8_t>(err >> (8 * i));
  }
  return record;
}

Bytes Firmware(const std::string& text, std::uint8_t first, std::uint8_t second) {
  Bytes answer(text.begin(), text.end());
  answer.resize(32);
  answer.push_back(first);
  answer.push_back(second);
  return answer;
}

std::string FirmwareText(const std::string& type, const std::string& numbers) {
  std::string text = "Scrivelo";
  text.resize(16);
  return text + type + numbers;
}

TEST(PrinterState, ReadyIsReadyInBothForms) {
  for (const Bytes& record : {Plain(0), Plain(1), Plain(0, 6), Plain(0, 7), EscapeS(0), EscapeS(1)}) {
    const auto state = DecodeState(record);
    ASSERT_TRUE(state);
    EXPECT_EQ(state->readiness, PrinterReadiness::kReady);
    EXPECT_THAT(state->troubles, IsEmpty());
  }
}

TEST(PrinterState, TakenIsInUseAndNoError) {
  for (const std::uint8_t status : {std::uint8_t{4}, std::uint8_t{5}}) {
    EXPECT_EQ(DecodeState(Plain(status))->readiness, PrinterReadiness::kInUse);
    EXPECT_EQ(DecodeState(EscapeS(status))->readiness, PrinterReadiness::kInUse);
  }
  EXPECT_EQ(DecodeState(Plain(4, 2))->readiness, PrinterReadiness::kError) << "the holder's labels are out";
}

struct TroubleCase {
  const char* name;
  Bytes record;
  const char* trouble;
};

TEST(PrinterState, EveryTroubleHasItsWords) {
  const TroubleCase cases[] = {
      {"bay 0", Plain(2, 0), "out of labels"},
      {"bay 1", Plain(2, 1), "bay open"},
      {"bay 2", EscapeS(2, 2), "out of labels"},
      {"bay 3", Plain(2, 3), "wrong media inserted"},
      {"bay 4", Plain(2, 4), "out of labels"},
      {"bay 5", Plain(2, 5), "out of labels"},
      {"bay 9", EscapeS(2, 9), "label jam"},
      {"bay 10", Plain(2, 10), "unknown label detected"},
      {"bay 11", Plain(0, 11), "unknown state 11 of the labels"},
      {"head", Plain(2, 8, 1), "print head is overheated"},
      {"cutter", EscapeS(2, 8, 4), "cutter jam"},
      {"battery", EscapeS(2, 8, 0, 0x800), "battery level too low"},
      {"transfer, plain", Plain(2, 8, 0, 0x1000), "the printer complains of the transfer"},
      {"transfer, ESC S", EscapeS(2, 8, 0, 0x08), "the printer complains of the transfer"},
      {"no reason", Plain(2), "printer error"},
      {"cancelled", Plain(3), "the job was cancelled at the printer"},
      {"status 6", EscapeS(6), "unknown status 6"},
  };
  for (const TroubleCase& each : cases) {
    const auto state = DecodeState(each.record);
    ASSERT_TRUE(state) << each.name;
    EXPECT_EQ(state->readiness, PrinterReadiness::kError) << each.name;
    EXPECT_THAT(state->troubles, ElementsAre(each.trouble)) << each.name;
  }
}

TEST(PrinterState, ErrorBitsCountOnlyWhileThePrinterSaysError) {
  EXPECT_THAT(DecodeState(EscapeS(0, 8, 0, 0x808))->troubles, IsEmpty());
  EXPECT_THAT(DecodeState(Plain(0, 8, 0, 0x1000))->troubles, IsEmpty());
  EXPECT_EQ(DecodeState(Plain(0, 8, 0, 0x1234))->err, 0x1234u) << "it is told all the same";
}

TEST(PrinterState, EachFormHasFieldsThatTheOtherLacks) {
  EXPECT_EQ(DecodeState(Plain(0, 8, 3))->head, 3);
  EXPECT_EQ(DecodeState(EscapeS(0, 8, 2))->cutter, 2);
  EXPECT_EQ(DecodeState(EscapeS(0, 8, 2))->head, 0);
  EXPECT_THAT(DecodeState(EscapeS(0, 8, 2))->troubles, IsEmpty()) << "of the cutter's values only 4 is a jam";
}

TEST(PrinterState, TheRecordOfTwoRollsStandsBehindSixBytes) {
  Bytes answer(70, 0xEE);
  const Bytes record = Plain(2, 1);
  std::copy(record.begin(), record.end(), answer.begin() + 6);
  EXPECT_THAT(DecodeState(answer)->troubles, ElementsAre("bay open"));
}

TEST(PrinterState, AnyOtherLengthIsNoAnswer) {
  for (const std::size_t size : {0u, 1u, 31u, 33u, 69u, 71u}) {
    EXPECT_FALSE(DecodeState(Bytes(size))) << size;
  }
}

TEST(FirmwareState, TellsVersionAndModel) {
  const auto firmware = DecodeFirmware(Firmware(FirmwareText("FWAP", "000210420703"), '2', 'C'));
  ASSERT_TRUE(firmware);
  EXPECT_EQ(firmware->name, "Scrivelo");
  EXPECT_EQ(firmware->type, "application");
  EXPECT_EQ(firmware->version, "2.1042.7.3");
  ASSERT_NE(firmware->model, nullptr);
  EXPECT_EQ(firmware->model->row, 5);
}

TEST(FirmwareState, HardwareMayBeBinaryOrUnknown) {
  EXPECT_EQ(DecodeFirmware(Firmware("", 0x2B, 0x00))->model->row, 4);
  EXPECT_EQ(DecodeFirmware(Firmware("", 0x0A, 0x10))->model->row, 8);
  EXPECT_EQ(DecodeFirmware(Firmware("", 'G', 'G'))->model, nullptr);
  EXPECT_EQ(DecodeFirmware(Firmware("", 'G', 'G'))->hardwareId, 0x4747);
  EXPECT_EQ(DecodeFirmware(Firmware("", 'F', 'F'))->hardwareId, 0x4646) << "digits that name no model aren't digits";
}

TEST(FirmwareState, WhatIsNoNumberOrNoLetterDoesNoHarm) {
  const auto firmware = DecodeFirmware(Firmware(FirmwareText("\x1B[2J", "abcd99x9-1 7"), 0, 0));
  ASSERT_TRUE(firmware);
  EXPECT_EQ(firmware->type, "?[2J") << "nothing that a terminal would obey";
  EXPECT_EQ(firmware->version, "0.99.0.0");
}

TEST(FirmwareState, AnyOtherLengthIsNoAnswer) {
  for (const std::size_t size : {0u, 33u, 35u}) {
    EXPECT_FALSE(DecodeFirmware(Bytes(size))) << size;
  }
}

}  // namespace
}  // namespace sc3xx::test
