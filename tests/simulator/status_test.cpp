// The bytes of answers on each model, and when they come.
#include "printer_desk.h"
#include "simulator/status_answer.h"

namespace simulator::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class EveryModelTest : public PrinterDesk, public ::testing::WithParamInterface<int> {
 protected:
  void SetUp() override { settings.model = GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Rows, EveryModelTest, ::testing::Range(1, 10));

TEST_P(EveryModelTest, AnswersAStatusRequestInItsOwnLengthAndForm) {
  Send(Ask(0));
  const Bytes answer = Receive();
  const bool dual = GetParam() == 4 || GetParam() == 6;
  const bool tape = GetParam() >= 8;
  ASSERT_THAT(answer, SizeIs(dual ? 70 : 32));
  const std::size_t record = dual ? 6 : 0;
  EXPECT_EQ(answer[record], tape ? 0x1B : 0);
  EXPECT_EQ(answer[record + 1], tape ? 0x53 : 0);
  EXPECT_EQ(answer[record + (tape ? 3 : 0)], 0);
  EXPECT_EQ(answer[record + (tape ? 11 : 10)], 8);
}

TEST_P(EveryModelTest, NamesItsHardwareInTheFirmwareAnswer) {
  Send(AskFirmware());
  const Bytes answer = Receive();
  ASSERT_THAT(answer, SizeIs(34));
  EXPECT_EQ(std::string(answer.begin() + 16, answer.begin() + 20), "FWAP");
  EXPECT_EQ(std::string(answer.begin() + 20, answer.begin() + 28), "00021042");
  const std::string id(answer.begin() + 32, answer.end());
  const char* const expected[] = {"28", "29", "2A", "2B", "2C", "2D", "2E", "\x0A\x10", "\x10\x10"};
  EXPECT_EQ(id, expected[GetParam() - 1]);
}

TEST_P(EveryModelTest, ShowsAnOpenBayWhereTheFormHasIt) {
  AddFault("bay=1");
  Send(Ask(0));
  const Bytes answer = Receive();
  const bool dual = GetParam() == 4 || GetParam() == 6;
  const bool tape = GetParam() >= 8;
  const std::size_t record = dual ? 6 : 0;
  EXPECT_EQ(answer[record + (tape ? 3 : 0)], 2);
  EXPECT_EQ(answer[record + (tape ? 11 : 10)], 1);
}

class StatusTest : public PrinterDesk {};

TEST_F(StatusTest, PrefixesTheAnswerOfTwoRollsAndAddsATail) {
  settings.model = 4;
  Send(Ask(0));
  const Bytes answer = Receive();
  ASSERT_THAT(answer, SizeIs(70));
  EXPECT_EQ(answer[0], 0x1B);
  EXPECT_EQ(answer[1], 0x53);
}

TEST_F(StatusTest, AnswersInTheFormThatIsAskedForByTheSettings) {
  settings.model = 4;
  settings.statusForm = StatusForm::kEscapeS;
  Send(Ask(0));
  const Bytes answer = Receive();
  ASSERT_THAT(answer, SizeIs(70));
  EXPECT_EQ(answer[6], 0x1B);
  EXPECT_EQ(answer[7], 0x53);
}

TEST_F(StatusTest, PutsErrorBitsWhereEachFormHasThem) {
  StatusReport report;
  report.errorBits = 0x04030201;
  const Bytes plain = BuildStatusAnswer(StatusForm::kPlain, report, 32);
  EXPECT_EQ((Bytes{plain.begin() + 23, plain.begin() + 27}), (Bytes{1, 2, 3, 4}));
  const Bytes escapeS = BuildStatusAnswer(StatusForm::kEscapeS, report, 32);
  EXPECT_EQ((Bytes{escapeS.begin() + 24, escapeS.begin() + 28}), (Bytes{1, 2, 3, 4}));
}

TEST_F(StatusTest, GivesAnyFirmware) {
  settings.firmware.name = "Boot";
  settings.firmware.type = "FWBL";
  settings.firmware.number1 = 12;
  settings.firmware.number2 = 7;
  settings.firmware.number3 = 3;
  settings.firmware.number4 = 45;
  settings.firmware.hardwareIdForm = HardwareIdForm::kBinary;
  Send(AskFirmware());
  const Bytes answer = Receive();
  EXPECT_EQ(std::string(answer.begin(), answer.begin() + 6), std::string("Boot\0\0", 6));
  EXPECT_EQ(std::string(answer.begin() + 16, answer.begin() + 32), "FWBL001200070345");
  EXPECT_EQ(answer[32], 0x2C);
  EXPECT_EQ(answer[33], 0x00);
}

TEST_F(StatusTest, GivesRawHardwareBytesAndAWholeRawAnswer) {
  settings.firmware.hardwareIdForm = HardwareIdForm::kRaw;
  settings.firmware.rawHardwareId = {'G', 'G'};
  Send(AskFirmware());
  EXPECT_EQ(Receive()[32], 'G');

  PrinterSettings raw;
  raw.firmware.rawAnswer.emplace().fill(0x55);
  VirtualPrinter other(raw);
  const ClientId client = other.Connect(0);
  other.Write(client, AskFirmware(), 0);
  Bytes answer(34);
  EXPECT_EQ(other.Read(client, answer, 0), 34u);
  EXPECT_THAT(answer, Each(0x55));
}

TEST_F(StatusTest, AnswersRequestZeroAndOneAtOnceWhileALabelIsPrinted) {
  settings.millimetresPerSecond = 10;
  Send(JobStart() + Label(1, 1000));
  EXPECT_EQ(StatusAfter(0), 0);
  EXPECT_EQ(StatusAfter(1), 0);
  EXPECT_THAT(PrintedIndexes(), IsEmpty());
}

TEST_F(StatusTest, AnswersRequestTwoWhenWhatStandsBeforeItIsPrinted) {
  settings.millimetresPerSecond = 25.4;  // 300 lines a second
  Send(JobStart() + Label(1, 300) + Ask(2) + Label(2, 300));
  EXPECT_THAT(Receive(), IsEmpty());
  Pass(999);
  EXPECT_THAT(Receive(), IsEmpty());
  Pass(1);
  EXPECT_THAT(Statuses(), ElementsAre(0));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(StatusTest, KeepsAnswersInTheOrderOfTheRequests) {
  settings.millimetresPerSecond = 25.4;
  Send(JobStart() + Label(1, 300) + Ask(2) + AskFirmware());
  EXPECT_THAT(Receive(), IsEmpty());
  Pass(1000);
  const Bytes answers = Receive();
  ASSERT_THAT(answers, SizeIs(32 + 34));
  EXPECT_EQ(std::string(answers.begin() + 32 + 16, answers.begin() + 32 + 20), "FWAP");
}

TEST_F(StatusTest, GivesAnAnswerInPiecesOfAnySize) {
  Send(Ask(0));
  Bytes first(20);
  Bytes rest(20);
  EXPECT_EQ(Printer().Read(Host(), first, now), 20u);
  EXPECT_EQ(Printer().Readable(Host(), now), 12u);
  EXPECT_EQ(Printer().Read(Host(), rest, now), 12u);
}

TEST_F(StatusTest, TakesNoMoreFromAClientThatNeverReads) {
  Bytes requests;
  for (int count = 0; count < 3000; ++count) requests = std::move(requests) + Ask(0);
  std::size_t taken = 0;
  for (std::size_t at = 0; at < requests.size(); ++at) {
    taken += Printer().Write(Host(), std::span(requests).subspan(at, 1), now);
  }
  EXPECT_LT(taken, requests.size());
  EXPECT_LE(Printer().Readable(Host(), now), (64u << 10) + 32);
  Receive();
  EXPECT_EQ(StatusAfter(0), 0);
}

TEST_F(StatusTest, RefusesSettingsThatMakeNoPrinter) {
  const auto problem = [](auto change) {
    PrinterSettings given;
    change(given);
    const std::string words = CheckSettings(given);
    EXPECT_THROW(VirtualPrinter{given}, std::invalid_argument) << words;
    return words;
  };
  using S = PrinterSettings;
  EXPECT_THAT(problem([](S& s) { s.model = 10; }), ::testing::HasSubstr("1 SC310, 2 SC310S"));
  EXPECT_THAT(problem([](S& s) { s.model = 0; }), ::testing::HasSubstr("no printer model 0"));
  EXPECT_THAT(problem([](S& s) { s.millimetresPerSecond = 0; }), ::testing::HasSubstr("speed"));
  EXPECT_THAT(problem([](S& s) { s.receiveBufferBytes = 0; }), ::testing::HasSubstr("receive buffer"));
  EXPECT_THAT(problem([](S& s) { s.goodBay = 5; }), ::testing::HasSubstr("6, 7 or 8"));
  EXPECT_THAT(problem([](S& s) { s.maxLabelBytes = 0; }), ::testing::HasSubstr("at least 1 byte"));
  EXPECT_THAT(problem([](S& s) { s.firmware.name = "seventeen letters"; }), ::testing::HasSubstr("16 characters"));
  EXPECT_THAT(problem([](S& s) { s.firmware.type = "FW"; }), ::testing::HasSubstr("four characters"));
  EXPECT_THAT(problem([](S& s) { s.firmware.number1 = 10000; }), ::testing::HasSubstr("9999"));
  EXPECT_THAT(problem([](S& s) { s.firmware.number4 = 100; }), ::testing::HasSubstr("99"));
  EXPECT_THAT(problem([](S& s) {
                s.model = 8;
                s.firmware.hardwareIdForm = HardwareIdForm::kAsciiHex;
              }),
              ::testing::HasSubstr("binary"));
}

}  // namespace
}  // namespace simulator::test
