// References that do not keep their object alive and know when it has gone.
//
// A counted object that a host may keep longer than the engine it came from must not hold a plain pointer to that
// engine. It holds a TWeakRef: the pointer with a counted cell, shared by all who refer to one target, in which the
// target leaves word when it is destroyed. Reading costs one step more than a pointer. Used by the thread of the
// target alone.
#pragma once

#include "kb/common/Ref.h"

namespace kb {

template <class T>
class TWeakRef;

/// Says to those who refer to an object whether it still lives.
struct TLifeCell final : RefCounted {
  bool alive = true;
};

/// Base of a class that TWeakRef may refer to. Not copied: each object has a cell of its own.
template <class T>
class TWeakTarget {
 public:
  TWeakTarget(const TWeakTarget&) = delete;
  TWeakTarget& operator=(const TWeakTarget&) = delete;

 protected:
  TWeakTarget() : cell_(MakeRef<TLifeCell>()) {}
  ~TWeakTarget() { LoseReferences(); }

  /// For a destructor whose members must not find their owner any more.
  void LoseReferences() noexcept { cell_->alive = false; }

 private:
  friend class TWeakRef<T>;
  Ref<TLifeCell> cell_;
};

template <class T>
class TWeakRef {
 public:
  TWeakRef() = default;
  /// `target` may be null.
  TWeakRef(T* target) : target_(target) {
    if (target != nullptr) cell_ = static_cast<const TWeakTarget<T>*>(target)->cell_;
  }
  /// True when there was a target that has gone.
  [[nodiscard]] bool HasGone() const noexcept { return cell_ && !cell_->alive; }
  /// The target, or null when it has gone.
  [[nodiscard]] T* Get() const noexcept { return HasGone() ? nullptr : target_; }

 private:
  T* target_ = nullptr;
  Ref<TLifeCell> cell_;
};

}  // namespace kb
