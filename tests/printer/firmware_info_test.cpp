#include "printer/firmware_info.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "monitor/printer_models.h"
#include "support/bytes.h"

namespace sc3xxmon::test {
namespace {

std::array<std::uint8_t, kFirmwareResponseSize> Response(const ByteString& bytes) {
  std::array<std::uint8_t, kFirmwareResponseSize> response{};
  std::copy(bytes.begin(), bytes.end(), response.begin());
  return response;
}

FwInfo Parse(std::string_view type, std::string_view number1, std::string_view number2, std::string_view id) {
  return ParseFwInfo(Response(Firmware(type, number1, number2, id)));
}

TEST(FirmwareInfoTest, TakesEveryFieldFromItsPlace) {
  const FwInfo info = Parse("FWAP", "0012", "1003", "2C");
  EXPECT_EQ(info.FwName, "Main");
  EXPECT_EQ(info.FwType, 2);
  EXPECT_EQ(info.FwNumber1, 12);
  EXPECT_EQ(info.FwNumber2, 1003);
  EXPECT_EQ(info.FwNumber3, 1);
  EXPECT_EQ(info.FwNumber4, 2);
  EXPECT_EQ(info.FwModel, 5u);
}

TEST(FirmwareInfoTest, TheTypeIsFourCharactersToTheLetter) {
  EXPECT_EQ(Parse("FWBL", "1", "1", "28").FwType, 1);
  EXPECT_EQ(Parse("FWAP", "1", "1", "28").FwType, 2);
  EXPECT_EQ(Parse("fwap", "1", "1", "28").FwType, 0);
  EXPECT_EQ(Parse("FWXX", "1", "1", "28").FwType, 0);
}

TEST(FirmwareInfoTest, ADecimalFieldEndsAtItsFirstNonDigit) {
  struct Row {
    const char* field;
    std::uint16_t number;
  };
  constexpr Row kRows[] = {{"0000", 0}, {"12.4", 12},   {"7", 7},    {" 123", 0}, {"+123", 0},
                           {"-123", 0}, {"9999", 9999}, {"A123", 0}, {"1A23", 1}, {"0x10", 0}};
  for (const Row& row : kRows) {
    EXPECT_EQ(Parse("FWAP", row.field, "1", "28").FwNumber1, row.number) << row.field;
    EXPECT_EQ(Parse("FWAP", "1", row.field, "28").FwNumber2, row.number) << row.field;
  }
}

TEST(FirmwareInfoTest, ADecimalFieldIsReadOverExactlyItsBytes) {
  // The digits of all fields stand side by side.
  const FwInfo info = Parse("FWAP", "1111", "2222", "28");
  EXPECT_EQ(info.FwNumber1, 1111);
  EXPECT_EQ(info.FwNumber2, 2222);
}

TEST(FirmwareInfoTest, TheNameLosesItsTrailingZeroBytesOnly) {
  ByteString bytes = Firmware("FWAP", "1", "1", "28");
  std::fill_n(bytes.begin(), 16, std::uint8_t{'x'});
  EXPECT_EQ(ParseFwInfo(Response(bytes)).FwName, std::string(16, 'x'));
  bytes[1] = 0;
  bytes[15] = 0;
  EXPECT_EQ(ParseFwInfo(Response(bytes)).FwName, std::string("x\0xxxxxxxxxxxxx", 15));
  std::fill_n(bytes.begin(), 16, std::uint8_t{0});
  EXPECT_EQ(ParseFwInfo(Response(bytes)).FwName, "");
}

TEST(FirmwareInfoTest, TheHardwareIdComesInHexadecimalDigitsOrInBinary) {
  struct Row {
    const char* bytes;
    std::uint32_t model;
    const char* what;
  };
  constexpr Row kRows[] = {
      {"32 42", 4, "the digits 2B"},
      {"32 62", 4, "the digits 2b"},
      {"32 38", 1, "the digits 28"},
      {"0A 10", 8, "binary 0x100A"},
      {"10 10", 9, "binary 0x1010"},
      {"2B 00", 4, "binary 0x002B"},
      {"47 47", 0, "GG: no digits, and binary 0x4747 is nobody"},
      {"31 30", 0, "the digits 10: nobody, and binary 0x3031 is nobody"},
      {"32 47", 0, "one digit alone is no number"},
      {"00 00", 0, "nothing"},
  };
  for (const Row& row : kRows) {
    ByteString bytes = Firmware("FWAP", "1", "1", "");
    const ByteString id = Bytes(row.bytes);
    std::copy(id.begin(), id.end(), bytes.begin() + 32);
    EXPECT_EQ(ParseFwInfo(Response(bytes)).FwModel, row.model) << row.what;
  }
}

TEST(FirmwareInfoTest, EveryHardwareIdHasItsRow) {
  struct Row {
    std::uint16_t id;
    std::uint32_t model;
  };
  constexpr Row kRows[] = {{0x28, 1}, {0x29, 2}, {0x2A, 3},   {0x2B, 4},   {0x2C, 5}, {0x2D, 6},
                           {0x2E, 7}, {0x27, 0}, {0x100A, 8}, {0x1010, 9}, {0x2F, 0}, {0, 0}};
  for (const Row& row : kRows) {
    EXPECT_EQ(HardwareIdToModel(row.id), row.model) << row.id;
  }
}

}  // namespace
}  // namespace sc3xxmon::test
