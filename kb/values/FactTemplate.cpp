// Templates: slots by name and by position.
//
// The table holds the slots in order of definition; byPosition_ says where their values stand in facts. A
// position stays with its slot for life, renamed or not, and dies with it. Each change of names or positions
// gives the template a new layout id, drawn from one counter of the process, which is how a TSlotRef notices
// that it must look again; what follows from the names (sorted names, ordered flag, hash, fuzzy flag) is
// worked out anew at the same moment.
//
// Tested in tests/values/FactTemplateTest.cpp.
#include "kb/values/FactTemplate.h"

#include <algorithm>
#include <atomic>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/values/Fact.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBModule.h"
#include "kb/values/LosslessText.h"

namespace kb {
namespace {

/// Up to so many slots a walk over the names is faster than hashing one.
constexpr size_t kMaxWalkedSlots = 8;

std::atomic<uint64_t> layoutIds{0};
std::atomic<uint64_t> namingEpoch{0};

[[nodiscard]] uint64_t NewLayoutId() noexcept { return layoutIds.fetch_add(1, std::memory_order_relaxed) + 1; }
void NewNamingEpoch() noexcept { namingEpoch.fetch_add(1, std::memory_order_acq_rel); }

/// The parent if it has that owner; links do not reach from one engine into another.
[[nodiscard]] IFactTemplate ParentWithin(const IFactTemplate& parent, const TObject* owner) {
  return parent && parent->GetAOwner() == owner ? parent : IFactTemplate();
}

}  // namespace

TFactTemplate::TFactTemplate(TObject* owner) : owner_(owner) { InitOwner(); }

TFactTemplate::TFactTemplate(TObject* owner, std::string_view name) : name_(name), owner_(owner) { InitOwner(); }

TFactTemplate::TFactTemplate(TObject* owner, std::string_view name, std::string_view comment,
                             const IFactTemplate& parent)
    : owner_(owner) {
  InitOwner();
  if (parent) {
    backwardChaining_ = parent->backwardChaining_;
    CopySlots(*parent);
    parent_ = ParentWithin(parent, owner_);
  }
  name_ = name;
  comment_ = comment;
}

TFactTemplate::~TFactTemplate() {
  for (int i = 0; i < slots_.GetCount(); ++i) slots_.GetValue(i)->ClearOwner();
}

void TFactTemplate::InitOwner() {
  auto* engine = dynamic_cast<TInferenceEngine*>(owner_);
  engine_ = engine;
  if (engine != nullptr) SetModule(engine->GetCurrentModule().Get());
}

const TClassInfo& TFactTemplate::StaticClass() noexcept {
  static const TClassInfo info{"TFactTemplate", &TModuleConstruct::StaticClass(), nullptr, nullptr};
  return info;
}

void TFactTemplate::ClearOwner() noexcept {
  owner_ = nullptr;
  engine_ = {};
}

uint64_t TFactTemplate::GetNamingEpoch() noexcept { return namingEpoch.load(std::memory_order_acquire); }

void TFactTemplate::SetTemplateName(std::string_view name) {
  if (name_ == name) return;
  CheckConstructName(name);
  const TKBText newName(name);
  const TKBText oldName = name_;
  if (GetEngine() != nullptr) GetEngine()->RenameFactTemplate(*this, oldName, newName);
  name_ = newName;
  NewNamingEpoch();
  if (GetEngine() != nullptr && IsShared()) GetEngine()->TemplateRenamed(*this, oldName);
}

void TFactTemplate::SetParent(const IFactTemplate& parent) {
  if (parent == parent_) return;
  parent_ = parent;
  NewNamingEpoch();
}

bool TFactTemplate::IsFuzzy() const {
  if (!fuzzyDirty_) return fuzzy_;
  fuzzy_ = std::any_of(byPosition_.begin(), byPosition_.end(),
                       [](const TFactSlot* slot) { return slot != nullptr && slot->IsFuzzy(); });
  fuzzyDirty_ = false;
  return fuzzy_;
}

// ---- slots

/// A slot that stands in the template; nothing is added when a step fails.
IFactSlot TFactTemplate::MakeSlot(std::string_view name, TKBTypes types, const IKBValue& slotDefault) {
  auto slot = MakeRef<TFactSlot>(this);
  slot->SetSlotType(types);
  slot->SetSlotDefault(slotDefault);
  slot->SetName(name);
  return slot;
}

void TFactTemplate::AddSlot(std::string_view name, const IKBValue& slotDefault) {
  if (!slotDefault) throw EKBException(TKBMessage::BadSlotType);
  if (slotDefault->Is(dtList)) throw EKBException(TKBMessage::InvalidDefaultSlotValue, {slotDefault->ToString()});
  if (name.empty()) throw EKBException(TKBMessage::BadSlotName, {std::string(name)});
  if (TFactSlot* slot = FindSlot(name)) {
    const IKBValue& present = slot->GetSlotDefault();
    if (present && present->Is(dtList)) throw EKBException(TKBMessage::MultislotIsNotSlot);
    slot->SetSlotDefault(slotDefault);
  } else {
    MakeSlot(name, KBSlotTypes, slotDefault);
  }
  UpdateOrdered();
}

void TFactTemplate::AddMultiSlot(std::string_view name, const IKBValue& slotDefault) {
  if (!slotDefault) throw EKBException(TKBMessage::BadSlotType);
  if (!slotDefault->Is(dtList)) throw EKBException(TKBMessage::InvalidDefaultMultislot, {slotDefault->ToString()});
  if (Trim(name).empty()) throw EKBException(TKBMessage::BadSlotName, {std::string(name)});
  if (TFactSlot* slot = FindSlot(name)) {
    const IKBValue& present = slot->GetSlotDefault();
    if (present && !present->Is(dtList)) throw EKBException(TKBMessage::SlotIsNotMultislot);
    slot->SetSlotDefault(slotDefault);
  } else {
    MakeSlot(name, KBSlotTypes + KBMultiSlotTypes, slotDefault);
  }
  UpdateOrdered();
}

void TFactTemplate::AddSlot(const TFactSlot& slot) {
  CheckConstructName(slot.GetName());
  auto copy = MakeRef<TFactSlot>(this);
  copy->Assign(slot);
  UpdateOrdered();
}

const IFactSlot& TFactTemplate::GetSlot(std::string_view name) const {
  const IFactSlot* slot = slots_.Find(name);
  if (slot == nullptr) throw EKBException(TKBMessage::NoSuchSlotName, {std::string(name)});
  return *slot;
}

TFactSlot* TFactTemplate::FindSlot(std::string_view name) const { return GetSlotAtPosition(GetSlotPosition(name)); }

void TFactTemplate::SetSlot(std::string_view name, const IFactSlot& slot) {
  if (!slot) throw EKBException(TKBMessage::BadSlotType);
  if (name.empty()) throw EKBException(TKBMessage::BadSlotName, {std::string(name)});
  if (!(slot->GetName() == name)) {
    throw EKBException(TKBMessage::SlotIndexMismatch, {std::string(name), slot->GetName().ToString()});
  }
  if (FindSlot(name) == slot.Get()) return;
  if (slot->owner_ != nullptr) {
    // A slot stands in one template only.
    auto copy = MakeRef<TFactSlot>(this);
    copy->Assign(*slot);
  } else {
    slot->owner_ = this;
    NewSlotName(*slot, {}, name);
  }
  UpdateOrdered();
}

/// Cuts the bond between the template and a slot that leaves it; its values in facts are read no more.
void TFactTemplate::LetGo(TFactSlot& slot) noexcept {
  if (slot.position_ >= 0) byPosition_[static_cast<size_t>(slot.position_)] = nullptr;
  slot.position_ = -1;
  slot.ClearOwner();
}

void TFactTemplate::RemoveSlot(std::string_view name) {
  const IFactSlot slot = GetSlot(name);
  LetGo(*slot);
  slots_.Remove(name);
  RebuildLayout();
}

void TFactTemplate::ClearSlots() {
  for (int i = 0; i < slots_.GetCount(); ++i) LetGo(*slots_.GetValue(i));
  slots_.Clear();
  RebuildLayout();
}

/// A slot comes in, or gets another name. Whatever slot had the new name goes.
void TFactTemplate::NewSlotName(TFactSlot& slot, std::string_view oldName, std::string_view newName) {
  const IFactSlot keep(&slot);
  const IFactSlot* former = slots_.Find(oldName);
  if (former != nullptr && *former == &slot) slots_.Remove(oldName);
  const IFactSlot* present = slots_.Find(newName);
  const IFactSlot displaced = present != nullptr ? *present : IFactSlot();
  // A slot that takes the place of another one of its name takes its values in the facts over.
  if (displaced && slot.position_ < 0) slot.position_ = displaced->position_;
  if (displaced) {
    if (displaced->position_ == slot.position_) displaced->position_ = -1;
    LetGo(*displaced);
  }
  const bool isNew = slot.position_ < 0;
  if (isNew) {
    slot.position_ = GetPositionCount();
    byPosition_.push_back(nullptr);
  }
  byPosition_[static_cast<size_t>(slot.position_)] = &slot;
  slots_.Put(newName, keep);
  // The layout is built from names, and the slot stores its new one after this call.
  slot.name_ = newName;
  if (isNew) {
    ExtendLayout(slot);
  } else {
    RebuildLayout();
  }
  UpdateOrdered();
}

IKBValue TFactTemplate::NewSlotDefault(const IKBValue& value) {
  return value && value->Is(dtFunCall) ? value->Clone() : value;
}

void TFactTemplate::UpdateOrdered() noexcept {
  ordered_ = slots_.GetCount() == 1 && slots_.GetKey(0) == SDefaultSlotName;
}

/// Enters a slot into the sorted lists. Of two names that differ in case only the first one stays.
void TFactTemplate::ExtendLayout(TFactSlot& slot) {
  const auto before = [](const TKBText& a, const TKBText& b) { return CompareText(a, b) < 0; };
  const auto place = std::lower_bound(sortedNames_.begin(), sortedNames_.end(), slot.GetName(), before);
  if (place == sortedNames_.end() || !SameText(*place, slot.GetName())) {
    sortedSlots_.insert(sortedSlots_.begin() + (place - sortedNames_.begin()), {&slot, slot.position_});
    sortedNames_.insert(place, slot.GetName());
  }
  LayoutChanged();
}

void TFactTemplate::RebuildLayout() {
  sortedSlots_.clear();
  sortedNames_.clear();
  for (int i = 0; i < slots_.GetCount(); ++i) ExtendLayout(*slots_.GetValue(i));
  LayoutChanged();
}

void TFactTemplate::LayoutChanged() noexcept {
  layoutId_ = NewLayoutId();
  hashDirty_ = true;
  fuzzyDirty_ = true;
}

TFactSlot* TFactTemplate::ContainsType(const TKBDefinedType* type) const noexcept {
  for (int i = 0; i < slots_.GetCount(); ++i) {
    TFactSlot* slot = slots_.GetValue(i).Get();
    if (slot->GetExtendedTypeInfo() == type) return slot;
  }
  return nullptr;
}

int TFactTemplate::GetSlotPosition(std::string_view name) const noexcept {
  if (byPosition_.size() <= kMaxWalkedSlots) {
    for (const TFactSlot* slot : byPosition_) {
      if (slot != nullptr && slot->name_ == name) return slot->position_;
    }
    return -1;
  }
  const IFactSlot* slot = slots_.Find(name);
  return slot != nullptr ? (*slot)->position_ : -1;
}

TFactSlot* TFactTemplate::GetSlotAtPosition(int position) const noexcept {
  return position >= 0 && position < GetPositionCount() ? byPosition_[static_cast<size_t>(position)] : nullptr;
}

// ---- facts

IFact TFactTemplate::NewFact() {
  auto fact = MakeRef<TFact>(IFactTemplate(this));
  FillFactWithDefaults(*fact);
  return fact;
}

void TFactTemplate::FillFactWithDefaults(TFact& fact) {
  const IFactTemplate& other = fact.GetTemplate();
  if (!other) throw EKBException(TKBMessage::FactTemplateMissing);
  if (!(other == this)) {
    throw EKBException(TKBMessage::FactTemplatesDiffer, {other->GetTemplateName().ToString(), name_.ToString()});
  }
  // By index: a default that is evaluated may change the template.
  for (size_t i = 0; i < sortedSlots_.size(); ++i) {
    const IFactSlot slot(sortedSlots_[i].slot);
    IKBValue value = slot->GetSlotDefault() ? slot->GetSlotDefault()->Clone() : IKBValue();
    if (value && slot->GetDefaultDynamic() && GetEngine() != nullptr)
      value = value->Resolve(&GetEngine()->GetGlobalContext());
    fact.SetValue(slot->GetName(), value);
  }
}

// ---- copies and comparison

/// Slots as they are, types and defaults shared as far as slots share them.
void TFactTemplate::CopySlots(const TFactTemplate& source) {
  ClearSlots();
  for (int i = 0; i < source.GetSlotCount(); ++i) AddSlot(*source.GetSlotAt(i));
  ordered_ = source.ordered_;
}

/// Slots by way of their text, so that types, calls and facts in defaults belong to this template's engine.
void TFactTemplate::AssignSlots(const TFactTemplate& source) {
  if (GetEngine() == nullptr) {
    CopySlots(source);
    return;
  }
  ClearSlots();
  const TLosslessText lossless;
  for (int i = 0; i < source.GetSlotCount(); ++i) {
    const IFactSlot slot = GetEngine()->ParseFactTemplateSlot(source.GetSlotAt(i)->ToString());
    AddSlot(*slot);
  }
}

void TFactTemplate::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TFactTemplate*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  if (other == this) return;
  // First what may be refused.
  SetTemplateName(other->name_);
  backwardChaining_ = other->backwardChaining_;
  comment_ = other->comment_;
  SetParent(ParentWithin(other->parent_, GetAOwner()));
  CopySlots(*other);
}

void TFactTemplate::AssignInterface(const TFactTemplate& source) {
  if (&source == this) return;
  backwardChaining_ = source.backwardChaining_;
  comment_ = source.comment_;
  name_ = source.name_;
  parent_ = ParentWithin(source.parent_, source.GetAOwner());
  NewNamingEpoch();
  AssignSlots(source);
  fuzzy_ = source.IsFuzzy();
  fuzzyDirty_ = false;
  hash_ = source.GetHashCode();
  hashDirty_ = false;
  ordered_ = source.ordered_;
}

IFactTemplate TFactTemplate::Clone() const { return Clone(GetAOwner()); }

IFactTemplate TFactTemplate::Clone(TObject* owner) const {
  auto result = MakeRef<TFactTemplate>(owner);
  if (owner != GetAOwner()) {
    result->AssignInterface(*this);
    return result;
  }
  result->backwardChaining_ = backwardChaining_;
  result->comment_ = comment_;
  result->name_ = name_;
  result->parent_ = ParentWithin(parent_, GetAOwner());
  result->CopySlots(*this);
  return result;
}

bool TFactTemplate::Equals(const TFactTemplate* other) const {
  if (other == this) return true;
  if (other == nullptr || ordered_ != other->ordered_ || !(name_ == other->name_)) return false;
  for (int i = 0; i < slots_.GetCount(); ++i) {
    if (!slots_.GetValue(i)->Equals(other->FindSlot(slots_.GetKey(i)))) return false;
  }
  return true;
}

int32_t TFactTemplate::GetHashCode() const {
  if (!hashDirty_) return hash_;
  // Stays the same when the template is renamed: facts that stand in tables are found by it.
  TTextHash text = name_.FullHash();
  for (const TKBText& name : sortedNames_) text = text + name.FullHash() + TTextHash(kLineEnd);
  hash_ = CalculateHash(text, 1);
  hashDirty_ = false;
  return hash_;
}

std::string TFactTemplate::ToString() const {
  return GetEngine() != nullptr ? GetEngine()->PrettyPrint(*this) : PrettyPrint(*this, false);
}

}  // namespace kb
