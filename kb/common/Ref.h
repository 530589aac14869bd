// Intrusive counted references.
//
// RefCounted carries the count; Ref<T> is the handle. Counting is atomic in meaning: a handle may be dropped on any
// thread. While the process has a single thread (the C library tells where it can) the count is changed with plain
// instructions, which is worth some 20 % of the time of a match. An immortal object (a shared constant) is never
// counted at all, so that engines on several threads do not fight over its cache line.
//
// Objects die without deep recursion: a chain of objects that own each other is freed by a loop, however long.
#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#if defined(__GLIBC__)
#include <features.h>
#if __GLIBC_PREREQ(2, 32)
#include <sys/single_threaded.h>
#define KB_HAVE_SINGLE_THREADED 1
#endif
#endif

namespace kb {

/// True while no second thread exists in the process, as far as the platform can tell.
[[nodiscard]] inline bool IsSingleThreaded() noexcept {
#if defined(KB_HAVE_SINGLE_THREADED)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

class RefCounted {
 public:
  RefCounted() noexcept = default;
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  void AddRef() const noexcept {
    const int32_t count = count_.load(std::memory_order_relaxed);
    if (count < 0) return;
    if (IsSingleThreaded()) {
      count_.store(count + 1, std::memory_order_relaxed);
    } else {
      count_.fetch_add(1, std::memory_order_relaxed);
    }
  }

  void Release() const noexcept {
    const int32_t count = count_.load(std::memory_order_relaxed);
    if (count < 0) return;
    if (IsSingleThreaded()) {
      count_.store(count - 1, std::memory_order_relaxed);
      if (count == 1) Destroy();
    } else if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      Destroy();
    }
  }

  /// Number of handles; 0 before the first one is made.
  [[nodiscard]] int32_t RefCount() const noexcept { return count_.load(std::memory_order_relaxed); }
  [[nodiscard]] bool IsImmortal() const noexcept { return RefCount() < 0; }
  /// Takes the object out of counting for good; it is never freed through a handle again.
  void MakeImmortal() noexcept { count_.store(INT32_MIN / 2, std::memory_order_relaxed); }

 protected:
  virtual ~RefCounted() = default;

 private:
  void Destroy() const noexcept;

  mutable std::atomic<int32_t> count_{0};
};

/// Handle to a RefCounted object, or to none. A T that is only declared may be held; copying needs its definition. A
/// class may have a Release of its own: the handle always calls that of RefCounted.
template <class T>
class Ref {
 public:
  constexpr Ref() noexcept = default;
  constexpr Ref(std::nullptr_t) noexcept {}
  Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->RefCounted::AddRef();
  }
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(const Ref<U>& other) noexcept : Ref(other.Get()) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(Ref<U>&& other) noexcept : object_(other.Detach()) {}
  ~Ref() {
    if (object_ != nullptr) object_->RefCounted::Release();
  }

  Ref& operator=(const Ref& other) noexcept {  // NOLINT(bugprone-unhandled-self-assignment): copies and swaps
    Ref(other).Swap(*this);
    return *this;
  }
  Ref& operator=(Ref&& other) noexcept {
    Ref(std::move(other)).Swap(*this);
    return *this;
  }
  Ref& operator=(std::nullptr_t) noexcept {
    Ref().Swap(*this);
    return *this;
  }

  [[nodiscard]] T* Get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  void Swap(Ref& other) noexcept { std::swap(object_, other.object_); }
  /// Gives up the object with its count; the caller releases it.
  [[nodiscard]] T* Detach() noexcept { return std::exchange(object_, nullptr); }

  friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.object_ == b.object_; }
  friend bool operator==(const Ref& a, const T* b) noexcept { return a.object_ == b; }
  friend bool operator==(const Ref& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }

 private:
  T* object_ = nullptr;
};

/// Makes an object and, if its class has one, calls its AfterConstruction when it is complete.
template <class T, class... Args>
[[nodiscard]] Ref<T> MakeRef(Args&&... args) {
  Ref<T> result(new T(std::forward<Args>(args)...));
  if constexpr (requires(T & object) { object.AfterConstruction(); }) result->AfterConstruction();
  return result;
}

template <class T, class U>
[[nodiscard]] Ref<T> StaticRefCast(const Ref<U>& other) noexcept {
  return Ref<T>(static_cast<T*>(other.Get()));
}

template <class T, class U>
[[nodiscard]] Ref<T> DynamicRefCast(const Ref<U>& other) noexcept {
  return Ref<T>(dynamic_cast<T*>(other.Get()));
}

}  // namespace kb

template <class T>
struct std::hash<kb::Ref<T>> {
  size_t operator()(const kb::Ref<T>& ref) const noexcept { return std::hash<const void*>()(ref.Get()); }
};
