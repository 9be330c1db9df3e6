// The wire forms of a label: as it came, with its raster compressed, in chunks of lines.
#include <lz4.h>

#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;

constexpr std::size_t kCompressedHead = 17;

std::uint32_t Little32(const ByteString& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) {
    value = value << 8 | bytes[at + i];
  }
  return value;
}

class LabelWire : public DoorTest {
 protected:
  void StartOn(std::uint32_t row) {
    UseModel(row);
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  }
  // Prints one document and gives the writes between the header and the last-label step.
  std::vector<ByteString> LabelWrites(std::uint32_t row, const ByteString& label) {
    StartOn(row);
    Write(Joined({JobStart(), Bytes("1B 6E")}));
    port.writes.clear();
    Write(ByteString(label.begin() + 2, label.end()));
    EXPECT_EQ(port.writes.front(), JobStart());
    std::vector<ByteString> writes(port.writes.begin() + 1, port.writes.end());
    Write(EndOfJob());
    End();
    Close(key);
    return writes;
  }
  // Whether a label of 26 bytes leaves with a compressed raster.
  bool IsCompressed(std::uint32_t row) {
    const auto writes = LabelWrites(row, Label(1));
    EXPECT_EQ(writes.size(), row >= 8 ? 2u : 1u);
    return writes.front() != Label(1);
  }
};

// --- compression

TEST_F(LabelWire, CompressedRasterHasAHeadOfSeventeenBytesAndTheRestAsItCame) {
  const ByteString before = Joined({LabelIndex(1), Bytes("1B 40")});
  const ByteString raster = Raster(64, 128, 1, 2);
  const ByteString after = Bytes("1B 2A 1B 70 31");
  const auto writes = LabelWrites(5, Joined({before, raster, after}));
  ASSERT_EQ(writes.size(), 1u);
  const ByteString& wire = writes[0];
  ASSERT_GT(wire.size(), before.size() + kCompressedHead + after.size());
  EXPECT_TRUE(std::equal(before.begin(), before.end(), wire.begin()));
  EXPECT_TRUE(std::equal(after.rbegin(), after.rend(), wire.rbegin()));

  const ByteString head(wire.begin() + 6, wire.begin() + 6 + kCompressedHead);
  const std::uint32_t size = Little32(head, 3);
  EXPECT_EQ(ByteString(head.begin(), head.begin() + 3), Bytes("1B 5A 03"));
  EXPECT_EQ(ByteString(head.begin() + 7, head.end()), ByteString(raster.begin() + 2, raster.begin() + 12));
  EXPECT_EQ(wire.size(), before.size() + kCompressedHead + size + after.size());

  ByteString dots(raster.size() - 12);
  const int count =
      LZ4_decompress_safe(reinterpret_cast<const char*>(wire.data() + 6 + kCompressedHead),
                          reinterpret_cast<char*>(dots.data()), static_cast<int>(size), static_cast<int>(dots.size()));
  EXPECT_EQ(static_cast<std::size_t>(count), dots.size());
  EXPECT_EQ(dots, ByteString(raster.begin() + 12, raster.end()));
  EXPECT_TRUE(host.Logged("Compressing label from 2048 to " + std::to_string(size) + " bytes"));
  EXPECT_TRUE(host.Logged("Sending label #1; index=1, size=" + std::to_string(wire.size())));
}

TEST_F(LabelWire, CompressionThatMakesItLargerIsSentAllTheSame) {
  const auto writes = LabelWrites(5, Label(1));
  ASSERT_EQ(writes.size(), 1u);
  EXPECT_GT(writes[0].size(), Label(1).size());
}

TEST_F(LabelWire, RowsFourToSevenCompressWithoutAskingTheFirmware) {
  for (std::uint32_t row = 1; row <= 9; ++row) {
    EXPECT_EQ(IsCompressed(row), row >= 4 && row <= 7) << "row " << row;
  }
}

TEST_F(LabelWire, RowsOneToThreeCompressFromFirmwareOneThousandAndOne) {
  for (std::uint32_t row = 1; row <= 3; ++row) {
    SetFirmware(Firmware("FWAP", "0002", "1000", "\0"));
    EXPECT_FALSE(IsCompressed(row)) << "row " << row;
    SetFirmware(Firmware("FWAP", "0002", "1001", "\0"));
    EXPECT_TRUE(IsCompressed(row)) << "row " << row;
    SetFirmware(Firmware("FWBL", "0002", "1001", "\0"));
    EXPECT_TRUE(IsCompressed(row)) << "row " << row;
  }
}

TEST_F(LabelWire, RowsOneToThreeNeedFirmwareInformationThatIsWhole) {
  SetFirmware(Firmware("XXXX", "0002", "1042", "\0"));
  EXPECT_FALSE(IsCompressed(2));
  SetFirmware(Firmware("FWAP", "0000", "1042", "\0"));
  EXPECT_FALSE(IsCompressed(2));
  SetFirmware(Firmware("FWAP", "0002", "x042", "\0"));
  EXPECT_FALSE(IsCompressed(2));
  SetFirmware(ByteString(33, '9'));
  EXPECT_FALSE(IsCompressed(2));
}

TEST_F(LabelWire, RowsEightAndNineNeverCompress) {
  SetFirmware(Firmware("FWAP", "0002", "1042", "\0"));
  SetOption(L"PdChunkSize", 0);
  for (const std::uint32_t row : {8u, 9u}) {
    EXPECT_EQ(LabelWrites(row, Label(1)), std::vector<ByteString>{Label(1)});
  }
}

TEST_F(LabelWire, CompressModeDecidesByConnection) {
  for (const std::uint32_t mode : {0u, 2u, 4u}) {
    SetOption(L"LabelCompressMode", mode);
    EXPECT_FALSE(IsCompressed(5)) << "mode " << mode;
  }
  for (const std::uint32_t mode : {1u, 3u, 5u}) {
    SetOption(L"LabelCompressMode", mode);
    EXPECT_TRUE(IsCompressed(5)) << "mode " << mode;
  }
}

TEST_F(LabelWire, RasterThatCameCompressedIsNotCompressedAgain) {
  const ByteString label = Joined({LabelIndex(1), Bytes("1B 5A 03 05 00 00 00 01 00 04 00 00 00 08 00 00 00"),
                                   Bytes("40 01 02 03 04"), Bytes("1B 47")});
  for (const std::uint32_t row : {5u, 2u, 8u}) {
    EXPECT_EQ(LabelWrites(row, label).front(), label);
  }
}

TEST_F(LabelWire, LabelWithoutARasterIsSentAsItIs) {
  SetOption(L"PrintEmptyLabel", 1);
  const ByteString label = Joined({LabelIndex(1), Bytes("1B 40 1B 47")});
  for (const std::uint32_t row : {5u, 2u}) {
    EXPECT_EQ(LabelWrites(row, label), std::vector<ByteString>{label});
  }
  EXPECT_EQ(LabelWrites(8, label), (std::vector<ByteString>{label, Bytes("1B 41 02")}));
}

TEST_F(LabelWire, RevertedLabelIsCompressedAgainToTheSameBytes) {
  StartOn(5);
  Write(Joined({JobStart(), Label(1)}));
  const ByteString first = port.writes.back();
  port.writes.clear();
  NextStatusFails();
  Write(EndOfJob());
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 41 00", Hex(first), "1B 41 00", "1B 51"));
}

// --- between-labels commands

TEST_F(LabelWire, BetweenLabelsCommandsAreLeftOutWhenTheOptionIsOff) {
  SetOption(L"SendIPHs", 0);
  SetOption(L"LabelCompressMode", 0);
  const ByteString between = Bytes("1B 4C 10 00  1B 74 01 02 03 04  1B 68");
  for (const std::uint32_t row : {2u, 5u, 8u}) {
    StartOn(row);
    Write(Joined({JobStart(), Label(1)}));
    port.writes.clear();
    Write(Joined({between, Label(2)}));
    EXPECT_TRUE(port.HasWrite(Label(2))) << "row " << row;
    End();
    Close(key);
  }
}

TEST_F(LabelWire, BetweenLabelsCommandsAreLeftOutInFrontOfACompressedRasterAndOfChunks) {
  SetOption(L"SendIPHs", 0);
  SetOption(L"PdChunkSize", 3);
  const ByteString between = Bytes("1B 4C 10 00");
  for (const std::uint32_t row : {5u, 8u}) {
    StartOn(row);
    Write(Joined({JobStart(), Label(1)}));
    port.writes.clear();
    Write(Joined({between, Label(2)}));
    const ByteString& first = port.writes[row == 5 ? 1 : 0];
    EXPECT_EQ(ByteString(first.begin(), first.begin() + 4), LabelIndex(2)) << "row " << row;
    End();
    Close(key);
  }
}

// --- chunks

TEST_F(LabelWire, ThreeChunks) {
  SetOption(L"PdChunkSize", 2);
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Bytes("1B 6E")}));
  story.clear();
  port.writes.clear();
  const ByteString label = Joined({LabelIndex(1), Raster(5, 16), Bytes("1B 47")});
  Write(ByteString(label.begin() + 2, label.end()));
  EXPECT_THAT(Wire(), ElementsAre("write 1B 73 01 00 00 00",                                     //
                                  "write 1B 6E 01 00",                                           // head part
                                  "write 1B 44 01 00 02 00 00 00 .. (12)", "write 01 02 03 04",  // chunk 1
                                  "write 1B 41 02",                                              //
                                  "write 1B 44 01 00 02 00 00 00 .. (12)", "write 05 06 07 08",  // chunk 2
                                  "read 32", "write 1B 41 02",                                   // of chunk 1
                                  "write 1B 44 01 00 01 00 00 00 .. (12)", "write 09 0A",        // chunk 3
                                  "read 32", "write 1B 41 02",                                   // of chunk 2
                                  "write 1B 47",                                                 // tail part
                                  "read 32"));                                                   // of chunk 3
  EXPECT_EQ(port.writes[2], Bytes("1B 44 01 00 02 00 00 00 10 00 00 00"));
  EXPECT_TRUE(host.Logged("Sending chunked label #1; index=1, size=28, chunks=3"));
  EXPECT_TRUE(host.Logged("Sending chunk 1 of 3 (2 lines, 4 bytes)"));
  EXPECT_TRUE(host.Logged("Sending chunk 3 of 3 (1 lines, 2 bytes)"));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

TEST_F(LabelWire, ChunkAsHighAsTheLabelIsTheWholeLabelAndOneExchange) {
  SetOption(L"PdChunkSize", 4);
  EXPECT_EQ(LabelWrites(8, Label(1)), (std::vector<ByteString>{Label(1), Bytes("1B 41 02")}));
}

TEST_F(LabelWire, ChunkOneLineShorterThanTheLabelMakesTwo) {
  SetOption(L"PdChunkSize", 3);
  const auto writes = LabelWrites(8, Label(1));
  EXPECT_EQ(writes, (std::vector<ByteString>{LabelIndex(1), Bytes("1B 44 01 00 03 00 00 00 10 00 00 00"),
                                             Bytes("01 02 03 04 05 06"), Bytes("1B 41 02"),
                                             Bytes("1B 44 01 00 01 00 00 00 10 00 00 00"), Bytes("07 08"),
                                             Bytes("1B 41 02"), Bytes("1B 47")}));
}

TEST_F(LabelWire, ChunkHeadsSayOneBitADotWhateverTheLabelSays) {
  SetOption(L"PdChunkSize", 1);
  const auto writes = LabelWrites(9, Joined({LabelIndex(1), Raster(2, 12, 1, 2), Bytes("1B 47")}));
  EXPECT_EQ(writes[1], Bytes("1B 44 01 00 01 00 00 00 0C 00 00 00"));
  EXPECT_EQ(writes[2], Bytes("01 02 03"));
}

TEST_F(LabelWire, EmptyTailSendsNothingAndTheLastStatusIsReadAllTheSame) {
  SetOption(L"PdChunkSize", 3);
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  const ByteString label = Label(1);
  EXPECT_EQ(Write(Joined({JobStart(), ByteString(label.begin(), label.end() - 2), EndOfJob()})), TRUE);
  const auto wire = Wire();
  ASSERT_GE(wire.size(), 3u);
  EXPECT_EQ(std::vector<std::string>(wire.end() - 3, wire.end()),
            (std::vector<std::string>{"write 1B 41 02", "read 32", "write 1B 51"}));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

TEST_F(LabelWire, TapeModelWithoutChunksTakesTheDesktopsWay) {
  SetOption(L"PdChunkSize", 0);
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Document(2));
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read 32", "write 1B 56", "read 34", "write 1B 73 01 00 00 00",
                                  Wrote(Label(1)), "write 1B 41 02", Wrote(Label(2)), "read 32",  //
                                  "write 1B 41 00", "read 32", "write 1B 51"));
}

TEST_F(LabelWire, DeletionBeforeTheSecondChunkSendsNoMore) {
  SetOption(L"PdChunkSize", 2);
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Bytes("1B 6E")}));
  port.writes.clear();
  const std::size_t before = host.statusQueries;
  host.onStatusQuery = [this, before](std::size_t query) {
    if (query == before + 2) {
      host.jobs[kJobId].status = JOB_STATUS_DELETING;
    }
  };
  const ByteString label = Label(1);
  EXPECT_EQ(Write(ByteString(label.begin() + 2, label.end())), FALSE);
  EXPECT_THAT(Writes(), ElementsAre("1B 73 01 00 00 00", "1B 6E 01 00", "1B 44 01 00 02 00 00 00 10 00 00 00",
                                    "01 02 03 04", "1B 41 02", "1B 51"));
  EXPECT_TRUE(host.Logged("Print job aborted by the spooler"));
}

TEST_F(LabelWire, WholeLabelOnTapeMakesNoDeletionCheck) {
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Bytes("1B 6E")}));
  port.writes.clear();
  host.jobs[kJobId].status = JOB_STATUS_DELETING;
  const ByteString label = Label(1);
  EXPECT_EQ(Write(ByteString(label.begin() + 2, label.end())), TRUE);
  EXPECT_THAT(Writes(), ElementsAre("1B 73 01 00 00 00", Hex(label), "1B 41 02"));
}

struct ChunkFailure {
  std::size_t write;  // counted from the label's first
  const char* tag;    // empty: a request
  const char* failure;
};

class FailingChunk : public DoorTest, public ::testing::WithParamInterface<ChunkFailure> {};

TEST_P(FailingChunk, SendsTheLabelAgainFromItsFirstByte) {
  SetOption(L"PdChunkSize", 3);
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  port.writes.clear();
  port.FailWrite(GetParam().write);
  EXPECT_EQ(Write(Label(2)), TRUE);
  if (*GetParam().tag != '\0') {
    EXPECT_TRUE(host.Logged(std::string("Sending label data failed (") + GetParam().tag + ")"));
  }
  EXPECT_TRUE(host.Logged(GetParam().failure));
  const std::vector<std::string> all = Writes();
  ASSERT_GE(all.size(), 8u);
  EXPECT_EQ(
      std::vector<std::string>(all.end() - 8, all.end()),
      (std::vector<std::string>{"1B 6E 02 00", "1B 44 01 00 03 00 00 00 10 00 00 00", "02 03 04 05 06 07", "1B 41 02",
                                "1B 44 01 00 01 00 00 00 10 00 00 00", "08 09", "1B 41 02", "1B 47"}));
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 2u);
}

INSTANTIATE_TEST_SUITE_P(LabelWire, FailingChunk,
                         ::testing::Values(ChunkFailure{1, "SendChunk/headers", "SendChunk/headers failed"},
                                           ChunkFailure{2, "SendChunk/PDHdr 1/2", "SendChunk/PDHdr failed"},
                                           ChunkFailure{3, "SendChunk/PDData 1/2", "SendChunk/PDData failed"},
                                           ChunkFailure{4, "", "SendChunk/status send failed"},
                                           ChunkFailure{5, "SendChunk/PDHdr 2/2", "SendChunk/PDHdr failed"},
                                           ChunkFailure{6, "SendChunk/PDData 2/2", "SendChunk/PDData failed"},
                                           ChunkFailure{7, "", "SendChunk/status send failed"},
                                           ChunkFailure{8, "SendChunk/footer", "SendChunk/footer failed"}),
                         [](const auto& chunk) { return "Write" + std::to_string(chunk.param.write); });

// --- what nobody looks at

TEST_F(LabelWire, ShortWriteOfALabelGoesUnnoticed) {
  StartOn(2);
  Write(Joined({JobStart(), Bytes("1B 6E")}));
  port.LimitWrite(5, 2);
  const ByteString label = Label(1);
  EXPECT_EQ(Write(ByteString(label.begin() + 2, label.end())), TRUE);
  EXPECT_EQ(port.writes.back().size(), 5u);
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

}  // namespace
}  // namespace sc3xxmon::test
