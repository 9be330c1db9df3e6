#include "stream/kpl_iterator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stream/command_lengths.h"
#include "support/bytes.h"
#include "support/log_lines.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::Joined;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class KplIteratorTest : public ::testing::Test {
 protected:
  KplIteratorTest() { test::TestHost::SetDebugLevel(1); }

  static CKplIterator Over(const ByteString& bytes) { return {bytes.data(), bytes.size()}; }

  // Letter and length of each command, as "s6 n4".
  static std::string Walk(const ByteString& bytes) {
    std::string text;
    for (CKplIterator it = Over(bytes); !it.AtEnd(); ++it) {
      text += (text.empty() ? "" : " ") + std::string(1, static_cast<char>(it.Current.Letter())) +
              std::to_string(it.Current.Length);
    }
    return text;
  }

  test::TestHost host;
};

TEST_F(KplIteratorTest, AnEmptySpanIsAtItsEndFromTheStart) {
  EXPECT_EQ(CKplIterator(nullptr, 0), CKplIterator());
  EXPECT_EQ(CKplIterator(Bytes("1B").data(), 0), CKplIterator());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, ANullSpanWithALengthIsAtItsEnd) {
  EXPECT_EQ(CKplIterator(nullptr, 100), CKplIterator());
}

TEST_F(KplIteratorTest, ASpanOfOneByteIsAtItsEndSilently) {
  const ByteString esc = Bytes("1B");
  EXPECT_EQ(Over(esc), CKplIterator());
  EXPECT_EQ(Over(esc).Current.Data, nullptr);
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, TwoBytesAreOneShortCommandAndThenTheEnd) {
  const ByteString bytes = Bytes("1B 40");
  CKplIterator it = Over(bytes);
  EXPECT_EQ(it.Current.Data, bytes.data());
  EXPECT_EQ(it.Current.Length, 2U);
  EXPECT_EQ(it.Position, 2U);
  ++it;
  EXPECT_EQ(it, CKplIterator());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, EachFixedCommandIsMeasuredByItsLetter) {
  ByteString stream;
  std::string expected;
  for (const auto& [letter, length] : test::kCommandLengths) {
    ByteString command(static_cast<std::size_t>(length), 0);
    command[0] = kEsc;
    command[1] = static_cast<std::uint8_t>(letter);
    stream = Joined({stream, command});
    expected += (expected.empty() ? "" : " ") + std::string(1, letter) + std::to_string(length);
  }
  EXPECT_EQ(Walk(stream), expected);
}

TEST_F(KplIteratorTest, AFixedCommandThatIsShortByOneByteIsTheEndSilently) {
  for (const auto& [letter, length] : test::kCommandLengths) {
    ByteString command(static_cast<std::size_t>(length) - 1, 0);
    command[0] = kEsc;
    if (command.size() > 1) {
      command[1] = static_cast<std::uint8_t>(letter);
    }
    EXPECT_EQ(Over(command), CKplIterator()) << letter;
  }
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, ARasterHeadOfElevenBytesIsTheEndSilently) {
  EXPECT_EQ(Over(Bytes("1B 44 01 00 02 00 00 00 08 00 00")), CKplIterator());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, ARasterShortByOneByteIsTheEndSilently) {
  ByteString raster = test::Raster(2, 8);
  raster.pop_back();
  EXPECT_EQ(Over(raster), CKplIterator());
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, ACompleteRasterIsOneCommandOfHeadAndRaster) {
  EXPECT_EQ(Walk(test::Raster(2, 8)), "D14");
}

TEST_F(KplIteratorTest, NineDotsNeedTwoBytesALine) {
  EXPECT_EQ(Walk(test::Raster(3, 9)), "D18");
}

TEST_F(KplIteratorTest, AZeroInTheRasterHeadMakesACommandOfTwelveBytes) {
  EXPECT_EQ(Walk(Bytes("1B 44 00 00 02 00 00 00 08 00 00 00")), "D12");
  EXPECT_EQ(Walk(Bytes("1B 44 01 00 00 00 00 00 08 00 00 00")), "D12");
  EXPECT_EQ(Walk(Bytes("1B 44 01 00 02 00 00 00 00 00 00 00")), "D12");
}

TEST_F(KplIteratorTest, AbsurdRasterNumbersWrapAndTheWrappedLengthCounts) {
  // 16 bits a dot, 0x10000001 dots: 16 bits a line after the wrap, so two bytes; 0x80000001 lines of it: two bytes.
  EXPECT_EQ(Walk(Bytes("1B 44 10 00 01 00 00 80 01 00 00 10 AA BB 1B 47")), "D14 G2");
}

TEST_F(KplIteratorTest, AHugeRasterIsMeasuredIn64Bits) {
  // 0xFFFFFFFF raster bytes and the 12 of the head don't fit into 32 bits; a wrapped sum would be 11.
  EXPECT_EQ(Over(Bytes("1B 44 08 00 FF FF FF FF 01 00 00 00 00 00")), CKplIterator());
  EXPECT_EQ(Over(Bytes("1B 5A 03 FF FF FF FF 01 00 01 00 00 00 08 00 00 00 00 00")), CKplIterator());
}

TEST_F(KplIteratorTest, ACompressedRasterOfNoBytesIsACommandOfSeventeenBytes) {
  EXPECT_EQ(Walk(Bytes("1B 5A 03 00 00 00 00 01 00 02 00 00 00 08 00 00 00")), "Z17");
}

TEST_F(KplIteratorTest, ACompressedRasterIsMeasuredByItsCompressedSizeAlone) {
  EXPECT_EQ(Walk(Bytes("1B 5A 03 03 00 00 00 01 00 FF FF 00 00 FF FF 00 00 AA BB CC 1B 47")), "Z20 G2");
  EXPECT_EQ(Over(Bytes("1B 5A 03 03 00 00 00 01 00 FF FF 00 00 FF FF 00 00 AA BB")), CKplIterator());
  EXPECT_EQ(Over(Bytes("1B 5A 03 03 00 00 00 01 00 FF FF 00 00 FF FF 00")), CKplIterator());
}

TEST_F(KplIteratorTest, EscBytesInsideARasterAreNoCommands) {
  const ByteString raster = Bytes("1B 44 01 00 02 00 00 00 10 00 00 00 1B 47 1B 51");
  EXPECT_EQ(Walk(Joined({raster, Bytes("1B 70 00")})), "D16 p3");
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, EscBytesInsideOperandsAreNoCommands) {
  EXPECT_EQ(Walk(Bytes("1B 73 1B 51 1B 51 1B 47")), "s6 G2");
}

TEST_F(KplIteratorTest, UnknownLettersAreLoggedAndEndTheWalk) {
  for (const char* bytes : {"1B 22 00 00", "1B 79 00 00", "1B 53 00 00"}) {
    EXPECT_EQ(Over(Bytes(bytes)), CKplIterator());
  }
  EXPECT_THAT(test::LogLines(host), ElementsAre("CKplIterator::ReadNext: Unsupported varlen command: 34",
                                                "CKplIterator::ReadNext: Unsupported varlen command: 121",
                                                "CKplIterator::ReadNext: Unsupported varlen command: 83"));
}

TEST_F(KplIteratorTest, AByteThatIsNoEscIsLoggedEachTimeTheSpotIsReached) {
  const ByteString bytes = Bytes("1B 40 00 1B 40");
  for (int attempt = 0; attempt < 2; ++attempt) {
    CKplIterator it = Over(bytes);
    EXPECT_EQ(it.Current.Length, 2U);
    ++it;
    EXPECT_EQ(it, CKplIterator());
  }
  EXPECT_THAT(test::LogLines(host), ElementsAre("CKplIterator::ReadNext: Unexpected data - non-ESC: 0",
                                                "CKplIterator::ReadNext: Unexpected data - non-ESC: 0"));
}

TEST_F(KplIteratorTest, ALoneLastByteIsSilentWhateverItIs) {
  EXPECT_EQ(Walk(Bytes("1B 40 77")), "@2");
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, ACommandThatBeginsInTheLastByteParsesOnceMoreBytesHaveCome) {
  ByteString bytes = Bytes("1B 40 1B");
  EXPECT_EQ(Walk(bytes), "@2");
  bytes.push_back('G');
  EXPECT_EQ(Walk(bytes), "@2 G2");
  EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(KplIteratorTest, PostIncrementGivesTheCommandBefore) {
  const ByteString bytes = Bytes("1B 40 1B 47");
  CKplIterator it = Over(bytes);
  const CKplIterator before = it++;
  EXPECT_EQ(before.Current.Letter(), '@');
  EXPECT_EQ(it.Current.Letter(), 'G');
  EXPECT_EQ((it++).Current.Letter(), 'G');
  EXPECT_TRUE(it.AtEnd());
}

TEST_F(KplIteratorTest, AnEndedIteratorStaysAtItsEnd) {
  CKplIterator it = Over(Bytes("1B 40"));
  ++it;
  ++it;
  EXPECT_EQ(it, CKplIterator());
}

TEST_F(KplIteratorTest, NeverReadsBehindTheSpan) {
  // The longest span of each command that is too short, in storage of exactly its size: a sanitizer watches.
  for (const ByteString& command :
       {test::Raster(2, 8), Bytes("1B 5A 03 01 00 00 00 01 00 01 00 00 00 08 00 00 00 AA")}) {
    for (std::size_t size = 0; size < command.size(); ++size) {
      const auto exact = std::make_unique<std::uint8_t[]>(size);
      std::copy_n(command.begin(), size, exact.get());
      EXPECT_TRUE(CKplIterator(exact.get(), size).AtEnd());
    }
  }
}

}  // namespace
}  // namespace sc3xxmon
