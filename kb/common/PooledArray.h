// A small array of fixed length in pooled memory.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "kb/common/Pool.h"

namespace kb {

/// Owns `size` value-initialised items; 16 bytes itself. For the arrays that objects made by the million carry: a long
/// one comes from the system as any other memory does.
template <class T>
class TPooledArray {
 public:
  TPooledArray() noexcept = default;
  explicit TPooledArray(int32_t size) : size_(size) {
    if (size == 0) return;
    data_ = static_cast<T*>(PoolAllocate(Bytes()));
    std::uninitialized_value_construct_n(data_, static_cast<size_t>(size));
  }
  TPooledArray(TPooledArray&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  TPooledArray& operator=(TPooledArray&& other) noexcept {
    TPooledArray old(std::move(*this));
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    return *this;
  }
  ~TPooledArray() {
    std::destroy_n(data_, static_cast<size_t>(size_));
    PoolFree(data_, Bytes());
  }

  [[nodiscard]] int32_t Size() const noexcept { return size_; }
  /// `index` from 0 to Size() - 1, unchecked.
  [[nodiscard]] T& operator[](int32_t index) noexcept { return data_[index]; }
  [[nodiscard]] const T& operator[](int32_t index) const noexcept { return data_[index]; }

 private:
  static_assert(std::is_nothrow_default_constructible_v<T>);
  [[nodiscard]] size_t Bytes() const noexcept { return static_cast<size_t>(size_) * sizeof(T); }

  T* data_ = nullptr;
  int32_t size_ = 0;
};

}  // namespace kb
