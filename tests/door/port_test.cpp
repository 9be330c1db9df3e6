// The port's own business: time-outs, partial writes, failed transfers; and the status exchange that rides on it.
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class PortTimeouts : public DoorTest {
 protected:
  static ByteString OpenLengthHeader() { return Joined({JobStart(), Bytes("1B 4C FF FF")}); }

  // Two labels of the given heights on one line of 8 dots; time-outs are adjusted when the second is out.
  void PrintTwo(const ByteString& header, std::uint32_t lines) {
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    port.timeouts.clear();
    Write(Joined({header, LabelIndex(1), Raster(lines, 8), Bytes("1B 47"), Label(2), Label(3)}));
  }
};

TEST_F(PortTimeouts, LongLabelOfOpenLengthGetsItsTimeAndTheNextOneBringsItBack) {
  PrintTwo(OpenLengthHeader(), 14173);
  ASSERT_THAT(port.timeouts, SizeIs(2));
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutConstant, 32999u);
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutConstant, 32999u);
  EXPECT_EQ(port.timeouts[0].ReadIntervalTimeout, 0u);
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutMultiplier, 1u);
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutMultiplier, 1u);
  EXPECT_EQ(port.timeouts[1].ReadTotalTimeoutConstant, 15000u);
  EXPECT_EQ(port.timeouts[1].WriteTotalTimeoutConstant, 15000u);
  EXPECT_TRUE(host.Logged("Adjusting port timeouts to 32999 / 32999"));
  EXPECT_TRUE(host.Logged("Adjusting port timeouts to 15000 / 15000"));
}

TEST_F(PortTimeouts, LargerOfLabelAndOptionCounts) {
  SetOption(L"PortReadTimeout", 1000);
  SetOption(L"PortWriteTimeout", 40000);
  PrintTwo(OpenLengthHeader(), 1000);
  ASSERT_THAT(port.timeouts, SizeIs(2));
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutConstant, 5116u);
  EXPECT_EQ(port.timeouts[0].WriteTotalTimeoutConstant, 40000u);
}

TEST_F(PortTimeouts, LabelsOfAFixedLengthChangeNothing) {
  PrintTwo(Joined({JobStart(), Bytes("1B 4C FE FF")}), 14173);
  EXPECT_THAT(port.timeouts, IsEmpty());
}

TEST_F(PortTimeouts, LastLabelThatGoesAgainGetsItsTimeToo) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  port.timeouts.clear();
  NextStatus({}).NextStatusFails();
  Write(Joined({OpenLengthHeader(), LabelIndex(1), Raster(14173, 8), Bytes("1B 47"), EndOfJob()}));
  ASSERT_THAT(port.timeouts, SizeIs(1));
  EXPECT_EQ(port.timeouts[0].ReadTotalTimeoutConstant, 32999u);
}

TEST_F(PortTimeouts, RefusalIsIgnored) {
  port.failTimeouts = true;
  PrintTwo(OpenLengthHeader(), 14173);
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 2u);
}

TEST_F(PortTimeouts, EmptySlotIsLoggedAllTheSame) {
  MONITOR2 table = port.Table();
  table.pfnSetPortTimeOuts = nullptr;
  key = Open(L"USB001", &table);
  ASSERT_EQ(Start(key), TRUE);
  Write(Joined({OpenLengthHeader(), Label(1), Label(2)}));
  EXPECT_TRUE(host.Logged("Adjusting port timeouts to 15000 / 15000"));
}

class FirmwareRequest : public DoorTest {
 protected:
  // A write that ends without the printer's lock, so that the next one begins with everything a printer is asked when
  // it is found ready.
  void LoseTheLockInAWrite() {
    NextStatus({}).NextStatus({.status = 2}).NextStatus({.status = 2, .err = 0x1000});
    NextStatus({.status = 2, .err = 0x1000}).NextStatus({.status = 2}).NextStatus({.status = 2});
    EXPECT_EQ(Write(Joined({JobStart(), Label(1), Label(2)})), FALSE);
  }
};

TEST_F(FirmwareRequest, GoesOutByteByByteWhereThePortTakesNoMore) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  port.LimitWrite(1, 2);
  Write(JobStart());
  EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B", "56"));
}

TEST_F(FirmwareRequest, PortThatTakesNothingEndsIt) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  port.LimitWrite(0, 2);
  EXPECT_EQ(Write(JobStart()), TRUE);
  EXPECT_TRUE(host.Logged("SendAll failed: written=0"));
  EXPECT_EQ(CountOf("read 34"), 0u);
}

TEST_F(FirmwareRequest, FailureInItsMiddleIsTwoLines) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  port.LimitWrite(1, 2);
  port.FailWrite(3);
  EXPECT_EQ(Write(JobStart()), TRUE);
  const auto texts = host.LogTexts();
  const auto first = std::find(texts.begin(), texts.end(), "WritePort failed. written=0; err=31");
  ASSERT_NE(first, texts.end());
  EXPECT_EQ(*(first + 1), "SendAll failed: written=1");
}

TEST_F(FirmwareRequest, SilentPrinterChangesNothing) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  SetFirmware(ByteString(33, '1'));
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 1u);
}

TEST_F(FirmwareRequest, IsMadeOnceAJobWhenItIsAnswered) {
  SetFirmware(Firmware("FWAP", "0002", "0001", "29"));
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  LoseTheLockInAWrite();
  EXPECT_EQ(Write({}), TRUE);
  EXPECT_EQ(CountOf("write 1B 56"), 1u);
}

TEST_F(FirmwareRequest, IsMadeAgainByAJobThatStillKnowsNothing) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  LoseTheLockInAWrite();
  EXPECT_EQ(Write({}), TRUE);
  EXPECT_EQ(CountOf("write 1B 56"), 2u);
}

TEST_F(FirmwareRequest, KnowsTheModelBetterThanTheDriver) {
  UseModel(1);
  SetFirmware(Firmware("FWAP", "0002", "0001", "2B"));
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(Joined({JobStart(), Label(1)})), TRUE);
  EXPECT_TRUE(host.Logged("Overriding printer model based on f/w info: 4"));
  story.clear();
  EXPECT_EQ(Write(EndOfJob()), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read 70", "write 1B 51"));
}

struct HardwareId {
  const char* name;
  ByteString bytes;
  int row;
};

class FirmwareModel : public DoorTest, public ::testing::WithParamInterface<HardwareId> {};

TEST_P(FirmwareModel, IsTakenFromTheHardwareId) {
  ByteString answer = Firmware("FWAP", "0002", "0001", "");
  answer[32] = GetParam().bytes[0];
  answer[33] = GetParam().bytes[1];
  SetFirmware(answer);
  host.jobs[kJobId].driverName = L"some other printer";
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(JobStart());
  const std::string line = "Overriding printer model based on f/w info: " + std::to_string(GetParam().row);
  EXPECT_EQ(host.Logged(line), GetParam().row != 0);
  EXPECT_FALSE(host.Logged("Overriding printer model based on f/w info: 0"));
}

INSTANTIATE_TEST_SUITE_P(
    Port, FirmwareModel,
    ::testing::Values(HardwareId{"Text28", Bytes("32 38"), 1}, HardwareId{"Text29", Bytes("32 39"), 2},
                      HardwareId{"Text2A", Bytes("32 41"), 3}, HardwareId{"Text2a", Bytes("32 61"), 3},
                      HardwareId{"Text2B", Bytes("32 42"), 4}, HardwareId{"Text2C", Bytes("32 43"), 5},
                      HardwareId{"Text2D", Bytes("32 44"), 6}, HardwareId{"Text2E", Bytes("32 45"), 7},
                      HardwareId{"Text2F", Bytes("32 46"), 0}, HardwareId{"TextGG", Bytes("47 47"), 0},
                      HardwareId{"Binary28", Bytes("28 00"), 1}, HardwareId{"Binary2E", Bytes("2E 00"), 7},
                      HardwareId{"Binary100A", Bytes("0A 10"), 8}, HardwareId{"Binary1010", Bytes("10 10"), 9},
                      HardwareId{"Nothing", Bytes("00 00"), 0}),
    [](const auto& id) { return id.param.name; });

TEST_F(FirmwareRequest, IncompleteInformationOverridesNothing) {
  for (const ByteString& answer : {Firmware("XXXX", "0002", "0001", "2B"), Firmware("FWAP", "0000", "0001", "2B"),
                                   Firmware("FWAP", "0002", "0000", "2B"), Firmware("FWAP", "0002", "a001", "2B")}) {
    SetFirmware(answer);
    Print(Document(1));
  }
  EXPECT_FALSE(host.Logged("Overriding printer model based on f/w info: 4"));
}

// --- the record's form is its own affair

class StatusForm : public DoorTest {};

TEST_F(StatusForm, RecordIsReadByItsOwnFirstTwoBytes) {
  // An ESC S record on a desktop model: byte 3 is the status, byte 11 the bay.
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  NextStatusBytes(EscSStatus({.status = 2, .err = 7}));
  Write(Label(2));
  EXPECT_TRUE(host.Logged("Got Status=2, Bay=8, Cutter=0, Err=7"));
  End();
  Close(key);
  // And a plain record on a tape model.
  UseModel(8);
  SetOption(L"PdChunkSize", 0);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  NextStatusBytes(PlainStatus({.status = 1, .bay = 7, .err = 7}));
  Write(Label(2));
  EXPECT_TRUE(host.Logged("Got Status=1, Bay=7, Cutter=0, Err=0"));
}

TEST_F(StatusForm, DualRollAnswerMayHoldAnEscSRecord) {
  UseModel(4);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(Joined({JobStart(), Label(1)}));
  NextStatusBytes(Joined({ByteString(6, 0xAA), EscSStatus({.status = 1, .bay = 6}), ByteString(32, 0xEE)}));
  EXPECT_EQ(Write(Label(2)), TRUE);
  EXPECT_TRUE(host.Logged("Got Status=1, Bay=6, Cutter=0, Err=0"));
}

TEST_F(StatusForm, DualRollAnswerOfSixtyNineBytesIsNone) {
  UseModel(4);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  ByteString answer = DualRollStatus();
  answer.pop_back();
  NextStatusBytes(answer);
  EXPECT_EQ(Write(JobStart()), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read 69", "write 1B 41 00", "read 70", "write 1B 56", "read 34"));
}

TEST_F(StatusForm, LateRestOfAnAnswerIsNeverFetched) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatusBytes(ByteString(31, 0));
  EXPECT_EQ(Write(JobStart()), TRUE);
  EXPECT_THAT(Wire(), ElementsAre("write 1B 41 00", "read 31", "write 1B 41 00", "read 32", "write 1B 56", "read 34"));
}

TEST_F(StatusForm, RequestsAreLogged) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Write(JobStart());
  EXPECT_TRUE(host.Logged("Sending ESCA0 request"));
  EXPECT_TRUE(host.Logged("Receiving ESCA0 response"));
}

// --- the job as the spooler knows it

class DriverName : public DoorTest {
 protected:
  // Rows 4 and 6 read 70 bytes, rows 8 and 9 take the tape path, row 1 asks for the lock, 5 and 7 compress: what is
  // left is an unknown printer or rows 2 and 3.
  void ExpectUnknownPrinter() {
    Print(Document(1));
    EXPECT_THAT(Writes(), ElementsAre("1B 41 00", "1B 56", "1B 73 01 00 00 00", Hex(Label(1)), "1B 41 00", "1B 51"));
  }
};

TEST_F(DriverName, DifferingInCaseIsUnknown) {
  host.jobs[kJobId].driverName = L"KOVA SCRIVELO 310 PLUS";
  ExpectUnknownPrinter();
}

TEST_F(DriverName, WithATrailingBlankIsUnknown) {
  host.jobs[kJobId].driverName = L"KOVA Scrivelo 310 Plus ";
  ExpectUnknownPrinter();
}

TEST_F(DriverName, WithACopyNumberIsUnknown) {
  host.jobs[kJobId].driverName = L"KOVA Ribbonet Office 410 (2)";
  ExpectUnknownPrinter();
}

TEST_F(DriverName, EmptyIsUnknownAndNoFailure) {
  host.jobs[kJobId].driverName = L"";
  ExpectUnknownPrinter();
}

TEST_F(DriverName, MissingIsUnknownAndNoFailure) {
  host.jobs[kJobId].hasDriverName = false;
  ExpectUnknownPrinter();
}

TEST_F(DriverName, UnknownPrinterIsFedAfterAnError) {
  host.jobs[kJobId].driverName = L"";
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.bay = 2});
  Write(JobStart());
  EXPECT_TRUE(StoryHas("write 1B 47"));
}

class JobInSpooler : public DoorTest {};

TEST_F(JobInSpooler, UnreadableJobPrintsAllTheSame) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  host.failGetJob = true;
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_EQ(Writes().back(), "1B 51");
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 0u);
}

TEST_F(JobInSpooler, RefusedRestartStopsNothing) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Disconnect();
  host.failSetJob = true;
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_TRUE(host.Logged("SetJob(4) failed: 87"));
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(host.sleeps.back(), 2000u);
}

TEST_F(JobInSpooler, AcknowledgedLabelWipesAnOldText) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  host.jobs[kJobId].text = L"left over";
  Write(Document(1));
  EXPECT_EQ(host.jobs[kJobId].text, L"");
}

}  // namespace
}  // namespace sc3xxmon::test
