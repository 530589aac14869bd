// Defined types: state, names, ranges, validity. The lists of allowed values: KBDefinedTypeConstraints.cpp.
//
// Inheritance copies: a check reads the type's own fields only, and the link to the ancestor serves printing
// and the search for loops. The reason for a failed check and the check itself are one routine, so that they
// cannot disagree.
//
// Tested in tests/values/KBDefinedTypeTest.cpp.
#include "kb/values/KBDefinedType.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/functions/KBPackages.h"
#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/KBModule.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

/// What a value of a fuzzy type may still become a set of.
constexpr TKBTypes kFuzzyConvertible{dtAtom,     dtString,        dtInteger, dtFloat,
                                     dtVariable, dtMultiVariable, dtFunCall, dtSingletons};

/// A default multifield is filled up to this many elements; a type that asks for more has none.
constexpr int32_t kMaxDefaultElements = 1000000;

/// Holds back the change event; ends also when an exception passes.
class TUpdateScope {
 public:
  explicit TUpdateScope(TKBDefinedType& type) noexcept : type_(type) { type_.BeginUpdate(); }
  TUpdateScope(const TUpdateScope&) = delete;
  TUpdateScope& operator=(const TUpdateScope&) = delete;
  ~TUpdateScope() { type_.EndUpdate(); }

 private:
  TKBDefinedType& type_;
};

}  // namespace

TKBDefinedType::TKBDefinedType(IReasoner* reasoner) : name_(SImplicitDefinedType), reasoner_(reasoner) {
  if (reasoner != nullptr) SetModule(reasoner->GetCurrentModule().Get());
}

TKBDefinedType::~TKBDefinedType() = default;

const TClassInfo& TKBDefinedType::StaticClass() noexcept {
  static const TClassInfo info{"TKBDefinedType", &TModuleConstruct::StaticClass(), nullptr, nullptr};
  return info;
}

void TKBDefinedType::Change() {
  if (updates_ == 0 && OnChange) OnChange(*this);
}

void TKBDefinedType::EndUpdate() {
  if (updates_ > 0 && --updates_ == 0) Change();
}

template <class T>
void TKBDefinedType::Store(T& field, const T& value) {
  if (field == value) return;
  field = value;
  Change();
}

// ---- settings

void TKBDefinedType::SetBaseTypes(TKBTypes types) {
  if (types == baseTypes_) return;
  // The implied type of a multislot hears of lists too.
  const bool mixed = types.Has(dtFuzzy) && !(types - KBMultiSlotTypes == TKBTypes(dtFuzzy));
  if (mixed) throw EKBException(TKBMessage::CannotMixFuzzy);
  baseTypes_ = types * KBSlotTypesWithFuzzy;
  if (!baseTypes_.Has(dtFuzzy)) {
    fuzzyType_ = nullptr;
  } else if (!fuzzyType_) {
    const Ref<IFuzzyVariable> variable = MakeRef<TKBFuzzyVariable>(name_);
    if (rangeLimited_ && minRange_ < maxRange_) variable->SetUniverse(minRange_, maxRange_);
    variable->SetUnits(units_);
    SetFuzzyType(variable);
  }
  Change();
}

void TKBDefinedType::SetName(std::string_view name) {
  if (name_ == name) return;
  CheckConstructName(name);
  const TKBName oldName = name_;
  const TKBName newName(name);
  name_ = newName;
  try {
    if (IReasoner* reasoner = GetReasoner()) reasoner->RenameDefinedType(*this, oldName, newName);
  } catch (...) {
    name_ = oldName;
    throw;
  }
  if (fuzzyType_) fuzzyType_->SetName(name_);
  Change();
}

void TKBDefinedType::SetMinRange(double value) {
  if (value == minRange_) return;
  if (fuzzyType_) fuzzyType_->SetUniverse(value, maxRange_);
  minRange_ = value;
  if (minRange_ > maxRange_) maxRange_ = value;
  Change();
}

void TKBDefinedType::SetMaxRange(double value) {
  if (value == maxRange_) return;
  if (fuzzyType_) fuzzyType_->SetUniverse(minRange_, value);
  maxRange_ = value;
  if (minRange_ > maxRange_) minRange_ = value;
  Change();
}

void TKBDefinedType::SetMinCardinality(int32_t value) {
  value = std::max(value, 0);
  if (value == minCardinality_) return;
  minCardinality_ = value;
  maxCardinality_ = std::max(minCardinality_, maxCardinality_);
  Change();
}

void TKBDefinedType::SetMaxCardinality(int32_t value) {
  value = std::max(value, 0);
  if (value == maxCardinality_) return;
  maxCardinality_ = value;
  minCardinality_ = std::min(minCardinality_, maxCardinality_);
  Change();
}

void TKBDefinedType::SetRangeLimited(bool value) { Store(rangeLimited_, value); }
void TKBDefinedType::SetCardinalityLimited(bool value) { Store(cardinalityLimited_, value); }
void TKBDefinedType::SetComment(std::string_view value) { Store(comment_, std::string(value)); }
void TKBDefinedType::SetUnits(std::string_view value) {
  if (fuzzyType_) fuzzyType_->SetUnits(value);
  Store(units_, std::string(value));
}
void TKBDefinedType::SetImplicit(bool value) { Store(implicit_, value); }

void TKBDefinedType::SetFuzzyType(const Ref<IFuzzyVariable>& variable) {
  if (variable == fuzzyType_) return;
  if (fuzzyType_ && !variable) fuzzyType_->SetParser(nullptr);
  fuzzyType_ = variable;
  if (fuzzyType_) {
    if (auto* parser = dynamic_cast<IFuzzyParser*>(GetReasoner())) fuzzyType_->SetParser(parser);
    SetBaseTypes(dtFuzzy);
    minRange_ = fuzzyType_->From();
    maxRange_ = fuzzyType_->To();
    units_ = fuzzyType_->Units();
  }
  Change();
}

void TKBDefinedType::SetAncestor(const IKBDefinedType& ancestor) {
  if (ancestor == ancestor_) return;
  for (const TKBDefinedType* type = ancestor.Get(); type != nullptr; type = type->ancestor_.Get()) {
    if (type == this) throw EKBException(TKBMessage::TypeInheritanceLoop, {name_});
  }
  ancestor_ = ancestor;
  if (ancestor_) implicit_ = false;
  Change();
}

void TKBDefinedType::SetReasoner(IReasoner* reasoner) {
  if (reasoner == GetReasoner()) return;
  reasoner_ = reasoner;
  if (fuzzyType_) fuzzyType_->SetParser(dynamic_cast<IFuzzyParser*>(reasoner));
  if (reasoner != nullptr) SetModule(reasoner->GetCurrentModule().Get());
  Change();
}

// ---- validity

bool TKBDefinedType::HasValidCount(const TValueVector& list) const noexcept {
  const int count = list.GetValueCount();
  return !cardinalityLimited_ || (count >= minCardinality_ && count <= maxCardinality_);
}

bool TKBDefinedType::IsListValid(const TValueVector& list) const {
  return HasValidCount(list) && std::all_of(list.begin(), list.end(),
                                            [this](const IKBValue& element) { return !element || IsValid(*element); });
}

bool TKBDefinedType::IsFuzzyValid(const TKBValue& value) const {
  if (!value.Is(dtFuzzy)) return kFuzzyConvertible.Has(value.GetDType());
  const Ref<IFuzzySet> set = value.GetAsFuzzy();
  return set && fuzzyType_ == set->Variable();
}

bool TKBDefinedType::IsValid(const TKBValue& value) const {
  if (const TValueVector* list = value.ListOrNull()) return IsListValid(*list);
  if (baseTypes_.Has(dtFuzzy)) return IsFuzzyValid(value);
  return InvalidReason(value).empty();
}

/// The reason why a value that is no list does not fit a type that is not fuzzy; empty when it fits.
std::string TKBDefinedType::InvalidReason(const TKBValue& value) const {
  const TKBType type = value.GetDType();
  if (!KBAlwaysValidTypes.Has(type) && !baseTypes_.Has(type)) {
    return FormatMessage(TKBMessage::NotAType,
                         {TypesForMessage(baseTypes_), value.ToString(), std::string(GetKBTypeName(type))});
  }
  if (type == dtAtom || type == dtString || type == dtInteger || type == dtFloat) {
    TValueConstraint kind = GetValueConstraint(value);
    if (constraints_.Has(kind) && !IsConstraint(value, kind)) return FormatMessage(TKBMessage::NotInAllowedValues);
  }
  if (!rangeLimited_ || !KBNumericTypes.Has(type)) return {};
  const double number = value.GetAsNumeric();
  // Written so that a value that is no number lies outside.
  if (number >= minRange_ && number <= maxRange_) return {};
  return FormatMessage(TKBMessage::RangeError, {FloatToString(minRange_), FloatToString(maxRange_)});
}

std::string TKBDefinedType::InvalidListReason(const TValueVector& list) const {
  if (!HasValidCount(list)) {
    return FormatMessage(TKBMessage::MultislotCardinality,
                         {IntegerToString(minCardinality_), IntegerToString(maxCardinality_)});
  }
  for (const IKBValue& element : list) {
    std::string reason = element ? GetInvalidValueString(*element) : std::string();
    if (!reason.empty()) return reason;
  }
  return {};
}

std::string TKBDefinedType::GetInvalidValueString(const TKBValue& value) const {
  std::string reason;
  if (const TValueVector* list = value.ListOrNull()) {
    reason = InvalidListReason(*list);
  } else if (baseTypes_.Has(dtFuzzy)) {
    reason = FormatMessage(TKBMessage::InvalidFuzzyValue);
  } else {
    reason = InvalidReason(value);
  }
  return reason.empty() ? reason : FormatMessage(TKBMessage::ValueIsNotValid, {value.ToString(), reason});
}

/// The number of the range that a default takes: its lower end, or the upper one when the lower is open.
double TKBDefinedType::RangeDefault() const noexcept {
  if (!rangeLimited_) return 0.0;
  if (minRange_ != kOpenMinRange) return minRange_;
  return maxRange_ != kOpenMaxRange ? maxRange_ : 0.0;
}

IKBValue TKBDefinedType::CreateValidDefault(bool multi) const {
  if (multi) {
    auto list = MakeRef<TValueVector>();
    const int count = cardinalityLimited_ ? minCardinality_ : 0;
    if (count > kMaxDefaultElements) throw EListError("List capacity out of bounds (" + IntegerToString(count) + ")");
    for (int i = 0; i < count; ++i) list->Add(CreateValidDefault(false));
    return MakeRef<TKBValue>(list);
  }
  if (baseTypes_.Has(dtAtom)) return MakeAtom(atoms_.empty() ? std::string() : atoms_.front());
  if (baseTypes_.Has(dtString)) return MakeString(strings_.empty() ? std::string() : strings_.front());
  if (baseTypes_.Has(dtInteger)) {
    return MakeInteger(integers_.empty() ? TruncateToInt32(RangeDefault()) : integers_.front());
  }
  if (baseTypes_.Has(dtFloat)) return MakeFloat(floats_.empty() ? RangeDefault() : floats_.front());
  if (fuzzyType_) {
    const Ref<IFuzzySet> empty = fuzzyType_->FindSet(SEmptyFuzzy);
    return MakeRef<TKBValue>(empty ? empty : fuzzyType_->AddSet(SEmptyFuzzy));
  }
  return CreateTypeDefault(baseTypes_);
}

// ---- copies and comparison

void TKBDefinedType::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TKBDefinedType*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  if (other == this) return;
  const TUpdateScope update(*this);
  ancestor_ = other->GetReasoner() == GetReasoner() ? other->ancestor_ : IKBDefinedType();
  baseTypes_ = other->baseTypes_;
  name_ = other->name_;
  comment_ = other->comment_;
  rangeLimited_ = other->rangeLimited_;
  minRange_ = other->minRange_;
  maxRange_ = other->maxRange_;
  cardinalityLimited_ = other->cardinalityLimited_;
  minCardinality_ = other->minCardinality_;
  maxCardinality_ = other->maxCardinality_;
  implicit_ = other->implicit_;
  fuzzyType_ = other->fuzzyType_ ? other->fuzzyType_->Clone() : nullptr;
  if (fuzzyType_) fuzzyType_->SetParser(dynamic_cast<IFuzzyParser*>(GetReasoner()));
  SetTag(other->GetTag());
  units_ = other->units_;
  SetConstraints(other->constraints_);
  atoms_ = other->atoms_;
  strings_ = other->strings_;
  integers_ = other->integers_;
  floats_ = other->floats_;
}

IKBDefinedType TKBDefinedType::Clone() const {
  auto result = MakeRef<TKBDefinedType>(GetReasoner());
  result->Assign(*this);
  return result;
}

bool TKBDefinedType::Equals(const TKBDefinedType* other) const {
  if (other == this) return true;
  if (other == nullptr || name_ != other->name_ || !(baseTypes_ == other->baseTypes_)) return false;
  const auto sameFloat = [](double a, double b) { return FloatEquals(a, b, kFloatTolerance); };
  const bool sameVariable = fuzzyType_ ? fuzzyType_->Equals(other->fuzzyType_.Get()) : !other->fuzzyType_;
  return sameVariable && sameFloat(minRange_, other->minRange_) && sameFloat(maxRange_, other->maxRange_) &&
         minCardinality_ == other->minCardinality_ && maxCardinality_ == other->maxCardinality_ &&
         constraints_ == other->constraints_ && rangeLimited_ == other->rangeLimited_ &&
         cardinalityLimited_ == other->cardinalityLimited_ && atoms_ == other->atoms_ && strings_ == other->strings_ &&
         integers_ == other->integers_ &&
         std::equal(floats_.begin(), floats_.end(), other->floats_.begin(), other->floats_.end(), sameFloat);
}

std::string TKBDefinedType::ToString() const {
  IReasoner* reasoner = GetReasoner();
  return reasoner != nullptr ? reasoner->PrettyPrint(*this) : PrettyPrint(*this, false);
}

}  // namespace kb
