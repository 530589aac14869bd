// Immutable shared text: the characters of symbols, strings and names.
#pragma once

#include <atomic>
#include <compare>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "kb/common/Hash.h"
#include "kb/common/Ref.h"

namespace kb {

/// Handle to an immutable UTF-8 text. Copying shares the characters; the hash is computed once, when the text is
/// made. Comparison is by pointer, then by hash, so that two different texts are told apart without looking at them.
/// The empty text holds no storage.
class TKBText {
 public:
  TKBText() noexcept = default;
  TKBText(std::string_view text) : rep_(text.empty() ? nullptr : Make(text)) {}
  TKBText(const std::string& text) : TKBText(std::string_view(text)) {}
  TKBText(const char* text) : TKBText(std::string_view(text)) {}
  TKBText(const TKBText& other) noexcept : rep_(other.rep_) { Retain(); }
  TKBText(TKBText&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  ~TKBText() { Drop(); }
  TKBText& operator=(TKBText other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }

  [[nodiscard]] std::string_view View() const noexcept {
    return rep_ == nullptr ? std::string_view() : std::string_view(rep_->Chars(), rep_->length);
  }
  operator std::string_view() const noexcept { return View(); }
  [[nodiscard]] std::string ToString() const { return std::string(View()); }
  [[nodiscard]] bool Empty() const noexcept { return rep_ == nullptr; }
  [[nodiscard]] size_t Size() const noexcept { return rep_ == nullptr ? 0 : rep_->length; }
  /// Same as CalculateHash of the characters.
  [[nodiscard]] int32_t Hash() const noexcept { return HashOf(rep_); }
  [[nodiscard]] TTextHash FullHash() const noexcept { return rep_ == nullptr ? TTextHash() : rep_->hash; }
  /// True when the text holds a double quote or a backslash, so that its printed string form differs from it.
  [[nodiscard]] bool NeedsEscape() const noexcept { return rep_ != nullptr && rep_->needsEscape; }

  friend bool operator==(const TKBText& a, const TKBText& b) noexcept { return SameText(a.rep_, b.rep_); }
  friend bool operator==(const TKBText& a, std::string_view b) noexcept { return a.View() == b; }
  friend bool operator==(const TKBText& a, const char* b) noexcept { return a.View() == b; }

  /// Storage of one text; public only so that a value can hold it in its union.
  struct Rep {
    mutable std::atomic<int32_t> count{1};
    uint32_t length = 0;
    bool needsEscape = false;
    TTextHash hash;
    [[nodiscard]] const char* Chars() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  };
  [[nodiscard]] static int32_t HashOf(const Rep* rep) noexcept {
    return rep == nullptr ? TTextHash().Fold() : rep->hash.Fold();
  }
  /// Whether two storages, either of which may be null, hold the same text.
  [[nodiscard]] static bool SameText(const Rep* a, const Rep* b) noexcept {
    if (a == b) return true;
    if (a == nullptr || b == nullptr || a->hash.value != b->hash.value || a->length != b->length) return false;
    return std::memcmp(a->Chars(), b->Chars(), a->length) == 0;
  }
  /// Adopts a count that Detach gave up.
  [[nodiscard]] static TKBText Adopt(Rep* rep) noexcept {
    TKBText result;
    result.rep_ = rep;
    return result;
  }
  [[nodiscard]] Rep* Detach() noexcept { return std::exchange(rep_, nullptr); }
  [[nodiscard]] Rep* Get() const noexcept { return rep_; }
  static void RetainRep(const Rep* rep) noexcept {
    if (rep == nullptr) return;
    if (IsSingleThreaded()) {
      rep->count.store(rep->count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
      rep->count.fetch_add(1, std::memory_order_relaxed);
    }
  }
  static void DropRep(const Rep* rep) noexcept {
    if (rep == nullptr) return;
    if (IsSingleThreaded()) {
      const int32_t count = rep->count.load(std::memory_order_relaxed) - 1;
      rep->count.store(count, std::memory_order_relaxed);
      if (count == 0) Free(rep);
    } else if (rep->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      Free(rep);
    }
  }

 private:
  [[nodiscard]] static Rep* Make(std::string_view text);
  static void Free(const Rep* rep) noexcept;
  void Retain() const noexcept { RetainRep(rep_); }
  void Drop() const noexcept { DropRep(rep_); }

  Rep* rep_ = nullptr;
};

}  // namespace kb

template <>
struct std::hash<kb::TKBText> {
  size_t operator()(const kb::TKBText& text) const noexcept { return static_cast<uint32_t>(text.Hash()); }
};
