// A file for writing. What is made new gets the access of log_folder.h.
//
// On Windows others may read a file that is open for appending and do nothing else to it; elsewhere nobody is kept out,
// so that the log's lock alone keeps records whole.
//
// Off Windows a file is opened only if it is a plain file of this process's own user with no second name: a link that
// somebody has put in its place is refused, and whatever it leads to stays as it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace sc3xxmon::platform {

// Owns the open file. One thread at a time.
class File {
 public:
  // Both make the file where it doesn't exist. A failure gives a file that isn't open.
  static File OpenAtEnd(const std::wstring& path);
  static File CreateEmpty(const std::wstring& path);

  File() = default;
  File(File&& other) noexcept : handle_(std::exchange(other.handle_, kNoHandle)) {}
  File& operator=(File&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  bool IsOpen() const { return handle_ != kNoHandle; }

  // One write of the system: gives the number of bytes that it moved, 0 if it failed.
  std::size_t Write(const void* bytes, std::size_t size);

 private:
  static constexpr std::intptr_t kNoHandle = -1;
  explicit File(std::intptr_t handle) : handle_(handle) {}

  std::intptr_t handle_ = kNoHandle;
};

}  // namespace sc3xxmon::platform
