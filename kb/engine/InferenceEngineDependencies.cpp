// What hangs on templates and types, and what becomes of it when they go or are replaced.
#include <algorithm>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/KBConsts.h"
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

// Pending facts, facts (youngest first, a retraction each), and facts of fact sets. The texts are recorded in the order
// in which the facts stood.
void TInferenceEngine::RemoveTemplateFacts(const TFactTemplate& factTemplate, TDependents* dependents) {
  std::erase_if(*factsPending_, [&](const auto& entry) { return entry.second->GetTemplate() == &factTemplate; });
  std::vector<IFact> facts = facts_->Snapshot();
  std::erase_if(facts, [&](const IFact& fact) { return fact->GetTemplate() != &factTemplate; });
  if (dependents != nullptr) {
    for (const IFact& fact : facts) dependents->push_back({fact->ToString(), fact});
  }
  for (auto fact = facts.rbegin(); fact != facts.rend(); ++fact) {
    if (const int index = facts_->IndexOf(fact->Get()); index >= 0) facts_->Delete(index);
  }
  for (int i = 0; i < factSets_->GetCount(); ++i) {
    TFactSet& factSet = factSets_->Get(i);
    for (int k = 0; k < factSet.GetFactCount(); ++k) {
      const IFact& fact = factSet.PeekFact(k);
      if (fact && fact->GetTemplate() == &factTemplate) factSet.SetFact(k, nullptr);
    }
  }
}

// With a list, rules whose actions depend go too and are recorded; without one, only those with such a pattern.
void TInferenceEngine::RemoveTemplateRules(const TFactTemplate& factTemplate, TDependents* dependents) {
  std::vector<std::string> names;
  for (int i = 0; i < rules_->GetCount(); ++i) {
    const TRule& rule = *rules_->GetValue(i);
    const bool depends = dependents == nullptr ? rule.IndexOfPattern(&factTemplate) >= 0 : IsDependent(rule, factTemplate);
    if (!depends) continue;
    if (dependents != nullptr) dependents->push_back({rule.ToString(), nullptr});
    names.push_back(rule.GetRuleName());
  }
  for (const std::string& name : names) rules_->Remove(name, rules_->FindRule(name));
}

void TInferenceEngine::RemoveDependencies(const IModule& module, const IFactTemplate& factTemplate) {
  const IFactTemplate target = factTemplate;
  const TFocusScope focus(*this, module.Get());
  RemoveTemplateFacts(*target, nullptr);
  const bool updating = updatingHT_;
  updatingHT_ = false;
  RemoveTemplateRules(*target, nullptr);
  updatingHT_ = updating;
  if (factTemplates_->FindTemplate(target->GetTemplateName()) == target.Get()) {
    factTemplates_->RemoveEntry(target->GetTemplateName());
  }
  target->RemoveImportModule(currentModule_.Get());
}

void TInferenceEngine::RemoveDependencies(const IFactTemplate& factTemplate) {
  const IFactTemplate target = factTemplate;
  for (int i = target->GetImportModuleCount() - 1; i >= 0; --i) {
    if (i < target->GetImportModuleCount()) RemoveDependencies(IModule(target->GetImportModule(i)), target);
  }
}

void TInferenceEngine::RemoveDependencies(const IFactTemplate& factTemplate, TDependents& dependents) {
  RemoveTemplateFacts(*factTemplate, &dependents);
  const bool updating = updatingHT_;
  updatingHT_ = false;
  RemoveTemplateRules(*factTemplate, &dependents);
  updatingHT_ = updating;
}

void TInferenceEngine::RemoveDependencies() {
  if (factsPending_ != nullptr) factsPending_->clear();
  if (rete_ != nullptr) rete_->Clear();
  if (facts_ != nullptr) facts_->Clear();
  if (rules_ != nullptr) rules_->Clear();
}

void TInferenceEngine::RemoveDependencies(const IKBDefinedType& type) {
  const IKBDefinedType target = type;
  for (int i = target->GetImportModuleCount() - 1; i >= 0; --i) {
    if (i < target->GetImportModuleCount()) RemoveDependencies(IModule(target->GetImportModule(i)), target);
  }
}

void TInferenceEngine::RemoveDependencies(const IModule& module, const IKBDefinedType& type) {
  const TFocusScope focus(*this, module.Get());
  std::vector<std::string> names;
  for (int i = 0; i < factTemplates_->GetCount(); ++i) {
    if (factTemplates_->GetValue(i)->ContainsType(type.Get()) != nullptr) {
      names.push_back(factTemplates_->GetKey(i).ToString());
    }
  }
  for (const std::string& name : names) {
    IFactTemplate removed;
    factTemplates_->Remove(name, removed);
  }
  type->RemoveImportModule(currentModule_.Get());
}

void TInferenceEngine::RemoveTypeDependencies() {
  for (int i = 0; i < definedTypes_->GetCount(); ++i) {
    definedTypes_->GetValue(i)->RemoveImportModule(currentModule_.Get());
  }
}

// The initial fact and the null fact follow their templates.
void TInferenceEngine::RefreshModulePattern(const TFactTemplate& oldTemplate) {
  if (initialFactPattern_ != nullptr && initialFactPattern_->GetFactTemplate() == &oldTemplate) {
    currentModule_->SetInitialFactPattern(
        std::make_unique<TKBPattern>(this, CreateFactTemplate(SInitialFactPattern)));
    initialFactPattern_ = currentModule_->GetInitialFactPattern();
  } else if (nullFact_ && nullFact_->GetTemplate() == &oldTemplate) {
    nullFact_ = MakeRef<TFact>(CreateFactTemplate(SNullFact));
    currentModule_->ImportEngine();
  }
}

void TInferenceEngine::ReplaceTemplate(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate) {
  const IFactTemplate oldOne = oldTemplate;
  const IFactTemplate newOne = newTemplate;
  TDependents dependents;
  if (oldOne->GetTemplateName() == newOne->GetTemplateName()) {
    RemoveDependencies(oldOne, dependents);
  } else {
    RemoveDependencies(oldOne);
  }
  factTemplates_->Exchange(oldOne, newOne);
  RefreshModulePattern(*oldOne);
  UpdateDependencies(dependents);
}

void TInferenceEngine::ReplaceDefinedType(const IKBDefinedType& oldType, const IKBDefinedType& newType) {
  for (int i = 0; i < factTemplates_->GetCount(); ++i) {
    const IFactTemplate factTemplate = factTemplates_->GetValue(i);
    while (TFactSlot* slot = factTemplate->ContainsType(oldType.Get())) slot->SetExtendedTypeInfo(newType);
  }
}

// What no longer fits the new template is dropped without a word.
void TInferenceEngine::UpdateDependencies(const TDependents& dependents) {
  const TErrorHandling saved = parser_->GetErrorHandling();
  parser_->SetErrorHandling(ehRaiseImmediate);
  for (const TDependent& dependent : dependents) {
    try {
      if (dependent.fact) {
        UpdateDependentFact(dependent.fact, ParseFact(dependent.text));
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
