#include "job/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <type_traits>

#include "lan/socket.h"
#include "support/bytes.h"
#include "support/sanitizers.h"
#include "support/status_records.h"

namespace sc3xxmon {
namespace {

using test::RecordOf;

template <class... Types>
struct TypeList {};
using Tree = TypeList<std::exception, Exception, HResultException, CommunicationException, WsaCommException,
                      PrintingException, PrintCommException, PrintCanceledException, CommErrorException,
                      LockFailedException, PrintStatusException, StatusErrorsException>;

template <class Failure, class... Types>
constexpr std::size_t CountBases(TypeList<Types...>) {
  return (std::size_t{0} + ... + (std::is_base_of_v<Types, Failure> && !std::is_same_v<Types, Failure> ? 1 : 0));
}

// True if a Failure is one of each of these, publicly, and of no other class of the tree: with one base a class, that is
// its place.
template <class Failure, class... Bases>
constexpr bool kIs = (std::is_convertible_v<Failure*, Bases*> && ...) && CountBases<Failure>(Tree{}) ==
                                                                             sizeof...(Bases);

TEST(FailureTreeTest, EachClassHasItsPlaceAndTheFamiliesDontMix) {
  static_assert(kIs<Exception, std::exception>);
  static_assert(kIs<HResultException, Exception, std::exception>);
  static_assert(kIs<CommunicationException, Exception, std::exception>);
  static_assert(kIs<WsaCommException, CommunicationException, Exception, std::exception>);
  static_assert(kIs<PrintingException, Exception, std::exception>);
  static_assert(kIs<PrintCommException, PrintingException, Exception, std::exception>);
  static_assert(kIs<PrintCanceledException, PrintingException, Exception, std::exception>);
  static_assert(kIs<CommErrorException, PrintingException, Exception, std::exception>);
  static_assert(kIs<LockFailedException, PrintingException, Exception, std::exception>);
  static_assert(kIs<PrintStatusException, PrintingException, Exception, std::exception>);
  static_assert(kIs<StatusErrorsException, PrintingException, Exception, std::exception>);
}

TEST(FailureTest, WhatIsTheText) {
  const Exception failure("StartDocPort failed");
  EXPECT_STREQ(failure.what(), "StartDocPort failed");
  EXPECT_EQ(failure.MessageLength(), 19U);
  EXPECT_EQ(failure.ErrorCode, 0U);
}

TEST(FailureTest, AnEmptyTextSaysExceptionAllTheSame) {
  const Exception failure("");
  EXPECT_STREQ(failure.what(), "Exception");
  EXPECT_EQ(failure.MessageLength(), 0U);
  EXPECT_STREQ(PrintCommException("").what(), "Exception");
}

TEST(FailureTest, TheTextIsACopy) {
  std::string text = "SendLabel failed";
  const PrintCommException failure(text);
  text = "something else";
  EXPECT_STREQ(failure.what(), "SendLabel failed");
}

TEST(FailureTest, ATextWithoutATerminatorIsTakenByItsLength) {
  EXPECT_STREQ(Exception(std::string_view("OpenPrinter failed").substr(0, 11)).what(), "OpenPrinter");
}

TEST(FailureTest, ATextThatCantBeAllocatedLeavesTheFailureWithoutOne) {
  if constexpr (test::kRefusedAllocationsAreFatal) {
    GTEST_SKIP() << "a sanitizer ends the program where an allocation is refused";
  } else {
    const char text[] = "text";
    const Exception failure(std::string_view(text, std::numeric_limits<std::ptrdiff_t>::max() - 1));
    EXPECT_STREQ(failure.what(), "Exception");
    EXPECT_EQ(failure.MessageLength(), 0U);
  }
}

TEST(FailureTest, OneNumberIsPutIntoTheText) {
  EXPECT_STREQ(PrintCommException("Sending ESCA%d failed", 1).what(), "Sending ESCA1 failed");
}

TEST(FailureTest, TwoNumbersArePutIntoTheText) {
  const PrintCommException failure("Receiving ESCA%d response failed (%d bytes read)", 2, 31);
  EXPECT_STREQ(failure.what(), "Receiving ESCA2 response failed (31 bytes read)");
  EXPECT_EQ(failure.MessageLength(), 47U);
}

TEST(FailureTest, NumbersAreSigned) {
  EXPECT_STREQ(PrintCommException("BAD PrintStatus(%d)", 0xFFFFFFFFU).what(), "BAD PrintStatus(-1)");
}

TEST(FailureTest, AnEmptyFormatGivesNoText) {
  EXPECT_STREQ(PrintCommException("", 5).what(), "Exception");
}

TEST(FailureTest, ACancelPicksItsTextByTheFlag) {
  const PrintCanceledException bySpooler(true);
  EXPECT_STREQ(bySpooler.what(), "Print job aborted by the spooler");
  EXPECT_TRUE(bySpooler.BySpooler);
  const PrintCanceledException byPrinter(false);
  EXPECT_STREQ(byPrinter.what(), "Print job cancelled by the printer");
  EXPECT_FALSE(byPrinter.BySpooler);
}

TEST(FailureTest, ABadStatusNamesTheRecordsStatusInEitherForm) {
  EXPECT_STREQ(PrintStatusException(RecordOf(test::PlainStatus({.status = 2}))).what(), "Bad status: 2");
  EXPECT_STREQ(PrintStatusException(RecordOf(test::EscSStatus({.status = 5}))).what(), "Bad status: 5");
}

TEST(FailureTest, ABadStatusKeepsItsRecord) {
  const StatusRecord record = RecordOf(test::PlainStatus({.status = 2, .bay = 3}));
  EXPECT_EQ(PrintStatusException(record).Record, record);
}

TEST(FailureTest, PrintingErrorsKeepRecordAndErrorsAfterBeingCaught) {
  const StatusRecord record = RecordOf(test::PlainStatus({.status = 2, .bay = 3, .head = 1}));
  const PrinterErrors errors{.Bay = 3, .Head = 1, .Cutter = 4, .BatteryGood = 7, .ErrorFlags = 15};
  try {
    throw StatusErrorsException(record, errors);
  } catch (const PrintCommException&) {
    FAIL() << "caught as another class";
  } catch (const StatusErrorsException& failure) {
    EXPECT_STREQ(failure.what(), "Printing errors");
    EXPECT_EQ(failure.Record, record);
    EXPECT_EQ(failure.Errors, errors);
  }
}

TEST(FailureTest, AFailureWithACodeKeepsIt) {
  const HResultException failure(-2147467259, "no");
  EXPECT_EQ(failure.HResult, -2147467259);
  EXPECT_STREQ(failure.what(), "no");
}

TEST(FailureTest, ThrowHResultThrowsTheCodeWithoutAText) {
  try {
    ThrowHResult(-5);
  } catch (const HResultException& failure) {
    EXPECT_EQ(failure.HResult, -5);
    EXPECT_STREQ(failure.what(), "Exception");
    return;
  }
}

TEST(FailureTest, ACopyHasATextOfItsOwn) {
  auto original = std::make_unique<PrintCommException>("SendAll of label #%d failed", 3);
  original->ErrorCode = 10054;
  const PrintCommException copy(*original);
  original.reset();
  EXPECT_STREQ(copy.what(), "SendAll of label #3 failed");
  EXPECT_EQ(copy.ErrorCode, 10054U);
  EXPECT_STREQ(Exception(Exception("")).what(), "Exception");
}

TEST(FailureTest, MakingAndCopyingNeverThrows) {
  static_assert(std::is_nothrow_constructible_v<PrintCommException, const char*, std::uint32_t, std::uint32_t>);
  static_assert(std::is_nothrow_constructible_v<PrintCanceledException, bool>);
  static_assert(std::is_nothrow_constructible_v<PrintStatusException, const StatusRecord&>);
  static_assert(std::is_nothrow_constructible_v<StatusErrorsException, const StatusRecord&, const PrinterErrors&>);
  static_assert(std::is_nothrow_copy_constructible_v<StatusErrorsException>);
}

TEST(FailureTest, AnyFailureIsCaughtByTheStandardBase) {
  try {
    throw LockFailedException("Printer lock failed (taken by someone else)");
  } catch (const std::exception& failure) {
    EXPECT_STREQ(failure.what(), "Printer lock failed (taken by someone else)");
  }
}

}  // namespace
}  // namespace sc3xxmon
