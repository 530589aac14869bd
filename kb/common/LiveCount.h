#pragma once

// Counters of living objects: a test sees with them that nothing is left alive after an engine has gone. They
// count in builds with assertions, or where KB_LIVE_COUNTERS is defined; elsewhere they cost nothing and say 0.

#include <cstdint>

#if !defined(NDEBUG) || defined(KB_LIVE_COUNTERS)
#include <atomic>
#define KB_COUNTS_LIVE 1
#endif

namespace kb {

/// How many objects of one class are alive in the process. Safe to use from several threads.
class TLiveCount {
 public:
#ifdef KB_COUNTS_LIVE
  void Add(int64_t change) noexcept { count_.fetch_add(change, std::memory_order_relaxed); }
  [[nodiscard]] int64_t Get() const noexcept { return count_.load(std::memory_order_relaxed); }

 private:
  std::atomic<int64_t> count_{0};
#else
  void Add(int64_t /*change*/) noexcept {}
  [[nodiscard]] int64_t Get() const noexcept { return 0; }
#endif
};

}  // namespace kb
