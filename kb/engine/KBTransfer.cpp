#include "kb/engine/KBTransfer.h"

#include "kb/engine/InferenceEngine.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/ValueVector.h"

namespace kb {

IKBValue TTransfer::Value(const IKBValue& value) const {
  if (!value || value->IsImmortal()) return value;
  CheckStack();
  switch (value->GetDType()) {
    case dtFunCall:
      if (const TFunctionCall* call = value->FunCallOrNull()) return MakeRef<TKBValue>(Call(*call));
      return value->Clone();
    case dtList:
      return MakeRef<TKBValue>(List(*value->ListOrNull()));
    case dtFact:
      if (const IFact fact = value->GetAsFact()) return MakeRef<TKBValue>(Fact(*fact));
      return value->Clone();
    case dtSingletons: {
      const ISingletonsVector pairs = value->GetAsSingletons()->Clone();
      pairs->SetParser(&target_);
      for (int i = 0; i < pairs->GetCount(); ++i) {
        pairs->SetXValues(i, Value(pairs->GetXValues(i)));
        pairs->SetYValues(i, Value(pairs->GetYValues(i)));
      }
      const IKBValue result = value->Clone();
      result->SetAsSingletons(pairs);
      return result;
    }
    case dtFuzzy:
      return FuzzyValue(*value);
    default:
      return value->Clone();
  }
}

// A term means the target's term of its name; any other set is copied for the target's variable of the name.
IKBValue TTransfer::FuzzyValue(const TKBValue& value) const {
  const Ref<IFuzzySet> set = value.GetAsFuzzy();
  IKBValue result = value.Clone();
  if (!set) return result;
  const IFuzzyVariable* theirs = set->Variable();
  const IKBDefinedType type = theirs != nullptr ? target_.FindDefinedType(theirs->Name()) : nullptr;
  const Ref<IFuzzyVariable> ours = type ? type->GetFuzzyType() : nullptr;
  if (ours == theirs && ours) return result;
  Ref<IFuzzySet> copy = ours && set->IsTerm() ? ours->FindSet(set->Name()) : nullptr;
  if (!copy) {
    copy = set->Clone();
    copy->SetVariable(ours.Get());
    copy->SetParser(&target_);
  }
  result->SetAsFuzzy(copy);
  return result;
}

IValueVector TTransfer::List(const TValueVector& list) const {
  auto result = MakeRef<TValueVector>();
  result->Reserve(list.GetValueCount());
  for (const IKBValue& element : list) result->Add(Value(element));
  return result;
}

IFunCall TTransfer::Call(const TFunctionCall& call) const {
  CheckStack();
  IFunCall result = MakeRef<TFunctionCall>(&target_, call.GetName());
  result->SetComment(call.GetComment());
  result->SetTag(call.GetTag());
  for (int i = 0; i < call.GetArgumentCount(); ++i) result->AddArgument(Value(call.GetArgument(i)));
  return result;
}

// In one engine a name that the module in focus lacks means what it meant before.
IFactTemplate TTransfer::FindTemplate(const TFactTemplate& factTemplate) const {
  const TKBText& name = factTemplate.GetTemplateName();
  const TModule* home = factTemplate.GetModule();
  if (lookup_ == tlHomeModule && home != nullptr && factTemplate.GetEngine() != &target_) {
    const IModule module = target_.FindModule(home->GetName());
    TFactTemplate* found = module ? module->GetFactTemplates()->FindTemplate(name) : nullptr;
    if (found != nullptr) return found;
  }
  return target_.FindFactTemplate(name);
}

IFact TTransfer::Fact(const TFact& fact) const {
  const IFactTemplate& theirs = fact.GetTemplate();
  if (!theirs) return fact.Clone();
  IFactTemplate ours = FindTemplate(*theirs);
  if (!ours && theirs->GetEngine() == &target_) ours = theirs;
  if (!ours) {
    ours = Template(*theirs);
    target_.GetFactTemplates().Add(ours);
  }
  auto result = MakeRef<TFact>(ours);
  for (const TKBText& name : fact.GetSlotNames()) result->SetValue(name, Value(fact.GetValue(name)));
  result->SetID(fact.GetID());
  result->SetTag(fact.GetTag());
  return result;
}

IFactSlot TTransfer::Slot(const TFactSlot& slot) const {
  auto result = MakeRef<TFactSlot>();
  result->SetName(slot.GetName());
  if (const IKBDefinedType& theirs = slot.GetExtendedTypeInfo()) {
    IKBDefinedType ours = theirs->GetImplicit() ? IKBDefinedType() : target_.FindDefinedType(theirs->GetName());
    result->SetExtendedTypeInfo(ours ? ours : Type(*theirs));
  }
  result->SetSlotType(slot.GetSlotType());
  result->SetSlotDefault(Value(slot.GetSlotDefault()));
  result->SetDefaultDynamic(slot.GetDefaultDynamic());
  result->SetTag(slot.GetTag());
  return result;
}

IFactTemplate TTransfer::Template(const TFactTemplate& factTemplate) const {
  auto result =
      MakeRef<TFactTemplate>(&target_, factTemplate.GetTemplateName(), factTemplate.GetComment(), IFactTemplate());
  for (int i = 0; i < factTemplate.GetSlotCount(); ++i) result->AddSlot(*Slot(*factTemplate.GetSlotAt(i)));
  result->SetBackwardChaining(factTemplate.IsBackwardChaining());
  result->SetTag(factTemplate.GetTag());
  return result;
}

IKBDefinedType TTransfer::Type(const TKBDefinedType& type) const {
  auto result = MakeRef<TKBDefinedType>(&target_);
  result->Assign(type);
  if (result->GetAncestor()) result->SetAncestor(nullptr);
  return result;
}

IInterpretedFunction TTransfer::Function(const TInterpretedFunction& function) const {
  auto result = MakeRef<TInterpretedFunction>();
  result->SetFunctionName(function.GetFunctionName());
  result->SetComment(function.GetComment());
  result->SetArgumentString(function.GetArgumentString());
  result->SetOrder(function.GetOrder());
  for (int i = 0; i < function.GetArgumentCount(); ++i) {
    const TKBValue& argument = *function.GetArgument(i);
    result->AddArgument(argument.TextView(), argument.GetDType());
  }
  for (int i = 0; i < function.GetStatementCount(); ++i) result->AddStatement(Value(function.GetStatement(i)));
  return result;
}

}  // namespace kb
