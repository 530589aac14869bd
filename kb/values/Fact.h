// One fact: a template, an id, and a value for each slot.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/common/Pool.h"
#include "kb/common/PooledArray.h"
#include "kb/platform/Object.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBTypes.h"
#include "kb/values/KBValue.h"

namespace kb {

/// A fact. The value of a slot that was never set is the default, made when it is first read; so even a read
/// belongs to one thread. A fact may be changed until it is asserted; afterwards through retract and assert.
class TFact : public TPersistent, public RefCounted, public TPooled {
 public:
  using TPooled::operator new;
  using TPooled::operator delete;
  /// `source`, when given, is assigned; no defaults are filled in (that is TFactTemplate::NewFact).
  explicit TFact(const IFactTemplate& factTemplate, const TFact* source = nullptr);
  ~TFact() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// -1 until asserted.
  [[nodiscard]] int32_t GetID() const noexcept { return id_; }
  virtual void SetID(int32_t id) { id_ = id; }
  [[nodiscard]] const IFactTemplate& GetTemplate() const noexcept { return template_; }
  /// Values of slots that both templates have are kept.
  virtual void SetTemplate(const IFactTemplate& factTemplate);

  /// Value of a slot; the default is materialised. "Fact Template is missing", "No such slot name: "%s"".
  [[nodiscard]] const IKBValue& GetValue(std::string_view name) const;
  /// Value by slot reference; null when the template has no such slot. No hashing, no exception.
  [[nodiscard]] TKBValue* FindValue(const TSlotRef& slot) const {
    const int position = template_ ? slot.Position(*template_) : -1;
    return position >= 0 ? ReadAt(position) : nullptr;
  }
  /// Value at a position of the template; null for a position without slot.
  [[nodiscard]] TKBValue* ValueAt(int position) const;
  /// Stores the value object itself (none becomes FCNil). Under the dynamic check a value that does not fit
  /// is adapted in place or refused with the slot's words.
  virtual void SetValue(std::string_view name, const IKBValue& value);
  /// The slot definition, or null when the template has none; the default is materialised.
  [[nodiscard]] TFactSlot* ContainsKey(std::string_view name) const;
  /// Names of the slots that hold a value by now, in order of definition.
  [[nodiscard]] std::vector<TKBText> GetSlotNames() const;
  /// Their values, in the same order.
  [[nodiscard]] std::vector<IKBValue> GetSlotValues() const;
  /// Puts clones of the values of `other` in place of the values, each through SetValue; one that is refused
  /// leaves the fact as it was.
  void SetValues(const TFact& other);

  /// Clones of the values of a fact of the same template; "Unable to assign slot values, fact templates are
  /// different: %s and %s".
  virtual void AssignValues(const TFact& other);
  /// Persistent form: values pass through SetValue. Between engines the fact goes through its text.
  void Assign(const TPersistent& source) override;
  void AssignInterface(const TFact& source);
  /// Same template, cloned values, same id.
  [[nodiscard]] virtual IFact Clone() const;

  /// Same template, id and value objects, but another value in one slot: for matching, which never changes values.
  [[nodiscard]] IFact ShallowClone(const TSlotRef& slot, const IKBValue& value) const;

  /// Same template object and equal values of all slots that are not fuzzy.
  [[nodiscard]] bool Equals(const TFact* other) const;
  /// From template and printed values; computed afresh.
  [[nodiscard]] int32_t GetHashCode() const;
  /// Same template, and slot by slot the same printed text: what makes a fact a duplicate.
  [[nodiscard]] bool IsDuplicateOf(const TFact& other) const;

  [[nodiscard]] std::string ToString() const;
  /// "f-", the id with as many digits as the engine's next id has, a blank and ToString.
  [[nodiscard]] std::string GetToIDString() const;

  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  virtual void SetTag(intptr_t tag) { tag_ = tag; }

  /// Hash under which the fact base's index of duplicates holds the fact.
  [[nodiscard]] uint32_t GetCacheHash() const noexcept { return cacheHash_; }
  void SetCacheHash(uint32_t hash) noexcept { cacheHash_ = hash; }

  [[nodiscard]] static int64_t LiveCount() noexcept;

 private:
  [[nodiscard]] IKBValue& Entry(int position) const;
  [[nodiscard]] TFactTemplate& RequireTemplate() const;
  [[nodiscard]] int RequirePosition(std::string_view name) const;
  [[nodiscard]] bool HasValueAt(int position) const noexcept {
    return position >= 0 && position < values_.Size() && values_[position];
  }
  [[nodiscard]] TKBValue* ReadAt(int position) const {
    return HasValueAt(position) ? values_[position].Get() : MakeDefaultAt(position);
  }
  [[nodiscard]] TKBValue* MakeDefaultAt(int position) const;
  void RequireSameTemplate(const TFact& other) const;
  void AssignFrom(const TFact& other, bool checked);
  [[nodiscard]] bool MovesBetweenEngines(const TFact& other) const noexcept;
  void AssignThroughText(const TFact& other);
  [[nodiscard]] static bool AdaptValue(const TFactSlot& slot, TKBValue& value);

  int32_t id_ = -1;
  uint32_t cacheHash_ = 0;
  mutable TPooledArray<IKBValue> values_;  // by position; null where not yet set or read
  intptr_t tag_ = 0;
  IFactTemplate template_;
};

}  // namespace kb
