#include "stream/byte_vector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace sc3xxmon {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

TEST(ByteVectorTest, KeepsWhatItHoldsWhenItGrowsOrShrinks) {
  ByteVector bytes{1, 2, 3};
  bytes.resize(1000);
  bytes.resize(2);
  EXPECT_THAT(bytes, ElementsAre(1, 2));
}

TEST(ByteVectorTest, AValueThatIsGivenIsStored) {
  ByteVector bytes(3, 0x5A);
  bytes.resize(5, 0x5A);
  EXPECT_THAT(bytes, Each(0x5A));
}

TEST(ByteVectorTest, NewBytesAreNotClearedFirst) {
  ByteVector bytes(64, 0xEE);
  bytes.resize(0);
  bytes.resize(64);  // the same storage: had it been cleared, these were zero
  EXPECT_THAT(bytes, Each(0xEE));
}

}  // namespace
}  // namespace sc3xxmon
