// Logic and comparison. None of these allocates for arguments that are values already.
#include <functional>

#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"

namespace kb::standard {
namespace {

// The first argument against each later one; FALSE at the first for which `accept` says no.
template <class Accept>
IKBValue FirstAgainstRest(TFunctionCall& call, TKBContext& context, Accept accept) {
  const IKBValue first = call.Evaluate(0, context);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    if (!accept(*first, *call.Evaluate(i, context))) return FCFalse;
  }
  return FCTrue;
}

// The same on numbers, compared without tolerance.
template <class Compare>
IKBValue NumberAgainstRest(TFunctionCall& call, TKBContext& context, Compare compare) {
  const double first = NumericArgument(call, 0, context);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    if (!compare(first, NumericArgument(call, i, context))) return FCFalse;
  }
  return FCTrue;
}

// Each number against the next; the arguments behind the first pair that fails are not evaluated.
template <class Compare>
IKBValue Chain(TFunctionCall& call, TKBContext& context, Compare compare) {
  double left = NumericArgument(call, 0, context);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    const double right = NumericArgument(call, i, context);
    if (!compare(left, right)) return FCFalse;
    left = right;
  }
  return FCTrue;
}

/// A multifield equals a single value when it holds nothing else. So "=(+ 1 2)" in a multislot of a pattern, which
/// stands for a run of fields, finds the field 3, as "=(create$ 1 2)" finds two.
bool EqualInValue(const TKBValue& left, const TKBValue& right) {
  const TValueVector* fields = left.ListOrNull();
  if (fields == nullptr || right.Is(dtList)) return left.EqualsStar(&right);
  return fields->GetValueCount() == 1 && fields->Get(0)->EqualsStar(&right);
}

}  // namespace

IKBValue And(TFunctionCall& call, TKBContext& context) {
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    if (IsFalse(call.Evaluate(i, context))) return FCFalse;
  }
  return FCTrue;
}

IKBValue Or(TFunctionCall& call, TKBContext& context) {
  // Only TRUE itself counts here, other than in `and` and `if`.
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    if (IsConstant(call.Evaluate(i, context), FCTrue)) return FCTrue;
  }
  return FCFalse;
}

IKBValue Not(TFunctionCall& call, TKBContext& context) { return MakeBoolean(IsFalse(call.Evaluate(0, context))); }

IKBValue Eq(TFunctionCall& call, TKBContext& context) {
  return FirstAgainstRest(call, context, [](const TKBValue& a, const TKBValue& b) { return a.Equals(&b); });
}

IKBValue EqStar(TFunctionCall& call, TKBContext& context) { return FirstAgainstRest(call, context, EqualInValue); }

IKBValue Neq(TFunctionCall& call, TKBContext& context) {
  return FirstAgainstRest(call, context, [](const TKBValue& a, const TKBValue& b) { return !a.Equals(&b); });
}

IKBValue NumericEquals(TFunctionCall& call, TKBContext& context) {
  return NumberAgainstRest(call, context, std::equal_to<double>());
}

IKBValue NumericDiffers(TFunctionCall& call, TKBContext& context) {
  return NumberAgainstRest(call, context, std::not_equal_to<double>());
}

IKBValue Greater(TFunctionCall& call, TKBContext& context) { return Chain(call, context, std::greater<double>()); }

IKBValue GreaterOrEqual(TFunctionCall& call, TKBContext& context) {
  return Chain(call, context, std::greater_equal<double>());
}

IKBValue Less(TFunctionCall& call, TKBContext& context) { return Chain(call, context, std::less<double>()); }

IKBValue LessOrEqual(TFunctionCall& call, TKBContext& context) {
  return Chain(call, context, std::less_equal<double>());
}

}  // namespace kb::standard
