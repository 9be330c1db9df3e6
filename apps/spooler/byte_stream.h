// The bytes of one document, read piece by piece and, after a restart, again from the first one. The whole
// document is in memory: standard input can't be read twice, and a file may change while a printer waits for
// labels.
//
// Threads: none. The pieces point into the stream, which must outlive them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace sc3xx {

class ByteStream {
 public:
  explicit ByteStream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

  // The next `limit` bytes, fewer at the end, none behind it.
  std::span<std::uint8_t> Next(std::size_t limit) {
    const std::size_t length = std::min(limit, bytes_.size() - position_);
    position_ += length;
    return {bytes_.data() + (position_ - length), length};
  }

  void Rewind() { position_ = 0; }
  bool AtEnd() const { return position_ == bytes_.size(); }
  std::size_t Size() const { return bytes_.size(); }
  std::span<const std::uint8_t> All() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

}  // namespace sc3xx
