#include "stream/kpl_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitor/options.h"
#include "stream/parser_fixture.h"

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
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class KplParserTest : public test::ParserFixture {};

TEST_F(KplParserTest, ANewParserIsEmpty) {
  EXPECT_THAT(parser.Buffer(), IsEmpty());
  EXPECT_THAT(parser.JobHeader, IsEmpty());
  EXPECT_THAT(parser.JobFooter, IsEmpty());
  EXPECT_THAT(parser.Labels, IsEmpty());
  EXPECT_EQ(parser.ParserState, 0);
  EXPECT_EQ(parser.ParserQParameter, 0x31);
  EXPECT_EQ(parser.JobNumber, 7U);
  EXPECT_FALSE(parser.OpenLengthLabels);
  EXPECT_EQ(parser.LabelsParsed, 0U);
  EXPECT_EQ(parser.LabelsAcked, 0U);
}

// ------------------------------------------------------------------------------------------------ the whole road

const char kSmallHeader[] = "1B 73 01 00 00 00 1B 71 31";
const char kSmallFirst[] = "1B 6E 01 00 1B 44 01 00 02 00 00 00 08 00 00 00 FF 00 1B 47";
const char kSmallSecond[] = "1B 4C 10 00 1B 6E 02 00 1B 44 01 00 02 00 00 00 08 00 00 00 00 FF";

TEST_F(KplParserTest, ASmallJobIsCutIntoHeaderLabelsAndFooter) {
  const ByteString job = Joined({Bytes(kSmallHeader), Bytes(kSmallFirst), Bytes(kSmallSecond), Bytes("1B 51")});
  EXPECT_EQ(Feed(job), static_cast<std::int32_t>(job.size()));
  EXPECT_EQ(parser.JobHeader, Bytes(kSmallHeader));
  ASSERT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.Labels[0].Data, Bytes(kSmallFirst));
  EXPECT_EQ(parser.Labels[0].IphLength, 0U);
  EXPECT_EQ(parser.Labels[0].LabelIndex, 1U);
  EXPECT_EQ(parser.Labels[1].Data, Bytes(kSmallSecond));
  EXPECT_EQ(parser.Labels[1].IphLength, 4U);
  EXPECT_EQ(parser.Labels[1].LabelIndex, 2U);
  EXPECT_EQ(parser.JobFooter, Bytes("1B 51"));
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_THAT(parser.Buffer(), IsEmpty());
  EXPECT_EQ(parser.LabelsParsed, 2U);
}

TEST_F(KplParserTest, ASmallJobTellsItsStepsInTheLog) {
  Feed(Joined({Bytes(kSmallHeader), Bytes(kSmallFirst), Bytes(kSmallSecond), Bytes("1B 51")}));
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=0, delta=53",
                                      "CKplParser::TryParseJobHeader: Got header (9 bytes). Remained in buffer 44",
                                      "CKplParser::TryParseLabel: Got label (20/0 bytes). state=2",
                                      "CKplParser::TryParseLabel: Got label (22/4 bytes). state=3",
                                      "CKplParser::TryParseLabel: Not a label index: 1B-51"));
}

TEST_F(KplParserTest, TheUsualEndOfAJobLogsOneLineThatIsExpected) {
  Feed(Joined({JobStart(), Label(1)}));
  NewLines();
  Feed(EndOfJob());
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=0, delta=2",
                                      "CKplParser::TryParseLabel: Not a label index: 1B-51",
                                      "CKplParser::TryParseJobFooter: Got footer"));
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_EQ(parser.JobFooter, EndOfJob());
}

TEST_F(KplParserTest, AStreamByteByByteGivesTheSameAsInOneSpan) {
  const ByteString job = Joined({JobStart(), Bytes("1B 71 32 1B 4C FF FF"), Label(1), Bytes("1B 63 1B 71 33"), Label(2),
                                 LabelIndex(3), Raster(3, 9), Label(4), Bytes("1B 45 1B 51 00 00")});
  CKplParser whole(7);
  whole.ProcessData(job.data(), job.size());
  FeedByteWise(job);
  EXPECT_EQ(parser.JobHeader, whole.JobHeader);
  ASSERT_THAT(parser.Labels, SizeIs(4));
  ASSERT_THAT(whole.Labels, SizeIs(4));
  for (std::size_t i = 0; i < 4; ++i) {
    const KplLabel& piecewise = parser.Labels[i];
    const KplLabel& atOnce = whole.Labels[i];
    EXPECT_EQ(piecewise.Data, atOnce.Data);
    EXPECT_EQ(piecewise.IphLength, atOnce.IphLength);
    EXPECT_EQ(piecewise.LabelIndex, i + 1);
    EXPECT_EQ(atOnce.LabelIndex, i + 1);
    EXPECT_EQ(piecewise.PrintDataCommand - piecewise.Data.data(), atOnce.PrintDataCommand - atOnce.Data.data());
    EXPECT_EQ(piecewise.PrintDataCommand[1], 'D');
  }
  EXPECT_EQ(parser.JobFooter, whole.JobFooter);
  EXPECT_EQ(parser.JobFooter, Bytes("1B 45 1B 51 00 00"));
  EXPECT_TRUE(parser.OpenLengthLabels);
  EXPECT_TRUE(whole.OpenLengthLabels);
  EXPECT_EQ(parser.ParserQParameter, '2');
}

TEST_F(KplParserTest, EverySplitInTwoGivesTheSameLabels) {
  const ByteString job = Joined({JobStart(), Label(1), Bytes("1B 4C 10 00"), Label(2), EndOfJob()});
  for (std::size_t split = 0; split <= job.size(); ++split) {
    CKplParser halves(7);
    halves.ProcessData(job.data(), split);
    halves.ProcessData(job.data() + split, job.size() - split);
    ASSERT_THAT(halves.Labels, SizeIs(2)) << "split at " << split;
    EXPECT_EQ(halves.Labels[0].Data, Label(1)) << "split at " << split;
    EXPECT_EQ(halves.Labels[1].Data, Joined({Bytes("1B 4C 10 00"), Label(2)})) << "split at " << split;
    EXPECT_EQ(halves.JobFooter, EndOfJob()) << "split at " << split;
  }
}

TEST_F(KplParserTest, EverythingGivenIsTakenWhateverWasParsed) {
  EXPECT_EQ(Feed(Bytes("00 01 02")), 3);
  EXPECT_EQ(Feed({}), 0);
  EXPECT_EQ(parser.ProcessData(nullptr, 0), 0);
  EXPECT_THAT(parser.Buffer(), SizeIs(3));
}

// ---------------------------------------------------------------------------------------------------- job header

TEST_F(KplParserTest, ASpanThatEndsInsideTheFirstIndexCutsNoHeader) {
  for (std::size_t present = 0; present < 4; ++present) {
    CKplParser early(7);
    ByteString bytes = Joined({JobStart(), LabelIndex(1)});
    bytes.resize(JobStart().size() + present);
    early.ProcessData(bytes.data(), bytes.size());
    EXPECT_EQ(early.ParserState, 0) << present;
    EXPECT_THAT(early.JobHeader, IsEmpty());
    EXPECT_EQ(early.Buffer(), bytes);
  }
}

TEST_F(KplParserTest, JobStartDirectlyFollowedByAnIndexIsAHeaderOfSixBytes) {
  Feed(Joined({JobStart(), LabelIndex(1)}));
  EXPECT_EQ(parser.JobHeader, JobStart());
  EXPECT_EQ(parser.ParserState, 1);
  EXPECT_EQ(parser.Buffer(), LabelIndex(1));
}

TEST_F(KplParserTest, OnlyAnOpenLengthOfAllOnesSetsTheFlag) {
  Feed(Joined({JobStart(), Bytes("1B 4C FE FF"), LabelIndex(1)}));
  EXPECT_FALSE(parser.OpenLengthLabels);
  CKplParser open(7);
  const ByteString stream = Joined({JobStart(), Bytes("1B 4C FF FF 1B 4C 10 00"), LabelIndex(1)});
  open.ProcessData(stream.data(), stream.size());
  EXPECT_TRUE(open.OpenLengthLabels);  // a later length doesn't take it back
}

TEST_F(KplParserTest, AnOpenLengthBehindTheHeaderDoesntCount) {
  Feed(Joined({JobStart(), Label(1), Bytes("1B 4C FF FF"), Label(2), EndOfJob()}));
  EXPECT_FALSE(parser.OpenLengthLabels);
}

TEST_F(KplParserTest, TheLastParameterOfTheHeaderIsKept) {
  Feed(Joined({JobStart(), Bytes("1B 71 34 1B 71 32"), Label(1), Bytes("1B 71 39"), Label(2)}));
  EXPECT_EQ(parser.ParserQParameter, 0x32);
}

TEST_F(KplParserTest, AStreamThatOpensWithAnotherCommandNeverStarts) {
  Feed(Joined({Bytes("1B 40"), JobStart()}));
  Feed(Label(1));
  EXPECT_EQ(parser.ParserState, 0);
  EXPECT_THAT(parser.Buffer(), SizeIs(2 + 6 + Label(1).size()));
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=0, delta=8",
                                      "CKplParser::TryParseJobHeader: Not a job header: 1B-40",
                                      "CKplParser::ProcessData: Appending data: old=8, delta=26",
                                      "CKplParser::TryParseJobHeader: Not a job header: 1B-40"));
}

TEST_F(KplParserTest, ARasterBeforeTheFirstIndexStopsTheHeaderEachTime) {
  for (const ByteString& raster : {Raster(2, 8), Bytes("1B 5A 03 00 00 00 00 01 00 02 00 00 00 08 00 00 00")}) {
    CKplParser stopped(7);
    host.log.clear();
    const ByteString stream = Joined({JobStart(), raster, Label(1), EndOfJob()});
    stopped.ProcessData(stream.data(), stream.size());
    stopped.ProcessData(stream.data(), 1);
    EXPECT_EQ(stopped.ParserState, 0);
    EXPECT_THAT(stopped.Labels, IsEmpty());
    EXPECT_EQ(host.LogCount("Unexpected varlen command: " + std::to_string(raster[1])), 2U);
  }
}

TEST_F(KplParserTest, AStreamWithoutAnIndexNeverLeavesTheStart) {
  Feed(Joined({JobStart(), EndOfJob(), EndOfJob()}));
  EXPECT_EQ(parser.ParserState, 0);
  EXPECT_THAT(parser.JobFooter, IsEmpty());
}

TEST_F(KplParserTest, BytesThatAreNoCommandsInTheHeaderAreLoggedAtEachCall) {
  Feed(Joined({JobStart(), Bytes("00 00")}));
  Feed(LabelIndex(1));
  EXPECT_EQ(parser.ParserState, 0);
  EXPECT_EQ(host.LogCount("Unexpected data - non-ESC: 0"), 2U);
}

// -------------------------------------------------------------------------------------------------------- labels

TEST_F(KplParserTest, ALabelThatEndsInAFormFeedIsCutAtOnceWithIt) {
  Feed(Joined({JobStart(), Label(1)}));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, Label(1));
  EXPECT_THAT(parser.Buffer(), IsEmpty());
  EXPECT_EQ(parser.ParserState, 2);
}

TEST_F(KplParserTest, TheOtherEndingCommandBelongsToTheLabelToo) {
  const ByteString label = Joined({LabelIndex(1), Raster(2, 8), Bytes("1B 70 51")});
  Feed(Joined({JobStart(), label}));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, label);
  EXPECT_EQ(parser.ParserState, 2);
}

TEST_F(KplParserTest, OnlyTheFirstFormFeedEndsALabel) {
  Feed(Joined({JobStart(), LabelIndex(1), Raster(2, 8), Bytes("1B 47 1B 47")}));
  EXPECT_EQ(parser.Labels[0].Data, Joined({LabelIndex(1), Raster(2, 8), Bytes("1B 47")}));
  EXPECT_EQ(parser.Buffer(), Bytes("1B 47"));
}

TEST_F(KplParserTest, ALabelEndedByTheNextIndexIsCutOnceThatIsComplete) {
  const ByteString first = Joined({LabelIndex(1), Raster(2, 8)});
  Feed(Joined({JobStart(), first, Bytes("1B 6E 02")}));
  EXPECT_THAT(parser.Labels, IsEmpty());
  Feed(Bytes("00"));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, first);
  EXPECT_EQ(parser.Buffer(), LabelIndex(2));
  EXPECT_EQ(parser.ParserState, 2);
}

TEST_F(KplParserTest, ALabelEndedByTheFooterIsCutOnceThatIsComplete) {
  const ByteString first = Joined({LabelIndex(1), Raster(2, 8)});
  Feed(Joined({JobStart(), first, Bytes("1B")}));
  EXPECT_THAT(parser.Labels, IsEmpty());
  Feed(Bytes("45"));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].Data, first);
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_EQ(parser.JobFooter, Bytes("1B 45"));
}

TEST_F(KplParserTest, TwoLabelsWithoutAFormFeedBetweenThem) {
  Feed(Joined({JobStart(), LabelIndex(1), Raster(2, 8), Label(2)}));
  ASSERT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.Labels[0].Data, Joined({LabelIndex(1), Raster(2, 8)}));
  EXPECT_EQ(parser.Labels[1].Data, Label(2));
  EXPECT_EQ(parser.ParserState, 2);
}

TEST_F(KplParserTest, BetweenLabelsCommandsBelongToTheLabelBehindThem) {
  const ByteString between = Bytes("1B 43 01 1B 48 01 02 1B 63");
  Feed(Joined({JobStart(), Label(1), between, Label(2)}));
  ASSERT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.Labels[0].Data, Label(1));
  EXPECT_EQ(parser.Labels[1].Data, Joined({between, Label(2)}));
  EXPECT_EQ(parser.Labels[1].IphLength, 9U);
  EXPECT_TRUE(host.Logged("Got label (35/9 bytes). state=2"));
}

TEST_F(KplParserTest, EachOfTheThirteenCommandsMayStandBetweenLabels) {
  for (const char letter : kpl::kBetweenLabels) {
    ByteString command(kpl::FixedLength(static_cast<std::uint8_t>(letter)), 0);
    command[0] = kEsc;
    command[1] = static_cast<std::uint8_t>(letter);
    CKplParser one(7);
    const ByteString stream = Joined({JobStart(), Label(1), command, Label(2)});
    one.ProcessData(stream.data(), stream.size());
    ASSERT_THAT(one.Labels, SizeIs(2)) << letter;
    EXPECT_EQ(one.Labels[1].IphLength, command.size()) << letter;
  }
}

TEST_F(KplParserTest, AnotherCommandBetweenLabelsStopsTheParserThere) {
  Feed(Joined({JobStart(), Label(1), Bytes("1B 62 00 00"), Label(2), EndOfJob()}));
  EXPECT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_TRUE(host.Logged("Not a label index: 1B-62"));
  EXPECT_TRUE(host.Logged("Not a footer command in the buffer: 1B-62"));
}

TEST_F(KplParserTest, CommandsInsideALabelAreNotBetweenLabels) {
  const ByteString label = Joined({LabelIndex(1), Bytes("1B 4C 10 00"), Raster(2, 8), Bytes("1B 47")});
  Feed(Joined({JobStart(), label}));
  EXPECT_EQ(parser.Labels[0].Data, label);
  EXPECT_EQ(parser.Labels[0].IphLength, 0U);
}

TEST_F(KplParserTest, AnIndexAndThenTheEndIsAnEmptyLabelThatIsDiscarded) {
  Feed(Joined({JobStart(), LabelIndex(1), EndOfJob()}));
  EXPECT_THAT(parser.Labels, IsEmpty());
  EXPECT_EQ(parser.LabelsParsed, 1U);
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_EQ(parser.JobFooter, EndOfJob());
  EXPECT_THAT(NewLines(), Contains("CKplParser::TryParseLabel: Label is empty. Discarding 4 bytes."));
}

TEST_F(KplParserTest, ARasterOfNoLinesIsAnEmptyLabelToo) {
  Feed(Joined({JobStart(), LabelIndex(1), Raster(0, 8), EndOfJob()}));
  EXPECT_THAT(parser.Labels, IsEmpty());
  EXPECT_EQ(parser.LabelsParsed, 1U);
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_TRUE(host.Logged("Label is empty. Discarding 16 bytes."));
}

TEST_F(KplParserTest, WithPrintEmptyLabelAnEmptyLabelIsKept) {
  PrintEmptyLabel = 1;
  Feed(Joined({JobStart(), LabelIndex(1), Bytes("1B 47"), LabelIndex(2), Raster(0, 8), EndOfJob()}));
  ASSERT_THAT(parser.Labels, SizeIs(2));
  EXPECT_EQ(parser.Labels[0].Data, Bytes("1B 6E 01 00 1B 47"));
  EXPECT_EQ(parser.Labels[0].PrintDataParams, nullptr);
  EXPECT_EQ(parser.Labels[1].RasterSize(), 0U);
}

TEST_F(KplParserTest, ARasterWhoseSizeWrapsToZeroIsEmpty) {
  // 8 bytes a line, 0x20000000 lines: 2^32 bytes, so none.
  Feed(Joined({JobStart(), LabelIndex(1), Bytes("1B 44 01 00 00 00 00 20 40 00 00 00 1B 47")}));
  EXPECT_THAT(parser.Labels, IsEmpty());
  EXPECT_EQ(parser.LabelsParsed, 1U);
}

TEST_F(KplParserTest, ACompressedRasterIsJudgedByItsDecompressedSize) {
  Feed(Joined({JobStart(), LabelIndex(1), Bytes("1B 5A 03 00 00 00 00 01 00 02 00 00 00 08 00 00 00 1B 47"),
               LabelIndex(2), Bytes("1B 5A 03 01 00 00 00 01 00 00 00 00 00 08 00 00 00 AA 1B 47")}));
  ASSERT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.Labels[0].LabelIndex, 1U);
  EXPECT_EQ(parser.Labels[0].CompressedSize, 0U);
  EXPECT_EQ(parser.Labels[0].RasterSize(), 2U);
}

TEST_F(KplParserTest, BytesThatAreNoCommandsStopTheParserBehindTheLabelsBefore) {
  Feed(Joined({JobStart(), Label(1), Bytes("00 00"), Label(2), EndOfJob()}));
  Feed(EndOfJob());
  EXPECT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_THAT(parser.Buffer(), SizeIs(2 + 26 + 2 + 2));
  // Label step and footer step each reach the spot once a call.
  EXPECT_EQ(host.LogCount("Unexpected data - non-ESC: 0"), 4U);
}

TEST_F(KplParserTest, AnUnknownLetterInsideALabelStopsTheParserThere) {
  Feed(Joined({JobStart(), LabelIndex(1), Bytes("1B 53 00"), Raster(2, 8), EndOfJob()}));
  EXPECT_THAT(parser.Labels, IsEmpty());
  EXPECT_EQ(parser.ParserState, 1);
  EXPECT_EQ(host.LogCount("Unsupported varlen command: 83"), 1U);
}

TEST_F(KplParserTest, AFormFeedThatStandsAloneSticks) {
  Feed(Joined({JobStart(), Label(1), Bytes("1B 47")}));
  NewLines();
  Feed(Label(2));
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_THAT(parser.Labels, SizeIs(1));
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=2, delta=26",
                                      "CKplParser::TryParseLabel: Not a label index: 1B-47",
                                      "CKplParser::TryParseJobFooter: Not a footer command in the buffer: 1B-47"));
}

TEST_F(KplParserTest, BetweenLabelsCommandsBeforeTheEndOfTheJobHideTheFooter) {
  Feed(Joined({JobStart(), Label(1), Bytes("1B 4C 10 00"), EndOfJob()}));
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_THAT(parser.JobFooter, IsEmpty());
  EXPECT_EQ(parser.Buffer(), Bytes("1B 4C 10 00 1B 51"));
  EXPECT_TRUE(host.Logged("Not a label index: 1B-51"));
  EXPECT_TRUE(host.Logged("Not a footer command in the buffer: 1B-4C"));
  Feed(EndOfJob());
  EXPECT_EQ(parser.ParserState, 2);
}

// ------------------------------------------------- the byte that is read where the ending command stood

// A label of one line whose fourth raster byte comes to stand where the letter of label 1's form feed stood.
ByteString LabelWithByte(std::uint8_t byte) {
  ByteString raster = Raster(1, 64);
  raster[kRasterHeadSize + 3] = byte;
  return Joined({LabelIndex(2), raster, Bytes("1B 47")});
}
ByteString FirstOfTwo() {
  return Joined({LabelIndex(1), Raster(1, 16), Bytes("1B 47")});
}

TEST_F(KplParserTest, AByteOfTheRestThatLooksLikeAFooterMakesTheState3ForOneLabel) {
  Feed(Joined({JobStart(), FirstOfTwo(), LabelWithByte(0x51)}));
  EXPECT_TRUE(host.Logged("Got label (20/0 bytes). state=3"));
  EXPECT_TRUE(host.Logged("Got label (26/0 bytes). state=2"));  // the next one was complete and set it anew
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_THAT(parser.Labels, SizeIs(2));
}

TEST_F(KplParserTest, SuchAByteMakesAFooterOfTheRestIfTheNextLabelIsIncomplete) {
  ByteString second = LabelWithByte(0x45);
  second.resize(second.size() - 1);
  Feed(Joined({JobStart(), FirstOfTwo(), second}));
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_THAT(parser.Labels, SizeIs(1));
  EXPECT_EQ(parser.JobFooter, second);
  EXPECT_THAT(parser.Buffer(), IsEmpty());
}

TEST_F(KplParserTest, AnotherByteThereMeansNothing) {
  ByteString second = LabelWithByte(0x50);
  second.resize(second.size() - 1);
  Feed(Joined({JobStart(), FirstOfTwo(), second}));
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_THAT(parser.JobFooter, IsEmpty());
}

TEST_F(KplParserTest, ARestThatDoesntReachThatFarLeavesTheLetterItself) {
  ByteString second = LabelWithByte(0x51);
  second.resize(19);  // its byte 19 hasn't arrived
  Feed(Joined({JobStart(), FirstOfTwo(), second}));
  EXPECT_EQ(parser.ParserState, 2);
  EXPECT_EQ(parser.Buffer(), second);
}

TEST_F(KplParserTest, AByteOfTheRestHidesAFooterThatEndedTheLabel) {
  // The label ends before ESC Q; 18 bytes behind it stands something else than Q.
  const ByteString label = Joined({LabelIndex(1), Raster(1, 16)});
  Feed(Joined({JobStart(), label, EndOfJob(), ByteString(30, 0x20)}));
  EXPECT_TRUE(host.Logged("Got label (18/0 bytes). state=2"));
  EXPECT_EQ(parser.ParserState, 3);  // the footer step finds it at the front all the same
  EXPECT_TRUE(host.Logged("Got footer"));
}

TEST_F(KplParserTest, TheByteIsTheSameWhetherTheLabelStoodInTheBufferOrInTheSpan) {
  ByteString second = LabelWithByte(0x51);
  second.resize(second.size() - 1);
  Feed(JobStart());
  Feed(Joined({FirstOfTwo(), second}));  // behind six bytes that were kept
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_EQ(parser.JobFooter, second);
}

// -------------------------------------------------------------------------------------------------------- footer

TEST_F(KplParserTest, ALongFormFeedBeginsTheFooterToo) {
  Feed(Joined({JobStart(), Label(1), Bytes("1B 45 1B 51")}));
  EXPECT_EQ(parser.ParserState, 3);
  EXPECT_EQ(parser.JobFooter, Bytes("1B 45 1B 51"));
}

TEST_F(KplParserTest, AFooterCanComeBeforeAnyLabelIsComplete) {
  Feed(Joined({JobStart(), LabelIndex(1), Bytes("1B 45")}));
  EXPECT_EQ(parser.ParserState, 3);
}

TEST_F(KplParserTest, BehindTheFooterBytesOfAnyValueAreAppendedAndLoggedBySizeOnly) {
  Feed(Joined({JobStart(), Label(1), EndOfJob()}));
  NewLines();
  Feed(Bytes("00 FF 1B 6E 01 00"));
  Feed(Label(9));
  EXPECT_EQ(parser.JobFooter, Joined({EndOfJob(), Bytes("00 FF 1B 6E 01 00"), Label(9)}));
  EXPECT_THAT(parser.Buffer(), IsEmpty());
  EXPECT_EQ(parser.LabelsParsed, 1U);
  EXPECT_THAT(NewLines(), ElementsAre("CKplParser::ProcessData: Appending data: old=0, delta=6",
                                      "CKplParser::ProcessData: Appending data: old=0, delta=26"));
}

// --------------------------------------------------------------------------------------------------- single steps

TEST_F(KplParserTest, BeforeTheHeaderLabelAndFooterStepsLookAtNothing) {
  Feed(Bytes("00"));
  NewLines();
  EXPECT_EQ(parser.TryParseLabel(), ParseResult::kNotApplicable);
  EXPECT_EQ(parser.TryParseJobFooter(), ParseResult::kNotApplicable);
  EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(KplParserTest, TheHeaderStepTellsWhyItStopped) {
  EXPECT_EQ(parser.TryParseJobHeader(), ParseResult::kNotEnoughData);
  Feed(JobStart());
  EXPECT_EQ(parser.TryParseJobHeader(), ParseResult::kNotEnoughData);
  Feed(LabelIndex(1));
  EXPECT_EQ(parser.TryParseJobHeader(), ParseResult::kNotApplicable);

  CKplParser other(7);
  const ByteString wrong = Bytes("1B 51");
  other.ProcessData(wrong.data(), wrong.size());
  EXPECT_EQ(other.TryParseJobHeader(), ParseResult::kNoMatch);
}

TEST_F(KplParserTest, LabelAndFooterStepsTellWhyTheyStopped) {
  Feed(Joined({JobStart(), LabelIndex(1)}));
  EXPECT_EQ(parser.TryParseLabel(), ParseResult::kNotEnoughData);
  NewLines();
  EXPECT_EQ(parser.TryParseJobFooter(), ParseResult::kNoMatch);  // a label is coming: not worth a line
  EXPECT_THAT(NewLines(), IsEmpty());
  Feed(Joined({Raster(2, 8), Bytes("1B 47 1B 47")}));
  EXPECT_EQ(parser.TryParseLabel(), ParseResult::kNoMatch);
  EXPECT_EQ(parser.TryParseJobFooter(), ParseResult::kNoMatch);
}

TEST_F(KplParserTest, StepsOnAnEmptyBufferHaveNotEnoughData) {
  Feed(Joined({JobStart(), Label(1)}));
  EXPECT_EQ(parser.TryParseLabel(), ParseResult::kNotEnoughData);
  EXPECT_EQ(parser.TryParseJobFooter(), ParseResult::kNotEnoughData);
}

// Each raster announces little; were there room for no more than that, every one of them would move the whole label.
TEST_F(KplParserTest, ALabelOfManySmallRastersIsMovedSeldom) {
  constexpr std::uint32_t kRasters = 4000;
  Feed(Joined({JobStart(), LabelIndex(1)}));
  const ByteString raster = Raster(100, 80);
  std::size_t capacity = parser.Buffer().capacity();
  int moves = 0;
  for (std::uint32_t i = 0; i < kRasters; ++i) {
    for (std::size_t at = 0; at < raster.size(); at += 64) {
      parser.ProcessData(raster.data() + at, std::min<std::size_t>(64, raster.size() - at));
      moves += parser.Buffer().capacity() != capacity ? 1 : 0;
      capacity = parser.Buffer().capacity();
    }
  }
  EXPECT_GT(parser.Buffer().size(), kRasters * 1000U);
  EXPECT_LT(moves, 100);
}

}  // namespace
}  // namespace sc3xxmon
