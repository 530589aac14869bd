// Containers of values: the multifield and the fuzzy literal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/common/Pool.h"
#include "kb/common/WeakRef.h"
#include "kb/values/KBTypes.h"
#include "kb/values/KBValue.h"

namespace kb {

/// The multifield: values in order of insertion, zero-based, the same value possibly twice, an element
/// possibly missing (a null handle). IndexOf and Remove go by identity of the value object, Equals by
/// content. A bad index raises EListError "List index out of bounds (%d)". The vector of FCNilList is shared
/// by the whole process: changing it raises EKBException.
class TValueVector : public RefCounted, public TPooled {
 public:
  TValueVector() = default;
  explicit TValueVector(std::vector<IKBValue> items) noexcept : items_(std::move(items)) {}

  [[nodiscard]] int GetValueCount() const noexcept { return static_cast<int>(items_.size()); }
  [[nodiscard]] const IKBValue& Get(int index) const;
  void Put(int index, const IKBValue& value);
  int Add(const IKBValue& value);
  void Insert(int index, const IKBValue& value);
  void Delete(int index);
  /// Index that the element had, or -1.
  int Remove(const IKBValue& value);
  [[nodiscard]] int IndexOf(const IKBValue& value) const noexcept;
  /// Raise EListError on an empty vector.
  [[nodiscard]] const IKBValue& First() const { return Get(0); }
  [[nodiscard]] const IKBValue& Last() const { return Get(GetValueCount() - 1); }
  void Clear();
  void Reserve(int count) { items_.reserve(static_cast<size_t>(count)); }
  /// Adds the elements of `other`, sharing the value objects.
  void Append(const TValueVector& other);

  /// Replaces the elements by clones of the source's; copies the tag.
  void Assign(const TValueVector& source);
  [[nodiscard]] IValueVector Clone() const;

  /// Pairwise by position with TKBValue::Equals; two missing elements match.
  [[nodiscard]] bool Equals(const TValueVector* other) const;
  /// Sum of the elements' hashes, independent of their order.
  [[nodiscard]] int32_t GetHashCode() const;
  /// Each element's text followed by one blank.
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] TTextHash PrintedHash() const;

  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

  [[nodiscard]] auto begin() const noexcept { return items_.begin(); }
  [[nodiscard]] auto end() const noexcept { return items_.end(); }

 private:
  void CheckMutable() const;
  std::vector<IKBValue> items_;
  intptr_t tag_ = 0;
};

/// Parses and prints the singleton form of fuzzy sets; the engine is one.
class ISingletonsParser : public TWeakTarget<ISingletonsParser> {
 public:
  virtual ~ISingletonsParser() = default;
  [[nodiscard]] virtual ISingletonsVector ParseSingletons(std::string_view text) = 0;
  [[nodiscard]] virtual std::string PrettyPrintSingletons(const TSingletonsVector& singletons) = 0;
};

/// A fuzzy set as the language writes it: (x y) pairs of values that are still unevaluated.
class TSingletonsVector : public RefCounted {
 public:
  /// `parser` is not owned and may be null.
  explicit TSingletonsVector(ISingletonsParser* parser = nullptr) : parser_(parser) {}

  [[nodiscard]] int GetCount() const noexcept { return x_.GetValueCount(); }
  [[nodiscard]] const IKBValue& GetXValues(int index) const { return x_.Get(index); }
  [[nodiscard]] const IKBValue& GetYValues(int index) const { return y_.Get(index); }
  void SetXValues(int index, const IKBValue& value) { x_.Put(index, value); }
  void SetYValues(int index, const IKBValue& value) { y_.Put(index, value); }
  int Add(const IKBValue& x, const IKBValue& y);
  void Insert(int index, const IKBValue& x, const IKBValue& y);
  void Delete(int index);
  void Clear();
  [[nodiscard]] int IndexOfX(const IKBValue& value) const noexcept { return x_.IndexOf(value); }
  [[nodiscard]] int IndexOfY(const IKBValue& value) const noexcept { return y_.IndexOf(value); }
  void Append(const TSingletonsVector& other);
  [[nodiscard]] ISingletonsParser* GetParser() const noexcept { return parser_.Get(); }
  void SetParser(ISingletonsParser* parser) { parser_ = parser; }

  /// Clones of the pairs; parser and tag are copied.
  void Assign(const TSingletonsVector& source);
  [[nodiscard]] ISingletonsVector Clone() const;
  [[nodiscard]] bool Equals(const TSingletonsVector* other) const;
  [[nodiscard]] int32_t GetHashCode() const;
  /// The parser's printed form, or "(x y) " for each pair without one.
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

 private:
  intptr_t tag_ = 0;
  TValueVector x_;
  TValueVector y_;
  TWeakRef<ISingletonsParser> parser_;
};

}  // namespace kb
