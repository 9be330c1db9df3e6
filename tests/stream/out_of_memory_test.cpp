// A span that can't be taken for want of memory: the parser stays as it was, so that the spooler can offer it again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

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

class OutOfMemoryTest : public ::testing::TestWithParam<std::size_t> {
 protected:
  OutOfMemoryTest() { test::TestHost::SetDebugLevel(0); }

  test::TestHost host;
};

TEST_P(OutOfMemoryTest, ASpanThatFailedIsTakenWholeOnceThereIsMemory) {
  const ByteString job = Joined(
      {JobStart(), Bytes("1B 4C FF FF 1B 71 32"), Label(1), Label(2), Bytes("1B 4C 10 00"), Label(3), EndOfJob()});
  CKplParser parser(7);
  int failures = 0;
  for (std::size_t at = 0; at < job.size(); at += GetParam()) {
    const auto piece = job.begin() + static_cast<std::ptrdiff_t>(at);
    const auto size = static_cast<std::ptrdiff_t>(std::min(GetParam(), job.size() - at));
    failures += TakeInTheEnd(parser, ByteString(piece, piece + size));
  }
  CKplParser expected(7);
  expected.ProcessData(job.data(), job.size());
  EXPECT_GT(failures, 3);
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_EQ(parser.JobHeader, expected.JobHeader);
  EXPECT_EQ(parser.JobFooter, expected.JobFooter);
  EXPECT_EQ(parser.LabelsParsed, 3U);
  EXPECT_EQ(parser.ParserQParameter, '2');
  EXPECT_TRUE(parser.OpenLengthLabels);
  ASSERT_EQ(parser.Labels.size(), expected.Labels.size());
  for (std::size_t i = 0; i < parser.Labels.size(); ++i) {
    EXPECT_EQ(parser.Labels[i].Data, expected.Labels[i].Data);
  }
}

INSTANTIATE_TEST_SUITE_P(PieceSizes, OutOfMemoryTest, ::testing::Values(1, 7, 30, 1000));

}  // namespace
}  // namespace sc3xxmon
