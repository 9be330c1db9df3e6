#include "monitor/printer_models.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::TestHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

struct ModelCase {
  std::uint32_t row;
  const wchar_t* driverName;
  const wchar_t* shortName;
};

constexpr ModelCase kModels[] = {
    {1, L"KOVA Scrivelo 310", L"SC310"},        {2, L"KOVA Scrivelo 310 Swift", L"SC310S"},
    {3, L"KOVA Scrivelo 3WD", L"SC3WD"},        {4, L"KOVA Scrivelo 310 Dual Swift", L"SC310DS"},
    {5, L"KOVA Scrivelo 310 Plus", L"SC310P"},  {6, L"KOVA Scrivelo 310 Dual Plus", L"SC310DP"},
    {7, L"KOVA Scrivelo 3WD Plus", L"SC3WDP"},  {8, L"KOVA Ribbonet Office 410", L"RB410"},
    {9, L"KOVA Ribbonet Office 430", L"RB430"},
};

class PrinterModelTest : public ::testing::TestWithParam<ModelCase> {};

TEST_P(PrinterModelTest, IsFoundByItsDriversName) {
  EXPECT_EQ(ModelFromDriverName(GetParam().driverName), GetParam().row);
}

TEST_P(PrinterModelTest, HasItsNames) {
  EXPECT_STREQ(PrinterModelRow(GetParam().row).driverName, GetParam().driverName);
  EXPECT_STREQ(PrinterModelRow(GetParam().row).shortName, GetParam().shortName);
}

TEST_P(PrinterModelTest, IsntFoundByANameWithASuffixOrAPrefix) {
  const std::wstring name = GetParam().driverName;
  EXPECT_EQ(ModelFromDriverName((name + L" (Copy 1)").c_str()), 0U);
  EXPECT_EQ(ModelFromDriverName((name + L" ").c_str()), 0U);
  EXPECT_EQ(ModelFromDriverName((L" " + name).c_str()), 0U);
}

TEST_P(PrinterModelTest, IsntFoundByANameInAnotherCase) {
  std::wstring name = GetParam().driverName;
  name[0] = L'k';
  EXPECT_EQ(ModelFromDriverName(name.c_str()), 0U);
}

TEST_P(PrinterModelTest, HasThePropertiesOfItsRow) {
  const std::uint32_t row = GetParam().row;
  const PrinterModel& model = PrinterModelRow(row);
  EXPECT_EQ(model.dualRoll, row == 4 || row == 6);
  EXPECT_EQ(model.tape, row == 8 || row == 9);
  EXPECT_EQ(model.asksForLockFirst, row == 1);
  EXPECT_EQ(model.releasesLockOnErrors, row == 9);
  const LabelCompression compression = row <= 3   ? LabelCompression::kByFirmware
                                       : row <= 7 ? LabelCompression::kAlways
                                                  : LabelCompression::kNever;
  EXPECT_EQ(model.compression, compression);
}

INSTANTIATE_TEST_SUITE_P(Rows, PrinterModelTest, ::testing::ValuesIn(kModels),
                         [](const auto& test) { return "Row" + std::to_string(test.param.row); });

TEST(PrinterModelsTest, NoNameAndOtherNamesAreNoModel) {
  EXPECT_EQ(ModelFromDriverName(nullptr), 0U);
  EXPECT_EQ(ModelFromDriverName(L""), 0U);
  EXPECT_EQ(ModelFromDriverName(L"KOVA Scrivelo"), 0U);
  EXPECT_EQ(ModelFromDriverName(L"SC310"), 0U);
}

TEST(PrinterModelsTest, ANumberThatIsNoRowIsAnUnknownPrinterWithoutProperties) {
  for (const std::uint32_t row : {0U, 10U, 0xFFFFFFFFU}) {
    const PrinterModel& model = PrinterModelRow(row);
    EXPECT_STREQ(model.shortName, L"");
    EXPECT_FALSE(model.dualRoll || model.tape || model.asksForLockFirst || model.releasesLockOnErrors);
    EXPECT_EQ(model.compression, LabelCompression::kNever);
  }
}

TEST(PrinterModelsTest, AnUnknownHardwareIdIsNoModel) {
  EXPECT_EQ(HardwareIdToModel(0), 0U);
  EXPECT_EQ(HardwareIdToModel(0xFFFF), 0U);
}

class TapeLabelOffsetTest : public ::testing::Test {
 protected:
  TapeLabelOffsetTest() { host.queriedValues.clear(); }

  TestHost host;
};

TEST_F(TapeLabelOffsetTest, OfAModelWithoutTapeIsMinusOneWithoutAskingTheRegistry) {
  host.SetNumber(TestHost::kOptions, L"SC310P_12mm_offset", 5);
  for (const std::int32_t row : {0, 1, 5, 7, 10, -1, -2147483647 - 1}) {
    EXPECT_EQ(TapeLabelOffset(row, 3), -1);
  }
  EXPECT_THAT(host.queriedValues, IsEmpty());
}

TEST_F(TapeLabelOffsetTest, IsLookedUpByModelAndTapeWidth) {
  struct {
    std::int32_t row;
    std::uint8_t code;
    const wchar_t* name;
  } const cases[] = {{8, 1, L"RB410_6mm_offset"},  {8, 2, L"RB410_9mm_offset"},  {8, 3, L"RB410_12mm_offset"},
                     {8, 4, L"RB410_19mm_offset"}, {8, 5, L"RB410_24mm_offset"}, {9, 3, L"RB430_12mm_offset"},
                     {9, 9, L"RB430__offset"},     {9, 0, L"RB430__offset"},     {8, 255, L"RB410__offset"}};
  host.SetNumber(TestHost::kOptions, L"other", 0);  // the key exists
  for (const auto& c : cases) {
    host.queriedValues.clear();
    EXPECT_EQ(TapeLabelOffset(c.row, c.code), -1);
    EXPECT_THAT(host.queriedValues, ElementsAre(Pair(L"Software\\KOVA\\SC3xx", c.name)));
  }
}

TEST_F(TapeLabelOffsetTest, IsTheValueAsItStands) {
  host.SetNumber(TestHost::kOptions, L"RB410_12mm_offset", 123456);
  host.SetNumber(TestHost::kOptions, L"RB430_24mm_offset", 0xFFFFFFF0);
  EXPECT_EQ(TapeLabelOffset(8, 3), 123456);
  EXPECT_EQ(TapeLabelOffset(9, 5), -16);
}

TEST_F(TapeLabelOffsetTest, IsMinusOneWithoutTheKey) {
  EXPECT_EQ(TapeLabelOffset(8, 3), -1);
}

}  // namespace
}  // namespace sc3xxmon
