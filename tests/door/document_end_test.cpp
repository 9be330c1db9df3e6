// The end of a document: which end commands the printer still needs, what the spooler is told, and the delay.
#include <thread>

#include "support/door_test.h"

namespace sc3xxmon::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class DocumentEnd : public DoorTest {
 protected:
  void StartAndWrite(const ByteString& bytes) {
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    Write(bytes);
    story.clear();
    port.writes.clear();
  }
  // The job's header is out, one label too, and no footer has come.
  ByteString WithoutFooter() const { return Joined({JobStart(), Label(1)}); }
};

TEST_F(DocumentEnd, WithoutAJobStillEndsThePort) {
  key = Open();
  EXPECT_EQ(End(), TRUE);
  EXPECT_TRUE(host.Logged("ERROR: No jobs to remove"));
  EXPECT_FALSE(host.Logged("Last page ejected"));
  EXPECT_THAT(story, ElementsAre("end document"));
  EXPECT_THAT(host.commands, IsEmpty());
}

TEST_F(DocumentEnd, JobThatNeverReachedThePrinterIsEjectedOnly) {
  StartAndWrite(JobStart());
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DocumentEnd, FooterNeedsNoSecondEndCommand) {
  StartAndWrite(Document(1));
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
}

TEST_F(DocumentEnd, JobWithoutFooterIsEndedForThePrinter) {
  StartAndWrite(WithoutFooter());
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("write 1B 51", "job command 7", "end document"));
  EXPECT_TRUE(host.Logged("Sending end job"));
  EXPECT_TRUE(host.Logged("Last page ejected"));
}

TEST_F(DocumentEnd, DeletingJobIsFedOutAndEnded) {
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETING;
  End();
  EXPECT_THAT(story, ElementsAre("write 1B 45", "write 1B 51", "job command 7", "end document"));
}

TEST_F(DocumentEnd, DeletedJobIsFedOutAndEnded) {
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETED;
  End();
  EXPECT_THAT(story, ElementsAre("write 1B 45", "write 1B 51", "job command 7", "end document"));
}

TEST_F(DocumentEnd, DeletedTapeJobIsFedOutTooSinceTheJobIsOffThePortByThen) {
  UseModel(8);
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETED;
  End();
  EXPECT_THAT(Writes(), ElementsAre("1B 45", "1B 51"));
}

TEST_F(DocumentEnd, FailedFormFeedLeavesOutTheEndCommand) {
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETED;
  port.FailWrite();
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("write fails", "job command 7", "end document"));
  EXPECT_TRUE(host.Logged("WritePort failed. written=0; err=31"));
}

TEST_F(DocumentEnd, FailedEndCommandIsIgnored) {
  StartAndWrite(WithoutFooter());
  port.FailWrite();
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("write fails", "job command 7", "end document"));
}

TEST_F(DocumentEnd, UnreadableStatusCountsAsNotDeleted) {
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETED;
  host.failGetJob = true;
  End();
  EXPECT_THAT(Writes(), ElementsAre("1B 51"));
}

TEST_F(DocumentEnd, JobThatEndedIsNotAskedForItsStatus) {
  StartAndWrite(Document(1));
  const std::size_t queries = host.statusQueries;
  End();
  EXPECT_EQ(host.statusQueries, queries);
}

TEST_F(DocumentEnd, AbortedJobWhoseCancelFailedIsCancelledOnceMore) {
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETING;
  port.FailWrite();
  EXPECT_EQ(Write(Label(2)), FALSE);
  EXPECT_THAT(Writes(), IsEmpty());
  host.jobs[kJobId].status = 0;  // the spooler has forgotten it by now: the job's own state decides
  End();
  EXPECT_THAT(Writes(), ElementsAre("1B 45", "1B 51"));
}

TEST_F(DocumentEnd, AbortedJobWhoseCancelWentOutIsLeftAlone) {
  StartAndWrite(WithoutFooter());
  host.jobs[kJobId].status = JOB_STATUS_DELETING;
  EXPECT_EQ(Write(Label(2)), FALSE);
  EXPECT_THAT(Writes(), ElementsAre("1B 45", "1B 51"));
  End();
  EXPECT_THAT(Writes(), ElementsAre("1B 45", "1B 51"));
}

TEST_F(DocumentEnd, UsbJobIsNeverMarkedAsSent) {
  Print(Document(1));
  EXPECT_THAT(host.commands, Not(Contains(JOB_CONTROL_SENT_TO_PRINTER)));
  EXPECT_THAT(host.commands, ElementsAre(JOB_CONTROL_LAST_PAGE_EJECTED));
}

TEST_F(DocumentEnd, RefusedCommandIsLoggedAndStopsNothing) {
  StartAndWrite(Document(1));
  host.failSetJob = true;
  EXPECT_EQ(End(), TRUE);
  EXPECT_TRUE(host.Logged("SetJob(7) failed: 87"));
  EXPECT_EQ(port.endedDocuments, 1u);
}

TEST_F(DocumentEnd, RestartDelaysTheEndOnceAndBehindThePortsOwnEnd) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Disconnect();
  EXPECT_EQ(Write(Document(1)), FALSE);
  Reconnect();
  story.clear();
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("job command 7", "end document", "sleep 2000"));
  EXPECT_TRUE(host.Logged("Delay for 2000 ms"));
  story.clear();
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("end document"));
}

TEST_F(DocumentEnd, DelayIsTimeInWhichThePrinterStaysTaken) {
  HANDLE other = Open(L"USB002");
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  Disconnect();
  Write(Document(1));
  host.sleeps.clear();
  // A spooler starts documents on other threads while this one waits.
  BOOL startedMeanwhile = TRUE;
  DWORD refusal = 0;
  host.onSleep = [&](std::uint32_t) {
    if (host.sleeps.size() > 1) {
      return;  // the other document's own waiting
    }
    std::thread([&] { startedMeanwhile = Start(other); }).join();
    refusal = host.lastError;
  };
  EXPECT_EQ(End(), TRUE);
  EXPECT_EQ(startedMeanwhile, FALSE);
  EXPECT_EQ(refusal, ERROR_BUSY);
  const std::uint64_t before = host.now;
  EXPECT_EQ(Start(other), TRUE);
  EXPECT_EQ(host.now, before);
}

TEST_F(DocumentEnd, PortThatRefusesTheEndChangesNothing) {
  StartAndWrite(Document(1));
  port.failEndDocument = true;
  EXPECT_EQ(End(), TRUE);
  EXPECT_THAT(story, ElementsAre("job command 7", "end document"));
  port.failEndDocument = false;
  EXPECT_EQ(Start(key), TRUE);
}

TEST_F(DocumentEnd, CancelAtThePrinterDelaysTheEndForHalfASecond) {
  ASSERT_NO_FATAL_FAILURE(OpenAndStart());
  NextStatus({.status = 3});
  EXPECT_EQ(Write(Document(1)), FALSE);
  story.clear();
  End();
  EXPECT_THAT(story, ElementsAre("job command 7", "end document", "sleep 500"));
}

TEST_F(DocumentEnd, ReadingPassesThrough) {
  StartAndWrite(WithoutFooter());
  port.Answers(Bytes("01 02 03"));
  EXPECT_EQ(Read(key, 8), TRUE);
  EXPECT_EQ(read, 3u);
  EXPECT_EQ(readBytes, Bytes("01 02 03 EE EE EE EE EE"));
  EXPECT_TRUE(host.Logged("ReadPort returned 1, read 3 bytes"));
  port.FailsRead();
  read = 0;
  EXPECT_EQ(Read(key, 8), FALSE);
  EXPECT_EQ(host.lastError, ERROR_GEN_FAILURE);
  EXPECT_TRUE(host.Logged("ReadPort returned 0, read 0 bytes"));
}

}  // namespace
}  // namespace sc3xxmon::test
