#include "job/spooler_job_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "sc3xxmon/host.h"

namespace sc3xxmon {
namespace {

using ::testing::ElementsAre;

struct Call {
  DWORD level;
  bool hasBuffer;
  DWORD size;
  friend bool operator==(const Call&, const Call&) = default;
};

// A spooler of which nothing but GetJobW is there, as strange as a test wants it.
class SpoolerJobInfoTest : public ::testing::Test {
 protected:
  SpoolerJobInfoTest() {
    Sc3xxHost table{};
    table.size = sizeof(table);
    table.context = this;
    table.GetJobW = GetJobW;
    table.GetLastError = [](void* context) { return static_cast<SpoolerJobInfoTest*>(context)->lastError; };
    table.SetLastError = [](void* context, DWORD code) { static_cast<SpoolerJobInfoTest*>(context)->lastError = code; };
    Sc3xxSetHost(&table);
  }
  ~SpoolerJobInfoTest() override { Sc3xxSetHost(nullptr); }

  static BOOL GetJobW(void* context, HANDLE, DWORD id, DWORD level, LPBYTE job, DWORD size, LPDWORD needed) {
    auto* self = static_cast<SpoolerJobInfoTest*>(context);
    self->calls.push_back({level, job != nullptr, size});
    self->aligned = self->aligned && reinterpret_cast<std::uintptr_t>(job) % alignof(std::max_align_t) == 0;
    if (job == nullptr) {
      *needed = self->reportedSize;
      self->lastError = self->firstError;
      return self->firstResult;
    }
    if (self->secondFails) {
      return FALSE;
    }
    std::memcpy(job, &id, sizeof(id));  // JobId is the first field of both structures
    return TRUE;
  }

  std::vector<Call> calls;
  DWORD lastError = 0;
  DWORD reportedSize = 500;
  DWORD firstError = ERROR_INSUFFICIENT_BUFFER;
  BOOL firstResult = FALSE;
  bool secondFails = false;
  bool aligned = true;
};

TEST_F(SpoolerJobInfoTest, AsksForTheSizeAndThenReadsIntoABufferOfThatSize) {
  const auto info = ReadJobInfo1(nullptr, 42);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->JobId, 42U);
  EXPECT_THAT(calls, ElementsAre(Call{1, false, 0}, Call{1, true, 500}));
}

TEST_F(SpoolerJobInfoTest, Level2IsReadInTheSameWay) {
  const auto info = ReadJobInfo2(nullptr, 43);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->JobId, 43U);
  EXPECT_THAT(calls, ElementsAre(Call{2, false, 0}, Call{2, true, 500}));
}

TEST_F(SpoolerJobInfoTest, AnotherErrorThanATooSmallBufferGivesNothing) {
  firstError = ERROR_INVALID_PARAMETER;
  EXPECT_FALSE(ReadJobInfo1(nullptr, 42));
  EXPECT_THAT(calls, ElementsAre(Call{1, false, 0}));
}

TEST_F(SpoolerJobInfoTest, ASecondCallThatFailsGivesNothing) {
  secondFails = true;
  EXPECT_FALSE(ReadJobInfo1(nullptr, 42));
  EXPECT_FALSE(ReadJobInfo2(nullptr, 42));
}

TEST_F(SpoolerJobInfoTest, AFirstCallThatSucceedsIsFollowedByTheSecondAllTheSame) {
  firstResult = TRUE;
  firstError = 0;
  EXPECT_TRUE(ReadJobInfo1(nullptr, 42));
  EXPECT_THAT(calls, ElementsAre(Call{1, false, 0}, Call{1, true, 500}));
}

TEST_F(SpoolerJobInfoTest, ASizeSmallerThanTheStructureLeavesZeroesInTheRest) {
  reportedSize = 4;
  const auto info = ReadJobInfo2(nullptr, 44);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->JobId, 44U);
  EXPECT_EQ(info->pDriverName, nullptr);
}

TEST_F(SpoolerJobInfoTest, TheBufferIsAlignedForAnyType) {
  for (DWORD size = 200; size < 220; ++size) {
    reportedSize = size;
    ReadJobInfo1(nullptr, 1);
  }
  EXPECT_TRUE(aligned);
}

}  // namespace
}  // namespace sc3xxmon
