// Whether a sanitizer watches that ends the program where an allocation is refused, instead of letting it fail.
#pragma once

namespace sc3xxmon::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kRefusedAllocationsAreFatal = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
inline constexpr bool kRefusedAllocationsAreFatal = true;
#else
inline constexpr bool kRefusedAllocationsAreFatal = false;
#endif
#else
inline constexpr bool kRefusedAllocationsAreFatal = false;
#endif

}  // namespace sc3xxmon::test
