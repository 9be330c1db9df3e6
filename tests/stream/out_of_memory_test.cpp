// A span that can't be taken for want of memory: the parser stays as it was, so that the spooler can offer it again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "stream/kpl_parser.h"
#include "support/bytes.h"
#include "support/test_host.h"

namespace {

constexpr long kNever = -1;
long allocationsUntilFailure = kNever;

}  // namespace

// Every allocation of this test program goes through here.
void* operator new(std::size_t size) {
  if (allocationsUntilFailure == 0) {
    throw std::bad_alloc();
  }
  if (allocationsUntilFailure > 0) {
    --allocationsUntilFailure;
  }
  if (void* memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::ByteString;
using test::EndOfJob;
using test::JobStart;
using test::Joined;
using test::Label;
using test::LabelIndex;
using test::Raster;

// Takes the span, although the first attempts run out of memory, each a little later than the one before. Gives the
// number of attempts that failed.
int TakeInTheEnd(CKplParser& parser, const ByteString& span) {
  for (int failed = 0;; ++failed) {
    const ByteString pending = parser.Buffer();
    const std::size_t labels = parser.Labels.size();
    const std::int32_t state = parser.ParserState;
    const std::uint32_t parsed = parser.LabelsParsed;
    allocationsUntilFailure = failed;
    try {
      parser.ProcessData(span.data(), span.size());
      allocationsUntilFailure = kNever;
      return failed;
    } catch (const std::bad_alloc&) {
      allocationsUntilFailure = kNever;
      EXPECT_EQ(parser.Buffer(), pending);
      EXPECT_EQ(parser.Labels.size(), labels);
      EXPECT_EQ(parser.ParserState, state);
      EXPECT_EQ(parser.LabelsParsed, parsed);
    }
  }
}

// The third label is discarded, though it holds a raster for a while.
const ByteString& Job() {
  static const ByteString job =
      Joined({JobStart(), Bytes("1B 4C FF FF 1B 71 32"), Label(1), Label(2), LabelIndex(9), Raster(4, 16),
              Raster(0, 16), Bytes("1B 47"), Bytes("1B 4C 10 00"), Label(3), EndOfJob()});
  return job;
}

void TakeInPieces(CKplParser& parser, std::size_t pieceSize) {
  int failures = 0;
  for (std::size_t at = 0; at < Job().size(); at += pieceSize) {
    const auto piece = Job().begin() + static_cast<std::ptrdiff_t>(at);
    const auto size = static_cast<std::ptrdiff_t>(std::min(pieceSize, Job().size() - at));
    failures += TakeInTheEnd(parser, ByteString(piece, piece + size));
  }
  EXPECT_GT(failures, 3);
}

TEST(OutOfMemoryTest, ASpanThatFailedIsTakenWholeOnceThereIsMemory) {
  const test::TestHost host;
  test::TestHost::SetDebugLevel(0);
  CKplParser expected(7);
  expected.ProcessData(Job().data(), Job().size());
  ASSERT_EQ(expected.Labels.size(), 3U);
  for (std::size_t pieceSize = 1; pieceSize <= Job().size(); ++pieceSize) {
    SCOPED_TRACE("pieces of " + std::to_string(pieceSize));
    CKplParser parser(7);
    TakeInPieces(parser, pieceSize);
    EXPECT_EQ(parser.ParserState, 3);
    EXPECT_EQ(parser.JobHeader, expected.JobHeader);
    EXPECT_EQ(parser.JobFooter, expected.JobFooter);
    EXPECT_EQ(parser.LabelsParsed, 4U);
    EXPECT_EQ(parser.ParserQParameter, '2');
    EXPECT_TRUE(parser.OpenLengthLabels);
    EXPECT_TRUE(std::equal(parser.Labels.begin(), parser.Labels.end(), expected.Labels.begin(), expected.Labels.end(),
                           [](const KplLabel& left, const KplLabel& right) { return left.Data == right.Data; }));
  }
}

}  // namespace
}  // namespace sc3xxmon
