// The shape of a fact: slots and the template that holds them.
//
// Slots are kept by name in the order in which they were added, and a fact holds their values by position. A
// position is never used twice in a template, so that a fact made before a slot was added or removed is still
// read rightly. TSlotRef remembers the position for the last template seen: reading a slot while matching
// hashes nothing.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/Table.h"
#include "kb/common/Text.h"
#include "kb/common/WeakRef.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/KBTypes.h"
#include "kb/values/KBValue.h"

namespace kb {

/// One slot of a template.
class TFactSlot : public TPersistent, public RefCounted {
 public:
  /// `owner` may be null: a free-standing slot checks nothing that needs an engine.
  explicit TFactSlot(TFactTemplate* owner = nullptr);
  ~TFactSlot() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TFactTemplate* GetOwner() const noexcept { return owner_; }
  /// Called by the template when it lets go of the slot.
  void ClearOwner() noexcept { owner_ = nullptr; }
  [[nodiscard]] std::string GetTemplateName() const;
  [[nodiscard]] const TKBText& GetName() const noexcept { return name_; }
  /// Name check; the slot enters its template's table under the name. Set it last.
  virtual void SetName(std::string_view name);
  [[nodiscard]] TKBTypes GetSlotType() const noexcept { return slotType_; }
  /// "Cannot mix fuzzy type with other primitive types"; a default that no longer fits is replaced by a valid one.
  virtual void SetSlotType(TKBTypes types);
  [[nodiscard]] const IKBValue& GetSlotDefault() const noexcept { return slotDefault_; }
  /// Stores a clone (a shared constant as it stands; none allowed). "Invalid default slot value: %s" under
  /// the dynamic check.
  virtual void SetSlotDefault(const IKBValue& value);
  [[nodiscard]] bool GetDefaultDynamic() const noexcept { return defaultDynamic_; }
  void SetDefaultDynamic(bool value) noexcept { defaultDynamic_ = value; }
  [[nodiscard]] const IKBDefinedType& GetExtendedTypeInfo() const noexcept { return typeInfo_; }
  /// The slot's types become the type's base types.
  virtual void SetExtendedTypeInfo(const IKBDefinedType& type);
  /// The same for a slot that is complete: it stays single or multiple, and a default that still fits stays.
  void ReplaceType(const IKBDefinedType& type);

  [[nodiscard]] bool IsFuzzy() const noexcept { return slotType_.Has(dtFuzzy); }
  /// A slot counts as multislot when its types hold dtList.
  [[nodiscard]] bool IsMultiSlot() const noexcept { return slotType_.Has(dtList); }
  [[nodiscard]] bool IsValid(const TKBValue* value) const;
  /// The words for a failed check, empty for a valid value.
  [[nodiscard]] std::string GetInvalidValueString(const TKBValue* value) const;
  [[nodiscard]] virtual IKBValue CreateValidDefault(bool multi) const;

  void Assign(const TPersistent& source) override;
  [[nodiscard]] bool Equals(const TFactSlot* other) const;
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  virtual void SetTag(intptr_t tag) { tag_ = tag; }

 protected:
  /// Runs when someone changes the default value in place; "Value "%s" is not valid, %s" under the dynamic check.
  virtual void ValueChanged(const IKBValue& value);

 private:
  [[nodiscard]] bool ChecksDynamically() const;
  [[nodiscard]] bool Accepts(TKBType type) const noexcept;
  [[nodiscard]] std::string WrongTypeText(const TKBValue& value) const;
  void DropDefault();
  void StoreDefault(const IKBValue& value);

  TFactTemplate* owner_;
  IKBValue slotDefault_;
  TKBText name_;
  TKBTypes slotType_;
  intptr_t tag_ = 0;
  IKBDefinedType typeInfo_;
  bool defaultDynamic_ = false;
  friend class TFactTemplate;
  int position_ = -1;  // of the slot's values in facts; given by the template that holds the slot
};

/// A fact template. Its owner is normally the engine; without one it prints plainly and skips the engine's checks.
class TFactTemplate : public TModuleConstruct {
 public:
  explicit TFactTemplate(TObject* owner);
  TFactTemplate(TObject* owner, std::string_view name);
  /// With a parent the template starts as a copy of it; the link is kept only within one owner.
  TFactTemplate(TObject* owner, std::string_view name, std::string_view comment, const IFactTemplate& parent);
  ~TFactTemplate() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// Null when the owner was an engine that has gone; GetEngine likewise.
  [[nodiscard]] TObject* GetAOwner() const noexcept { return engine_.HasGone() ? nullptr : owner_; }
  /// The owner as engine, or null.
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_.Get(); }
  /// Cuts the template off from its engine, for the time when that goes first.
  void ClearOwner() noexcept;

  [[nodiscard]] const TKBText& GetTemplateName() const noexcept { return name_; }
  /// Name check, then the engine's rename; on any exception the old name stays.
  virtual void SetTemplateName(std::string_view name);
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  virtual void SetComment(std::string_view comment) { comment_ = comment; }
  [[nodiscard]] const IFactTemplate& GetParent() const noexcept { return parent_; }
  virtual void SetParent(const IFactTemplate& parent);
  [[nodiscard]] bool IsBackwardChaining() const noexcept { return backwardChaining_; }
  virtual void SetBackwardChaining(bool value) { backwardChaining_ = value; }
  /// True when the one slot is SDefaultSlotName.
  [[nodiscard]] bool IsOrdered() const noexcept { return ordered_; }
  /// True when a slot is fuzzy; cached.
  [[nodiscard]] bool IsFuzzy() const;

  /// Adds a slot or gives an existing one a new default. "Bad Slot Type", "Bad Slot Name: %s", "Invalid
  /// default slot value: %s", "Invalid value for existing slot, multislot is not slot".
  virtual void AddSlot(std::string_view name, const IKBValue& slotDefault);
  virtual void AddMultiSlot(std::string_view name, const IKBValue& slotDefault);
  /// Adds a copy of the slot.
  virtual void AddSlot(const TFactSlot& slot);
  /// "No such slot name: "%s"".
  [[nodiscard]] const IFactSlot& GetSlot(std::string_view name) const;
  /// The slot, or null.
  [[nodiscard]] TFactSlot* FindSlot(std::string_view name) const;
  [[nodiscard]] bool ContainsSlot(std::string_view name) const { return FindSlot(name) != nullptr; }
  virtual void SetSlot(std::string_view name, const IFactSlot& slot);
  virtual void RemoveSlot(std::string_view name);
  virtual void ClearSlots();
  /// Slots in order of definition.
  [[nodiscard]] int GetSlotCount() const noexcept { return slots_.GetCount(); }
  [[nodiscard]] const IFactSlot& GetSlotAt(int index) const { return slots_.GetValue(index); }
  /// Names sorted without regard to case; of two that differ only in case the first one.
  [[nodiscard]] const std::vector<TKBText>& GetSlotNames() const noexcept { return sortedNames_; }
  /// First slot whose ExtendedTypeInfo is that object, or null.
  [[nodiscard]] TFactSlot* ContainsType(const TKBDefinedType* type) const noexcept;

  // Positions, for facts and for whoever reads many facts.
  /// Position of the slot's value in a fact, or -1. Hashes the name unless the template is small.
  [[nodiscard]] int GetSlotPosition(std::string_view name) const noexcept;
  /// Slots and positions in the order of GetSlotNames.
  struct TPlacedSlot {
    TFactSlot* slot;
    int position;
  };
  [[nodiscard]] const std::vector<TPlacedSlot>& GetSortedSlots() const noexcept { return sortedSlots_; }
  /// Slot at a position, or null when it was removed.
  [[nodiscard]] TFactSlot* GetSlotAtPosition(int position) const noexcept;
  /// One more than the highest position ever given.
  [[nodiscard]] int GetPositionCount() const noexcept { return static_cast<int>(byPosition_.size()); }
  /// Differs between any two layouts of any two templates of the process.
  [[nodiscard]] uint64_t GetLayoutId() const noexcept { return layoutId_; }
  /// Changes whenever any template of the process gets another name or parent; guards caches of matching templates.
  [[nodiscard]] static uint64_t GetNamingEpoch() noexcept;

  /// A new fact with its defaults filled in.
  [[nodiscard]] virtual IFact NewFact();
  /// Fills every slot with its default, dynamic ones evaluated now, in the order of GetSlotNames.
  virtual void FillFactWithDefaults(TFact& fact);

  void Assign(const TPersistent& source) override;
  /// Interface form: the name is stored without a rename, slots are printed and parsed again by this engine.
  virtual void AssignInterface(const TFactTemplate& source);
  [[nodiscard]] virtual IFactTemplate Clone() const;
  [[nodiscard]] IFactTemplate Clone(TObject* owner) const;
  [[nodiscard]] virtual bool Equals(const TFactTemplate* other) const;
  [[nodiscard]] int32_t GetHashCode() const;
  [[nodiscard]] std::string ToString() const;

  // Hooks of the slots.
  virtual void NewSlotName(TFactSlot& slot, std::string_view oldName, std::string_view newName);
  [[nodiscard]] virtual IKBValue NewSlotDefault(const IKBValue& value);
  virtual void NewSlotType() noexcept { fuzzyDirty_ = true; }

 private:
  void AssignSlots(const TFactTemplate& source);
  void CopySlots(const TFactTemplate& source);
  void InitOwner();
  IFactSlot MakeSlot(std::string_view name, TKBTypes types, const IKBValue& slotDefault);
  void LetGo(TFactSlot& slot) noexcept;
  void UpdateOrdered() noexcept;
  void ExtendLayout(TFactSlot& slot);
  void RebuildLayout();
  void LayoutChanged() noexcept;

  bool backwardChaining_ = false;
  bool ordered_ = false;
  mutable bool fuzzyDirty_ = true;
  mutable bool fuzzy_ = false;
  mutable bool hashDirty_ = true;
  mutable int32_t hash_ = 0;
  IFactTemplate parent_;
  std::string comment_;
  TQDStringHashTable<IFactSlot> slots_;
  std::vector<TFactSlot*> byPosition_;  // null where the slot was removed
  std::vector<TKBText> sortedNames_;
  std::vector<TPlacedSlot> sortedSlots_;  // parallel to sortedNames_
  TKBText name_;
  TObject* owner_;
  TWeakRef<TInferenceEngine> engine_;
  uint64_t layoutId_ = 0;
};

/// A slot name that remembers its position in the template last asked for. Constant without hashing while the
/// template stays the same.
class TSlotRef {
 public:
  TSlotRef() = default;
  explicit TSlotRef(const TKBText& name) : name_(name), wholeFact_(name == SPatternBinding) {}
  [[nodiscard]] const TKBText& GetName() const noexcept { return name_; }
  /// The reference is to no slot, but to the fact of a whole pattern: its name is SPatternBinding.
  [[nodiscard]] bool IsWholeFact() const noexcept { return wholeFact_; }
  /// Position in `factTemplate`, or -1.
  [[nodiscard]] int Position(const TFactTemplate& factTemplate) const noexcept {
    if (layoutId_ != factTemplate.GetLayoutId()) {
      position_ = factTemplate.GetSlotPosition(name_.View());
      layoutId_ = factTemplate.GetLayoutId();
    }
    return position_;
  }

 private:
  TKBText name_;
  bool wholeFact_ = false;
  mutable uint64_t layoutId_ = 0;
  mutable int position_ = -1;
};

}  // namespace kb
