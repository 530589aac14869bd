// Pools for the small objects that are made by the million: values, tokens, facts, activations, list links.
//
// A thread keeps some free objects of each size at hand; more go back to the slab from which they came, whichever
// thread made them, and are handed out again slab by slab, so that what is made together lies together. Memory is taken
// from the system in slabs and is kept for reuse until the process ends. Under a sanitizer the pools are off, so that
// it sees every object.
#pragma once

#include <cstddef>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KB_POOLS_OFF 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KB_POOLS_OFF 1
#endif
#endif

namespace kb {

/// Memory for one object of `size` bytes (at most kMaxPooled), aligned for any object. Raises std::bad_alloc.
inline constexpr size_t kMaxPooled = 256;
[[nodiscard]] void* PoolAllocate(size_t size);
void PoolFree(void* memory, size_t size) noexcept;
/// Memory that is kept for reuse, in bytes, but for what other threads have at hand. For measurements.
[[nodiscard]] size_t PoolFreeBytes() noexcept;

/// Has memory that will be read soon brought near, for walks over pooled objects. Any address will do.
inline void Prefetch([[maybe_unused]] const void* memory) noexcept {
#if defined(__GNUC__)
  __builtin_prefetch(memory);
#endif
}

/// Base that gives a class its pool; a descendant of another size uses the pool of that size.
class TPooled {
 public:
  static void* operator new(size_t size) { return PoolAllocate(size); }
  static void operator delete(void* memory, size_t size) noexcept { PoolFree(memory, size); }
};

}  // namespace kb
