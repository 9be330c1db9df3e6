// The real parser against the plain one: the same results, states, spans, labels and log lines after every call, on
// random streams in random cuts. A failing seed is printed; RunSeed(that seed) alone replays it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "fuzz/naive_parser.h"
#include "monitor/options.h"
#include "stream/kpl_parser.h"
#include "stream/random_stream.h"
#include "support/bytes.h"
#include "support/log_lines.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using fuzz::NaiveLabel;
using fuzz::NaiveParser;
using test::ByteString;
using test::RandomStream;

ByteString HeadOf(const KplLabel& label) {
  return std::visit(
      [](const auto& head) {
        if constexpr (std::is_same_v<std::decay_t<decltype(head)>, std::monostate>) {
          return ByteString();
        } else {
          return ByteString(head.begin(), head.end());
        }
      },
      label.PrintDataHead);
}

// What the raster command has in front of its raster.
ByteString HeadOf(const NaiveLabel& label) {
  if (!label.raster) {
    return {};
  }
  const auto at = label.data.begin() + static_cast<std::ptrdiff_t>(label.raster->offset);
  return {at, at + (label.raster->letter == 'D' ? 12 : 17)};
}

class KplParserRandomTest : public ::testing::Test {
 protected:
  KplParserRandomTest() { test::TestHost::SetDebugLevel(1); }

  static void ExpectSameLabel(const KplLabel& label, const NaiveLabel& expected) {
    EXPECT_EQ(label.Data, expected.data);
    EXPECT_EQ(label.IphLength, expected.iphLength);
    EXPECT_EQ(label.LabelIndex, expected.labelIndex);
    EXPECT_EQ(label.Retries, expected.retries);
    EXPECT_EQ(label.Sent(), expected.sent);
    EXPECT_EQ(HeadOf(label), HeadOf(expected));
    EXPECT_EQ(label.PrintDataCommand, expected.raster ? label.Data.data() + expected.raster->offset : nullptr);
    EXPECT_EQ(label.PrintDataParams, expected.raster ? label.Data.data() + expected.DescriptorOffset() : nullptr);
    EXPECT_EQ(label.RasterSize(), expected.RasterSize());
    EXPECT_EQ(label.CompressedSize, expected.compressedSize);
  }

  void ExpectSame(CKplParser& parser, NaiveParser& expected) {
    EXPECT_EQ(parser.ParserState, expected.state);
    EXPECT_EQ(parser.JobHeader, expected.jobHeader);
    EXPECT_EQ(parser.JobFooter, expected.jobFooter);
    EXPECT_TRUE(std::ranges::equal(parser.Buffer(), expected.Buffer()));
    EXPECT_EQ(parser.ParserQParameter, expected.qParameter);
    EXPECT_EQ(parser.OpenLengthLabels, expected.openLengthLabels);
    EXPECT_EQ(parser.LabelsParsed, expected.labelsParsed);
    EXPECT_EQ(parser.LabelsAcked, expected.labelsAcked);
    ASSERT_EQ(parser.Labels.size(), expected.labels.size());
    std::uint32_t sent = 0;
    for (std::size_t i = 0; i < expected.labels.size(); ++i) {
      ExpectSameLabel(parser.Labels[i], expected.labels[i]);
      sent += expected.labels[i].sent ? 1U : 0U;
    }
    EXPECT_EQ(parser.SentLabelCount(), sent);
    EXPECT_EQ(parser.UnsentLabelCount(), expected.labels.size() - sent);
    EXPECT_EQ(test::LogLines(host), expected.log);
    host.log.clear();
    expected.log.clear();
  }

  // What the engine and the caller do between two pieces of the stream.
  static void ActAlike(RandomStream& random, CKplParser& parser, NaiveParser& expected) {
    switch (random.UpTo(random.Chance(2) ? 6 : 5)) {
      case 0:
        if (KplLabel* label = parser.FirstUnsentLabel()) {
          parser.MarkSent(*label);
        }
        expected.SendFirstUnsent();
        break;
      case 1:
        EXPECT_EQ(parser.AckFirstLabel(), expected.AckFirstLabel());
        break;
      case 2:
        parser.RevertSentLabels();
        expected.RevertSentLabels();
        break;
      case 3:
        EXPECT_EQ(static_cast<int>(parser.TryParseJobHeader()), expected.TryParseJobHeader());
        break;
      case 4:
        EXPECT_EQ(static_cast<int>(parser.TryParseLabel()), expected.TryParseLabel());
        break;
      case 5:
        EXPECT_EQ(static_cast<int>(parser.TryParseJobFooter()), expected.TryParseJobFooter());
        break;
      default:
        parser.Reset();
        expected.Reset();
        break;
    }
  }

  void RunSeed(std::uint32_t seed) {
    RandomStream random(seed);
    PrintEmptyLabel = random.Chance(50) ? 1 : 0;
    const ByteString stream = random.Make();
    SCOPED_TRACE("seed " + std::to_string(seed) + ", PrintEmptyLabel " + std::to_string(PrintEmptyLabel) + ", stream " +
                 test::Hex(stream));
    CKplParser parser(seed);
    NaiveParser expected(PrintEmptyLabel != 0);
    constexpr std::uint32_t kLongestPiece[] = {0, 1, 2, 7, 40, 100000};
    const std::uint32_t longest = kLongestPiece[random.UpTo(5)];
    for (std::size_t at = 0; at < stream.size() && !HasFailure();) {
      const std::size_t piece = std::min(stream.size() - at, std::size_t{longest == 0 ? 1 : random.UpTo(longest)});
      const ByteString span(stream.begin() + static_cast<std::ptrdiff_t>(at),
                            stream.begin() + static_cast<std::ptrdiff_t>(at + piece));
      at += piece;
      SCOPED_TRACE("after " + std::to_string(at) + " bytes, the last " + std::to_string(piece) + " in one piece");
      EXPECT_EQ(parser.ProcessData(span.data(), span.size()), static_cast<std::int32_t>(piece));
      expected.ProcessData(span);
      ExpectSame(parser, expected);
      for (std::uint32_t acts = longest != 0 ? random.UpTo(3) : 0; acts > 0; --acts) {
        ActAlike(random, parser, expected);
        ExpectSame(parser, expected);
      }
    }
  }

  test::TestHost host;
};

TEST_F(KplParserRandomTest, AgreesWithThePlainParserOnEveryStreamAndCut) {
  for (std::uint32_t seed = 1; seed <= 6000 && !HasFailure(); ++seed) {
    RunSeed(seed);
  }
}

// Were the streams tame, the test above would prove little.
TEST_F(KplParserRandomTest, TheRandomStreamsReachEveryCorner) {
  int footers = 0, stuck = 0, discarded = 0, footersByAccident = 0, cutAfterAccident = 0;
  for (std::uint32_t seed = 1; seed <= 3000; ++seed) {
    RandomStream random(seed);
    NaiveParser parser(false);
    parser.ProcessData(random.Make());
    footers += parser.state == 3 && !parser.jobFooter.empty() ? 1 : 0;
    stuck += parser.state < 3 && parser.Buffer().size() > 20 ? 1 : 0;
    bool accident = false;
    for (const std::string& line : parser.log) {
      discarded += line.find("Discarding") != std::string::npos ? 1 : 0;
      const bool isLabel = line.find("Got label") != std::string::npos;
      cutAfterAccident += isLabel && accident ? 1 : 0;
      accident = isLabel && line.ends_with("state=3");
    }
    const auto& footer = parser.jobFooter;
    footersByAccident += footer.size() > 1 && footer[1] != 'Q' && footer[1] != 'E' ? 1 : 0;
  }
  EXPECT_GT(footers, 500);
  EXPECT_GT(stuck, 200);
  EXPECT_GT(discarded, 500);
  EXPECT_GT(footersByAccident, 10);
  EXPECT_GT(cutAfterAccident, 50);
}

}  // namespace
}  // namespace sc3xxmon
