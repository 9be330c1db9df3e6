#include "engine/label_acknowledgement.h"

#include "support/printing_fixture.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;

class LabelAcknowledgementTest : public PrintingFixture {};

TEST_F(LabelAcknowledgementTest, OnlyTapeModelsWithAChunkHeightTakeTheChunkedPath) {
  for (std::uint32_t model = 0; model <= 9; ++model) {
    StartJob(model);
    SetOption(L"PdChunkSize", 1);
    EXPECT_EQ(UsesChunkedPath(*job), model >= 8) << model;
    SetOption(L"PdChunkSize", 0);
    EXPECT_FALSE(UsesChunkedPath(*job)) << model;
  }
}

TEST_F(LabelAcknowledgementTest, TheOldestLabelLeavesTheJobAndTheSpoolerSeesThePages) {
  StartPrinting(2, Joined({JobStart(), Label(1), Label(2), Label(3)}));
  job->MarkSent(job->Labels[0]);
  job->MarkSent(job->Labels[1]);
  AcknowledgeFirstLabel(monitor, *job, JOB_STATUS_PRINTING, At("Somewhere"), 42);
  EXPECT_EQ(job->LabelsAcked, 1u);
  EXPECT_EQ(job->Labels.front().LabelIndex, 2u);
  EXPECT_THAT(story, ElementsAre("job status 0x10 pages 1"));
  EXPECT_TRUE(LoggedBy("Somewhere",
                       "Status for label #42 acknowledged(1 attempts). Total in job: 3; ACK: 1; NAK: 1; UNSENT: 1"));
  EXPECT_EQ(monitor.LastJobId, 7u);
}

TEST_F(LabelAcknowledgementTest, TheAttemptsAreTheRetriesAndOne) {
  StartPrinting(2, Joined({JobStart(), Label(1)}));
  for (int attempt = 0; attempt < 2; ++attempt) {
    job->MarkSent(job->Labels.front());
    job->RevertSentLabels();
  }
  job->MarkSent(job->Labels.front());
  AcknowledgeFirstLabel(monitor, *job, JOB_STATUS_PRINTING, At("Somewhere"), 1);
  EXPECT_TRUE(host.Logged("Status for label #1 acknowledged(3 attempts). Total in job: 1; ACK: 1; NAK: 0; UNSENT: 0"));
}

TEST_F(LabelAcknowledgementTest, WithNoLabelOnItsWayThereAreNoAttemptsAndNothingChanges) {
  StartPrinting(2, Joined({JobStart(), Label(1)}));
  AcknowledgeFirstLabel(monitor, *job, JOB_STATUS_COMPLETE, At("Somewhere"), 0);
  EXPECT_EQ(job->LabelsAcked, 0u);
  EXPECT_EQ(job->UnsentLabelCount(), 1u);
  EXPECT_TRUE(host.Logged("Status for label #0 acknowledged(0 attempts). Total in job: 1; ACK: 0; NAK: 0; UNSENT: 1"));
}

}  // namespace
}  // namespace sc3xxmon::test
