// Slots of templates.
//
// A slot with an engine checks under the engine's settings; a free-standing one, which is what the parser
// makes first, checks nothing and is judged when its template takes a copy. The default value tells the slot
// when somebody changes it in place, so it must forget the slot before it leaves it.
//
// Tested in tests/values/FactTemplateTest.cpp.
#include <utility>

#include "kb/engine/InferenceEngine.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/LosslessText.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

[[nodiscard]] std::string NotATypeText(TKBTypes types, std::string_view text, std::string_view typeName) {
  return FormatMessage(TKBMessage::NotAType, {TypesForMessage(types), std::string(text), std::string(typeName)});
}

}  // namespace

TFactSlot::TFactSlot(TFactTemplate* owner) : owner_(owner) {}

TFactSlot::~TFactSlot() {
  owner_ = nullptr;
  DropDefault();
}

const TClassInfo& TFactSlot::StaticClass() noexcept {
  static const TClassInfo info{"TFactSlot", &TPersistent::StaticClass(),
                               []() -> std::unique_ptr<TPersistent> { return std::make_unique<TFactSlot>(); }, nullptr};
  return info;
}

std::string TFactSlot::GetTemplateName() const {
  return owner_ != nullptr ? owner_->GetTemplateName().ToString() : std::string();
}

bool TFactSlot::ChecksDynamically() const {
  const TInferenceEngine* engine = owner_ != nullptr ? owner_->GetEngine() : nullptr;
  return engine != nullptr && engine->GetTypeChecks().Has(tcDynamic);
}

/// Lets the default go; others may hold the value, so it forgets this slot.
void TFactSlot::DropDefault() {
  if (slotDefault_ && !slotDefault_->IsImmortal()) slotDefault_->SetOnChange(nullptr);
  slotDefault_ = nullptr;
}

void TFactSlot::SetName(std::string_view name) {
  if (name_ == name) return;
  CheckConstructName(name);
  const TKBText newName(name);
  if (owner_ != nullptr) owner_->NewSlotName(*this, name_, newName);
  name_ = newName;
}

void TFactSlot::SetSlotDefault(const IKBValue& value) {
  if (value && ChecksDynamically() && !IsValid(value.Get())) {
    throw EKBException(TKBMessage::InvalidDefaultSlotValue, {value->ToString()});
  }
  const bool constant = IsValueConstant(value.Get());
  IKBValue stored = value && !constant ? value->Clone() : value;
  if (owner_ != nullptr && stored) stored = owner_->NewSlotDefault(stored);
  StoreDefault(stored);
}

/// Takes the value object itself and watches it, unless it is a constant.
void TFactSlot::StoreDefault(const IKBValue& value) {
  const IKBValue stored = value;
  DropDefault();
  slotDefault_ = stored;
  if (!slotDefault_ || slotDefault_->IsImmortal()) return;
  slotDefault_->SetOnChange([this](const IKBValue& changed) { ValueChanged(changed); });
}

void TFactSlot::ValueChanged(const IKBValue& value) {
  if (!ChecksDynamically() || IsValid(value.Get())) return;
  throw EKBException(TKBMessage::ValueIsNotValid, {value->ToString(), name_.ToString()});
}

void TFactSlot::SetSlotType(TKBTypes types) {
  if (types == slotType_) return;
  if (types.Has(dtFuzzy) && !(types - KBMultiSlotTypes == TKBTypes(dtFuzzy))) {
    throw EKBException(TKBMessage::CannotMixFuzzy);
  }
  if (owner_ != nullptr) owner_->NewSlotType();
  slotType_ = types;
  if (typeInfo_ && typeInfo_->GetImplicit()) typeInfo_->SetBaseTypes(types);
  if (!slotDefault_ || !IsValid(slotDefault_.Get())) SetSlotDefault(CreateValidDefault(types.Has(dtMultiSlot)));
}

void TFactSlot::SetExtendedTypeInfo(const IKBDefinedType& type) {
  if (type == typeInfo_) return;
  TKBTypes types = type ? type->GetBaseTypes() : TKBTypes();
  if (owner_ != nullptr && type) owner_->NewSlotType();
  typeInfo_ = type;
  if (name_ == SDefaultSlotName) types += KBMultiSlotTypes;
  SetSlotType(types);
}

void TFactSlot::ReplaceType(const IKBDefinedType& type) {
  const bool multi = IsMultiSlot();
  const IKBValue kept = slotDefault_;
  const auto fits = [&](const IKBValue& value) { return value && value->Is(dtList) == multi && IsValid(value.Get()); };
  SetExtendedTypeInfo(type);
  SetSlotType(multi ? type->GetBaseTypes() + KBMultiSlotTypes : type->GetBaseTypes());
  if (fits(kept)) {
    SetSlotDefault(kept);
  } else if (!fits(slotDefault_)) {
    SetSlotDefault(CreateValidDefault(multi));
  }
}

bool TFactSlot::Accepts(TKBType type) const noexcept { return KBAlwaysValidTypes.Has(type) || slotType_.Has(type); }

bool TFactSlot::IsValid(const TKBValue* value) const {
  if (value == nullptr) return true;
  if (value == FCNil.Get() && !IsMultiSlot()) return true;
  if (value == FCNilList.Get() && IsMultiSlot()) return true;
  if (typeInfo_) return typeInfo_->IsValid(*value);
  if (!Accepts(value->GetDType())) return false;
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr) return true;
  for (const IKBValue& element : *list) {
    if (element && !Accepts(element->GetDType())) return false;
  }
  return true;
}

std::string TFactSlot::WrongTypeText(const TKBValue& value) const {
  const std::string text = value.ToString();
  const TValueVector* list = value.ListOrNull();
  if (list != nullptr && Accepts(dtList)) {
    for (const IKBValue& element : *list) {
      if (!element || Accepts(element->GetDType())) continue;
      const std::string found = std::string(GetKBTypeName(element->GetDType())) + " (" + element->ToString() + ")";
      return NotATypeText(slotType_, text, found);
    }
  }
  return NotATypeText(slotType_, text, GetKBTypeName(value.GetDType()));
}

std::string TFactSlot::GetInvalidValueString(const TKBValue* value) const {
  if (IsValid(value)) return {};
  const std::string reason = typeInfo_ ? typeInfo_->GetInvalidValueString(*value) : WrongTypeText(*value);
  return FormatMessage(TKBMessage::InvalidForSlot, {reason, name_.ToString()});
}

IKBValue TFactSlot::CreateValidDefault(bool multi) const {
  if (typeInfo_) return typeInfo_->CreateValidDefault(multi);
  return multi ? FCNilList->Clone() : CreateTypeDefault(slotType_);
}

void TFactSlot::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TFactSlot*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  if (other == this) return;
  // A slot that moves to another engine takes that engine's type, and a default that hangs on its engine is
  // read anew.
  TInferenceEngine* engine = owner_ != nullptr ? owner_->GetEngine() : nullptr;
  IKBDefinedType type = other->typeInfo_;
  // A type of the slot's own may bear the name of the one that it narrows.
  if (engine != nullptr && type && !type->GetImplicit()) {
    if (TKBDefinedType* known = engine->FindDefinedType(type->GetName())) type = known;
  }
  IKBValue newDefault = other->slotDefault_;
  if (!(type == other->typeInfo_) && newDefault && KBReparseTypes.Has(newDefault->GetDType())) {
    const TLosslessText lossless;
    newDefault = engine->ParseValue(newDefault->ToString());
    if (other->slotDefault_->Is(dtFuzzy) && type) {
      newDefault = engine->EvalFuzzyExpression(type->GetFuzzyType(), newDefault, nullptr);
    }
  }
  const TKBTypes formerTypes = std::exchange(slotType_, other->slotType_);
  IKBDefinedType formerInfo = std::exchange(typeInfo_, type);
  const IKBValue formerDefault = slotDefault_;
  try {
    SetSlotDefault(newDefault);
    // With its name the slot enters its template.
    SetName(other->name_);
  } catch (...) {
    slotType_ = formerTypes;
    typeInfo_ = std::move(formerInfo);
    StoreDefault(formerDefault);
    throw;
  }
  defaultDynamic_ = other->defaultDynamic_;
  tag_ = other->tag_;
  if (owner_ != nullptr) owner_->NewSlotType();
}

namespace {

bool IsEmptySet(const TKBValue& value) {
  if (!value.Is(dtFuzzy)) return false;
  const Ref<IFuzzySet> set = value.GetAsFuzzy();
  return set && set->Name() == SEmptyFuzzy;
}

}  // namespace

bool TFactSlot::Equals(const TFactSlot* other) const {
  if (other == this) return true;
  if (other == nullptr || !(name_ == other->name_) || !(slotType_ == other->slotType_)) return false;
  if (!(typeInfo_ == other->typeInfo_) && !(typeInfo_ && typeInfo_->Equals(other->typeInfo_.Get()))) return false;
  if (slotDefault_ == other->slotDefault_) return true;
  if (!slotDefault_ || !other->slotDefault_) return false;
  // Fuzzy values are equal when they overlap, which the empty set does with none, not even itself.
  if (IsEmptySet(*slotDefault_) && IsEmptySet(*other->slotDefault_)) return true;
  try {
    return slotDefault_->EqualsStar(other->slotDefault_.Get());
  } catch (const EKBException&) {
    // Defaults that cannot be converted to one another differ.
    return false;
  }
}

std::string TFactSlot::ToString() const {
  TInferenceEngine* engine = owner_ != nullptr ? owner_->GetEngine() : nullptr;
  return engine != nullptr ? engine->PrettyPrint(*this) : PrettyPrint(*this);
}

}  // namespace kb
