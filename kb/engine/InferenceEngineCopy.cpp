// A copy of another engine, which goes on where its source stands.
//
// Modules are not copied one by one: what they share is made once and entered into the tables of all modules
// that have it in the source, also where no import record says so any more. Facts come before the rules and
// keep their ids; each rule is primed with them. What had fired in the source fires in the copy too by then,
// and the order of what is left tells of another history: so the agendas are set to the order of the source
// at the end.
//
// Tested in tests/engine/CopyTest.cpp.
#include <algorithm>
#include <deque>
#include <map>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBTransfer.h"
#include "kb/matching/ReteNetwork.h"

namespace kb {

/// Copies the modules of one engine into another, which has none.
class TInferenceEngine::TModuleCopier {
 public:
  TModuleCopier(TInferenceEngine& target, const TInferenceEngine& source)
      : target_(target), source_(source), transfer_(target, TTransfer::tlCurrentModule) {}

  void Copy() {
    CopyDefinitions();
    CopyTypes();
    CopyTemplates();
    ForEachModule([&](TModule& theirs, TModule& ours) { ours.GetFactSets()->Assign(*theirs.GetFactSets()); });
    CopyFacts();
    ForEachModule([&](TModule& theirs, TModule& ours) { ours.GetRules()->Assign(*theirs.GetRules()); });
    ForEachModule([&](TModule& /*theirs*/, TModule& ours) { PrimeStoppedRules(*ours.GetRules()); });
    ForEachModule([&](TModule& theirs, TModule& ours) { AlignAgenda(*theirs.GetAgenda(), *ours.GetAgenda()); });
    ForEachModule([&](TModule& theirs, TModule& ours) { StopRules(*theirs.GetRules(), *ours.GetRules()); });
  }

 private:
  template <class F>
  void ForEachModule(const F& work) {
    for (int i = 0; i < source_.GetModules().GetCount(); ++i) {
      TModule& theirs = *source_.GetModules().Get(i);
      const IModule& ours = ModuleFor(theirs);
      const TFocusScope focus(target_, ours.Get());
      work(theirs, *ours);
    }
  }
  [[nodiscard]] const IModule& ModuleFor(const TModule& theirs) const {
    return target_.GetModules().GetModule(theirs.GetName());
  }

  void CopyDefinitions();
  void CopyTypes();
  void CopyTemplates();
  void CopyFacts();
  void CopyFact(const TFact& fact);
  void PrimeStoppedRules(TRules& rules);
  static void StopRules(const TRules& theirs, TRules& ours);
  void AlignAgenda(const TKBAgenda& theirs, TKBAgenda& ours);

  TInferenceEngine& target_;
  const TInferenceEngine& source_;
  TTransfer transfer_;
  std::map<const void*, IKBDefinedType> types_;
  std::map<const void*, IFactTemplate> templates_;
};

// Without their imports at first: those would work through what is entered here by other means.
void TInferenceEngine::TModuleCopier::CopyDefinitions() {
  const TModules& modules = source_.GetModules();
  for (int i = 0; i < modules.GetCount(); ++i) {
    const TModule& theirs = *modules.Get(i);
    const IModule module = MakeRef<TModule>(&target_, theirs.IsMain());
    if (!theirs.IsMain()) module->SetName(theirs.GetName());
    target_.AddModule(module);
    module->SetTag(theirs.GetTag());
  }
  ForEachModule([](TModule& theirs, TModule& ours) { ours.AssignModuleDefinition(theirs); });
}

// A construct is made with its home in focus, which is where names in it mean what they do in the source.
void TInferenceEngine::TModuleCopier::CopyTypes() {
  ForEachModule([&](TModule& theirs, TModule& ours) {
    const TKBDefinedTypes& table = *theirs.GetDefinedTypes();
    for (int i = 0; i < table.GetCount(); ++i) {
      const IKBDefinedType& type = table.GetValue(i);
      IKBDefinedType& copy = types_[type.Get()];
      if (!copy) {
        copy = transfer_.Type(*type);
        if (type->GetModule() != nullptr) copy->SetModule(ModuleFor(*type->GetModule()).Get());
      }
      ours.GetDefinedTypes()->Add(copy);
    }
  });
  for (const auto& [theirs, copy] : types_) {
    const auto ancestor = types_.find(static_cast<const TKBDefinedType*>(theirs)->GetAncestor().Get());
    if (ancestor != types_.end()) copy->SetAncestor(ancestor->second);
  }
}

// Those that the engine makes for every module are there already, and are replaced when the source has others.
void TInferenceEngine::TModuleCopier::CopyTemplates() {
  ForEachModule([&](TModule& theirs, TModule& ours) {
    const TFactTemplates& table = *theirs.GetFactTemplates();
    for (int i = 0; i < table.GetCount(); ++i) {
      const IFactTemplate& factTemplate = table.GetValue(i);
      IFactTemplate& copy = templates_[factTemplate.Get()];
      TFactTemplate* present = ours.GetFactTemplates()->FindTemplate(factTemplate->GetTemplateName());
      if (!copy && present != nullptr && present->Equals(factTemplate.Get())) copy = present;
      if (!copy) {
        copy = transfer_.Template(*factTemplate);
        if (factTemplate->GetModule() != nullptr) copy->SetModule(ModuleFor(*factTemplate->GetModule()).Get());
      }
      ours.GetFactTemplates()->Add(copy);
    }
  });
  for (const auto& [theirs, copy] : templates_) {
    const auto parent = templates_.find(static_cast<const TFactTemplate*>(theirs)->GetParent().Get());
    if (parent != templates_.end()) copy->SetParent(parent->second);
  }
}

void TInferenceEngine::TModuleCopier::CopyFacts() {
  std::map<int32_t, IFact> facts;
  ForEachModule([&](TModule& theirs, TModule& /*ours*/) {
    for (const IFact& fact : theirs.GetFacts()->Snapshot()) facts.emplace(fact->GetID(), fact);
  });
  for (const auto& [id, fact] : facts) CopyFact(*fact);
}

void TInferenceEngine::TModuleCopier::CopyFact(const TFact& fact) {
  IFact copy;
  ForEachModule([&](TModule& theirs, TModule& /*ours*/) {
    if (copy || theirs.GetFacts()->IndexOf(&fact) < 0) return;
    copy = transfer_.Fact(fact);
    target_.factIdCounter_ = fact.GetID();
    target_.AssertHere(copy, false);
  });
  // A list that was cleared by itself lacks facts that others share.
  ForEachModule([&](TModule& theirs, TModule& ours) {
    if (theirs.GetFacts()->IndexOf(&fact) >= 0 || ours.GetFacts()->IndexOf(copy.Get()) < 0) return;
    target_.RemoveFactFromModule(-1, copy, nullptr);
  });
}

// A rule that is spent or switched off activates for nothing any more, but what waited on the agenda before that
// still does. So it is primed as if it were neither, and stopped again when the agendas are as they were.
void TInferenceEngine::TModuleCopier::PrimeStoppedRules(TRules& rules) {
  for (int i = 0; i < rules.GetCount(); ++i) {
    TRule& rule = *rules.GetValue(i);
    if (rule.GetEnabled() && !(rule.GetOneShot() && rule.HasFired())) continue;
    rule.SetFired(false);
    rule.SetEnabled(true);
    target_.RuleChange(rule);
  }
}

void TInferenceEngine::TModuleCopier::StopRules(const TRules& theirs, TRules& ours) {
  for (int i = 0; i < theirs.GetCount(); ++i) {
    const TRule& rule = *theirs.GetValue(i);
    TRule* copy = ours.FindRule(rule.GetRuleName());
    if (copy == nullptr) continue;
    copy->SetFired(rule.HasFired());
    copy->SetEnabled(rule.GetEnabled());
  }
}

void TInferenceEngine::TModuleCopier::AlignAgenda(const TKBAgenda& theirs, TKBAgenda& ours) {
  const auto keyOf = [](const TActivation& activation) {
    return activation.GetRule()->GetRuleName() + " " + activation.GetToken()->ToFactsString();
  };
  std::map<std::string, std::deque<Ref<TActivation>>> present;
  for (const Ref<TActivation>& activation : ours.Snapshot()) present[keyOf(*activation)].push_back(activation);
  std::vector<Ref<TActivation>> order;
  for (const Ref<TActivation>& activation : theirs.Snapshot()) {
    auto& same = present[keyOf(*activation)];
    if (same.empty()) continue;
    order.push_back(same.front());
    same.pop_front();
  }
  for (const auto& [key, fired] : present) {
    for (const Ref<TActivation>& activation : fired) target_.RemoveActivation(*activation);
  }
  ours.Arrange(order);
}

void TInferenceEngine::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TInferenceEngine*>(&source);
  if (other == nullptr) return TComponent::Assign(source);
  if (other == this) return;
  const TFreeHold hold(*this);
  Clear();
  AssignParser(*other);
  strategy_ = other->strategy_;
  evalSalience_ = other->evalSalience_;
  CopyKnowledge(*other);
  AssignSettings(*other);
  AssignFocus(*other);
}

void TInferenceEngine::AssignParser(const TInferenceEngine& source) {
  SetParserFactory(source.parserFactory_);
  SetTokenizerFactory(source.tokenizerFactory_);
  TKBTokenizerStream* stream = parser_->GetStream();
  parser_->Assign(*source.parser_);
  parser_->SetStream(stream);
}

// Nothing is checked or refused on the way: it has stood in the source already.
void TInferenceEngine::CopyKnowledge(const TInferenceEngine& source) {
  const TTypeChecks checks = typeChecks_;
  SetTypeChecks({});
  const TValueScope<TDuplicateConstructs> duplicates(duplicateConstructs_, dcOverwrite);
  const TValueScope<bool> allowed(factDuplication_, true);
  symbolIndex_ = std::max(symbolIndex_, source.symbolIndex_);
  try {
    const int templates = factTemplates_->GetCount();
    const bool complete =
        userFunctions_->Assign(*source.userFunctions_, true) && factTemplates_->GetCount() == templates;
    globalVariables_->Assign(*source.globalVariables_);
    storage_->Assign(*source.storage_);
    modules_->Clear();
    TModuleCopier(*this, source).Copy();
    // Bodies and values that hold facts could not find their templates before.
    if (!complete) userFunctions_->AssignInterpretedFunctions(source.userFunctions_->GetInterpretedFunctions(), false);
    globalVariables_->Assign(*source.globalVariables_);
    storage_->Assign(*source.storage_);
  } catch (...) {
    SetTypeChecks(checks);
    throw;
  }
}

void TInferenceEngine::AssignSettings(const TInferenceEngine& source) {
  factIdCounter_ = source.factIdCounter_;
  factDuplication_ = source.factDuplication_;
  for (int i = 0; i < modules_->GetCount(); ++i) {
    const IModule theirs = source.FindModule(modules_->Get(i)->GetName());
    if (theirs) modules_->Get(i)->GetFacts()->SetCacheHashCodes(theirs->GetFacts()->GetCacheHashCodes());
  }
  duplicateConstructs_ = source.duplicateConstructs_;
  SetParserMaxErrors(source.parserMaxErrors_);
  SetParserErrorHandling(source.parserErrorHandling_);
  watch_ = source.watch_;
  resetGlobals_ = source.resetGlobals_;
  fuzzyAutoTerms_ = source.fuzzyAutoTerms_;
  fuzzyCorrelation_ = source.fuzzyCorrelation_;
  fuzzyInference_ = source.fuzzyInference_;
  fuzzyEqualsThreshold_ = source.fuzzyEqualsThreshold_;
  SetMinActivationStrength(source.minActivationStrength_);
  SetTypeChecks(source.typeChecks_);
}

void TInferenceEngine::AssignFocus(const TInferenceEngine& source) {
  focusStack_->Clear();
  for (int i = source.focusStack_->GetCount() - 1; i >= 0; --i) PushFocus(source.focusStack_->Get(i)->GetName());
  if (source.currentModule_) modules_->GetModule(source.currentModule_->GetName())->FocusModule();
}

}  // namespace kb
