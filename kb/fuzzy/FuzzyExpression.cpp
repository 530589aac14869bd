#include "kb/fuzzy/FuzzyExpression.h"

#include <algorithm>
#include <utility>

#include "kb/fuzzy/FuzzyWords.h"
#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBValue.h"
#include "kb/values/ValueVector.h"

namespace kb {

/// What an element of an expression is.
enum TFuzzyElementKind { ekOperand, ekOpen, ekClose, ekHedge, ekOperator, ekKeyword };

namespace {

constexpr TKBTypes kOperandTypes{dtInteger, dtVariable, dtFloat, dtFunCall, dtSingletons, dtFuzzy, dtMultiVariable};

[[nodiscard]] TFuzzyElementKind KindOfWord(std::string_view text) noexcept {
  TFuzzyHedge hedge{};
  TBaseFuzzyHedge base{};
  TFuzzyOperation operation{};
  bool flag = false;
  if (text == "[") return ekOpen;
  if (text == "]") return ekClose;
  if (IsFuzzyHedge(text, hedge)) return ekHedge;
  if (IsFuzzyHedgeOperator(text, base, flag)) return ekOperator;
  return IsFuzzyKeyword(text, flag, operation) ? ekKeyword : ekOperand;
}

// A smaller number binds first. What waits on the stack goes to the group before an element that arrives with a number
// that is not smaller: hedges apply from the right, the others from the left.
[[nodiscard]] int WaitingPriority(TFuzzyElementKind kind) noexcept {
  return kind == ekOpen ? 4 : kind == ekHedge ? 2 : 3;
}
[[nodiscard]] int ArrivingPriority(TFuzzyElementKind kind) noexcept {
  return kind == ekOpen ? 0 : kind == ekHedge ? 1 : 3;
}

[[nodiscard]] bool IsConstant(const TSingletonsVector& pairs) {
  const auto isNumber = [](const IKBValue& value) { return value && KBNumericTypes.Has(value->GetDType()); };
  for (int i = 0; i < pairs.GetCount(); ++i) {
    if (!isNumber(pairs.GetXValues(i)) || !isNumber(pairs.GetYValues(i))) return false;
  }
  return true;
}

[[noreturn]] void RaiseInvalidItem(const TKBValue& value) {
  throw EKBException(TKBMessage::InvalidFuzzyItem, {value.ToString()});
}

}  // namespace

struct TFuzzyExpression::TElement {
  TFuzzyElementKind kind;
  IKBValue value;
};

/// A set on the stack; one that nobody else holds may be changed in place.
struct TFuzzyExpression::TOperand {
  Ref<IFuzzySet> set;
  bool own;

  [[nodiscard]] IFuzzySet& Changeable() {
    if (!own) set = set->Clone();
    own = true;
    return *set;
  }
};

// ---- Single values

IKBValue TFuzzyExpression::TermOf(std::string_view text) {
  if (!variable_) throw EKBException(TKBMessage::FuzzyVariableUndefined);
  const bool empty = text.empty() || text == SEmptyFuzzy;
  Ref<IFuzzySet> set = variable_->FindSet(empty ? SEmptyFuzzy : text);
  if (!set && empty) set = variable_->AddSet(SEmptyFuzzy);
  if (!set) throw EKBException(TKBMessage::InvalidFuzzyItem, {std::string(text)});
  return MakeRef<TKBValue>(set);
}

IKBValue TFuzzyExpression::SpikeAt(const TKBValue& number) {
  const Ref<IFuzzySet> set = MakeRef<TKBFuzzySet>(variable_.Get(), number.ToString());
  set->SetParser(parser_);
  const double x = number.GetAsNumeric();
  set->Triangle(x, x, x);
  return MakeRef<TKBValue>(set);
}

/// The value with a set of the variable. One that has none may stand elsewhere too, so it is copied.
IKBValue TFuzzyExpression::Attached(const IKBValue& value) const {
  if (!value->Is(dtFuzzy) || !variable_) return value;
  const Ref<IFuzzySet> set = value->GetAsFuzzy();
  if (!set || set->Variable() != nullptr) return value;
  const Ref<IFuzzySet> copy = set->Clone();
  copy->SetVariable(variable_.Get());
  copy->SetParser(parser_);
  return MakeRef<TKBValue>(copy);
}

IKBValue TFuzzyExpression::Evaluate(const IKBValue& value) {
  CheckStack();
  return value ? Attached(EvaluateForm(value)) : TermOf({});
}

IKBValue TFuzzyExpression::EvaluateForm(const IKBValue& value) {
  switch (value->GetDType()) {
    case dtAtom:
    case dtString:
      return TermOf(value->TextView());
    case dtInteger:
    case dtFloat:
      return SpikeAt(*value);
    case dtVariable:
    case dtFunCall:
      return context_ == nullptr ? value : Evaluate(value->Resolve(context_));
    case dtList:
      return Evaluate(*value->GetAsList());
    case dtSingletons:
      return context_ == nullptr && !IsConstant(*value->GetAsSingletons()) ? value : value->Resolve(context_);
    case dtFuzzy:
      return value;
    default:
      if (context_ != nullptr) RaiseInvalidItem(*value);
      return FCNil;
  }
}

// ---- Lists

// Operands go to the group as they come, operators wait on a stack until what binds first has gone before them.
std::vector<TFuzzyExpression::TGroup> TFuzzyExpression::ToPostfix(const TValueVector& list) {
  std::vector<TGroup> groups(1);
  TGroup stack;
  int depth = 0;
  bool lastWasOperand = false;
  const auto pop = [&] {
    groups.back().push_back(std::move(stack.back()));
    stack.pop_back();
  };
  const auto close = [&] {
    if (depth > 0) throw EKBException(TKBMessage::MissingFuzzyBracket);
    while (!stack.empty()) pop();
  };
  const auto begin = [&] {
    if (!lastWasOperand) return;
    close();
    groups.emplace_back();
  };
  // By index: what is evaluated may change the list.
  for (int i = 0; i < list.GetValueCount(); ++i) {
    IKBValue value = list.Get(i) ? list.Get(i) : FCNil;
    if (context_ != nullptr) value = value->Resolve(context_);
    const bool word = value->Is(dtAtom) || value->Is(dtString);
    if (!word && !kOperandTypes.Has(value->GetDType())) RaiseInvalidItem(*value);
    const TFuzzyElementKind kind = word ? KindOfWord(value->TextView()) : ekOperand;
    if (kind == ekClose) {
      if (depth > 0) --depth;
      while (!stack.empty() && stack.back().kind != ekOpen) pop();
      if (!stack.empty()) stack.pop_back();
    } else if (kind == ekOperand) {
      begin();
      groups.back().push_back({kind, value});
    } else {
      // What can only stand in front of a set begins a new expression behind one.
      if (kind == ekHedge || kind == ekOpen) begin();
      while (!stack.empty() && WaitingPriority(stack.back().kind) <= ArrivingPriority(kind)) pop();
      if (kind == ekOpen) ++depth;
      stack.push_back({kind, value});
    }
    lastWasOperand = kind == ekOperand || kind == ekClose;
  }
  close();
  return groups;
}

void TFuzzyExpression::Apply(const TElement& element, std::vector<TOperand>& stack) {
  const std::string_view word = element.value->TextView();
  const auto pop = [&] {
    if (stack.empty()) throw EKBException(TKBMessage::MissingFuzzyOperand, {std::string(word)});
    TOperand operand = std::move(stack.back());
    stack.pop_back();
    return operand;
  };
  TOperand b = pop();
  if (element.kind == ekHedge) {
    TFuzzyHedge hedge{};
    static_cast<void>(IsFuzzyHedge(word, hedge));
    b.Changeable().Hedge(hedge);
    stack.push_back(std::move(b));
    return;
  }
  TOperand a = pop();
  bool flag = false;
  if (element.kind == ekOperator) {
    TBaseFuzzyHedge base{};
    static_cast<void>(IsFuzzyHedgeOperator(word, base, flag));
    a.Changeable().HedgeOperator(base, flag, b.set->Maximum());
    stack.push_back(std::move(a));
    return;
  }
  TFuzzyOperation operation{};
  static_cast<void>(IsFuzzyKeyword(word, flag, operation));
  stack.push_back({flag ? a.set->Union(*b.set, operation) : a.set->Intersection(*b.set, operation), true});
}

/// Null when an operand has no value yet.
IKBValue TFuzzyExpression::EvaluateGroup(const TGroup& group) {
  // One operand keeps its value object.
  if (group.size() == 1 && group.front().kind == ekOperand) {
    const IKBValue result = Evaluate(group.front().value);
    return result->Is(dtFuzzy) || result == FCNil ? result : nullptr;
  }
  std::vector<TOperand> stack;
  for (const TElement& element : group) {
    if (element.kind != ekOperand) {
      Apply(element, stack);
      continue;
    }
    const IKBValue result = Evaluate(element.value);
    if (!result->Is(dtFuzzy) || !result->GetAsFuzzy()) return nullptr;
    stack.push_back({result->GetAsFuzzy(), false});
  }
  return stack.empty() ? FCNil : MakeRef<TKBValue>(stack.back().set);
}

IKBValue TFuzzyExpression::Evaluate(const TValueVector& list) {
  CheckStack();
  const std::vector<TGroup> groups = ToPostfix(list);
  if (groups.front().empty()) return FCNilList;
  auto values = MakeRef<TValueVector>();
  for (const TGroup& group : groups) {
    const IKBValue value = EvaluateGroup(group);
    if (!value) {
      // Later, all of it, in the order in which it was written.
      auto written = MakeRef<TValueVector>();
      for (const IKBValue& element : list) written->Add(element);
      return MakeRef<TKBValue>(written);
    }
    if (value == FCNil) return FCNil;
    values->Add(value);
  }
  return groups.size() == 1 ? values->Get(0) : MakeRef<TKBValue>(values);
}

}  // namespace kb
