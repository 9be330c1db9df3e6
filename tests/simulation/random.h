// Random numbers that are the same on every system for the same seed. One generator a run, one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace sc3xxmon::simulation {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  // splitmix64
  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15u;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return mixed ^ (mixed >> 31);
  }

  // From `low` to `high`, both included.
  std::uint32_t Between(std::uint32_t low, std::uint32_t high) {
    return low + static_cast<std::uint32_t>(Next() % (std::uint64_t{high} - low + 1));
  }
  // True `part` times of `whole`.
  bool Chance(std::uint32_t part, std::uint32_t whole) { return Between(1, whole) <= part; }
  std::uint8_t Byte() { return static_cast<std::uint8_t>(Next() >> 56); }

  template <class Value>
  Value OneOf(std::initializer_list<Value> values) {
    return *(values.begin() + Between(0, static_cast<std::uint32_t>(values.size() - 1)));
  }

 private:
  std::uint64_t state_;
};

}  // namespace sc3xxmon::simulation
