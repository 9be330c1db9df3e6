// Whole jobs over USB, and what their log tells.
#include "log_stories/story_log.h"
#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::SizeIs;

class LogStory : public DoorTest {
 protected:
  // The monitor is loaded again, now with its log.
  LogStory() {
    StopChannelLog();
    LoadMonitor();
  }

  void SetDebugSetting(const wchar_t* name, std::uint32_t number) {
    host.SetNumber(RecordingHost::kDebug, name, number);
  }
  void ExpectToldAsIn(const std::string& text) { log.ExpectToldAsIn(text, printerName); }

  void PrintOn(std::uint32_t row, const ByteString& stream) {
    UseModel(row);
    Print(stream);
  }

  StoryLog log{host};

 private:
  void StopChannelLog() { host.log.clear(); }
};

TEST_F(LogStory, ReadyJob) {
  PrintOn(2, Document(2));
  ExpectToldAsIn("ready_job");
}

TEST_F(LogStory, JobInSeveralWrites) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  const ByteString stream = Document(3);
  for (const auto& [from, to] : {std::pair<int, int>{0, 3}, {3, 30}, {30, 31}, {31, 74}, {74, 80}}) {
    EXPECT_EQ(Write({stream.begin() + from, stream.begin() + std::min<std::ptrdiff_t>(to, std::ssize(stream))}), TRUE);
  }
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(Close(key), TRUE);
  ExpectToldAsIn("job_in_several_writes");
}

TEST_F(LogStory, PacketTrace) {
  SetDebugSetting(L"TraceDetail", 4);
  LoadMonitor();
  PrintOn(2, Joined({JobStart(), Label(1, 8, 64), EndOfJob()}));
  ExpectToldAsIn("packet_trace");
}

TEST_F(LogStory, OutOfLabels) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(JobStart()), TRUE);
  NextStatus({.status = 2, .bay = 2});                                      // the answer for label 1
  NextStatus({.status = 2, .bay = 2}).NextStatus({.status = 2, .bay = 2});  // and when asked twice
  EXPECT_EQ(Write(Joined({Label(1), Label(2), EndOfJob()})), TRUE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("out_of_labels");
}

TEST_F(LogStory, HeadCutterAndBattery) {
  constexpr std::uint32_t kBatteryBit = 0x800;
  UseModel(8);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.cutter = 4}).NextStatus({.cutter = 4});
  NextStatus({.status = 2, .err = kBatteryBit}).NextStatus({.status = 2, .err = kBatteryBit});
  EXPECT_EQ(Write(JobStart()), TRUE);
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(Close(key), TRUE);
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.head = 1}).NextStatus({.head = 1});
  EXPECT_EQ(Write(JobStart()), TRUE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("head_cutter_and_battery");
}

TEST_F(LogStory, ErrorsThatGiveTheLockBack) {
  SetOption(L"UnlockOnError", 1);
  UseModel(1);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.bay = 9});
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("errors_that_give_the_lock_back");
}

TEST_F(LogStory, CancelAtThePrinter) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(JobStart()), TRUE);
  NextStatus({.status = 3});
  EXPECT_EQ(Write(Joined({Label(1), Label(2), EndOfJob()})), FALSE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("cancel_at_the_printer");
}

TEST_F(LogStory, Deletion) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(Joined({JobStart(), Label(1)})), TRUE);
  host.jobs[kJobId].status |= JOB_STATUS_DELETING;
  EXPECT_EQ(Write(Joined({Label(2), EndOfJob()})), FALSE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("deletion");
}

TEST_F(LogStory, LostUsb) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(Joined({JobStart(), Label(1)})), TRUE);
  Disconnect();
  EXPECT_EQ(Write(Joined({Label(2), EndOfJob()})), FALSE);
  EXPECT_EQ(End(), TRUE);
  Reconnect();
  ASSERT_EQ(Start(key), TRUE);
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("lost_usb");
}

TEST_F(LogStory, PortThatTakesNothing) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(JobStart()), TRUE);
  port.FailWrite(3);  // the first label, behind the footerless header's
  EXPECT_EQ(Write(Joined({Label(1), Label(2), EndOfJob()})), TRUE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("port_that_takes_nothing");
}

TEST_F(LogStory, LockTaken) {
  UseModel(1);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.status = 4}).NextStatus({.status = 4}).NextStatus({.status = 5}).NextStatus({.status = 5});
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("lock_taken");
}

TEST_F(LogStory, TapeInChunks) {
  SetOption(L"PdChunkSize", 3);
  PrintOn(8, Joined({JobStart(), Label(1, 8, 16), Label(2, 2, 16), EndOfJob()}));
  ExpectToldAsIn("tape_in_chunks");
}

TEST_F(LogStory, FirmwareThatKnowsBetter) {
  SetFirmware(Firmware("FWAP", "0002", "1001", "2B"));
  PrintOn(2, Document(1));
  ExpectToldAsIn("firmware_that_knows_better");
}

TEST_F(LogStory, BadStreams) {
  const ByteString garbage = Bytes("41 42 43");
  const ByteString unknown = Bytes("1B 7A 00");
  const ByteString emptyLabel = Joined({LabelIndex(9), Bytes("1B 47")});
  const ByteString streams[] = {
      garbage,                                                        // no header at all
      Joined({Label(1), EndOfJob()}),                                 // a label before the header
      Joined({JobStart(), Raster(1, 8), Label(1)}),                   // a raster in the header
      Joined({JobStart(), Label(1), garbage, Label(2), EndOfJob()}),  // rubbish between labels
      Joined({JobStart(), Label(1), unknown, EndOfJob()}),            // a command that nobody knows
      Joined({JobStart(), Label(1), Bytes("1B 55"), EndOfJob()}),     // a command that belongs nowhere there
      Joined({JobStart(), emptyLabel, EndOfJob()}),                   // a label without dots
  };
  key = Open();
  for (const ByteString& stream : streams) {
    ASSERT_EQ(Start(key), TRUE);
    Write(stream);
    End();
  }
  ExpectToldAsIn("bad_streams");
}

TEST_F(LogStory, RefusedCalls) {
  MONITOR2 none{};
  EXPECT_EQ(Open(kPortName, &none), nullptr);
  key = Open();
  EXPECT_EQ(Open(), nullptr);  // open already
  EXPECT_EQ(Start(key, kJobId, 2), FALSE);
  EXPECT_EQ(Start(key), TRUE);
  EXPECT_EQ(Start(key), FALSE);  // busy
  Read(key, 4);
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(End(), TRUE);  // no job
  host.failOpenPrinter = true;
  EXPECT_EQ(Start(key), FALSE);
  host.failOpenPrinter = false;
  host.failGetJob = true;
  EXPECT_EQ(Start(key), FALSE);
  host.failGetJob = false;
  port.failStartDocument = true;
  EXPECT_EQ(Start(key), FALSE);
  port.failStartDocument = false;
  host.failSetJob = true;
  EXPECT_EQ(Start(key), TRUE);
  EXPECT_EQ(Write(Document(1)), TRUE);
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(Close(key), TRUE);
  port.failTimeouts = true;
  key = Open();
  EXPECT_EQ(Close(key), TRUE);
  port.failOpen = true;
  EXPECT_EQ(Open(), nullptr);
  ExpectToldAsIn("refused_calls");
}

TEST_F(LogStory, StatusErrorGivesTheJobUp) {
  UseModel(5);
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.status = 2}).NextStatus({.status = 2}).NextStatus({.status = 2});
  EXPECT_EQ(Write(Document(1)), FALSE);
  EXPECT_EQ(End(), TRUE);
  ExpectToldAsIn("status_error");
}

// The dump is what was offered to the port, without the monitor's own commands.
TEST_F(LogStory, JobDumpHoldsWhatWentToThePort) {
  SetDebugSetting(L"TraceDetail", 8);
  LoadMonitor();
  PrintOn(5, Document(3));
  ByteString offered;
  for (const ByteString& bytes : port.writes) {
    const bool isCommand = bytes.size() <= 3 && bytes != EndOfJob();
    if (!isCommand) {
      offered.insert(offered.end(), bytes.begin(), bytes.end());
    }
  }
  const std::vector<std::filesystem::path> dumps = log.Root().Files("_job-7.prn");
  ASSERT_THAT(dumps, SizeIs(1));
  EXPECT_EQ(BytesOfFile(dumps.front()), offered);
}

TEST_F(LogStory, JobDumpHoldsALabelThatWentOutTwiceTwice) {
  SetDebugSetting(L"TraceDetail", 24);
  LoadMonitor();
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  EXPECT_EQ(Write(JobStart()), TRUE);
  NextStatusFails();
  EXPECT_EQ(Write(Joined({Label(1), Label(2), EndOfJob()})), TRUE);
  EXPECT_EQ(End(), TRUE);
  const std::vector<std::filesystem::path> dumps = log.Root().Files("_job-7.prn");
  ASSERT_THAT(dumps, SizeIs(1));
  EXPECT_EQ(BytesOfFile(dumps.front()), Joined({JobStart(), Label(1), Label(2), Label(1), Label(2), EndOfJob()}));
  EXPECT_THAT(log.Root().Files(".bmp"), SizeIs(2)) << "parsing alone makes a picture";
}

TEST_F(LogStory, JobDumpHoldsWhatPassesUnread) {
  SetDebugSetting(L"TraceDetail", 8);
  SetDebugSetting(L"BypassMode", 1);
  LoadMonitor();
  const ByteString stream = Bytes("41 42 43");
  Print(stream);
  const std::vector<std::filesystem::path> dumps = log.Root().Files("_job-7.prn");
  ASSERT_THAT(dumps, SizeIs(1));
  EXPECT_EQ(BytesOfFile(dumps.front()), stream);
  ExpectToldAsIn("bypass_mode");
}

TEST_F(LogStory, WithoutDeviceTheJobRunsAndNothingIsOnThePort) {
  SetDebugSetting(L"NoDeviceIO", 1);
  SetDebugSetting(L"NoMediaCheck", 1);
  SetDebugSetting(L"DontLock", 1);
  LoadMonitor();
  Print(Document(2));
  EXPECT_THAT(port.writes, SizeIs(0));
  ExpectToldAsIn("no_device");
}

TEST_F(LogStory, WithALogFolderThatVanishesThePrintingGoesOn) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  std::filesystem::remove_all(log.Root().Folder().parent_path());
  EXPECT_EQ(Write(Document(2)), TRUE);
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(host.jobs[kJobId].pagesPrinted, 2U);
}

TEST_F(LogStory, AtLevel1ADumpHasAPathAndNoFileWhileAPictureIsMade) {
  SetDebugSetting(L"DebugLevel", 1);
  SetDebugSetting(L"TraceDetail", 24);
  LoadMonitor();
  Print(Document(1));
  EXPECT_THAT(log.Root().Files(".prn"), SizeIs(0));
  EXPECT_THAT(log.Root().Files(".bmp"), SizeIs(1));
}

TEST_F(LogStory, AtLevel0NothingIsLeftWhateverTheTraceSays) {
  SetDebugSetting(L"DebugLevel", 0);
  SetDebugSetting(L"TraceDetail", 28);
  LoadMonitor();
  host.log.clear();
  Print(Document(2));
  EXPECT_THAT(log.Root().Files(".prn"), SizeIs(0));
  EXPECT_THAT(log.Root().Files(".bmp"), SizeIs(0));
  EXPECT_THAT(host.log, SizeIs(0));
}

}  // namespace
}  // namespace sc3xxmon::test
