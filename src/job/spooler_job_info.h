// The spooler's record of a job, read into a buffer of the size that the spooler asks for.
#pragma once

#include <cstddef>
#include <memory>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

// Empty after any failure: what can't be read is left alone. The structure's texts stand in the same buffer.
template <class Info>
class SpoolerJobInfo {
 public:
  SpoolerJobInfo() = default;
  explicit SpoolerJobInfo(std::unique_ptr<std::max_align_t[]> buffer) : buffer_(std::move(buffer)) {}

  explicit operator bool() const { return buffer_ != nullptr; }
  Info* operator->() const { return Get(); }
  Info* Get() const { return reinterpret_cast<Info*>(buffer_.get()); }

 private:
  std::unique_ptr<std::max_align_t[]> buffer_;
};

SpoolerJobInfo<JOB_INFO_1W> ReadJobInfo1(HANDLE printer, DWORD jobId);
SpoolerJobInfo<JOB_INFO_2W> ReadJobInfo2(HANDLE printer, DWORD jobId);

}  // namespace sc3xxmon
