// Facts: assert, retract, modify, duplicate and what belongs to them.
#include <utility>
#include <vector>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/values/Fact.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb::standard {
namespace {

// The fact of an id value; "No Such Fact with ID=%s exists".
IFact FactOfId(const TInferenceEngine& engine, const TKBValue& id) {
  IFact fact = engine.FindFact(id.GetAsFactId());
  if (!fact) throw EKBException(TKBMessage::NoSuchFact, {id.ToString()});
  return fact;
}

struct TSlotValue {
  TKBText name;
  IKBValue value;
};
using TSlotValues = std::vector<TSlotValue>;

// The value of a fuzzy slot: all that was written is one expression.
IKBValue FuzzyPairValue(const TValueVector& pair, const TFactSlot& slot, TKBContext& context) {
  const IKBDefinedType& type = slot.GetExtendedTypeInfo();
  const Ref<IFuzzyVariable> variable = type ? type->GetFuzzyType() : nullptr;
  IKBValue written = pair.Get(1);
  if (pair.GetValueCount() > 2) {
    auto elements = MakeRef<TValueVector>();
    for (int i = 1; i < pair.GetValueCount(); ++i) elements->Add(pair.Get(i));
    written = MakeRef<TKBValue>(elements);
  }
  IKBValue value = EngineOf(context).EvalFuzzyExpression(variable, written, &context);
  if (slot.IsMultiSlot() || !value->Is(dtList)) return value;
  throw EKBException(TKBMessage::InvalidFuzzyExpression, {written->ToString()});
}

// The value of one (slot value...) pair. It is a new object wherever storing it could change an object that
// stands elsewhere: multifields are built anew, and under the dynamic check, which adapts values in place,
// all are.
IKBValue PairValue(const TValueVector& pair, const TFactSlot& slot, bool checked, TKBContext& context) {
  const IKBValue& written = pair.Get(1);
  if (slot.IsFuzzy()) return FuzzyPairValue(pair, slot, context);
  const bool oneList = pair.GetValueCount() == 2 && written && written->Is(dtList);
  if (slot.IsMultiSlot() && !oneList) {
    TValueVector elements;
    for (int i = 1; i < pair.GetValueCount(); ++i) elements.Add(pair.Get(i));
    return MakeRef<TKBValue>(context.ExpandList(elements));
  }
  IKBValue value = EvaluateElement(pair, 1, context);
  if (const TValueVector* list = value->ListOrNull()) return MakeRef<TKBValue>(context.ExpandList(*list));
  return checked && !IsValueConstant(value.Get()) ? value->Clone() : value;
}

// Arguments 1 and on, evaluated in order. Raises for a slot that the template lacks.
TSlotValues EvaluatePairs(const TFunctionCall& call, const TFactTemplate& factTemplate, TKBContext& context) {
  const bool checked = EngineOf(context).GetTypeChecks().Has(tcDynamic);
  TSlotValues values;
  values.reserve(static_cast<size_t>(call.GetArgumentCount()));
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    const IValueVector pair = ListArgument(call, i, context);
    const TKBText name = EvaluateElement(*pair, 0, context)->GetAsString();
    const IFactSlot slot = factTemplate.GetSlot(name.View());
    values.push_back({name, PairValue(*pair, *slot, checked, context)});
  }
  return values;
}

void SetSlots(TFact& fact, const TSlotValues& values) {
  for (const TSlotValue& slot : values) fact.SetValue(slot.name.View(), slot.value);
}

// A fact taken out of the fact base for a change. Unless the change is committed, the fact gets its old
// values back and returns: no fact is lost to an error.
class TFactChange {
 public:
  TFactChange(TInferenceEngine& engine, const IFact& fact)
      : engine_(engine), fact_(fact), names_(fact->GetSlotNames()), values_(fact->GetSlotValues()) {
    try {
      engine_.BeginFactModify(fact_);
    } catch (...) {
      if (engine_.GetFacts().IndexOf(fact_.Get()) < 0) PutBack();
      throw;
    }
  }
  TFactChange(const TFactChange&) = delete;
  TFactChange& operator=(const TFactChange&) = delete;
  ~TFactChange() {
    if (!committed_) PutBack();
  }

  /// Asserts the changed fact and gives its new id.
  int32_t Commit() {
    committed_ = true;
    return engine_.EndFactModify(fact_);
  }

 private:
  // Runs while an exception is on its way, which matters more than one raised here.
  void PutBack() noexcept {
    for (size_t i = 0; i < names_.size() && i < values_.size(); ++i) {
      try {
        fact_->SetValue(names_[i].View(), values_[i]);
      } catch (...) {
        continue;
      }
    }
    try {
      engine_.EndFactModify(fact_);
    } catch (...) {
      return;
    }
  }

  TInferenceEngine& engine_;
  IFact fact_;
  std::vector<TKBText> names_;
  std::vector<IKBValue> values_;
  bool committed_ = false;
};

// Tries the values on a copy where they may be refused, so that a refusal leaves the fact where it is.
void CheckSlots(const TInferenceEngine& engine, const TFact& fact, const TSlotValues& values) {
  if (!engine.GetTypeChecks().Has(tcDynamic)) return;
  const IFact copy = fact.Clone();
  for (const TSlotValue& slot : values) copy->SetValue(slot.name.View(), slot.value->Clone());
}

IFact FactArgument(const TFunctionCall& call, int index, TKBContext& context) {
  IFact fact = call.Evaluate(index, context)->GetAsFact();
  if (!fact) throw EKBException(TKBMessage::FactTemplateMissing);
  return fact;
}

// The fact that a value of type fact or fact id stands for.
IFact FactOfValue(const TInferenceEngine& engine, const TKBValue& value) {
  switch (value.GetDType()) {
    case dtInteger:
    case dtFactId:
      return FactOfId(engine, value);
    case dtFact:
      if (IFact fact = value.GetAsFact()) return fact;
      throw EKBException(TKBMessage::FactTemplateMissing);
    default:
      throw EKBException(TKBMessage::InvalidArgumentType, {std::string(GetKBTypeName(value.GetDType())),
                                                           SetToString(TKBTypes{dtFactId, dtFact}, ", ", false)});
  }
}

}  // namespace

IKBValue Assert(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  int32_t id = -1;
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    const IFact fact = FactArgument(call, i, context)->Clone();
    id = engine.Assert(context.Resolve(fact), false);
  }
  return id < 0 ? FCFalse : MakeFactId(id);
}

IKBValue AssertString(TFunctionCall& call, TKBContext& context) {
  int32_t id = -1;
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    id = EngineOf(context).Assert(TextArgument(call, i, context).View());
  }
  return MakeFactId(id);
}

IKBValue Retract(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  IKBValue value = call.Evaluate(0, context);
  if (value->Is(dtAtom) && value->TextView() == "*") {
    engine.GetFacts().Clear();
    return FCTrue;
  }
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    if (i > 0) value = call.Evaluate(i, context);
    const int32_t id = value->GetAsFactId();
    const IFact fact = engine.FindFact(id);
    if (!fact) throw EKBException(TKBMessage::UnableToFindFact, {IntegerToString(id)});
    engine.RetractFact(fact);
  }
  return FCTrue;
}

IKBValue RetractString(TFunctionCall& call, TKBContext& context) {
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    EngineOf(context).Retract(TextArgument(call, i, context).View());
  }
  return FCTrue;
}

IKBValue Modify(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const IKBValue id = call.Evaluate(0, context);
  const IFact fact = FactOfId(engine, *id);
  // All that can fail by the rule's own doing is worked out while the fact still stands, under its id.
  const TSlotValues values = EvaluatePairs(call, *fact->GetTemplate(), context);
  CheckSlots(engine, *fact, values);
  // An expression may have retracted or modified the fact meanwhile.
  if (!(FactOfId(engine, *id) == fact)) throw EKBException(TKBMessage::NoSuchFact, {id->ToString()});
  TFactChange change(engine, fact);
  SetSlots(*fact, values);
  context.Resolve(fact);
  return MakeFactId(change.Commit());
}

IKBValue Duplicate(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const IFact source = FactOfId(engine, *call.Evaluate(0, context));
  const IFact copy = source->Clone();
  copy->SetID(-1);
  SetSlots(*copy, EvaluatePairs(call, *copy->GetTemplate(), context));
  return MakeFactId(engine.Assert(copy, false));
}

IKBValue GetSlotValue(TFunctionCall& call, TKBContext& context) {
  const IFact fact = FactOfValue(EngineOf(context), *call.Evaluate(0, context));
  const TKBText slot = call.GetArgumentCount() > 1 ? TextArgument(call, 1, context) : TKBText(SDefaultSlotName);
  return fact->GetValue(slot.View())->Clone();
}

IKBValue GetFactDuplication(TFunctionCall& /*call*/, TKBContext& context) {
  // The language says TRUE where equal facts are ignored.
  return MakeBoolean(!EngineOf(context).GetFactDuplication());
}

IKBValue SetFactDuplication(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const bool allow = IsFalse(call.Evaluate(0, context));
  const IKBValue previous = MakeBoolean(!engine.GetFactDuplication());
  engine.SetFactDuplication(allow);
  return previous;
}

}  // namespace kb::standard
