// What hangs on templates and types, and what becomes of it when they go or are replaced.
#include <algorithm>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/KBConsts.h"
#include "kb/values/LosslessText.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

bool IsDependent(const TFunctionCall& call, const TFactTemplate& factTemplate);

bool IsDependent(const TKBValue* value, const TFactTemplate& factTemplate) {
  if (value == nullptr) return false;
  CheckStack();
  switch (value->GetDType()) {
    case dtFunCall:
      return IsDependent(*value->FunCallOrNull(), factTemplate);
    case dtFact:
      return value->GetAsFact()->GetTemplate() == &factTemplate;
    case dtList: {
      const TValueVector& list = *value->ListOrNull();
      return std::any_of(list.begin(), list.end(),
                         [&](const IKBValue& item) { return IsDependent(item.Get(), factTemplate); });
    }
    default:
      return false;
  }
}

bool IsDependent(const TFunctionCall& call, const TFactTemplate& factTemplate) {
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    if (IsDependent(call.GetArgument(i).Get(), factTemplate)) return true;
  }
  return false;
}

bool IsDependent(const TRule& rule, const TFactTemplate& factTemplate) {
  if (rule.IndexOfPattern(&factTemplate) >= 0) return true;
  for (int i = 0; i < rule.GetActionCount(); ++i) {
    if (IsDependent(*rule.GetAction(i), factTemplate)) return true;
  }
  return false;
}

}  // namespace

// Pending facts, facts (youngest first, a retraction each), and facts of fact sets. The texts are recorded in
// the order in which the facts stood.
void TInferenceEngine::RemoveTemplateFacts(const TFactTemplate& factTemplate, TDependents* dependents) {
  std::erase_if(*factsPending_, [&](const auto& entry) { return entry.second->GetTemplate() == &factTemplate; });
  std::vector<IFact> facts = facts_->Snapshot();
  std::erase_if(facts, [&](const IFact& fact) { return fact->GetTemplate() != &factTemplate; });
  if (dependents != nullptr) {
    const TLosslessText lossless;
    for (const IFact& fact : facts) dependents->push_back({fact->ToString(), fact});
  }
  for (auto fact = facts.rbegin(); fact != facts.rend(); ++fact) {
    if (const int index = facts_->IndexOf(fact->Get()); index >= 0) facts_->Delete(index);
  }
  for (int i = 0; i < factSets_->GetCount(); ++i) {
    TFactSet& factSet = factSets_->Get(i);
    for (int k = 0; k < factSet.GetFactCount(); ++k) {
      const IFact& fact = factSet.PeekFact(k);
      if (fact && fact->GetTemplate() == &factTemplate) factSet.Unparse(k);
    }
  }
}

// With a list, rules whose actions depend go too and are recorded; without one, only those with such a pattern.
void TInferenceEngine::RemoveTemplateRules(const TFactTemplate& factTemplate, TDependents* dependents) {
  const TLosslessText lossless;
  std::vector<std::string> names;
  for (int i = 0; i < rules_->GetCount(); ++i) {
    const TRule& rule = *rules_->GetValue(i);
    const bool depends =
        dependents == nullptr ? rule.IndexOfPattern(&factTemplate) >= 0 : IsDependent(rule, factTemplate);
    if (!depends) continue;
    if (dependents != nullptr) dependents->push_back({rule.ToString(), nullptr});
    names.push_back(rule.GetRuleName());
  }
  for (const std::string& name : names) rules_->Remove(name, rules_->FindRule(name));
}

// ---- Removal

void TInferenceEngine::RemoveDependencies(const IModule& module, const IFactTemplate& factTemplate) {
  const IFactTemplate target = factTemplate;
  const TFreeHold hold(*this);
  const TFocusScope focus(*this, module.Get());
  RemoveTemplateFacts(*target, nullptr);
  {
    const TValueScope<bool> updating(updatingHT_, false);
    RemoveTemplateRules(*target, nullptr);
  }
  target->RemoveImportModule(module.Get());
  if (factTemplates_->Holds(target->GetTemplateName(), target.Get())) {
    factTemplates_->RemoveEntry(target->GetTemplateName());
  }
}

void TInferenceEngine::RemoveDependencies(const IFactTemplate& factTemplate) {
  const IFactTemplate target = factTemplate;
  while (target->GetImportModuleCount() > 0) {
    RemoveDependencies(IModule(target->GetImportModule(target->GetImportModuleCount() - 1)), target);
  }
}

void TInferenceEngine::RemoveDependencies(const IFactTemplate& factTemplate, TDependents& dependents) {
  const IFactTemplate target = factTemplate;
  RemoveTemplateFacts(*target, &dependents);
  {
    const TValueScope<bool> updating(updatingHT_, false);
    RemoveTemplateRules(*target, &dependents);
  }
  target->RemoveImportModule(currentModule_.Get());
}

// The module's own facts go first, so that those of imported templates stay where they are at home.
void TInferenceEngine::RemoveDependencies() {
  const TFreeHold hold(*this);
  if (factsPending_ != nullptr) factsPending_->clear();
  if (rete_ != nullptr) rete_->Clear();
  if (facts_ != nullptr) facts_->Clear();
  if (rules_ != nullptr) rules_->Clear();
  if (modules_->GetCount() < 2 || factTemplates_ == nullptr) return;
  LeaveShared(*factTemplates_, [](TInferenceEngine& engine, const std::string& name) {
    IFactTemplate removed;
    engine.factTemplates_->Remove(name, removed);
  });
}

void TInferenceEngine::RemoveTypeDependencies() {
  const TFreeHold hold(*this);
  if (modules_->GetCount() < 2 || definedTypes_ == nullptr) return;
  LeaveShared(*definedTypes_, [](TInferenceEngine& engine, const std::string& name) {
    IKBDefinedType removed;
    engine.definedTypes_->Remove(name, removed);
  });
}

// The current module lets go of what it shares: what is at home elsewhere leaves its table, what is at home
// here leaves the tables of all others. The initial fact's template stays with the others.
template <class Table, class Remove>
void TInferenceEngine::LeaveShared(const Table& table, const Remove& remove) {
  using TConstruct = std::decay_t<decltype(table.GetValue(0))>;
  const IModule own = currentModule_;
  std::vector<std::pair<std::string, TConstruct>> entries;
  for (int i = 0; i < table.GetCount(); ++i) entries.emplace_back(table.GetKey(i).ToString(), table.GetValue(i));
  for (const auto& [name, construct] : entries) {
    if (construct->GetModule() != own.Get()) {
      RemoveDependencies(own, construct);
      continue;
    }
    construct->RemoveImportModule(own.Get());
    if (name == SInitialFactPattern) continue;
    while (construct->GetImportModuleCount() > 0) {
      const IModule other(construct->GetImportModule(0));
      const TFocusScope focus(*this, other.Get());
      remove(*this, name);
      construct->RemoveImportModule(other.Get());
    }
  }
}

void TInferenceEngine::RemoveDependencies(const IKBDefinedType& type) {
  const IKBDefinedType target = type;
  while (target->GetImportModuleCount() > 0) {
    RemoveDependencies(IModule(target->GetImportModule(target->GetImportModuleCount() - 1)), target);
  }
}

void TInferenceEngine::RemoveDependencies(const IModule& module, const IKBDefinedType& type) {
  const IKBDefinedType target = type;
  const TFreeHold hold(*this);
  const TFocusScope focus(*this, module.Get());
  std::vector<std::string> names;
  for (int i = 0; i < factTemplates_->GetCount(); ++i) {
    if (factTemplates_->GetValue(i)->ContainsType(target.Get()) != nullptr) {
      names.push_back(factTemplates_->GetKey(i).ToString());
    }
  }
  for (const std::string& name : names) {
    IFactTemplate removed;
    factTemplates_->Remove(name, removed);
  }
  target->RemoveImportModule(module.Get());
  if (definedTypes_->Holds(target->GetName(), target.Get())) definedTypes_->RemoveEntry(target->GetName());
}

// ---- Replacement

namespace {

// The modules in whose tables the construct stands, the current one first.
std::vector<IModule> SharingModules(const TModuleConstruct& construct, const IModule& current) {
  std::vector<IModule> modules;
  if (construct.IndexOfImportModule(current.Get()) >= 0) modules.push_back(current);
  for (int i = 0; i < construct.GetImportModuleCount(); ++i) {
    TModule* module = construct.GetImportModule(i);
    if (module != current.Get()) modules.emplace_back(module);
  }
  return modules;
}

}  // namespace

void TInferenceEngine::CheckTypesVisible(const TFactTemplate& factTemplate, const TModuleList& modules) const {
  if (modules_->GetCount() < 2) return;
  for (const IModule& module : modules) {
    if (const TKBDefinedType* type = module->GetDefinedTypes()->FindUnsharedType(factTemplate)) {
      throw EKBException(TKBMessage::NonImportedType, {factTemplate.GetTemplateName().ToString(), type->GetName()});
    }
  }
}

// In all modules first, so that nothing is read back while a part of them still holds the old template.
// Templates that extend the old one keep it as their parent: what their facts match does not change.
void TInferenceEngine::ReplaceTemplate(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate) {
  const IFactTemplate oldOne = oldTemplate;
  const IFactTemplate newOne = newTemplate;
  if (oldOne == newOne) return;
  const TFreeHold hold(*this);
  const std::vector<IModule> modules = SharingModules(*oldOne, currentModule_);
  CheckTypesVisible(*newOne, modules);
  if (!(oldOne->GetTemplateName() == newOne->GetTemplateName())) {
    SupplantTemplate(oldOne, newOne, modules);
    return;
  }
  std::vector<TDependents> dependents(modules.size());
  for (size_t i = 0; i < modules.size(); ++i) {
    const TFocusScope focus(*this, modules[i].Get());
    factTemplates_->Exchange(oldOne, newOne);
    RemoveDependencies(oldOne, dependents[i]);
  }
  RefreshBuiltIns(*oldOne, newOne);
  for (size_t i = 0; i < modules.size(); ++i) {
    if (modules[i]->GetAgenda() == nullptr) continue;
    const TFocusScope focus(*this, modules[i].Get());
    UpdateDependencies(dependents[i]);
  }
}

// A template of another name takes the place: facts and rules on the old one are gone.
void TInferenceEngine::SupplantTemplate(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate,
                                        const TModuleList& modules) {
  RemoveFactTemplate(oldTemplate);
  RemoveDependencies(oldTemplate);
  for (const IModule& module : modules) {
    if (module->GetAgenda() == nullptr) continue;
    const TFocusScope focus(*this, module.Get());
    factTemplates_->Add(newTemplate);
  }
}

// The initial pattern and the null fact follow their templates. The null fact stays the same object: partial
// matches hold it.
void TInferenceEngine::RefreshBuiltIns(const TFactTemplate& oldTemplate, const IFactTemplate& newTemplate) {
  for (int i = 0; i < modules_->GetCount(); ++i) {
    TModule& module = *modules_->Get(i);
    const TFocusScope focus(*this, &module);
    if (initialFactPattern_ != nullptr && initialFactPattern_->GetFactTemplate() == &oldTemplate) {
      module.SetInitialFactPattern(std::make_unique<TKBPattern>(this, newTemplate));
      initialFactPattern_ = module.GetInitialFactPattern();
    }
    if (nullFact_ && nullFact_->GetTemplate() == &oldTemplate) nullFact_->SetTemplate(newTemplate);
  }
}

void TInferenceEngine::ReplaceDefinedType(const IKBDefinedType& oldType, const IKBDefinedType& newType) {
  const IKBDefinedType oldOne = oldType;
  const IKBDefinedType newOne = newType;
  if (oldOne == newOne) return;
  const TFreeHold hold(*this);
  const std::vector<IModule> modules = SharingModules(*oldOne, currentModule_);
  if (oldOne->GetName() == newOne->GetName()) {
    const TTemplatePairs templates = TemplatesWithType(*oldOne, newOne);
    for (const IModule& module : modules) {
      const TFocusScope focus(*this, module.Get());
      definedTypes_->Exchange(oldOne, newOne);
    }
    RelinkDescendants(*oldOne, newOne);
    for (const auto& [former, replaced] : templates) ReplaceIn(former, replaced);
  } else {
    RemoveDefinedType(oldOne);
    RemoveDependencies(oldOne);
    for (const IModule& module : modules) {
      const TFocusScope focus(*this, module.Get());
      definedTypes_->Add(newOne);
    }
  }
  oldOne->SetReasoner(nullptr);
}

void TInferenceEngine::ReplaceTypesInFactTemplates(const IKBDefinedType& oldType, const IKBDefinedType& newType) {
  const TFreeHold hold(*this);
  for (const auto& [former, replaced] : TemplatesWithType(*oldType, newType)) ReplaceIn(former, replaced);
}

void TInferenceEngine::ReplaceIn(const IFactTemplate& former, const IFactTemplate& replaced) {
  if (!former->IsShared()) return;
  const TFocusScope focus(*this, former->GetImportModule(0));
  // A template that went over before this one may have been its parent.
  replaced->SetParent(former->GetParent());
  ReplaceTemplate(former, replaced);
}

// Each template with a slot of the old type, and a copy of it whose slots have the new one. Nothing is
// changed yet.
TInferenceEngine::TTemplatePairs TInferenceEngine::TemplatesWithType(const TKBDefinedType& oldType,
                                                                     const IKBDefinedType& newType) {
  TTemplatePairs pairs;
  for (int i = 0; i < modules_->GetCount(); ++i) {
    const TFocusScope focus(*this, modules_->Get(i).Get());
    for (int k = 0; k < factTemplates_->GetCount(); ++k) {
      const IFactTemplate factTemplate = factTemplates_->GetValue(k);
      if (factTemplate->ContainsType(&oldType) == nullptr) continue;
      const auto same = [&](const auto& pair) { return pair.first == factTemplate; };
      if (std::any_of(pairs.begin(), pairs.end(), same)) continue;
      const IFactTemplate copy = factTemplate->Clone();
      copy->SetModule(factTemplate->GetModule());
      for (int slot = 0; slot < copy->GetSlotCount(); ++slot) {
        if (factTemplate->GetSlotAt(slot)->GetExtendedTypeInfo() == &oldType)
          copy->GetSlotAt(slot)->ReplaceType(newType);
      }
      pairs.emplace_back(factTemplate, copy);
    }
  }
  return pairs;
}

// Types keep what they inherited and follow to the type that bears the name of their ancestor now.
void TInferenceEngine::RelinkDescendants(const TKBDefinedType& oldType, const IKBDefinedType& newType) {
  for (int i = 0; i < modules_->GetCount(); ++i) {
    const TKBDefinedTypes& types = *modules_->Get(i)->GetDefinedTypes();
    for (int k = 0; k < types.GetCount(); ++k) {
      const IKBDefinedType& type = types.GetValue(k);
      if (type->GetAncestor() != &oldType) continue;
      const TKBDefinedType* above = newType.Get();
      while (above != nullptr && above != type.Get()) above = above->GetAncestor().Get();
      if (above == nullptr) type->SetAncestor(newType);
    }
  }
}

// ---- Reading back

namespace {

bool HasExpression(const TKBValue& value) {
  if (value.Is(dtFunCall) || KBVariableTypes.Has(value.GetDType())) return true;
  const TValueVector* list = value.ListOrNull();
  return list != nullptr &&
         std::any_of(list->begin(), list->end(), [](const IKBValue& item) { return item && HasExpression(*item); });
}

// The fact as its text says it now. The text may give a value by a call, which is worked out unless the fact itself
// held such a thing.
IFact ReadBack(TInferenceEngine& engine, const std::string& text, const TFact& former) {
  IFact fact = engine.ParseFact(text);
  const std::vector<IKBValue> values = former.GetSlotValues();
  if (std::any_of(values.begin(), values.end(), [](const IKBValue& v) { return v && HasExpression(*v); })) return fact;
  return engine.GetGlobalContext().Resolve(fact);
}

}  // namespace

// What no longer fits is dropped without a word.
void TInferenceEngine::UpdateDependencies(const TDependents& dependents) {
  const TErrorHandling saved = parser_->GetErrorHandling();
  parser_->SetErrorHandling(ehRaiseImmediate);
  for (const TDependent& dependent : dependents) {
    try {
      if (dependent.fact) {
        UpdateDependentFact(dependent.fact, ReadBack(*this, dependent.text, *dependent.fact));
      } else {
        Parse(dependent.text, true);
      }
    } catch (const std::exception&) {
      continue;
    }
  }
  parser_->SetErrorHandling(saved);
}

}  // namespace kb
