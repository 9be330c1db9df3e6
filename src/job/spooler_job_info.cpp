#include "job/spooler_job_info.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/last_error.h"
#include "platform/spooler.h"

namespace sc3xxmon {
namespace {

// Zeroed, and never smaller than the structure, whatever size the spooler asks for. Null if there is no memory.
std::unique_ptr<std::max_align_t[]> JobBuffer(std::size_t bytes) try {
  const std::size_t count = bytes / sizeof(std::max_align_t) + 1;
  auto buffer = std::make_unique<std::max_align_t[]>(count);
  // The type has padding, which its own initialisation may leave as it was.
  std::memset(buffer.get(), 0, count * sizeof(std::max_align_t));
  return buffer;
} catch (const std::bad_alloc&) {
  return nullptr;
}

template <class Info>
SpoolerJobInfo<Info> ReadJobInfo(HANDLE printer, DWORD jobId, DWORD level) {
  DWORD needed = 0;
  if (platform::SpoolerGetJob(printer, jobId, level, nullptr, 0, &needed) == 0 &&
      platform::LastError() != ERROR_INSUFFICIENT_BUFFER) {
    return {};
  }
  auto buffer = JobBuffer(std::max<std::size_t>(needed, sizeof(Info)));
  if (buffer == nullptr ||
      platform::SpoolerGetJob(printer, jobId, level, reinterpret_cast<LPBYTE>(buffer.get()), needed, &needed) == 0) {
    return {};
  }
  return SpoolerJobInfo<Info>(std::move(buffer));
}

}  // namespace

SpoolerJobInfo<JOB_INFO_1W> ReadJobInfo1(HANDLE printer, DWORD jobId) {
  return ReadJobInfo<JOB_INFO_1W>(printer, jobId, 1);
}

SpoolerJobInfo<JOB_INFO_2W> ReadJobInfo2(HANDLE printer, DWORD jobId) {
  return ReadJobInfo<JOB_INFO_2W>(printer, jobId, 2);
}

}  // namespace sc3xxmon
