// Bindings, contexts and what a context does to facts and lists.
//
// A context is made for each call of a function and each firing, and mostly holds a handful of bindings: so
// they lie in a vector that is walked, comparing hashes, and get an index only when they become many. Names
// of different texts are told apart without looking at their characters.
//
// Tested in tests/values/KBContextTest.cpp.
#include "kb/values/KBContext.h"

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/fuzzy/FuzzyExpression.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/Fact.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

/// Up to here a walk over the bindings is faster than an index.
constexpr size_t kMaxWalked = 12;

}  // namespace

// ---- TBindingInfo

TBindingInfo::TBindingInfo(int factIndex, const TKBText& slotIndex, int subIndex)
    : factIndex_(factIndex), subIndex_(subIndex) {
  SetSlotIndex(slotIndex);
}

const TClassInfo& TBindingInfo::StaticClass() noexcept {
  static const TClassInfo info{"TBindingInfo", &TPersistent::StaticClass(),
                               []() -> std::unique_ptr<TPersistent> { return std::make_unique<TBindingInfo>(); },
                               nullptr};
  return info;
}

void TBindingInfo::SetSlotIndex(const TKBText& value) {
  slot_ = TSlotRef(value);
  isPattern_ = value == SPatternBinding;
  isLocal_ = value == SLocalBinding;
}

void TBindingInfo::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TBindingInfo*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  factIndex_ = other->factIndex_;
  subIndex_ = other->subIndex_;
  slot_ = other->slot_;
  isPattern_ = other->isPattern_;
  isLocal_ = other->isLocal_;
}

bool TBindingInfo::Equals(const TBindingInfo& other) const noexcept {
  return factIndex_ == other.factIndex_ && subIndex_ == other.subIndex_ && GetSlotIndex() == other.GetSlotIndex();
}

std::string TBindingInfo::ToString() const {
  std::string result = "FactIdx=" + IntegerToString(factIndex_) + " SlotIdx=" + GetSlotIndex().ToString();
  if (subIndex_ != NoSubIndex) result += " SubIdx=" + IntegerToString(subIndex_);
  return result;
}

// ---- TBinding

TBinding::TBinding(const TKBText& name, const IKBValue& value)
    : TBindingInfo(LocalBindingIndex, SLocalBinding, NoSubIndex), name_(name), value_(value) {}

TBinding::TBinding(const TKBText& name, int factIndex, const TKBText& slotIndex, int subIndex)
    : TBindingInfo(factIndex, slotIndex, subIndex), name_(name) {}

const TClassInfo& TBinding::StaticClass() noexcept {
  static const TClassInfo info{
      "TBinding", &TBindingInfo::StaticClass(),
      []() -> std::unique_ptr<TPersistent> { return std::make_unique<TBinding>(TKBText(), IKBValue()); }, nullptr};
  return info;
}

void TBinding::Assign(const TPersistent& source) {
  TBindingInfo::Assign(source);
  const auto* other = dynamic_cast<const TBinding*>(&source);
  if (other == nullptr) return;
  name_ = other->name_;
  value_ = other->value_;
}

bool TBinding::Equals(const TBinding& other) const {
  if (!TBindingInfo::Equals(other) || !(name_ == other.name_)) return false;
  return value_ == other.value_ || (value_ && value_->Equals(other.value_.Get()));
}

std::string TBinding::ToString() const {
  std::string result = "name=" + name_.ToString();
  if (value_) result += " value=" + value_->ToString();
  return result + " " + TBindingInfo::ToString();
}

// ---- TBindings

size_t TBindings::IndexOf(const TKBText& name) const noexcept {
  if (index_) {
    const auto found = index_->find(name);
    return found == index_->end() ? items_.size() : found->second;
  }
  size_t i = 0;
  while (i < items_.size() && !(items_[i]->GetName() == name)) ++i;
  return i;
}

TBinding* TBindings::Find(const TKBText& name) const noexcept {
  const size_t index = IndexOf(name);
  return index < items_.size() ? items_[index].get() : nullptr;
}

void TBindings::BuildIndex() {
  if (items_.size() <= kMaxWalked) {
    index_.reset();
    return;
  }
  auto index = std::make_unique<std::unordered_map<TKBText, size_t>>();
  for (size_t i = 0; i < items_.size(); ++i) index->emplace(items_[i]->GetName(), i);
  index_ = std::move(index);
}

TBinding& TBindings::Put(std::unique_ptr<TBinding> binding) {
  TBinding& result = *binding;
  const size_t index = IndexOf(result.GetName());
  if (index < items_.size()) {
    // The old binding dies after the context has been told.
    items_[index].swap(binding);
  } else {
    items_.push_back(std::move(binding));
    if (index_) {
      index_->emplace(result.GetName(), index);
    } else if (items_.size() > kMaxWalked) {
      BuildIndex();
    }
  }
  context_.Notify(&result, tnAdded);
  return result;
}

void TBindings::Remove(const TKBText& name) {
  const size_t index = IndexOf(name);
  if (index >= items_.size()) return;
  const std::unique_ptr<TBinding> binding = std::move(items_[index]);
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
  if (index_) BuildIndex();
  context_.Notify(binding.get(), tnDeleted);
}

void TBindings::Clear() {
  index_.reset();
  std::vector<std::unique_ptr<TBinding>> old;
  old.swap(items_);
  old.clear();
  context_.Notify(nullptr, tnCleared);
}

// ---- TKBContext

TKBContext::TKBContext(TKBContext* parent, TInferenceEngine* engine)
    : engine_(engine), bindings_(*this), parent_(parent) {}

TKBContext::~TKBContext() = default;

const TClassInfo& TKBContext::StaticClass() noexcept {
  static const TClassInfo info{"TKBContext", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TBinding* TKBContext::FindBinding(const TKBText& name) const noexcept {
  for (const TKBContext* context = this; context != nullptr; context = context->parent_) {
    if (TBinding* binding = context->bindings_.Find(name)) return binding;
  }
  return nullptr;
}

TBinding* TKBContext::FindGlobalBinding(const TKBText& name) const noexcept {
  const TKBContext* root = this;
  while (root->parent_ != nullptr) root = root->parent_;
  return root->bindings_.Find(name);
}

void TKBContext::AddBinding(const TKBText& name, const IKBValue& value) {
  if (TBinding* binding = FindBinding(name)) {
    binding->SetValue(value);
  } else {
    bindings_.Put(std::make_unique<TBinding>(name, value));
  }
}

void TKBContext::AddBinding(const TKBText& name, int factIndex, const TKBText& slotIndex, int subIndex) {
  bindings_.Put(std::make_unique<TBinding>(name, factIndex, slotIndex, subIndex));
}

void TKBContext::AddLocalBinding(const TKBText& name, const IKBValue& value) {
  bindings_.Put(std::make_unique<TBinding>(name, value));
}

void TKBContext::AddGlobalBinding(const TKBText& name, const IKBValue& value) {
  if (TBinding* binding = FindGlobalBinding(name)) {
    binding->SetValue(value);
    return;
  }
  TKBContext* root = this;
  while (root->parent_ != nullptr) root = root->parent_;
  root->bindings_.Put(std::make_unique<TBinding>(name, value));
}

IKBValue TKBContext::GetVariable(std::string_view name) const {
  const TBinding* binding = FindBinding(name);
  if (binding == nullptr) throw EKBException(TKBMessage::UnknownVariable, {std::string(name)});
  return binding->GetValue();
}

void TKBContext::SetVariable(const TKBText& name, const IKBValue& value) {
  if (TBinding* binding = bindings_.Find(name)) {
    binding->SetValue(value);
  } else {
    AddBinding(name, value);
  }
}

std::unique_ptr<TKBContext> TKBContext::Push() {
  auto child = std::make_unique<TKBContext>(this, engine_);
  child->token_ = token_;
  child->fact_ = fact_;
  return child;
}

TKBContext* TKBContext::Pop() {
  if (parent_ == nullptr) return this;
  parent_->returning_ = returning_;
  parent_->returnValue_ = returnValue_;
  return parent_;
}

void TKBContext::SetReturnValue(const IKBValue& value) {
  returnValue_ = value;
  returning_ = true;
}

void TKBContext::Clear() { bindings_.Clear(); }

void TKBContext::Notify(TBinding* /*binding*/, TTableNotification notification) {
  if (notification == tnCleared) ClearReturnValue();
}

void TKBContext::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TKBContext*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  returning_ = other->returning_;
  returnValue_ = other->returnValue_ ? other->returnValue_->Clone() : IKBValue();
}

// ---- facts and lists

/// The value of a fuzzy slot: a fuzzy value, in a multislot a list of them.
IKBValue TKBContext::ResolveFuzzy(const TFactSlot& slot, const IKBValue& value) {
  const IKBDefinedType& type = slot.GetExtendedTypeInfo();
  const Ref<IFuzzyVariable> variable = type ? type->GetFuzzyType() : nullptr;
  IFuzzyParser* parser = variable ? variable->Parser() : nullptr;
  const bool none = value == FCNil && !slot.IsMultiSlot();
  const IKBValue result = TFuzzyExpression(parser, variable, this).Evaluate(none ? IKBValue() : value);
  const bool isList = result->Is(dtList);
  if (slot.IsMultiSlot() || !isList) return result;
  throw EKBException(TKBMessage::InvalidFuzzyExpression, {value->ToString()});
}

IFact TKBContext::Resolve(const IFact& fact) {
  RequireObject(fact, "fact");
  const IFactTemplate factTemplate = fact->GetTemplate();
  if (!factTemplate) throw EKBException(TKBMessage::FactTemplateMissing);
  const TInferenceEngine* engine = factTemplate->GetEngine();
  const bool adapts = engine != nullptr && engine->GetTypeChecks().Has(tcDynamic);
  // By index: what is evaluated may change the template.
  for (size_t i = 0; i < factTemplate->GetSortedSlots().size(); ++i) {
    const TKBText name = factTemplate->GetSortedSlots()[i].slot->GetName();
    const IKBValue value(fact->ValueAt(factTemplate->GetSortedSlots()[i].position));
    const IFactSlot slot(factTemplate->GetSortedSlots()[i].slot);
    IKBValue resolved = value->Resolve(this);
    if (!resolved) resolved = FCNil;
    if (slot->IsFuzzy()) {
      fact->SetValue(name, ResolveFuzzy(*slot, resolved));
      continue;
    }
    if (const IValueVector list(resolved->ListOrNull()); list) {
      const IValueVector expanded = ExpandList(*list);
      if (resolved == value && !value->IsImmortal()) {
        value->SetAsList(expanded);
      } else {
        resolved = MakeRef<TKBValue>(expanded);
      }
    } else if (adapts && !(resolved == value) && !resolved->IsImmortal()) {
      // Storing may change the type of the value, which may stand in another fact.
      resolved = resolved->Clone();
    }
    fact->SetValue(name, resolved);
  }
  return fact;
}

namespace {

/// Adds the elements of `list` to `target`, those of nested lists in place of the lists. `context` resolves
/// them first; without one they are taken as they are.
void Splice(const TValueVector& list, TKBContext* context, TValueVector& target) {
  CheckStack();
  // By index: what is evaluated may change the list.
  for (int i = 0; i < list.GetValueCount(); ++i) {
    IKBValue value = list.Get(i);
    if (value && context != nullptr) value = value->Resolve(context);
    const IValueVector nested(value ? value->ListOrNull() : nullptr);
    if (nested) {
      Splice(*nested, context, target);
    } else {
      target.Add(value);
    }
  }
}

}  // namespace

IValueVector TKBContext::ExpandList(const TValueVector& list) {
  auto result = MakeRef<TValueVector>();
  result->Reserve(list.GetValueCount());
  Splice(list, this, *result);
  return result;
}

IValueVector TKBContext::FlattenList(const TValueVector& list) const {
  auto result = MakeRef<TValueVector>();
  result->Reserve(list.GetValueCount());
  Splice(list, nullptr, *result);
  return result;
}

}  // namespace kb
