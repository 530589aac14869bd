// An index of objects by a 32-bit hash that the owner supplies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kb {

/// Open-addressing multi-index: several objects may have the same hash, and the caller tells them apart. Holds plain
/// pointers. Insert, find and erase are constant on average; erasing leaves no marks behind (entries shift back), so
/// the table does not wear out. 16 bytes an entry at a load of at most 3/4.
template <class T>
class THashIndex {
 public:
  [[nodiscard]] size_t Size() const noexcept { return size_; }
  void Insert(uint32_t hash, T* object) {
    if ((size_ + 1) * 4 > slots_.size() * 3) Grow();
    Place(hash, object);
    ++size_;
  }

  /// First object of that hash for which `accept(T&)` holds, or null. The order among several is not defined.
  template <class F>
  [[nodiscard]] T* Find(uint32_t hash, F&& accept) const {
    if (slots_.empty()) return nullptr;
    for (size_t i = hash & Mask(); slots_[i].object != nullptr; i = (i + 1) & Mask()) {
      if (slots_[i].hash == hash && accept(*slots_[i].object)) return slots_[i].object;
    }
    return nullptr;
  }
  /// Calls `visit(T&)` for each object of that hash; the index must not change meanwhile.
  template <class F>
  void ForEach(uint32_t hash, F&& visit) const {
    if (slots_.empty()) return;
    for (size_t i = hash & Mask(); slots_[i].object != nullptr; i = (i + 1) & Mask()) {
      if (slots_[i].hash == hash) visit(*slots_[i].object);
    }
  }

  /// Calls `visit(T&)` for every object, in no particular order; the index must not change meanwhile.
  template <class F>
  void ForAll(F&& visit) const {
    for (const Slot& slot : slots_) {
      if (slot.object != nullptr) visit(*slot.object);
    }
  }

  /// Takes out this very object; false when it is not there under that hash.
  bool Erase(uint32_t hash, const T* object) {
    if (slots_.empty()) return false;
    size_t i = hash & Mask();
    while (slots_[i].object != object) {
      if (slots_[i].object == nullptr) return false;
      i = (i + 1) & Mask();
    }
    CloseGap(i);
    --size_;
    return true;
  }
  /// Puts another object in the place of this one, which is there under that hash.
  void Replace(uint32_t hash, const T* object, T* other) noexcept {
    size_t i = hash & Mask();
    while (slots_[i].object != object) i = (i + 1) & Mask();
    slots_[i].object = other;
  }
  /// Takes out the first object of that hash for which `accept(T&)` holds and gives it, or null.
  template <class F>
  T* Take(uint32_t hash, F&& accept) {
    if (slots_.empty()) return nullptr;
    for (size_t i = hash & Mask(); slots_[i].object != nullptr; i = (i + 1) & Mask()) {
      if (slots_[i].hash != hash || !accept(*slots_[i].object)) continue;
      T* object = slots_[i].object;
      CloseGap(i);
      --size_;
      return object;
    }
    return nullptr;
  }
  void Clear() noexcept {
    slots_.clear();
    slots_.shrink_to_fit();
    size_ = 0;
  }
  void Reserve(size_t count) {
    while (count * 4 > slots_.size() * 3) Grow();
  }

 private:
  struct Slot {
    uint32_t hash = 0;
    T* object = nullptr;
  };
  [[nodiscard]] size_t Mask() const noexcept { return slots_.size() - 1; }
  void Place(uint32_t hash, T* object) noexcept {
    size_t i = hash & Mask();
    while (slots_[i].object != nullptr) i = (i + 1) & Mask();
    slots_[i] = {hash, object};
  }
  // Linear probing without marks: entries behind the gap that may move into it do.
  void CloseGap(size_t gap) noexcept {
    size_t i = gap;
    for (;;) {
      i = (i + 1) & Mask();
      if (slots_[i].object == nullptr) break;
      const size_t home = slots_[i].hash & Mask();
      if (((i - home) & Mask()) >= ((i - gap) & Mask())) {
        slots_[gap] = slots_[i];
        gap = i;
      }
    }
    slots_[gap] = Slot();
  }
  void Grow() {
    std::vector<Slot> old(slots_.empty() ? 8 : slots_.size() * 2);
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.object != nullptr) Place(slot.hash, slot.object);
    }
  }

  std::vector<Slot> slots_;
  size_t size_ = 0;
};

}  // namespace kb
