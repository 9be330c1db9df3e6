#include "apps/sc3xx/help_text.h"

#include <gtest/gtest.h>

namespace sc3xx {
namespace {

TEST(HelpTextTest, BreaksBetweenWords) {
  EXPECT_EQ(Wrapped("one two three", 7), "one two\nthree");
}

TEST(HelpTextTest, AWordLongerThanTheLineStandsAlone) {
  EXPECT_EQ(Wrapped("a enormously b", 5), "a\nenormously\nb");
}

TEST(HelpTextTest, KeepsItsOwnLineEnds) {
  EXPECT_EQ(Wrapped("one\ntwo three", 20), "one\ntwo three");
}

TEST(HelpTextTest, NothingStaysNothing) {
  EXPECT_EQ(Wrapped("", 20), "");
}

}  // namespace
}  // namespace sc3xx
