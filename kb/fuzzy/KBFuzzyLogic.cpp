#include "kb/fuzzy/KBFuzzyLogic.h"

#include <algorithm>
#include <cmath>

#include "kb/common/Helpers.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBValue.h"

namespace kb {

// ---- TIFuzzyVariable

TIFuzzyVariable::TIFuzzyVariable(std::string_view name) : name_(name) {}

TIFuzzyVariable::~TIFuzzyVariable() = default;

void TIFuzzyVariable::SetUniverse(double from, double to) {
  if (!std::isfinite(from) || !std::isfinite(to) || !(from < to)) {
    throw EKBException(TKBMessage::InvalidUniverse, {FloatToString(from), FloatToString(to)});
  }
  from_ = from;
  to_ = to;
  Changed();
}

void TIFuzzyVariable::SetUnits(std::string_view units) {
  units_ = units;
  Changed();
}

void TIFuzzyVariable::SetThreshold(double value) {
  threshold_ = std::isnan(value) ? 0.0 : std::clamp(value, 0.0, 1.0);
  Changed();
}

void TIFuzzyVariable::SetParser(IFuzzyParser* parser) {
  parser_ = parser;
  for (const Ref<IFuzzySet>& set : sets_) set->SetParser(parser);
}

const Ref<IFuzzySet>& TIFuzzyVariable::Set(int index) const { return ItemAt(sets_, index); }

Ref<IFuzzySet> TIFuzzyVariable::CreateItems(std::string_view name) { return MakeRef<TIFuzzySet>(this, name); }

Ref<IFuzzySet> TIFuzzyVariable::AddSet(std::string_view name) {
  Ref<IFuzzySet> set = CreateItems(name);
  AddSet(set);
  return set;
}

void TIFuzzyVariable::AddSet(const Ref<IFuzzySet>& set) {
  RequireObject(set, "fuzzy set");
  const Ref<IFuzzySet> added = set;
  added->SetVariable(this);
  added->SetParser(Parser());
  added->SetIsTerm(added->Name() != SEmptyFuzzy);
  const auto present = std::find_if(sets_.begin(), sets_.end(),
                                    [&](const Ref<IFuzzySet>& other) { return other->Name() == added->Name(); });
  if (present == sets_.end()) {
    sets_.push_back(added);
  } else {
    *present = added;
  }
  Changed();
}

Ref<IFuzzySet> TIFuzzyVariable::FindSet(std::string_view name) const {
  const auto found =
      std::find_if(sets_.begin(), sets_.end(), [name](const Ref<IFuzzySet>& set) { return set->Name() == name; });
  return found == sets_.end() ? nullptr : *found;
}

void TIFuzzyVariable::ClearFuzzySets() {
  sets_.clear();
  Changed();
}

void TIFuzzyVariable::Assign(const IFuzzyVariable& source) {
  if (&source == this) return;
  from_ = source.From();
  to_ = source.To();
  units_ = source.Units();
  threshold_ = source.Threshold();
  sets_.clear();
  for (int i = 0; i < source.SetCount(); ++i) AddSet(source.Set(i)->Clone());
  Changed();
}

Ref<IFuzzyVariable> TIFuzzyVariable::Clone() const {
  Ref<TIFuzzyVariable> result = NewVariable();
  result->parser_ = parser_;
  result->Assign(*this);
  return result;
}

bool TIFuzzyVariable::Equals(const IFuzzyVariable* other) const {
  if (other == this) return true;
  if (other == nullptr || other->Name() != name_ || other->From() != from_ || other->To() != to_) return false;
  // The empty set comes and goes with the values that ask for it.
  const auto terms = [](const IFuzzyVariable& variable) {
    std::vector<const IFuzzySet*> result;
    for (int i = 0; i < variable.SetCount(); ++i) {
      if (variable.Set(i)->IsTerm()) result.push_back(variable.Set(i).Get());
    }
    return result;
  };
  const auto sameTerm = [](const IFuzzySet* a, const IFuzzySet* b) {
    return a->Name() == b->Name() && a->Polygon() == b->Polygon();
  };
  const auto mine = terms(*this);
  const auto theirs = terms(*other);
  return other->Units() == units_ && std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(), sameTerm);
}

// ---- TKBFuzzySet

bool TKBFuzzySet::Equals(const TKBValue& value) const {
  switch (value.GetDType()) {
    case dtInteger:
    case dtFloat: {
      const double degree = DegreeOfMembership(value.GetAsNumeric());
      return std::isnan(degree) || IsAboveThreshold(degree);
    }
    case dtFuzzy: {
      const Ref<IFuzzySet> other = value.GetAsFuzzy();
      return other && Iterate(*other, FuzzyOperatorMinThreshold) > 0;
    }
    default:
      return false;
  }
}

double TKBFuzzySet::FuzzyEquals(const TKBValue& value) const {
  switch (value.GetDType()) {
    case dtInteger:
    case dtFloat: {
      const double degree = DegreeOfMembership(value.GetAsNumeric());
      return std::isnan(degree) ? 0 : degree;
    }
    case dtFuzzy: {
      const Ref<IFuzzySet> other = value.GetAsFuzzy();
      return other ? Iterate(*other, FuzzyOperatorMaxOfMin) : 0;
    }
    default:
      return 0;
  }
}

}  // namespace kb
