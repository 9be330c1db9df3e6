#include "printer/status_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "support/status_records.h"

namespace sc3xxmon::test {
namespace {

StatusRecord Plain(const StatusFields& fields) {
  return RecordOf(PlainStatus(fields));
}
StatusRecord EscS(const StatusFields& fields) {
  return RecordOf(EscSStatus(fields));
}

// A record whose bytes all differ: byte n is 0x40 + n.
StatusRecord Numbered() {
  StatusRecord record;
  for (std::size_t i = 0; i < record.Bytes.size(); ++i) {
    record.Bytes[i] = static_cast<std::uint8_t>(0x40 + i);
  }
  return record;
}

TEST(StatusRecordTest, APlainRecordKeepsItsFieldsInThePlainPlaces) {
  const StatusRecord record = Numbered();
  EXPECT_FALSE(record.IsEscS());
  EXPECT_EQ(record.Status(), 0x40);
  EXPECT_EQ(record.Head(), 0x48);
  EXPECT_EQ(record.Bay(), 0x4A);
  EXPECT_EQ(record.Cutter(), 0) << "a plain record has none";
  EXPECT_EQ(record.Err(), 0x5A595857u) << "at the odd place 23, little-endian";
}

TEST(StatusRecordTest, AnEscSRecordKeepsItsFieldsInPlacesOfItsOwn) {
  StatusRecord record = Numbered();
  record.Bytes[0] = 0x1B;
  record.Bytes[1] = 0x53;
  EXPECT_TRUE(record.IsEscS());
  EXPECT_EQ(record.Status(), 0x43);
  EXPECT_EQ(record.Head(), 0) << "an ESC S record has none";
  EXPECT_EQ(record.Cutter(), 0x4A);
  EXPECT_EQ(record.Bay(), 0x4B);
  EXPECT_EQ(record.Err(), 0x5B5A5958u);
}

TEST(StatusRecordTest, BothFirstBytesDecideTheForm) {
  StatusRecord record = Numbered();
  record.Bytes[0] = 0x1B;
  EXPECT_FALSE(record.IsEscS());
  EXPECT_EQ(record.Status(), 0x1B);
  record.Bytes[0] = 0x40;
  record.Bytes[1] = 0x53;
  EXPECT_FALSE(record.IsEscS());
}

TEST(StatusRecordTest, OnlyStatus0And1And4PassTheCheck) {
  for (unsigned status = 0; status < 256; ++status) {
    const auto value = static_cast<std::uint8_t>(status);
    const bool passes = status == 0 || status == 1 || status == 4;
    EXPECT_EQ(EscS({.status = value}).PassesStatusCheck(), passes) << status;
    EXPECT_EQ(Plain({.status = value}).PassesStatusCheck(), passes) << status;
  }
}

TEST(StatusRecordTest, TheCommunicationErrorIsAnotherBitInEachForm) {
  EXPECT_TRUE(Plain({.status = 2, .err = 0x1000}).HasCommError());
  EXPECT_FALSE(Plain({.status = 2, .err = 0x0008}).HasCommError());
  EXPECT_TRUE(EscS({.status = 2, .err = 0x0008}).HasCommError());
  EXPECT_FALSE(EscS({.status = 2, .err = 0x1000}).HasCommError());
}

TEST(StatusRecordTest, TheCommunicationErrorCountsOnlyAtStatus2) {
  for (const auto status : std::to_array<std::uint8_t>({0, 1, 3, 4, 5, 6})) {
    EXPECT_FALSE(Plain({.status = status, .err = 0xFFFFFFFF}).HasCommError()) << int{status};
    EXPECT_FALSE(EscS({.status = status, .err = 0xFFFFFFFF}).HasCommError()) << int{status};
  }
}

TEST(StatusRecordTest, APlainRecordHasErrorBitsWhateverItsStatus) {
  const StatusRecord record = Plain({.status = 0, .err = 0x00010000});
  EXPECT_TRUE(record.HasStatusErrorBits());
  EXPECT_FALSE(record.HasCommError());
  EXPECT_TRUE(Plain({.status = 2, .err = 1}).HasStatusErrorBits());
  EXPECT_FALSE(Plain({.status = 2, .err = 0}).HasStatusErrorBits());
}

TEST(StatusRecordTest, AnEscSRecordHasErrorBitsOnlyAtStatus2) {
  EXPECT_FALSE(EscS({.status = 0, .err = 0x00010000}).HasStatusErrorBits());
  EXPECT_TRUE(EscS({.status = 2, .err = 0x00010000}).HasStatusErrorBits());
  EXPECT_FALSE(EscS({.status = 2, .err = 0}).HasStatusErrorBits());
}

TEST(PrinterErrorsTest, MediaIsGoodFrom6To8AndNowhereElse) {
  for (unsigned bay = 0; bay < 256; ++bay) {
    const auto value = static_cast<std::uint8_t>(bay);
    const std::uint32_t expected = bay >= 6 && bay <= 8 ? 0 : kMediaError;
    EXPECT_EQ(DecodePrinterErrors(Plain({.bay = value})).ErrorFlags, expected) << bay;
    EXPECT_EQ(DecodePrinterErrors(EscS({.bay = value})).ErrorFlags, expected) << bay;
  }
}

TEST(PrinterErrorsTest, AnyHeadValueButZeroIsTheHeadError) {
  EXPECT_EQ(DecodePrinterErrors(Plain({.head = 1})).ErrorFlags, kHeadError);
  EXPECT_EQ(DecodePrinterErrors(Plain({.head = 0xFF})).ErrorFlags, kHeadError);
}

TEST(PrinterErrorsTest, OnlyTheValue4IsTheCutterError) {
  for (unsigned cutter = 0; cutter < 256; ++cutter) {
    const auto value = static_cast<std::uint8_t>(cutter);
    EXPECT_EQ(DecodePrinterErrors(EscS({.cutter = value})).ErrorFlags, cutter == 4 ? kCutterError : 0u) << cutter;
  }
}

TEST(PrinterErrorsTest, TheBatteryIsLowByItsBitInAnEscSRecordAtStatus2) {
  const PrinterErrors low = DecodePrinterErrors(EscS({.status = 2, .err = 0x800}));
  EXPECT_EQ(low.BatteryGood, 0u);
  EXPECT_EQ(low.ErrorFlags, kBatteryError);
  EXPECT_EQ(DecodePrinterErrors(EscS({.status = 0, .err = 0x800})).BatteryGood, 1u);
  EXPECT_EQ(DecodePrinterErrors(EscS({.status = 2, .err = 0x7FF})).BatteryGood, 1u);
  EXPECT_EQ(DecodePrinterErrors(Plain({.status = 2, .err = 0x800})).BatteryGood, 1u) << "never in a plain record";
}

TEST(PrinterErrorsTest, AllErrorsAtOnceAddUpAndTheValuesAreKept) {
  const PrinterErrors escS = DecodePrinterErrors(EscS({.status = 2, .bay = 9, .cutter = 4, .err = 0x800}));
  EXPECT_EQ(escS.ErrorFlags, kMediaError | kCutterError | kBatteryError);
  EXPECT_EQ(escS.Bay, 9);
  EXPECT_EQ(escS.Head, 0);
  EXPECT_EQ(escS.Cutter, 4);
  const PrinterErrors plain = DecodePrinterErrors(Plain({.bay = 2, .head = 7}));
  EXPECT_EQ(plain.ErrorFlags, kMediaError | kHeadError);
  EXPECT_EQ(plain.Head, 7);
  EXPECT_EQ(plain.BatteryGood, 1u);
}

TEST(FabricatedStatusTest, TheTapeModelsGetTheEscSRecordAndAllOthersThePlainOne) {
  const ByteString plain =
      Bytes("00 00 00 00 00 00 00 00 00 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 E7 03 01 11 04");
  const ByteString escS =
      Bytes("1B 53 1D 00 00 00 00 00 00 00 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 E7 03 01 04");
  for (std::uint32_t model = 0; model <= 10; ++model) {
    EXPECT_EQ(FabricatedStatus(model), RecordOf(model == 8 || model == 9 ? escS : plain)) << model;
  }
}

TEST(FabricatedStatusTest, BothAreRecordsOfAReadyPrinter) {
  for (const std::uint32_t model : {5u, 8u}) {
    const StatusRecord record = FabricatedStatus(model);
    EXPECT_EQ(record.Status(), 0);
    EXPECT_EQ(DecodePrinterErrors(record).ErrorFlags, 0u);
  }
}

}  // namespace
}  // namespace sc3xxmon::test
