// The hexadecimal trace of each buffer that comes in.

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PacketTraceTest : public PrintingFixture {
 protected:
  PacketTraceTest() { SwitchOn(L"TraceDetail", 4); }

  static ByteString Counting(std::size_t count) {
    ByteString bytes;
    for (std::size_t i = 0; i < count; ++i) {
      bytes.push_back(static_cast<std::uint8_t>(i));
    }
    return bytes;
  }
  // The bytes from `from` up to `to` in hexadecimal, a dash in front of each or behind each.
  static std::string Dashed(std::size_t from, std::size_t to, bool dashInFront) {
    std::string text;
    for (std::size_t i = from; i < to; ++i) {
      const std::string byte = Hex({static_cast<std::uint8_t>(i)});
      text += dashInFront ? "-" + byte : byte + "-";
    }
    return text;
  }
};

TEST_F(PacketTraceTest, AShortBufferIsTracedOnce) {
  StartJob(2);
  SpoolerWrites(Bytes("1B 73 0A"));
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "PKT_HDR: 1B-73-0A-"));
  EXPECT_THAT(host.LogTexts().front(), "PKT_HDR: 1B-73-0A-") << "before anything else";
}

TEST_F(PacketTraceTest, ABufferOf64BytesHasNoTail) {
  StartJob(2);
  SpoolerWrites(Counting(64));
  EXPECT_TRUE(host.Logged("PKT_HDR: " + Dashed(0, 64, false)));
  for (const std::string& text : host.LogTexts()) {
    EXPECT_FALSE(text.starts_with("PKT_FTR")) << text;
  }
}

TEST_F(PacketTraceTest, ALongBufferShowsItsFirstAndItsLast64Bytes) {
  StartJob(2);
  SpoolerWrites(Counting(65));
  EXPECT_TRUE(host.Logged("PKT_HDR: " + Dashed(0, 64, false)));
  EXPECT_TRUE(LoggedBy("SC_WritePort2", "PKT_FTR: " + Dashed(1, 65, true)));
}

TEST_F(PacketTraceTest, ABufferForAClosedJobIsTracedAllTheSame) {
  StartJob(2);
  job->AbortState = kJobGivenUp;
  EXPECT_EQ(SpoolerWrites(Bytes("1B 73")), FALSE);
  EXPECT_THAT(host.LogTexts(), ElementsAre("PKT_HDR: 1B-73-"));
}

TEST_F(PacketTraceTest, WithoutAJobThereIsNothingToTrace) {
  EXPECT_EQ(SpoolerWrites(Bytes("1B 73")), FALSE);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(PacketTraceTest, WithoutItsBitThereIsNoTrace) {
  SwitchOn(L"TraceDetail", 0xFFFFFFFB);
  StartJob(2);
  SpoolerWrites(Bytes("1B 73"));
  EXPECT_FALSE(host.Logged("PKT_HDR: 1B-73-"));
}

}  // namespace
}  // namespace sc3xxmon::test
