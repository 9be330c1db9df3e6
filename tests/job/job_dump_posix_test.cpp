// The job dump: when it has a path, and what is written to it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diag/debug_settings.h"
#include "job/print_job.h"
#include "platform/text.h"
#include "support/log_root.h"
#include "support/test_host.h"

namespace sc3xxmon {
namespace {

using test::Bytes;
using test::TestHost;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class JobDumpTest : public ::testing::Test {
 protected:
  JobDumpTest() {
    host.logRoot = root.Name();
    TestHost::SetDebugLevel(2);
    diag::traceWord = 9;
  }
  std::size_t Dumps() const { return root.Files("_job-7.prn").size(); }

  test::LogRoot root;
  TestHost host;
};

TEST_F(JobDumpTest, HasAPathThatNamesTheJob) {
  const CPrintJob job(7, L"Labels");
  EXPECT_THAT(platform::ToUtf8(job.DumpPath), ::testing::EndsWith("_job-7.prn"));
  EXPECT_EQ(Dumps(), 0U) << "a file comes with its first bytes";
}

TEST_F(JobDumpTest, TakesEverySpanBehindTheLast) {
  const CPrintJob job(7, L"Labels");
  EXPECT_TRUE(job.DumpData(Bytes("01 02")));
  EXPECT_TRUE(job.DumpData(Bytes("03")));
  ASSERT_EQ(Dumps(), 1U);
  EXPECT_EQ(test::BytesOfFile(root.Files().front()), Bytes("01 02 03"));
}

TEST_F(JobDumpTest, AnEmptySpanCountsAsAFailure) {
  const CPrintJob job(7, L"Labels");
  EXPECT_FALSE(job.DumpData({}));
}

TEST_F(JobDumpTest, AtLevel1ThereIsAPathAndNoFile) {
  TestHost::SetDebugLevel(1);
  const CPrintJob job(7, L"Labels");
  EXPECT_FALSE(job.DumpPath.empty());
  EXPECT_FALSE(job.DumpData(Bytes("01")));
  EXPECT_EQ(Dumps(), 0U);
}

TEST_F(JobDumpTest, AtLevel0ThereIsNeither) {
  TestHost::SetDebugLevel(0);
  const CPrintJob job(7, L"Labels");
  EXPECT_THAT(job.DumpPath, IsEmpty());
  EXPECT_FALSE(job.DumpData(Bytes("01")));
  EXPECT_FALSE(std::filesystem::exists(root.Folder()));
}

TEST_F(JobDumpTest, ASwitchThatComesTooLateChangesNothing) {
  diag::traceWord = 1;
  const CPrintJob job(7, L"Labels");
  diag::traceWord = 9;
  EXPECT_FALSE(job.DumpData(Bytes("01")));
  EXPECT_THAT(root.Files(), SizeIs(0));
}

TEST_F(JobDumpTest, WithoutAFolderTheJobIsMadeAllTheSame) {
  std::filesystem::remove(root.Path() / "Logs");
  const CPrintJob job(7, L"Labels");
  EXPECT_THAT(job.DumpPath, IsEmpty());
  EXPECT_FALSE(job.DumpData(Bytes("01")));
}

}  // namespace
}  // namespace sc3xxmon
