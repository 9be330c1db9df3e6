#include <lz4.h>

#include <algorithm>
#include <array>

#include "engine/label_sending_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::uint32_t Little32(const ByteString& bytes, std::size_t at) {
  return bytes[at] | (std::uint32_t{bytes[at + 1]} << 8) | (std::uint32_t{bytes[at + 2]} << 16) |
         (std::uint32_t{bytes[at + 3]} << 24);
}

ByteString Part(const ByteString& bytes, std::size_t from, std::size_t size) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

ByteString Decompressed(const ByteString& block, std::size_t size) {
  ByteString raster(size + 64);
  const int length =
      LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()), reinterpret_cast<char*>(raster.data()),
                          static_cast<int>(block.size()), static_cast<int>(raster.size()));
  raster.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return raster;
}

class LabelSendingTest : public LabelSendingFixture {
 protected:
  void FirmwareIs(std::uint16_t type, std::uint16_t number1, std::uint16_t number2) {
    FwInfo info;
    info.FwType = type;
    info.FwNumber1 = number1;
    info.FwNumber2 = number2;
    job->SetFwInfo(info);
  }
  // The label went out with an ESC Z in the place of its ESC D.
  bool WentOutCompressed() const { return port.writes.back()[5] == 'Z'; }
};

// ------------------------------------------------------------------------------------------------------ the header

TEST_F(LabelSendingTest, TheHeaderGoesOutAsItCame) {
  const ByteString header = Joined({JobStart(), Bytes("1B 71 31 1B 4C FF FF")});
  StartJob(5, Joined({header, LabelIndex(1)}));
  EXPECT_TRUE(SendPrintJobHeader(monitor));
  EXPECT_THAT(port.writes, ElementsAre(header));
  EXPECT_EQ(job->HeaderSent, 1u);
  EXPECT_TRUE(LoggedBy("SendPrintJobHeader", "Sending print job header (13 bytes)"));
}

TEST_F(LabelSendingTest, AHeaderThatIsntCompleteOrIsOutAlreadyIsNothingToDo) {
  StartJob(5, JobStart());
  EXPECT_TRUE(SendPrintJobHeader(monitor));
  EXPECT_EQ(job->HeaderSent, 0u);
  job->ProcessData(LabelIndex(1).data(), LabelIndex(1).size());
  job->HeaderSent = 1;
  EXPECT_TRUE(SendPrintJobHeader(monitor));
  EXPECT_THAT(port.writes, IsEmpty());
}

TEST_F(LabelSendingTest, AHeaderThatFailedIsSentAgainByTheNextCall) {
  StartJob(5, Joined({JobStart(), LabelIndex(1)}));
  port.FailWrite();
  EXPECT_FALSE(SendPrintJobHeader(monitor));
  EXPECT_EQ(job->HeaderSent, 0u);
  EXPECT_TRUE(SendPrintJobHeader(monitor));
  EXPECT_THAT(port.writes, ElementsAre(JobStart()));
}

// --------------------------------------------------------------------------------------------------- SendLabelData

TEST_F(LabelSendingTest, AnEmptySpanIsASuccessWithoutAPortCall) {
  StartJob(5);
  const ByteString some = Bytes("01");
  EXPECT_TRUE(SendLabelData(monitor, {}, "tag"));
  EXPECT_TRUE(SendLabelData(monitor, std::span(some).first(0), "tag"));
  EXPECT_EQ(port.writeCalls, 0u);
}

TEST_F(LabelSendingTest, AShortWriteGoesUnnoticed) {
  StartJob(5);
  port.LimitWrite(1);
  EXPECT_TRUE(SendLabelData(monitor, Bytes("01 02 03"), "tag"));
  EXPECT_EQ(port.writeCalls, 1u);
}

TEST_F(LabelSendingTest, AFailedWriteIsLoggedWithItsTag) {
  StartJob(5);
  port.FailWrite();
  EXPECT_FALSE(SendLabelData(monitor, Bytes("01 02 03"), "SendChunk/PDHdr 1/2"));
  EXPECT_TRUE(LoggedBy("SendLabelData", "Sending label data failed (SendChunk/PDHdr 1/2)"));
}

// ------------------------------------------------------------------------------------------------- labels as they are

TEST_F(LabelSendingTest, ALabelGoesOutInOneWriteAsItStands) {
  JobWith(2, Joined({Label(7), LabelIndex(8)}));
  EXPECT_TRUE(SendNext());
  EXPECT_THAT(port.writes, ElementsAre(Label(7)));
  EXPECT_TRUE(job->Labels.front().Sent());
  EXPECT_TRUE(LoggedBy("SendLabel", "Sending label #1; index=7, size=26"));
}

TEST_F(LabelSendingTest, APlainLabelIsSentFromItsOwnBytes) {
  JobWith(2, LabelOfLines(1, 5));
  WatchPlaces();
  SendNext();
  EXPECT_THAT(places, ElementsAre(0));
}

TEST_F(LabelSendingTest, TheLogCountsALabelsPlaceInTheJob) {
  JobWith(2, Joined({Label(10), Label(11), Label(12)}));
  SendNext();
  SendNext();
  job->AckFirstLabel();
  SendNext();
  EXPECT_TRUE(host.Logged("Sending label #2; index=11, size=26"));
  EXPECT_TRUE(host.Logged("Sending label #3; index=12, size=26")) << "one acknowledged, one on its way";
}

TEST_F(LabelSendingTest, ANullLabelIsAProgrammingErrorThatIsLogged) {
  StartJob(2);
  EXPECT_FALSE(SendLabel(monitor, nullptr));
  EXPECT_TRUE(LoggedBy("SendLabel", "Logic voilation: label is null"));
  EXPECT_FALSE(SendLabelChunked(monitor, nullptr, 200));
  EXPECT_TRUE(LoggedBy("SendLabelChunked", "Logic voilation: label is null"));
  EXPECT_THAT(story, IsEmpty());
}

TEST_F(LabelSendingTest, ALabelThatFailedIsNotSentAndCountsNoRetry) {
  JobWith(2, Label(1));
  port.FailWrite();
  EXPECT_EQ(CommFailureOf([this] { SendNext(); }), "SendLabel failed");
  EXPECT_TRUE(host.Logged("Sending label data failed (SendLabel/full)"));
  EXPECT_FALSE(job->Labels.front().Sent());
  job->RevertSentLabels();
  EXPECT_EQ(job->Labels.front().Retries, 0u);
}

TEST_F(LabelSendingTest, WithoutSendIphsTheInterPageHeaderNeverReachesThePort) {
  const ByteString interPageHeader = Bytes("1B 4C 10 00 1B 4C 20 00 1B 48 01 02");
  for (const std::uint32_t model : {2u, 5u, 8u}) {
    for (const std::uint32_t sendIphs : {0u, 1u}) {
      SetOption(L"SendIPHs", sendIphs);
      SetOption(L"LabelCompressMode", 0);
      JobWith(model, Joined({Label(1), interPageHeader, Label(2)}));
      ASSERT_EQ(job->Labels.back().IphLength, 12u);
      job->MarkSent(job->Labels.front());
      job->AckFirstLabel();
      if (model == 8) {
        SendNextInChunks(200);
      } else {
        SendNext();
      }
      EXPECT_EQ(port.writes.front(), sendIphs != 0 ? Joined({interPageHeader, Label(2)}) : Label(2)) << model;
      ForgetStory();
    }
  }
}

TEST_F(LabelSendingTest, WithoutSendIphsAChunkedLabelBeginsAtItsIndex) {
  SetOption(L"SendIPHs", 0);
  JobWith(8, Joined({Label(1), Bytes("1B 4C 10 00 1B 4C 20 00 1B 48 01 02"), Label(2, 4)}));
  job->MarkSent(job->Labels.front());
  job->AckFirstLabel();
  SendNextInChunks(2);
  EXPECT_EQ(port.writes.front(), LabelIndex(2));
  EXPECT_TRUE(host.Logged("Sending chunked label #2; index=2, size=26, chunks=2"));
}

TEST_F(LabelSendingTest, WithoutSendIphsACompressedLabelBeginsAtItsIndex) {
  SetOption(L"SendIPHs", 0);
  JobWith(5, Joined({Label(1), Bytes("1B 4C 10 00"), LabelOfLines(2, 40)}));
  job->MarkSent(job->Labels.front());
  job->AckFirstLabel();
  SendNext();
  EXPECT_TRUE(WentOutCompressed());
  EXPECT_EQ(Part(port.writes.back(), 0, 4), LabelIndex(2));
}

// ----------------------------------------------------------------------------------------------------- compression

TEST_F(LabelSendingTest, WhoCompressesIsDecidedByModelFirmwareOptionAndConnection) {
  struct Row {
    std::uint32_t model;
    std::uint16_t fwType, fwNumber1, fwNumber2;
    std::uint32_t option;
    std::uint32_t isUsb;
    bool compressed;
    const char* why;
  };
  constexpr Row kRows[] = {
      {5, 0, 0, 0, 3, 1, true, "models 4 to 7 need no firmware information"},
      {4, 0, 0, 0, 3, 1, true, "models 4 to 7 need no firmware information"},
      {6, 0, 0, 0, 3, 1, true, "models 4 to 7 need no firmware information"},
      {7, 0, 0, 0, 3, 1, true, "models 4 to 7 need no firmware information"},
      {5, 1, 1, 1, 3, 1, true, "nor a late firmware"},
      {1, 0, 0, 0, 3, 1, false, "model 1 without firmware information"},
      {1, 2, 1, 1001, 3, 1, true, "model 1 with a firmware that can"},
      {2, 2, 1, 1000, 3, 1, false, "exactly 1000 can't"},
      {2, 2, 1, 1001, 3, 1, true, "1001 can"},
      {3, 1, 1, 65535, 3, 1, true, "the type may be either"},
      {3, 0, 1, 2000, 3, 1, false, "no type"},
      {3, 2, 0, 2000, 3, 1, false, "no first number"},
      {0, 2, 1, 2000, 3, 1, false, "an unknown model"},
      {8, 2, 1, 2000, 3, 1, false, "a tape model"},
      {9, 2, 1, 2000, 3, 1, false, "a tape model"},
      {10, 2, 1, 2000, 3, 1, false, "no model at all"},
      {5, 0, 0, 0, 0, 1, false, "option 0: nowhere"},
      {5, 0, 0, 0, 0, 0, false, "option 0: nowhere"},
      {5, 0, 0, 0, 1, 1, true, "option 1: on USB"},
      {5, 0, 0, 0, 1, 0, false, "option 1: not on LAN"},
      {5, 0, 0, 0, 2, 1, false, "option 2: not on USB"},
      {5, 0, 0, 0, 2, 0, true, "option 2: on LAN"},
      {5, 0, 0, 0, 3, 0, true, "option 3: on LAN too"},
      {5, 0, 0, 0, 4, 1, false, "other bits mean nothing"},
      {2, 2, 1, 1001, 2, 1, false, "the option holds for the older models as well"},
  };
  for (const Row& row : kRows) {
    SetOption(L"LabelCompressMode", row.option);
    monitor.isUsb = row.isUsb;
    JobWith(row.model, LabelOfLines(1, 40));
    FirmwareIs(row.fwType, row.fwNumber1, row.fwNumber2);
    SendNext();
    EXPECT_EQ(WentOutCompressed(), row.compressed) << "model " << row.model << ": " << row.why;
    if (!row.compressed) {
      EXPECT_EQ(port.writes.back(), LabelOfLines(1, 40)) << row.why;
    }
  }
}

TEST_F(LabelSendingTest, ACompressedLabelHasItsRasterReplacedAndNothingElse) {
  const ByteString before = Joined({LabelIndex(3), Bytes("1B 43 05")});
  const ByteString behind = Bytes("1B 54 07 1B 70 01");
  JobWith(5, Joined({before, RasterOfLines(40), behind}));
  SendNext();

  ASSERT_THAT(port.writes, SizeIs(1)) << "one buffer, one write";
  const ByteString& wire = port.writes.front();
  const std::size_t blockSize = Little32(wire, before.size() + 3);
  ASSERT_EQ(wire.size(), before.size() + 17 + blockSize + behind.size());
  EXPECT_EQ(Part(wire, 0, before.size()), before);
  EXPECT_EQ(Part(wire, before.size(), 3), Bytes("1B 5A 03"));
  EXPECT_EQ(Part(wire, before.size() + 7, 10), Bytes("02 5A 28 00 00 00 10 00 00 00")) << "the descriptor, copied";
  EXPECT_EQ(Decompressed(Part(wire, before.size() + 17, blockSize), 160), ByteString(160, 0x77));
  EXPECT_EQ(Part(wire, wire.size() - behind.size(), behind.size()), behind);

  EXPECT_TRUE(LoggedBy("SendLabel", "Compressing label from 160 to " + std::to_string(blockSize) + " bytes"));
  EXPECT_TRUE(LoggedBy("SendLabel", "Sending label #1; index=3, size=" + std::to_string(wire.size())));
}

TEST_F(LabelSendingTest, ARasterThatGrowsIsSentCompressedAllTheSame) {
  JobWith(5, Joined({LabelIndex(1), Raster(4, 16), kFeed}));  // eight bytes that all differ
  SendNext();
  ASSERT_TRUE(WentOutCompressed());
  const ByteString& wire = port.writes.back();
  EXPECT_GT(Little32(wire, 7), 8u);
  EXPECT_EQ(Decompressed(Part(wire, 21, Little32(wire, 7)), 8), Bytes("01 02 03 04 05 06 07 08"));
}

TEST_F(LabelSendingTest, ALabelThatGoesOutAgainIsCompressedAgainFromItsOwnBytes) {
  JobWith(5, LabelOfLines(1, 40));
  SendNext();
  job->RevertSentLabels();
  SendNext();
  ASSERT_THAT(port.writes, SizeIs(2));
  EXPECT_EQ(port.writes[0], port.writes[1]);
  EXPECT_EQ(job->Labels.front().Data, LabelOfLines(1, 40)) << "the label stays as it was parsed";
  EXPECT_EQ(job->Labels.front().CompressedSize, 0u);
}

TEST_F(LabelSendingTest, ALabelThatCameCompressedIsSentAsItStands) {
  // Its two lines are fewer bytes than the block, so that it could pass for a raster to be compressed.
  const ByteString label =
      Joined({LabelIndex(1), Bytes("1B 5A 03 04 00 00 00 01 00 02 00 00 00 08 00 00 00 AA BB CC DD"), kFeed});
  JobWith(5, label);
  SendNext();
  EXPECT_THAT(port.writes, ElementsAre(label));
}

TEST_F(LabelSendingTest, ACompressedRasterOfSizeZeroIsCompressedIfEnoughBytesFollow) {
  // The two bytes behind the head pass for the raster that the descriptor promises.
  JobWith(5,
          Joined({LabelIndex(1), Bytes("1B 5A 03 00 00 00 00 01 00 02 00 00 00 08 00 00 00"), Bytes("1B 55"), kFeed}));
  ASSERT_EQ(job->Labels.front().CompressedSize, 0u);
  SendNext();
  const ByteString& wire = port.writes.front();
  ASSERT_TRUE(WentOutCompressed());
  const std::size_t blockSize = Little32(wire, 7);
  ASSERT_EQ(wire.size(), 4 + 17 + blockSize + 2);
  EXPECT_EQ(Decompressed(Part(wire, 21, blockSize), 2), Bytes("1B 55"));
  EXPECT_EQ(Part(wire, wire.size() - 2, 2), kFeed);
}

TEST_F(LabelSendingTest, ACompressedRasterOfSizeZeroWithTooFewBytesBehindItIsSentAsItStands) {
  const ByteString label = Joined({LabelIndex(1), Bytes("1B 5A 03 00 00 00 00 01 00 03 00 00 00 08 00 00 00"), kFeed});
  JobWith(5, label);
  SendNext();
  EXPECT_THAT(port.writes, ElementsAre(label));
}

TEST_F(LabelSendingTest, OfTwoRastersTheLastIsCompressedAndTheFirstStaysInFrontOfIt) {
  const ByteString before = Joined({LabelIndex(1), Raster(2, 8)});
  JobWith(5, Joined({before, RasterOfLines(40), kFeed}));
  SendNext();
  const ByteString& wire = port.writes.front();
  EXPECT_EQ(Part(wire, 0, before.size()), before);
  EXPECT_EQ(Part(wire, before.size(), 2), Bytes("1B 5A"));
}

TEST_F(LabelSendingTest, OfTwoRastersBothAreSentWhereNothingIsCompressed) {
  const ByteString label = Joined({LabelIndex(1), Raster(2, 8), RasterOfLines(4), kFeed});
  JobWith(2, label);
  SendNext();
  EXPECT_THAT(port.writes, ElementsAre(label));
}

TEST_F(LabelSendingTest, AKeptLabelWithoutARasterIsNeverCompressed) {
  SetOption(L"PrintEmptyLabel", 1);
  for (const ByteString& label : {Joined({LabelIndex(1), kFeed}), Joined({LabelIndex(1), Raster(0, 16), kFeed})}) {
    JobWith(5, label);
    ASSERT_THAT(job->Labels, SizeIs(1));
    SendNext();
    EXPECT_EQ(port.writes.back(), label);
  }
}

}  // namespace
}  // namespace sc3xxmon::test
