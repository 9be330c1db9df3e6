// A byte vector whose new bytes are not cleared first, for buffers that are about to be filled.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace sc3xxmon {

// std::allocator, except that construction without a value leaves the storage as it is.
template <class T>
class UninitializedAllocator : public std::allocator<T> {
 public:
  template <class U>
  struct rebind {
    using other = UninitializedAllocator<U>;
  };

  UninitializedAllocator() = default;
  template <class U>
  // NOLINTNEXTLINE(google-explicit-constructor): what containers ask of an allocator
  UninitializedAllocator(const UninitializedAllocator<U>&) {}

  template <class U>
  void construct(U* at) {
    ::new (static_cast<void*>(at)) U;
  }
  template <class U, class... Arguments>
  void construct(U* at, Arguments&&... arguments) {
    std::construct_at(at, std::forward<Arguments>(arguments)...);
  }
};

using ByteVector = std::vector<std::uint8_t, UninitializedAllocator<std::uint8_t>>;

}  // namespace sc3xxmon
