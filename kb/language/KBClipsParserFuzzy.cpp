// Fuzzy values, sets and variables.
#include <algorithm>

#include "kb/engine/InferenceEngine.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/language/KBClipsParser.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/ValueVector.h"

namespace kb {

namespace {

constexpr std::string_view kFuzzyVariable = "ParseFuzzyVariable";
constexpr std::string_view kFuzzySet = "ParseFuzzySet";
constexpr std::string_view kFuzzyForms = "range, units, or values";

/// All elements have become sets; a list that waits for its variables is none of these.
bool IsEvaluated(const TValueVector& list) {
  return std::all_of(list.begin(), list.end(), [](const IKBValue& element) { return element->Is(dtFuzzy); });
}

}  // namespace

/// The value as a fuzzy one, or as it stands when it holds variables or calls.
IKBValue TKBClipsParser::EvalFuzzy(const IKBValue& value, const IKBDefinedType& definedType, std::string_view where) {
  if (!definedType) ParseError(where, TKBMessage::FuzzyTypeNeeded);
  const IKBValue result = GetOwner().EvalFuzzyExpression(definedType->GetFuzzyType(), value, nullptr);
  if (result == FCNil) ParseError(where, TKBMessage::InvalidFuzzyExpression, {value ? value->ToString() : ""});
  return result;
}

/// The same for a multislot: always a list.
IKBValue TKBClipsParser::FuzzyList(const IKBValue& value, const IKBDefinedType& definedType, std::string_view where) {
  IKBValue result = EvalFuzzy(value, definedType, where);
  if (result->Is(dtList)) return result;
  auto list = MakeRef<TValueVector>();
  list->Add(result);
  return MakeRef<TKBValue>(list);
}

IKBValue TKBClipsParser::ParseSingleFuzzy(const IKBDefinedType& definedType, std::string_view where) {
  if (!definedType) ParseError(where, TKBMessage::FuzzyTypeNeeded);
  const IKBValue written = ParseValue();
  IKBValue value = EvalFuzzy(written, definedType, where);
  const TValueVector* list = value->ListOrNull();
  if (list != nullptr && IsEvaluated(*list)) {
    ParseError(where, TKBMessage::InvalidFuzzyExpression, {written->ToString()});
  }
  return value;
}

// A fuzzy constant of a pattern: all up to the end of the field. Variables are fields of their own here.
IKBValue TKBClipsParser::ParseFuzzyField(IStreamToken token, const IKBDefinedType& definedType,
                                         std::string_view where) {
  if (!definedType) ParseError(where, TKBMessage::FuzzyTypeNeeded);
  IValueVector list = MakeRef<TValueVector>();
  for (;; token = Next()) {
    if (token->Is(kTokenOpen)) {
      list->Add(ParseParenthesised(token));
    } else if (token->IsValue() && !token->IsVariable()) {
      list->Add(token->Value());
    } else if (token->Is(kTokenOpenBracket) || token->Is(kTokenCloseBracket)) {
      list->Add(MakeAtom(token->GetText()));
    } else {
      break;
    }
  }
  if (list->GetValueCount() == 0) ParseError(where, TKBMessage::BadSlotValue, {token->ToString()});
  Back(token);
  IKBValue value = GetOwner().EvalFuzzyExpression(definedType->GetFuzzyType(), *list, &Context());
  const TValueVector* several = value->ListOrNull();
  if (!value->Is(dtFuzzy) && (several == nullptr || !IsEvaluated(*several))) {
    ParseError(where, TKBMessage::InvalidFuzzyExpression, {list->ToString()});
  }
  return value;
}

// variable = ("(" "range" number number ")" | "(" "units" name ")" | "(" "values" term* ")")*
Ref<IFuzzyVariable> TKBClipsParser::ParseFuzzyVariable() {
  Ref<IFuzzyVariable> variable = MakeRef<TKBFuzzyVariable>(std::string_view());
  variable->SetParser(&GetOwner());
  ParseFuzzyBody(variable);
  return variable;
}

void TKBClipsParser::ParseFuzzyBody(const Ref<IFuzzyVariable>& variable) {
  IStreamToken token = Next();
  for (; !token->Is(kTokenClose); token = Next()) {
    if (!token->Is(kTokenOpen)) ParseError(kFuzzyVariable, TKBMessage::ExpectedOpen);
    const IStreamToken word = Next();
    if (word->IsAtom("range")) {
      IKBValue from;
      IKBValue to;
      ParseRangeEnd(false, false, from);
      ParseRangeEnd(false, false, to);
      variable->SetUniverse(from->GetAsNumeric(), to->GetAsNumeric());
    } else if (word->IsAtom("units")) {
      variable->SetUnits(NameText(*Next()));
    } else if (word->IsAtom("values")) {
      ParseFuzzyTerms(variable);
    } else {
      ParseError(kFuzzyVariable, TKBMessage::MissingKeyword, {std::string(kFuzzyForms)});
    }
    Expect(kTokenClose, kFuzzyVariable);
  }
  Back(token);
  if (OnParseFuzzyVariable) OnParseFuzzyVariable(*this, variable);
}

void TKBClipsParser::ParseFuzzyTerms(const Ref<IFuzzyVariable>& variable) {
  IStreamToken token = Next();
  for (; !token->Is(kTokenClose); token = Next()) {
    Back(token);
    variable->AddSet(ParseFuzzySet(variable));
  }
  Back(token);
}

// term = "(" "term" name value* ")"
//
// The values are an expression over the terms so far. A term keeps the text that it was made of, so that it prints as
// it was written.
Ref<IFuzzySet> TKBClipsParser::ParseFuzzySet(const Ref<IFuzzyVariable>& variable) {
  const THeader header = ParsePlainHeader("term", kFuzzySet, false);
  Back(header.token);
  if (IsFuzzyWord(header.name) || header.name == SEmptyFuzzy) {
    ParseError(kFuzzySet, TKBMessage::InvalidFuzzyTermName, {header.name});
  }
  const IKBValue written = ParseValue();
  const IKBValue value = GetOwner().EvalFuzzyExpression(variable, written, &Context());
  if (!value->Is(dtFuzzy)) {
    ParseError(kFuzzySet, TKBMessage::InvalidFuzzyExpression, {written ? written->ToString() : ""});
  }
  Ref<IFuzzySet> set = value->GetAsFuzzy()->Clone();
  if (set->SetType() == fstPoints && set->GetExpression().empty()) set->SetExpression(set->Name());
  set->SetName(header.name);
  if (set->Variable() == nullptr) set->SetVariable(variable.Get());
  Expect(kTokenClose, kFuzzySet);
  if (OnParseFuzzySet) OnParseFuzzySet(*this, set);
  return set;
}

}  // namespace kb
