#include "kb/platform/StackGuard.h"

#include <cstdint>
#include <exception>

#include "kb/platform/Exceptions.h"

#if defined(__SANITIZE_ADDRESS__)
#define KB_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KB_ASAN 1
#endif
#if __has_feature(thread_sanitizer)
#define KB_TSAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define KB_TSAN 1
#endif

#if defined(__linux__)
#include <pthread.h>
#endif
#if defined(__linux__) && !defined(KB_TSAN)
#define KB_STACK_SWITCH 1
#include <sys/mman.h>
#include <ucontext.h>
#endif
#if defined(KB_ASAN)
#include <sanitizer/asan_interface.h>
#endif

namespace kb {
namespace {

#if defined(KB_ASAN)
constexpr size_t kReserve = size_t{512} * 1024;  // frames are several times larger under the sanitizer
#else
constexpr size_t kReserve = size_t{160} * 1024;
#endif

// Lowest address that a frame of this thread may reach before the stack counts as low; 0 until worked out.
thread_local uintptr_t stackLimit = 0;

[[nodiscard]] uintptr_t Here() noexcept { return reinterpret_cast<uintptr_t>(__builtin_frame_address(0)); }

void FindLimit() noexcept {
  uintptr_t low = Here() - size_t{512} * 1024;  // where the platform does not tell, half a megabyte is assumed
#if defined(__linux__)
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    void* base = nullptr;
    size_t size = 0;
    if (pthread_attr_getstack(&attributes, &base, &size) == 0) low = reinterpret_cast<uintptr_t>(base) + kReserve;
    pthread_attr_destroy(&attributes);
  }
#endif
  stackLimit = low;
}

[[noreturn]] void RaiseTooDeep() { throw ERecursionError("Recursion or nesting is too deep: the stack is used up"); }

}  // namespace

bool IsStackLow() noexcept {
  if (stackLimit == 0) FindLimit();
  return Here() < stackLimit;
}

void CheckStack() {
  if (IsStackLow()) RaiseTooDeep();
}

#if defined(KB_STACK_SWITCH)

namespace {

thread_local int segmentsInUse = 0;
constexpr size_t kSegmentBytes = size_t{32} * 1024 * 1024;

// One mapped segment with an unreachable page at its low end.
class Segment {
 public:
  Segment()
      : base_(
            mmap(nullptr, kSegmentBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
    if (base_ == MAP_FAILED) RaiseTooDeep();
    mprotect(base_, kGuard, PROT_NONE);
  }
  Segment(const Segment&) = delete;
  Segment& operator=(const Segment&) = delete;
  ~Segment() {
#if defined(KB_ASAN)
    // What is mapped here next must not inherit the marks of frames that an exception left.
    ASAN_UNPOISON_MEMORY_REGION(base_, kSegmentBytes);
#endif
    munmap(base_, kSegmentBytes);
  }
  [[nodiscard]] char* Low() const noexcept { return static_cast<char*>(base_) + kGuard; }
  [[nodiscard]] static constexpr size_t Size() noexcept { return kSegmentBytes - kGuard; }

 private:
  static constexpr size_t kGuard = 4096;
  void* base_;
};

struct Switch {
  void (*function)(void*);
  void* argument;
  ucontext_t caller;
  ucontext_t callee;
  std::exception_ptr error;
#if defined(KB_ASAN)
  void* callerFake = nullptr;
  const void* callerBottom = nullptr;
  size_t callerSize = 0;
#endif
};

void Enter(unsigned high, unsigned low) {
  auto* change = reinterpret_cast<Switch*>((static_cast<uintptr_t>(high) << 32) | low);
#if defined(KB_ASAN)
  __sanitizer_finish_switch_fiber(nullptr, &change->callerBottom, &change->callerSize);
#endif
  try {
    change->function(change->argument);
  } catch (...) {
    change->error = std::current_exception();
  }
#if defined(KB_ASAN)
  __sanitizer_start_switch_fiber(nullptr, change->callerBottom, change->callerSize);
#endif
}

// Counts the segments and puts the limit of the old stack back.
class LimitScope {
 public:
  explicit LimitScope(uintptr_t limit) noexcept : saved_(stackLimit) {
    stackLimit = limit;
    ++segmentsInUse;
  }
  LimitScope(const LimitScope&) = delete;
  LimitScope& operator=(const LimitScope&) = delete;
  ~LimitScope() {
    stackLimit = saved_;
    --segmentsInUse;
  }

 private:
  uintptr_t saved_;
};

}  // namespace

void RunOnNewStack(void (*function)(void*), void* argument) {
  if (segmentsInUse >= kMaxStackSegments) RaiseTooDeep();
  const Segment segment;
  Switch change{};
  change.function = function;
  change.argument = argument;
  getcontext(&change.callee);
  change.callee.uc_stack.ss_sp = segment.Low();
  change.callee.uc_stack.ss_size = Segment::Size();
  change.callee.uc_link = &change.caller;
  const auto address = reinterpret_cast<uintptr_t>(&change);
  makecontext(&change.callee, reinterpret_cast<void (*)()>(&Enter), 2, static_cast<unsigned>(address >> 32),
              static_cast<unsigned>(address & 0xFFFFFFFFU));
  {
    const LimitScope scope(reinterpret_cast<uintptr_t>(segment.Low()) + kReserve);
#if defined(KB_ASAN)
    __sanitizer_start_switch_fiber(&change.callerFake, segment.Low(), Segment::Size());
#endif
    swapcontext(&change.caller, &change.callee);
#if defined(KB_ASAN)
    __sanitizer_finish_switch_fiber(change.callerFake, nullptr, nullptr);
#endif
  }
  if (change.error) std::rethrow_exception(change.error);
}

#else

void RunOnNewStack(void (*)(void*), void*) { RaiseTooDeep(); }

#endif

}  // namespace kb
