// What the bodies of built-in functions share. For the .cpp files of this folder and of kb/fuzzy.
#pragma once

#include <cmath>

#include "kb/functions/KBPackages.h"
#include "kb/values/ValueVector.h"

namespace kb {

/// In tables of functions: any number of arguments.
inline constexpr int kAny = kUnlimitedArguments;

/// The engine of a context; raises "Unknown/Undefined Inference Engine" without one.
[[nodiscard]] inline TInferenceEngine& EngineOf(const TKBContext& context) {
  if (context.GetEngine() == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  return *context.GetEngine();
}

/// Text, integer, number and list of the evaluated argument; the getter of the value decides what is legal.
[[nodiscard]] inline TKBText TextArgument(const TFunctionCall& call, int index, TKBContext& context) {
  return call.Evaluate(index, context)->GetAsString();
}
[[nodiscard]] inline int32_t IntegerArgument(const TFunctionCall& call, int index, TKBContext& context) {
  return call.Evaluate(index, context)->GetAsInteger();
}
[[nodiscard]] inline double NumericArgument(const TFunctionCall& call, int index, TKBContext& context) {
  return call.Evaluate(index, context)->GetAsNumeric();
}
/// Never null.
[[nodiscard]] inline IValueVector ListArgument(const TFunctionCall& call, int index, TKBContext& context) {
  IValueVector list = call.Evaluate(index, context)->GetAsList();
  return list ? list : MakeRef<TValueVector>();
}

/// The number itself; raises EMathError for NaN and infinity.
[[nodiscard]] inline double RequireFinite(double value) {
  if (std::isnan(value)) throw EMathError("Invalid floating point operation");
  if (std::isinf(value)) throw EMathError("Floating point overflow");
  return value;
}
/// A float as the result of a computation, under the same condition.
[[nodiscard]] inline IKBValue CheckedFloat(double value) { return MakeFloat(RequireFinite(value)); }
/// The quotient; raises EMathError for a divisor of 0.
[[nodiscard]] inline double CheckedQuotient(double dividend, double divisor) {
  if (divisor == 0) throw EMathError("Floating point division by zero");
  return dividend / divisor;
}
/// In tables of functions: the body of a function of one number. NaN and infinity as its result raise.
template <double (*Function)(double)>
IKBValue OfNumber(TFunctionCall& call, TKBContext& context) {
  return CheckedFloat(Function(NumericArgument(call, 0, context)));
}

/// An argument as it was written; never null.
[[nodiscard]] inline const IKBValue& RawArgument(const TFunctionCall& call, int index) {
  const IKBValue& argument = call.GetArgument(index);
  return argument ? argument : FCNil;
}

/// Whether the value equals a shared constant, such as FALSE or a keyword.
[[nodiscard]] inline bool IsConstant(const IKBValue& value, const IKBValue& constant) {
  return value == constant || value->Equals(constant.Get());
}
/// Everything that is not FALSE counts as true.
[[nodiscard]] inline bool IsFalse(const IKBValue& value) { return IsConstant(value, FCFalse); }

/// Evaluates the arguments from `from` up to, not including, `to`; each value goes to `result`. Stops when a
/// `return` has been evaluated in this context: `result` is then what it returned, and the answer is false.
inline bool RunStatements(const TFunctionCall& call, TKBContext& context, int from, int to, IKBValue& result) {
  for (int i = from; i < to; ++i) {
    result = call.Evaluate(i, context);
    if (!context.IsReturning()) continue;
    result = context.GetReturnValue();
    return false;
  }
  return true;
}

/// Element of a list, evaluated; never null. Raises EListError for a bad index.
[[nodiscard]] inline IKBValue EvaluateElement(const TValueVector& list, int index, TKBContext& context) {
  const IKBValue& element = list.Get(index);
  return element ? element->Resolve(&context) : FCNil;
}

}  // namespace kb
