// Multifields. No function changes the list that it is given; elements that go into a new list are evaluated
// and cloned, and a nested multifield stays one element. Positions count from 0 and ranges include both ends.
#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"

namespace kb::standard {
namespace {

struct TRange {
  int32_t begin;
  int32_t end;
};

// Arguments 1 and 2.
TRange RangeArguments(const TFunctionCall& call, TKBContext& context) {
  const int32_t begin = IntegerArgument(call, 1, context);
  const int32_t end = IntegerArgument(call, 2, context);
  if (begin > end) {
    throw EKBException(TKBMessage::InvalidMultifieldRange, {IntegerToString(begin), IntegerToString(end)});
  }
  return {begin, end};
}

IKBValue CopyOfElement(const TValueVector& list, int index, TKBContext& context) {
  return EvaluateElement(list, index, context)->Clone();
}

// Copies of the elements outside the range.
IValueVector WithoutRange(const TValueVector& list, TRange range, TKBContext& context) {
  auto result = MakeRef<TValueVector>();
  for (int i = 0; i < list.GetValueCount(); ++i) {
    if (i < range.begin || i > range.end) result->Add(CopyOfElement(list, i, context));
  }
  return result;
}

// Copies of the arguments from `from` on, each put in at the same index, so that they end up in reverse order.
void InsertArguments(TValueVector& list, int32_t at, const TFunctionCall& call, int from, TKBContext& context) {
  for (int i = from; i < call.GetArgumentCount(); ++i) list.Insert(at, call.Evaluate(i, context)->Clone());
}

// Whether the rest of `sub` stands in `main` from the place on where its first element was found.
bool RunMatches(const TValueVector& sub, const TValueVector& main, int place, TKBContext& context) {
  for (int i = 1; i < sub.GetValueCount(); ++i) {
    const IKBValue wanted = EvaluateElement(sub, i, context);
    if (!wanted->Equals(EvaluateElement(main, place + i, context).Get())) return false;
  }
  return true;
}

}  // namespace

IKBValue CreateMultifield(TFunctionCall& call, TKBContext& context) {
  const auto list = MakeRef<TValueVector>();
  list->Reserve(call.GetArgumentCount());
  for (int i = 0; i < call.GetArgumentCount(); ++i) list->Add(call.Evaluate(i, context)->Clone());
  return MakeRef<TKBValue>(list);
}

IKBValue DeleteRange(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  return MakeRef<TKBValue>(WithoutRange(*list, RangeArguments(call, context), context));
}

IKBValue Explode(TFunctionCall& call, TKBContext& context) {
  const TKBText text = TextArgument(call, 0, context);
  const auto list = MakeRef<TValueVector>();
  std::string_view rest = Trim(text.View());
  while (!rest.empty()) {
    const size_t length = std::min(rest.find(' '), rest.size());
    if (length > 0) list->Add(MakeAtom(rest.substr(0, length)));
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return MakeRef<TKBValue>(list);
}

IKBValue First(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  return list->GetValueCount() == 0 ? FCNil : EvaluateElement(*list, 0, context);
}

IKBValue Implode(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  std::string text;
  for (int i = 0; i < list->GetValueCount(); ++i) {
    if (i > 0) text += ' ';
    text += EvaluateElement(*list, i, context)->GetAsString().View();
  }
  return MakeString(text);
}

IKBValue Insert(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  const int32_t at = IntegerArgument(call, 1, context);
  const IValueVector result = WithoutRange(*list, {-1, -1}, context);
  InsertArguments(*result, at, call, 2, context);
  return MakeRef<TKBValue>(result);
}

IKBValue Length(TFunctionCall& call, TKBContext& context) {
  return MakeInteger(ListArgument(call, 0, context)->GetValueCount());
}

IKBValue Member(TFunctionCall& call, TKBContext& context) {
  const IKBValue wanted = call.Evaluate(0, context);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    if (wanted->Equals(call.Evaluate(i, context).Get())) return MakeInteger(i - 1);
  }
  return FCFalse;
}

IKBValue MemberOfList(TFunctionCall& call, TKBContext& context) {
  const IKBValue wanted = call.Evaluate(0, context);
  const IValueVector list = ListArgument(call, 1, context);
  for (int i = 0; i < list->GetValueCount(); ++i) {
    if (wanted->Equals(EvaluateElement(*list, i, context).Get())) return MakeInteger(i);
  }
  return FCFalse;
}

IKBValue Nth(TFunctionCall& call, TKBContext& context) {
  const int32_t index = IntegerArgument(call, 0, context);
  const IValueVector list = ListArgument(call, 1, context);
  const IKBValue& element = list->Get(index);
  return element ? element : FCNil;
}

IKBValue ReplaceRange(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  const TRange range = RangeArguments(call, context);
  const IValueVector result = WithoutRange(*list, range, context);
  InsertArguments(*result, range.begin, call, 3, context);
  return MakeRef<TKBValue>(result);
}

IKBValue Rest(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  static_cast<void>(list->First());  // an empty list has no rest
  return MakeRef<TKBValue>(WithoutRange(*list, {0, 0}, context));
}

IKBValue Subsequence(TFunctionCall& call, TKBContext& context) {
  const IValueVector list = ListArgument(call, 0, context);
  const TRange range = RangeArguments(call, context);
  static_cast<void>(list->Get(range.begin));
  static_cast<void>(list->Get(range.end));
  const auto result = MakeRef<TValueVector>();
  for (int i = range.begin; i <= range.end; ++i) result->Add(CopyOfElement(*list, i, context));
  return MakeRef<TKBValue>(result);
}

IKBValue IsSubsequence(TFunctionCall& call, TKBContext& context) {
  const IKBValue wanted = call.Evaluate(0, context);
  IValueVector sub = wanted->Is(dtList) ? wanted->GetAsList() : nullptr;
  if (!sub) sub = MakeRef<TValueVector>(std::vector<IKBValue>{wanted});
  const IValueVector main = ListArgument(call, 1, context);
  for (int i = 0; i < main->GetValueCount(); ++i) {
    const IKBValue first = EvaluateElement(*sub, 0, context);
    if (!first->Equals(EvaluateElement(*main, i, context).Get())) continue;
    if (RunMatches(*sub, *main, i, context)) return FCTrue;
  }
  return FCFalse;
}

}  // namespace kb::standard
