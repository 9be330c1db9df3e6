#include "simulator/models.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace simulator {
namespace {

TEST(ModelsTest, AreNineInTheirOrder) {
  ASSERT_EQ(Models().size(), 9u);
  for (std::size_t row = 0; row < 9; ++row) EXPECT_EQ(Models()[row].row, static_cast<int>(row) + 1);
}

TEST(ModelsTest, AreFoundByRowNameAndShortName) {
  EXPECT_EQ(FindModel(4)->shortName, "SC310DS");
  EXPECT_EQ(FindModel("4")->row, 4);
  EXPECT_EQ(FindModel("rb430")->row, 9);
  EXPECT_EQ(FindModel("KOVA Scrivelo 310")->row, 1);
  EXPECT_EQ(FindModel("kova scrivelo 310 dual plus")->row, 6);
}

TEST(ModelsTest, AreNotFoundByAnythingElse) {
  EXPECT_EQ(FindModel(0), nullptr);
  EXPECT_EQ(FindModel(10), nullptr);
  EXPECT_EQ(FindModel(-1), nullptr);
  EXPECT_EQ(FindModel("0"), nullptr);
  EXPECT_EQ(FindModel(""), nullptr);
  EXPECT_EQ(FindModel("SC31"), nullptr);
}

TEST(ModelsTest, DifferWhereTheirHostsMustKnow) {
  for (const PrinterModel& model : Models()) {
    const bool dual = model.row == 4 || model.row == 6;
    const bool tape = model.row >= 8;
    EXPECT_EQ(model.statusAnswerBytes, dual ? 70u : 32u) << model.shortName;
    EXPECT_EQ(model.rolls, tape ? 0 : dual ? 2 : 1) << model.shortName;
    EXPECT_EQ(model.tape, tape) << model.shortName;
    EXPECT_EQ(model.statusForm, tape ? StatusForm::kEscapeS : StatusForm::kPlain) << model.shortName;
    EXPECT_GT(model.millimetresPerSecond, 0) << model.shortName;
  }
}

TEST(ModelsTest, AreListedForMessages) {
  EXPECT_THAT(ModelChoices(), ::testing::StartsWith("1 SC310, 2 SC310S"));
  EXPECT_THAT(ModelChoices(), ::testing::EndsWith("9 RB430"));
}

}  // namespace
}  // namespace simulator
