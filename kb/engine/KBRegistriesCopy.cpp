// Registries: assignment from those of another module or engine.
#include <algorithm>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBRegistries.h"
#include "kb/engine/KBTransfer.h"
#include "kb/language/KBRule.h"
#include "kb/values/FactSet.h"
#include "kb/values/KBConsts.h"

namespace kb {

// ---- Templates and types

namespace {

// By name: what the source lacks goes, what differs is replaced, what is new is added. `equal` compares both
// ways, `copy` makes a construct for the target.
template <class Table, class Equal, class Copy>
void Merge(Table& target, const Table& source, bool localsOnly, const Equal& equal, const Copy& copy) {
  using TConstruct = std::decay_t<decltype(source.GetValue(0))>;
  const auto counts = [localsOnly](const Table& table, const TConstruct& construct) {
    return !localsOnly || table.IsLocal(*construct);
  };
  std::vector<std::string> gone;
  for (int i = 0; i < target.GetCount(); ++i) {
    const std::string name = target.GetKey(i).ToString();
    const TConstruct* theirs = source.Find(name);
    if (counts(target, target.GetValue(i)) && (theirs == nullptr || !counts(source, *theirs))) gone.push_back(name);
  }
  for (const std::string& name : gone) {
    TConstruct removed;
    target.Remove(name, removed);
  }
  for (int i = 0; i < source.GetCount(); ++i) {
    const TConstruct theirs = source.GetValue(i);
    if (!counts(source, theirs)) continue;
    const TConstruct* ours = target.Find(source.GetKey(i).View());
    if (ours != nullptr && equal(**ours, *theirs)) continue;
    TConstruct result;
    target.Replace(ours == nullptr ? TConstruct() : *ours, copy(*theirs), result);
  }
}

}  // namespace

void TFactTemplates::Merge(const TFactTemplates& source, bool localsOnly) {
  TInferenceEngine* engine = GetEngine();
  if (engine == nullptr || &source == this) return;
  const TInferenceEngine::TFocusScope focus(*engine, GetModule());
  const TTransfer transfer(*engine, TTransfer::tlCurrentModule);
  kb::Merge(
      *this, source, localsOnly,
      [](const TFactTemplate& a, const TFactTemplate& b) { return a.Equals(&b) && b.Equals(&a); },
      [&](const TFactTemplate& theirs) { return transfer.Template(theirs); });
  for (int i = 0; i < source.GetCount(); ++i) {
    const TFactTemplate& theirs = *source.GetValue(i);
    TFactTemplate* ours = FindTemplate(theirs.GetTemplateName());
    if (ours == nullptr || ours == &theirs || !IsLocal(*ours)) continue;
    ours->SetParent(theirs.GetParent() ? FindTemplate(theirs.GetParent()->GetTemplateName()) : nullptr);
  }
}

void TFactTemplates::Assign(const TFactTemplates& source) { Merge(source, false); }
void TFactTemplates::AssignLocal(const TFactTemplates& source) { Merge(source, true); }

void TKBDefinedTypes::Merge(const TKBDefinedTypes& source, bool localsOnly) {
  TInferenceEngine* engine = GetEngine();
  if (engine == nullptr || &source == this) return;
  const TInferenceEngine::TFocusScope focus(*engine, GetModule());
  const TTransfer transfer(*engine, TTransfer::tlCurrentModule);
  kb::Merge(
      *this, source, localsOnly, [](const TKBDefinedType& a, const TKBDefinedType& b) { return a.Equals(&b); },
      [&](const TKBDefinedType& theirs) { return transfer.Type(theirs); });
  for (int i = 0; i < source.GetCount(); ++i) {
    const TKBDefinedType& theirs = *source.GetValue(i);
    TKBDefinedType* ours = FindType(theirs.GetName());
    if (ours == nullptr || ours == &theirs || !IsLocal(*ours)) continue;
    ours->SetAncestor(theirs.GetAncestor() ? FindType(theirs.GetAncestor()->GetName()) : nullptr);
  }
}

void TKBDefinedTypes::Assign(const TKBDefinedTypes& source) { Merge(source, false); }
void TKBDefinedTypes::AssignLocal(const TKBDefinedTypes& source) { Merge(source, true); }

// ---- Rules and fact sets

void TRules::Assign(const TRules& source) {
  if (engine_ == nullptr || &source == this) return;
  const TInferenceEngine::TFocusScope focus(*engine_, module_);
  Clear();
  for (int i = 0; i < source.GetCount(); ++i) {
    const TRule& theirs = *source.GetValue(i);
    auto rule = std::make_unique<TRule>(engine_, theirs.GetRuleName(), module_->GetName());
    rule->Assign(theirs);
    rule->SetFired(theirs.HasFired());
    Add(*rule);
    (void)rule.release();  // the engine owns it
  }
}

void TFactSets::Assign(const TFactSets& source) {
  if (engine_ == nullptr || &source == this) return;
  const TInferenceEngine::TFocusScope focus(*engine_, module_);
  const TTransfer transfer(*engine_, TTransfer::tlCurrentModule);
  Clear();
  for (const TFactSet* theirs : source.items_) {
    auto factSet = std::make_unique<TFactSet>(nullptr, theirs->GetFactSetName(), module_->GetName());
    factSet->SetComment(theirs->GetComment());
    for (int i = 0; i < theirs->GetFactCount(); ++i) {
      if (const IFact& fact = theirs->PeekFact(i)) {
        factSet->AddFact(transfer.Fact(*fact));
      } else {
        factSet->GetFacts().AddData(theirs->GetFactText(i), nullptr);
      }
    }
    factSet->SetEngineNoParse(engine_);
    engine_->InsertComponent(*factSet);
    Add(*factSet.release());
  }
}

// ---- Functions and variables

std::vector<IInterpretedFunction> TUserFunctions::GetInterpretedFunctions() const {
  std::vector<IInterpretedFunction> functions;
  for (int i = 0; i < GetCount(); ++i) {
    if (auto* function = dynamic_cast<TInterpretedFunction*>(GetValue(i).Get())) functions.emplace_back(function);
  }
  return functions;
}

bool TUserFunctions::Assign(const TUserFunctions& source, bool lenient) {
  if (&source == this) return true;
  Clear();
  for (int i = 0; i < source.GetCount(); ++i) {
    const Ref<IUserFunction> function = source.GetValue(i);
    if (dynamic_cast<const TInterpretedFunction*>(function.Get()) == nullptr) function->AddReasoner(engine_);
  }
  return AssignInterpretedFunctions(source.GetInterpretedFunctions(), lenient);
}

bool TUserFunctions::AssignInterpretedFunctions(std::vector<IInterpretedFunction> functions, bool lenient) {
  const TTransfer transfer(*engine_, TTransfer::tlHomeModule);
  std::stable_sort(
      functions.begin(), functions.end(),
      [](const IInterpretedFunction& a, const IInterpretedFunction& b) { return a->GetOrder() < b->GetOrder(); });
  bool complete = true;
  for (const IInterpretedFunction& function : functions) {
    try {
      Add(transfer.Function(*function));
    } catch (const std::exception&) {
      if (!lenient) throw;
      complete = false;
    }
  }
  return complete;
}

void TEngineVariables::Assign(const TValueHashTable& source) {
  if (&source == this) return;
  const TTransfer transfer(*engine_, TTransfer::tlHomeModule);
  BeginUpdate();
  Clear();
  for (int i = 0; i < source.GetCount(); ++i) RawAdd(source.GetKey(i), transfer.Value(source.GetValue(i)));
  EndUpdate();
}

void TGlobalVariables::Assign(const TValueHashTable& source) {
  const auto* other = dynamic_cast<const TGlobalVariables*>(&source);
  // A table of another kind has no values of variables to copy: putting its entries in makes them.
  // NOLINTNEXTLINE(bugprone-parent-virtual-call)
  if (other == nullptr) return TValueHashTable::Assign(source);
  if (other == this) return;
  TEngineVariables::Assign(source);
  const TTransfer transfer(*GetEngine(), TTransfer::tlHomeModule);
  const TBindings& bindings = other->GetEngine()->GetGlobalContext().GetBindings();
  TKBContext& context = GetEngine()->GetGlobalContext();
  for (int i = 0; i < bindings.GetCount(); ++i) {
    context.AddGlobalBinding(bindings.Get(i).GetName(), transfer.Value(bindings.Get(i).GetValue()));
  }
}

// ---- Modules

void TModules::Assign(const TModules& source) {
  if (&source == this || engine_ == nullptr) return;
  if (engine_->modules_.get() != this) {
    items_ = source.items_;
    return;
  }
  Clear();
  for (int i = 0; i < source.GetCount(); ++i) {
    const TModule& theirs = *source.Get(i);
    const IModule module = MakeRef<TModule>(engine_, theirs.IsMain());
    if (!theirs.IsMain()) module->SetName(theirs.GetName());
    Add(module);
    module->Assign(theirs);
  }
}

void TModules::Assign(const TModules& source, TInferenceEngineConstruct construct) {
  if (&source == this || engine_ == nullptr) return;
  for (int i = 0; i < source.GetCount(); ++i) MergeModule(*source.Get(i), construct);
}

void TModules::MergeModule(const TModule& theirs, TInferenceEngineConstruct construct) {
  IModule module;
  if (const int index = IndexOf(theirs.GetName()); index >= 0) {
    module = Get(index);
    module->AssignModuleDefinition(theirs);
    const TInferenceEngine::TFocusScope focus(*engine_, module.Get());
    for (const IFact& fact : module->GetFacts()->Snapshot()) {
      if (fact->GetTemplate()->GetModule() == module.Get()) engine_->RetractFact(fact);
    }
    module->ImportConstructs();
  } else {
    module = MakeRef<TModule>(engine_, theirs.IsMain());
    module->AssignModuleDefinition(theirs);
    Add(module);
  }
  const TInferenceEngine::TFocusScope focus(*engine_, module.Get());
  module->GetDefinedTypes()->AssignLocal(*theirs.GetDefinedTypes());
  if (construct >= kbcDefTemplate) module->GetFactTemplates()->AssignLocal(*theirs.GetFactTemplates());
  if (construct == kbcFactSet) module->GetFactSets()->Assign(*theirs.GetFactSets());
  if (construct == kbcFact) module->GetFacts()->AddLocals(*theirs.GetFacts());
  if (construct == kbcDefRule) module->GetRules()->Assign(*theirs.GetRules());
}

}  // namespace kb
