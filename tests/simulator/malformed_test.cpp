// Input that is no job: recorded, survived, and never answered with absurd memory or time.
#include <algorithm>
#include <chrono>
#include <random>

#include "printer_desk.h"
#include "simulator/kpl_reader.h"

namespace simulator::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class MalformedTest : public PrinterDesk {};

TEST_F(MalformedTest, SaysAtWhichByteAndWhy) {
  Send(JobStart() + Bytes{'h', 'e', 'l', 'l', 'o'} + Label(1));
  ASSERT_THAT(Printer().Malformed(), SizeIs(1));
  EXPECT_EQ(Printer().Malformed()[0].offset, 6u);
  EXPECT_THAT(Printer().Malformed()[0].reason, HasSubstr("0x68"));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(MalformedTest, SkipsAnUnknownLetterAndGoesOn) {
  Send(Bytes{0x1B, 'S', 1, 2, 3} + JobStart() + Label(1));
  ASSERT_THAT(Printer().Malformed(), SizeIs(1));
  EXPECT_EQ(Printer().Malformed()[0].offset, 0u);
  EXPECT_THAT(Printer().Malformed()[0].reason, HasSubstr("0x53"));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(MalformedTest, UnderstandsACommandBehindALoneEscape) {
  Send(Bytes{0x1B} + Ask(0));
  EXPECT_THAT(Statuses(), ElementsAre(0));
  EXPECT_THAT(Printer().Malformed(), SizeIs(1));
}

TEST_F(MalformedTest, RefusesARasterBeyondTheLimitWithoutWaitingForIt) {
  Bytes absurd{0x1B, 'D', 255, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  Send(JobStart() + Index(1) + absurd + ShortFormFeed() + Label(2));
  EXPECT_EQ(Printer().Counts().malformed, 1u);
  EXPECT_THAT(PrintedIndexes(), ::testing::Contains(2));
}

TEST_F(MalformedTest, RefusesACompressedRasterThatPromisesTooMuch) {
  Bytes bomb{0x1B, 'Z', 3, 4, 0, 0, 0, 1, 0, 0, 0, 0, 2, 0, 1, 0, 0, 1, 2, 3, 4};
  Send(JobStart() + Index(1) + bomb + ShortFormFeed() + Label(2));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kMalformed));
}

TEST_F(MalformedTest, DropsALabelWhoseCompressionIsBroken) {
  Bytes head = CompressedRaster(50, 64, RasterBytes(50, 64, 1));
  head[9] = 51;  // one line more than the block holds
  Send(JobStart() + Index(1) + head + ShortFormFeed() + Label(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(2));
  ASSERT_THAT(Printer().Malformed(), SizeIs(1));
  EXPECT_THAT(Printer().Malformed()[0].reason, HasSubstr("51 lines of 64 dots"));
}

TEST_F(MalformedTest, DropsALabelBeyondItsLimit) {
  settings.maxLabelBytes = 1000;
  Send(JobStart() + Index(1) + Raster(100, 64, RasterBytes(100, 64, 1)) + Raster(100, 64, RasterBytes(100, 64, 1)) +
       ShortFormFeed() + Label(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kMalformed));
}

TEST_F(MalformedTest, CountsOffARasterBeyondTheLimitAndTakesNothingInItForACommand) {
  settings.maxLabelBytes = 1000;
  Bytes raster = RasterBytes(500, 64, 1);
  const Bytes inside = Ask(0) + Label(77);
  std::copy(inside.begin(), inside.end(), raster.begin() + 100);
  Send(JobStart() + Index(1) + Raster(500, 64, raster) + ShortFormFeed() + Label(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kMalformed));
  EXPECT_EQ(Printer().Counts().malformed, 1u);
  EXPECT_THAT(Receive(), IsEmpty());
}

TEST_F(MalformedTest, NotesARasterOutsideALabel) {
  Send(JobStart() + Raster(1, 8, {1}) + Label(1));
  EXPECT_THAT(Printer().Malformed(), SizeIs(1));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(MalformedTest, IsUnderstoodAgainAfterACommandThatStopsInItsMiddle) {
  Bytes cut = Label(2);
  cut.resize(cut.size() / 2);
  Send(JobStart() + Label(1) + cut);
  Send(Ask(0));  // swallowed by the raster
  EXPECT_THAT(Receive(), IsEmpty());
  EXPECT_EQ(Printer().NextEvent(), 1000u);
  Pass(1000);
  EXPECT_EQ(StatusAfter(0), 2) << "it tells once that something was lost";
  EXPECT_EQ(StatusAfter(0), 0);
  Send(Label(2) + EndOfJob());
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
  EXPECT_THAT(DropReasons(), ElementsAre(DropReason::kCutShort));
}

TEST_F(MalformedTest, WaitsForEverWhenTheSettingsSaySo) {
  settings.incompleteCommandTimeoutMs = 0;
  Bytes whole = Label(1);
  Send(JobStart() + Bytes(whole.begin(), whole.begin() + 20));
  Pass(3600000);
  Send(Bytes(whole.begin() + 20, whole.end()));
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
}

TEST_F(MalformedTest, DoesntCountTheSilenceOfAHostThatItKeepsWaiting) {
  settings.millimetresPerSecond = 25.4;
  settings.receiveBufferBytes = 500;
  Send(JobStart() + Label(1, 3000));
  const Bytes second = Label(2, 300);
  std::size_t sent = Printer().Write(Host(), second, now);
  ASSERT_LT(sent, second.size());
  EXPECT_EQ(Printer().Write(Host(), std::span(second).subspan(sent), now), 0u);
  Pass(10000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1));
  sent += Printer().Write(Host(), std::span(second).subspan(sent), now);
  EXPECT_EQ(sent, second.size());
  Pass(1000);
  EXPECT_THAT(PrintedIndexes(), ElementsAre(1, 2));
}

TEST_F(MalformedTest, TakesNothingFromAClientThatIsUnknown) {
  EXPECT_EQ(Printer().Write(77, Ask(0), now), 0u);
  EXPECT_EQ(Printer().Readable(77, now), 0u);
  EXPECT_TRUE(Printer().BeginTransfer(77, TransferDirection::kWrite, now).fails);
  Printer().Disconnect(77, now);
}

TEST_F(MalformedTest, KeepsACapOnWhatItRemembersOfGarbage) {
  Bytes garbage;
  for (int count = 0; count < 3000; ++count) garbage = std::move(garbage) + Bytes{'x', 0x1B, '@'};
  Send(garbage);
  EXPECT_EQ(Printer().Counts().malformed, 3000u);
  EXPECT_THAT(Printer().Malformed(), SizeIs(1000));
}

// Jobs with all kinds of labels, cut at random places: the printer must not care.
Bytes RandomJob(std::mt19937& random) {
  const auto upTo = [&](std::uint32_t most) { return static_cast<std::uint32_t>(random() % most); };
  Bytes job = JobStart();
  for (std::uint16_t index = 1; index <= 6; ++index) {
    if (upTo(2) == 0) job = std::move(job) + LabelLength(static_cast<std::uint16_t>(upTo(65536)));
    const std::uint32_t lines = upTo(40);
    const std::uint32_t dots = 1 + upTo(100);
    const Bytes raster = RasterBytes(lines, dots, static_cast<std::uint8_t>(random()));
    const bool compressed = lines > 0 && upTo(2) == 0;
    job = std::move(job) + Index(index) +
          (compressed ? CompressedRaster(lines, dots, raster) : Raster(lines, dots, raster));
    if (upTo(3) != 0) job = std::move(job) + ShortFormFeed();
    if (upTo(3) == 0) job = std::move(job) + Ask(2);
    if (upTo(8) == 0) job = std::move(job) + Bytes{static_cast<std::uint8_t>(random())};
  }
  return std::move(job) + EndOfJob();
}

TEST_F(MalformedTest, GivesTheSameHoweverTheStreamIsCut) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    PrinterSettings given;
    given.model = 1 + static_cast<int>(seed % 9);
    const Bytes job = RandomJob(random);
    VirtualPrinter whole(given);
    VirtualPrinter cut(given);
    const ClientId one = whole.Connect(0);
    const ClientId two = cut.Connect(0);
    ASSERT_EQ(whole.Write(one, job, 0), job.size());
    for (std::size_t at = 0; at < job.size();) {
      const std::size_t size = std::min<std::size_t>(1 + random() % 7, job.size() - at);
      ASSERT_EQ(cut.Write(two, std::span(job).subspan(at, size), 0), size);
      at += size;
    }
    ASSERT_EQ(whole.Printed().size(), cut.Printed().size()) << "seed " << seed;
    for (std::size_t at = 0; at < whole.Printed().size(); ++at) {
      ASSERT_EQ(whole.Printed()[at].raster, cut.Printed()[at].raster) << "seed " << seed;
      ASSERT_EQ(whole.Printed()[at].commands, cut.Printed()[at].commands) << "seed " << seed;
    }
    ASSERT_EQ(whole.Counts().malformed, cut.Counts().malformed) << "seed " << seed;
    ASSERT_EQ(whole.Readable(one, 0), cut.Readable(two, 0)) << "seed " << seed;
  }
}

TEST_F(MalformedTest, SurvivesAnyBytes) {
  constexpr std::string_view kLetters = "#*@ACDEGHLMPQTUVXZbcdeghilmnpqstxS";
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    std::mt19937 random(seed);
    PrinterSettings given;
    given.model = 1 + static_cast<int>(seed % 9);
    given.maxLabelBytes = 4096;
    if (seed % 3 == 0) given.receiveBufferBytes = 200;
    if (seed % 2 == 0) given.millimetresPerSecond = 20;
    if (seed % 5 == 0) given.faults = {FaultOf("bay=2@label:2,for:1s"), FaultOf("cancel@exchange:3")};
    VirtualPrinter printer(given);
    const ClientId clients[] = {printer.Connect(0), printer.Connect(0)};
    std::uint64_t time = 0;
    for (int round = 0; round < 300; ++round) {
      Bytes bytes;
      for (auto count = random() % 40; count > 0; --count) {
        const auto kind = random() % 4;
        if (kind == 0) bytes.push_back(static_cast<std::uint8_t>(random()));
        if (kind == 1) bytes.push_back(static_cast<std::uint8_t>(random() % 3));
        if (kind >= 2) {
          bytes.push_back(0x1B);
          bytes.push_back(static_cast<std::uint8_t>(kLetters[random() % kLetters.size()]));
        }
      }
      printer.Write(clients[random() % 2], bytes, time);
      Bytes answer(random() % 50);
      printer.Read(clients[random() % 2], answer, time);
      time += random() % 700;
    }
    ASSERT_EQ(printer.Counts().labelsLost, 0u) << "seed " << seed;
  }
}

TEST_F(MalformedTest, CostsTheSameForEachByteHoweverThinTheStreamIsCut) {
  settings.transcript = false;
  const Bytes label = Label(1, 20000);
  Send(JobStart());
  const auto took = [&](std::size_t piece) {
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t at = 0; at < label.size(); at += piece) {
      Printer().Write(Host(), std::span(label).subspan(at, std::min(piece, label.size() - at)), now);
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  took(4096);
  // Byte by byte a walk from the front each time would take minutes; the bound is far from both.
  EXPECT_LT(took(1), 5.0);
  EXPECT_THAT(Printer().Printed(), SizeIs(2));
}

class ReaderTest : public ::testing::Test {};

TEST_F(ReaderTest, KnowsTheLengthOfEveryCommand) {
  const std::vector<std::pair<std::string, std::size_t>> lengths{
      {"*@EGPQUVcdeghix", 2}, {"#ACTpq", 3}, {"HLbmn", 4}, {"lst", 6}, {"X", 7}, {"M", 10}, {"D", 12}, {"Z", 17}};
  int letters = 0;
  for (const auto& [group, length] : lengths) {
    for (const char letter : group) {
      ++letters;
      KplReader reader(1000);
      Bytes bytes(length, 0);
      bytes[0] = 0x1B;
      bytes[1] = static_cast<std::uint8_t>(letter);
      std::span<const std::uint8_t> almost(bytes.data(), length - 1);
      EXPECT_EQ(reader.Next(almost), KplReader::Step::kNeedMore) << letter;
      EXPECT_TRUE(reader.Incomplete());
      std::span<const std::uint8_t> last(&bytes[length - 1], 1);
      EXPECT_EQ(reader.Next(last), KplReader::Step::kCommand) << letter;
      EXPECT_EQ(reader.Letter(), letter);
      EXPECT_FALSE(reader.Incomplete());
    }
  }
  EXPECT_EQ(letters, 33);
}

TEST_F(ReaderTest, HasNoOtherLetters) {
  int known = 0;
  for (unsigned letter = 0; letter < 256; ++letter) {
    KplReader reader(1000);
    const Bytes bytes{0x1B, static_cast<std::uint8_t>(letter)};
    std::span<const std::uint8_t> input(bytes);
    if (reader.Next(input) != KplReader::Step::kMalformed) ++known;
  }
  EXPECT_EQ(known, 33);
}

TEST_F(ReaderTest, RoundsALineUpToBytes) {
  KplReader reader(1000);
  const Bytes bytes = Raster(3, 9, {1, 2, 3, 4, 5, 6}) + ShortFormFeed();
  std::span<const std::uint8_t> input(bytes);
  ASSERT_EQ(reader.Next(input), KplReader::Step::kCommand);
  EXPECT_THAT(reader.Body(), ElementsAre(1, 2, 3, 4, 5, 6));
  ASSERT_EQ(reader.Next(input), KplReader::Step::kCommand);
  EXPECT_EQ(reader.Letter(), 'G');
  EXPECT_EQ(reader.Offset(), 18u);
}

}  // namespace
}  // namespace simulator::test
