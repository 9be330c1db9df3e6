// Reads decisions off the front of a fuzzer's input. When the input is used up every answer is 0, so that a target
// whose zeros mean "all is well" always comes to its end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace sc3xxmon::fuzz {

class InputReader {
 public:
  InputReader(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}
  explicit InputReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  bool Empty() const { return rest_.empty(); }
  std::size_t Left() const { return rest_.size(); }

  std::uint8_t Byte() {
    if (rest_.empty()) {
      return 0;
    }
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  bool Flag() { return (Byte() & 1) != 0; }
  std::uint16_t Number16() {
    const std::uint8_t low = Byte();
    return static_cast<std::uint16_t>(low | (Byte() << 8));
  }
  std::uint32_t Number32() {
    const std::uint32_t low = Number16();
    return low | (std::uint32_t{Number16()} << 16);
  }
  // 0 to `count` - 1.
  std::uint32_t Choice(std::uint32_t count) { return count > 256 ? Number16() % count : Byte() % count; }

  // At most `size` bytes.
  std::span<const std::uint8_t> Take(std::size_t size) {
    const auto taken = rest_.first(std::min(size, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::span<const std::uint8_t> TakeAll() { return Take(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

}  // namespace sc3xxmon::fuzz
