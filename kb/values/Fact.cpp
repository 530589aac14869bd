// Facts: values by the positions of the template.
//
// The array of values grows to the template's count of positions when one is first read or written beyond it;
// a place stays null until then. Names are looked up at the border only: everything that runs for each fact
// (hash, duplicates, equality, matching) goes by position.
//
// Tested in tests/values/FactTest.cpp.
#include "kb/values/Fact.h"

#include <utility>

#include "kb/common/Helpers.h"
#include "kb/common/LiveCount.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/fuzzy/FuzzyExpression.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/LosslessText.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

TLiveCount liveFacts;

[[nodiscard]] IKBValue CloneOfDefault(const TFactSlot& slot) {
  return slot.GetSlotDefault() ? slot.GetSlotDefault()->Clone() : FCNil;
}

}  // namespace

TFact::TFact(const IFactTemplate& factTemplate, const TFact* source) : template_(factTemplate) {
  liveFacts.Add(1);
  if (source == nullptr) return;
  try {
    AssignFrom(*source, false);
  } catch (...) {
    liveFacts.Add(-1);
    throw;
  }
}

TFact::~TFact() { liveFacts.Add(-1); }

int64_t TFact::LiveCount() noexcept { return liveFacts.Get(); }

const TClassInfo& TFact::StaticClass() noexcept {
  static const TClassInfo info{"TFact", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

// ---- values

TFactTemplate& TFact::RequireTemplate() const {
  if (!template_) throw EKBException(TKBMessage::FactTemplateMissing);
  return *template_;
}

int TFact::RequirePosition(std::string_view name) const {
  const int position = RequireTemplate().GetSlotPosition(name);
  if (position < 0) throw EKBException(TKBMessage::NoSuchSlotName, {std::string(name)});
  return position;
}

/// The place of a value; the slots of the template may have become more since the fact was made.
IKBValue& TFact::Entry(int position) const {
  if (position >= values_.Size()) {
    TPooledArray<IKBValue> values(template_->GetPositionCount());
    for (int i = 0; i < values_.Size(); ++i) values[i].Swap(values_[i]);
    values_ = std::move(values);
  }
  return values_[position];
}

/// The value at a position that has a slot.
TKBValue* TFact::MakeDefaultAt(int position) const {
  IKBValue value = CloneOfDefault(*template_->GetSlotAtPosition(position));
  IKBValue& entry = Entry(position);
  entry = std::move(value);
  return entry.Get();
}

TKBValue* TFact::ValueAt(int position) const {
  const bool known = template_ && template_->GetSlotAtPosition(position) != nullptr;
  return known ? ReadAt(position) : nullptr;
}

const IKBValue& TFact::GetValue(std::string_view name) const {
  const int position = RequirePosition(name);
  [[maybe_unused]] const TKBValue* value = ReadAt(position);
  return values_[position];
}

/// Makes the value fit the slot where that can be done without loss of meaning; changes the caller's value itself.
bool TFact::AdaptValue(const TFactSlot& slot, TKBValue& value) {
  if (!value.Is(dtInteger) || !slot.GetSlotType().Has(dtFloat)) return false;
  value.SetAsFloat(value.GetAsFloat());
  return true;
}

namespace {

/// What a fuzzy slot stores for the value: the name of a term, alone or in a list, becomes the term. A name that is
/// none raises when `checked`, and else waits until the fact is resolved.
[[nodiscard]] IKBValue FuzzyForm(const TFactSlot& slot, const IKBValue& value, bool checked) {
  const IKBDefinedType& type = slot.GetExtendedTypeInfo();
  if (!type || !type->GetFuzzyType() || value == FCNil || value == FCNilList) return value;
  if (!value->Is(dtAtom) && !value->Is(dtString) && !value->Is(dtList)) return value;
  try {
    return TFuzzyExpression(type->GetFuzzyType()->Parser(), type->GetFuzzyType(), nullptr).Evaluate(value);
  } catch (const EKBException&) {
    if (checked) throw;
    return value;
  }
}

}  // namespace

void TFact::SetValue(std::string_view name, const IKBValue& value) {
  const int position = RequirePosition(name);
  IKBValue stored = value ? value : FCNil;
  // Held: what adapts the value may change the template.
  const IFactSlot slot(template_->GetSlotAtPosition(position));
  const TInferenceEngine* engine = template_->GetEngine();
  const bool checked = engine != nullptr && engine->GetTypeChecks().Has(tcDynamic);
  if (slot->IsFuzzy()) stored = FuzzyForm(*slot, stored, checked);
  if (slot->IsFuzzy() && slot->IsMultiSlot() && stored->Is(dtFuzzy)) {
    auto list = MakeRef<TValueVector>();
    list->Add(stored);
    stored = MakeRef<TKBValue>(list);
  }
  if (checked) {
    // A slot without a value takes even one that is then refused.
    if (!HasValueAt(position)) Entry(position) = stored;
    if (!slot->IsValid(stored.Get()) && !AdaptValue(*slot, *stored)) {
      throw EKBException(TKBMessage::InvalidForSlot, slot->GetInvalidValueString(stored.Get()));
    }
  }
  Entry(position) = stored;
}

TFactSlot* TFact::ContainsKey(std::string_view name) const {
  const int position = RequireTemplate().GetSlotPosition(name);
  return ValueAt(position) != nullptr ? template_->GetSlotAtPosition(position) : nullptr;
}

std::vector<TKBText> TFact::GetSlotNames() const {
  std::vector<TKBText> names;
  for (int i = 0; template_ && i < template_->GetSlotCount(); ++i) {
    const TKBText& name = template_->GetSlotAt(i)->GetName();
    if (HasValueAt(template_->GetSlotPosition(name))) names.push_back(name);
  }
  return names;
}

std::vector<IKBValue> TFact::GetSlotValues() const {
  std::vector<IKBValue> values;
  for (const TKBText& name : GetSlotNames()) values.push_back(GetValue(name));
  return values;
}

// ---- template

void TFact::SetTemplate(const IFactTemplate& factTemplate) {
  if (factTemplate == template_) return;
  if (!factTemplate) {
    values_ = {};
    template_ = nullptr;
    return;
  }
  TPooledArray<IKBValue> values(factTemplate->GetPositionCount());
  for (const TKBText& name : GetSlotNames()) {
    const int position = factTemplate->GetSlotPosition(name);
    if (position >= 0) values[position] = GetValue(name);
  }
  for (const TFactTemplate::TPlacedSlot& placed : factTemplate->GetSortedSlots()) {
    IKBValue& value = values[placed.position];
    if (!value) value = CloneOfDefault(*placed.slot);
  }
  values_ = std::move(values);
  template_ = factTemplate;
}

// ---- copies

void TFact::RequireSameTemplate(const TFact& other) const {
  const TFactTemplate& mine = RequireTemplate();
  const TFactTemplate& others = other.RequireTemplate();
  if (&mine == &others) return;
  throw EKBException(TKBMessage::FactTemplatesDiffer,
                     {mine.GetTemplateName().ToString(), others.GetTemplateName().ToString()});
}

void TFact::AssignValues(const TFact& other) {
  RequireSameTemplate(other);
  if (&other == this) return;
  TPooledArray<IKBValue> values(other.values_.Size());
  for (int i = 0; i < values.Size(); ++i) {
    if (other.HasValueAt(i)) values[i] = other.values_[i]->Clone();
  }
  values_ = std::move(values);
}

void TFact::SetValues(const TFact& other) {
  if (&other == this) return;
  const std::vector<TKBText> names = other.GetSlotNames();
  TPooledArray<IKBValue> former = std::move(values_);
  try {
    for (const TKBText& name : names) SetValue(name, other.GetValue(name)->Clone());
  } catch (...) {
    values_ = std::move(former);
    throw;
  }
}

IFact TFact::ShallowClone(const TSlotRef& slot, const IKBValue& value) const {
  auto copy = MakeRef<TFact>(template_);
  copy->id_ = id_;
  for (int i = 0; i < values_.Size(); ++i) {
    if (values_[i]) copy->Entry(i) = values_[i];
  }
  if (const int position = slot.Position(*template_); position >= 0) copy->Entry(position) = value;
  return copy;
}

bool TFact::MovesBetweenEngines(const TFact& other) const noexcept {
  return template_ && other.template_ && !(template_ == other.template_) &&
         template_->GetAOwner() != other.template_->GetAOwner() && template_->GetEngine() != nullptr;
}

/// Facts hang on the templates of one engine; from another one they come as text.
void TFact::AssignThroughText(const TFact& other) {
  TInferenceEngine& engine = *template_->GetEngine();
  const std::string_view name = other.template_->GetTemplateName();
  if (engine.FindFactTemplate(name) == nullptr) {
    engine.CreateFactTemplate(name)->AssignInterface(*other.template_);
  }
  const TLosslessText lossless;
  const IFact parsed = engine.ParseFact(other.ToString());
  SetTemplate(parsed->GetTemplate());
  AssignValues(*parsed);
}

/// Both forms of Assign; `checked` sends the values through SetValue.
void TFact::AssignFrom(const TFact& other, bool checked) {
  if (&other == this) return;
  if (MovesBetweenEngines(other)) {
    AssignThroughText(other);
  } else {
    SetTemplate(other.template_);
    if (!other.template_) {
      values_ = {};
    } else if (checked) {
      SetValues(other);
    } else {
      AssignValues(other);
    }
  }
  SetID(other.id_);
  SetTag(other.tag_);
}

void TFact::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TFact*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  AssignFrom(*other, true);
}

void TFact::AssignInterface(const TFact& source) { AssignFrom(source, false); }

IFact TFact::Clone() const {
  auto result = MakeRef<TFact>(template_);
  if (template_) result->AssignValues(*this);
  result->id_ = id_;
  result->tag_ = tag_;
  return result;
}

// ---- comparison

bool TFact::Equals(const TFact* other) const {
  if (other == this) return true;
  if (other == nullptr || !(template_ == other->template_)) return false;
  if (!template_) return true;
  for (const TFactTemplate::TPlacedSlot& placed : template_->GetSortedSlots()) {
    if (placed.slot->IsFuzzy()) continue;
    if (!ReadAt(placed.position)->Equals(other->ReadAt(placed.position))) return false;
  }
  return true;
}

bool TFact::IsDuplicateOf(const TFact& other) const {
  if (&other == this) return true;
  if (!(template_ == other.template_)) return false;
  if (!template_) return true;
  for (const TFactTemplate::TPlacedSlot& placed : template_->GetSortedSlots()) {
    if (!ReadAt(placed.position)->PrintsLike(*other.ReadAt(placed.position))) return false;
  }
  return true;
}

int32_t TFact::GetHashCode() const {
  if (!template_) return 0;
  TTextHash text;
  for (const TFactTemplate::TPlacedSlot& placed : template_->GetSortedSlots()) {
    text = text + ReadAt(placed.position)->PrintedHash();
  }
  const auto templateHash = static_cast<uint32_t>(template_->GetHashCode());
  return static_cast<int32_t>(templateHash * 31 + static_cast<uint32_t>(CalculateHash(text, 1)));
}

// ---- printing

std::string TFact::ToString() const {
  TInferenceEngine* engine = template_ ? template_->GetEngine() : nullptr;
  return engine != nullptr ? engine->PrettyPrint(*this) : PrettyPrint(*this);
}

std::string TFact::GetToIDString() const {
  const TInferenceEngine* engine = template_ ? template_->GetEngine() : nullptr;
  const int width = engine != nullptr ? static_cast<int>(IntegerToString(engine->GetFactIdCounter()).size()) : 0;
  return "f-" + PadNumber(id_, width) + " " + ToString();
}

}  // namespace kb
