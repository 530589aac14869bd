// Fuzzy values in the engine: evaluation, correlation, merging, plots.
#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/fuzzy/FuzzyExpression.h"
#include "kb/fuzzy/FuzzyPlot.h"
#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBDefinedType.h"

namespace kb {
namespace {

[[nodiscard]] TFuzzyOperation OperationOf(TFuzzyInferenceMethod method) noexcept {
  switch (method) {
    case fimSum:
      return foSum;
    case fimMean:
      return foMean;
    case fimProduct:
      return foProduct;
    case fimBoundedSum:
      return foBoundedSum;
    case fimMinMax:
      break;
  }
  return foZadeh;
}

[[nodiscard]] const TFactTemplate& RequireFuzzyTemplate(const IFact& fact) {
  RequireObject(fact, "fact");
  if (!fact->GetTemplate() || !fact->GetTemplate()->IsFuzzy()) throw EKBException(TKBMessage::NotFuzzyFact);
  return *fact->GetTemplate();
}

[[nodiscard]] Ref<IFuzzySet> FuzzyOrNull(const IKBValue& value) {
  return value && value->Is(dtFuzzy) ? value->GetAsFuzzy() : nullptr;
}

/// The value under another strength; a new one wherever it changes.
[[nodiscard]] IKBValue Correlated(const IKBValue& value, TBaseFuzzyHedge base, double strength) {
  if (const Ref<IFuzzySet> set = FuzzyOrNull(value)) {
    const Ref<IFuzzySet> limited = set->Clone();
    limited->HedgeOperator(base, true, strength);
    return MakeRef<TKBValue>(limited);
  }
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr) return value;
  auto result = MakeRef<TValueVector>();
  for (const IKBValue& element : *list) result->Add(element ? Correlated(element, base, strength) : element);
  return MakeRef<TKBValue>(result);
}

[[nodiscard]] bool HaveSameSets(const IKBValue& value, const IKBValue& other) {
  const Ref<IFuzzySet> set = FuzzyOrNull(value);
  const Ref<IFuzzySet> present = FuzzyOrNull(other);
  if (set && present) return set->Polygon() == present->Polygon();
  const TValueVector* list = value ? value->ListOrNull() : nullptr;
  const TValueVector* others = other ? other->ListOrNull() : nullptr;
  if (list == nullptr || others == nullptr) return true;
  return std::equal(list->begin(), list->end(), others->begin(), others->end(),
                    [](const IKBValue& a, const IKBValue& b) { return HaveSameSets(a, b); });
}

/// Of facts that are equal.
[[nodiscard]] bool HaveSameSets(const TFact& fact, const TFact& other) {
  const auto values = fact.GetSlotValues();
  const auto others = other.GetSlotValues();
  return std::equal(values.begin(), values.end(), others.begin(), others.end(),
                    [](const IKBValue& a, const IKBValue& b) { return HaveSameSets(a, b); });
}

/// Calls `change` with the name of each fuzzy slot.
template <class Change>
void ForEachFuzzySlot(const TFactTemplate& factTemplate, Change&& change) {
  for (const TFactTemplate::TPlacedSlot& placed : factTemplate.GetSortedSlots()) {
    if (placed.slot->IsFuzzy()) change(placed.slot->GetName().View());
  }
}

}  // namespace

// ---- Expressions and texts

IKBValue TInferenceEngine::EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, const IKBValue& value,
                                               TKBContext* context) {
  return TFuzzyExpression(this, variable, context).Evaluate(value);
}

IKBValue TInferenceEngine::EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, const TValueVector& list,
                                               TKBContext* context) {
  return TFuzzyExpression(this, variable, context).Evaluate(list);
}

IKBValue TInferenceEngine::EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                               TKBContext* context) {
  return EvalFuzzyExpression(variable, ParseValue(text), context);
}

double TInferenceEngine::EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                             Ref<IFuzzySet>& set) {
  set = EvalFuzzyExpression(variable, text);
  return set->Crisp();
}

Ref<IFuzzySet> TInferenceEngine::EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text) {
  return EvalFuzzyExpression(variable, text, nullptr)->GetAsFuzzy();
}

Ref<IFuzzySet> TInferenceEngine::ParseFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                                      const TEncoding* encoding) {
  return EvalFuzzyExpression(variable, ParseValue(text, encoding), globalContext_.get())->GetAsFuzzy();
}

Ref<IFuzzySet> TInferenceEngine::ParseFuzzySet(const Ref<IFuzzyVariable>& variable, std::string_view text) {
  return ParseFuzzySet(variable, text, nullptr);
}

Ref<IFuzzySet> TInferenceEngine::ParseFuzzySet(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                               const TEncoding* encoding) {
  RequireObject(variable, "fuzzy variable");
  const TStreamScope scope(*this, NewTokenizer(text, encoding));
  return parser_->ParseFuzzySet(variable);
}

Ref<IFuzzyVariable> TInferenceEngine::ParseFuzzyVariable(std::string_view text) {
  return ParseFuzzyVariable(text, nullptr);
}

Ref<IFuzzyVariable> TInferenceEngine::ParseFuzzyVariable(std::string_view text, const TEncoding* encoding) {
  const TStreamScope scope(*this, NewTokenizer(text, encoding));
  return parser_->ParseFuzzyVariable();
}

std::string TInferenceEngine::PrettyPrint(const IFuzzySet& set) { return parser_->PrettyPrint(set); }
std::string TInferenceEngine::PrettyPrint(const IFuzzyVariable& variable) { return parser_->PrettyPrint(variable); }

void TInferenceEngine::AddDefaultFuzzyTerms(const Ref<IFuzzyVariable>& variable) {
  RequireObject(variable, "fuzzy variable");
  const double from = variable->From();
  const double to = variable->To();
  const auto slope = [&](std::string_view name, double start) {
    if (variable->FindSet(name)) return;
    const Ref<IFuzzySet> set = variable->AddSet(name);
    set->AddPoint(from, start);
    set->AddPoint(to, 1.0 - start);
  };
  slope(SLowFuzzyTerm, 1.0);
  if (!variable->FindSet(SMediumFuzzyTerm)) {
    variable->AddSet(SMediumFuzzyTerm)->Triangle(from, from + (to - from) / 2.0, to);
  }
  slope(SHighFuzzyTerm, 0.0);
}

// ---- Correlation and merging

/// What makes a fuzzy fact ready to be asserted. An equal one that stands goes into it and is retracted.
/// False when the fact adds nothing to a goal that stands. Its coming anew would wake the joins that asked for it, and
/// they would ask again for ever.
bool TInferenceEngine::PrepareFuzzyFact(const IFact& fact, bool unconditional) {
  if (currentAgendaItem_) FuzzyCorrelation(fact, currentAgendaItem_->GetStrength());
  const IFact present(facts_->FindDuplicate(*fact));
  if (!present) return true;
  if (present != fact) {
    FuzzyOperation(fact, present, !unconditional);
    if (fact->GetTemplate()->GetTemplateName().View().starts_with(SBackChainPrefix) && HaveSameSets(*fact, *present))
      return false;
  }
  RetractFact(present);
  return true;
}

void TInferenceEngine::FuzzyCorrelation(const IFact& fact, float strength) {
  if (strength == 1.0F) return;
  if (OnFuzzyCorrelation) {
    bool done = false;
    OnFuzzyCorrelation(*this, fact, strength, done);
    if (done) return;
  }
  const TBaseFuzzyHedge base = fuzzyCorrelation_ == fcmProduct ? bfhScale : bfhLimit;
  ForEachFuzzySlot(RequireFuzzyTemplate(fact), [&](std::string_view name) {
    fact->SetValue(name, Correlated(fact->GetValue(name), base, static_cast<double>(strength)));
  });
}

void TInferenceEngine::FuzzyInference(const IFact& fact, const IFact& other) {
  if (OnFuzzyInference) {
    bool done = false;
    OnFuzzyInference(*this, fact, other, done);
    if (done) return;
  }
  FuzzyOperation(fact, other, true);
}

void TInferenceEngine::FuzzyOperation(const IFact& fact, const IFact& other, bool isUnion) {
  RequireObject(fact, "fact");
  RequireObject(other, "fact");
  const IFactTemplate& mine = fact->GetTemplate();
  const IFactTemplate& theirs = other->GetTemplate();
  if (mine && theirs && mine != theirs) {
    throw EKBException(TKBMessage::CannotUniteFacts,
                       {mine->GetTemplateName().ToString(), theirs->GetTemplateName().ToString()});
  }
  const TFuzzyOperation operation = OperationOf(fuzzyInference_);
  ForEachFuzzySlot(RequireFuzzyTemplate(fact), [&](std::string_view name) {
    const IKBValue value = fact->GetValue(name);
    const IKBValue present = other->GetValue(name);
    fact->SetValue(name,
                   isUnion ? FuzzyUnion(value, present, operation) : FuzzyIntersection(value, present, operation));
  });
}

IKBValue TInferenceEngine::MergeFuzzy(const IKBValue& value, const IKBValue& other, bool isUnion,
                                      TFuzzyOperation operation) const {
  RequireObject(value, "value");
  if (!other || value->GetDType() != other->GetDType()) return value;
  if (const TValueVector* list = value->ListOrNull()) {
    const TValueVector& others = *other->GetAsList();
    if (list->GetValueCount() != others.GetValueCount()) return value;
    auto result = MakeRef<TValueVector>();
    for (int i = 0; i < list->GetValueCount(); ++i) {
      const IKBValue& element = list->Get(i);
      const bool nested = element && element->Is(dtList);
      result->Add(element && !nested ? MergeFuzzy(element, others.Get(i), isUnion, operation) : element);
    }
    return MakeRef<TKBValue>(result);
  }
  const Ref<IFuzzySet> set = FuzzyOrNull(value);
  const Ref<IFuzzySet> present = FuzzyOrNull(other);
  if (!set || !present) return value;
  return MakeRef<TKBValue>(isUnion ? set->Union(*present, operation) : set->Intersection(*present, operation));
}

IKBValue TInferenceEngine::FuzzyUnion(const IKBValue& value, const IKBValue& other, TFuzzyOperation operation) {
  return MergeFuzzy(value, other, true, operation);
}

IKBValue TInferenceEngine::FuzzyIntersection(const IKBValue& value, const IKBValue& other, TFuzzyOperation operation) {
  return MergeFuzzy(value, other, false, operation);
}

// ---- Plots

void TInferenceEngine::PlotFuzzySet(std::string_view outId, const IKBValue& value, double low, double high,
                                    std::string_view characters) {
  TValueVector values;
  values.Add(value);
  PlotFuzzySet(outId, values, low, high, characters);
}

void TInferenceEngine::PlotFuzzySet(std::string_view outId, const TValueVector& values, double low, double high,
                                    std::string_view characters) {
  std::vector<Ref<IFuzzySet>> sets;
  for (const IKBValue& value : values) {
    RequireObject(value, "value");
    sets.push_back(value->GetAsFuzzy());
    RequireObject(sets.back(), "fuzzy set");
  }
  const IFuzzyVariable* variable = sets.empty() ? nullptr : sets.front()->Variable();
  for (const std::string& line : PlotFuzzySets(variable, sets, low, high, characters)) PrintLine(outId, line);
}

}  // namespace kb
