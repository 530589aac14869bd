// Facts: asserting, retracting, pending facts.
#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"

namespace kb {

int32_t TInferenceEngine::Assert(const IFact& fact, bool /*unconditional*/) {
  if (!fact || !fact->GetTemplate()) throw EKBException(TKBMessage::FactTemplateMissing);
  RequireFocus();
  RequireOwnTemplate(*fact);
  if (!factDuplication_ && facts_->FindDuplicate(*fact) != nullptr) return -1;
  // With duplicates allowed, a fact that stands already keeps its id, and a copy comes beside it.
  const IFact asserted =
      factDuplication_ && facts_->GetFactByID(fact->GetID()) == fact ? fact->Clone() : fact;
  const int32_t id = NewFactId();
  asserted->SetID(id);
  {
    const TFocusScope focus(*this, nullptr);
    AddFactToModule(asserted, nullptr);
  }
  const IFactTemplate& factTemplate = asserted->GetTemplate();
  if (factTemplate->GetImportModuleCount() > 1) {
    const IModule home = currentModule_;
    std::vector<IModule> modules;
    for (int i = 0; i < factTemplate->GetImportModuleCount(); ++i)
      modules.emplace_back(factTemplate->GetImportModule(i));
    for (const IModule& module : modules) {
      if (module == home) continue;
      const TFocusScope focus(*this, module.Get());
      AddFactToModule(asserted, nullptr);
    }
  }
  if (IsWatched(cwFact)) PrintOut(" ==> " + asserted->GetToIDString() + std::string(kLineEnd));
  ProcessPendingFacts();
  if (OnAssertion) OnAssertion(*this, asserted);
  return id;
}

// A fact that another engine holds would change its id there.
void TInferenceEngine::RequireOwnTemplate(const TFact& fact) const {
  const IFactTemplate& factTemplate = fact.GetTemplate();
  if (factTemplate->GetEngine() == nullptr || factTemplate->GetEngine() == this) return;
  throw EKBException(TKBMessage::UnknownFactTemplate, {factTemplate->GetTemplateName().ToString()});
}

int32_t TInferenceEngine::Assert(std::string_view text) {
  const IFact fact = ParseFact(text);
  globalContext_->Resolve(fact);
  return Assert(fact);
}

// The list goes first, so that a rule that asks for the facts during the pass finds this one.
void TInferenceEngine::AddFactToModule(const IFact& fact, TModule* module) {
  RequireObject(fact, "fact");
  RequireFocus();
  if (module != nullptr) module->FocusModule();
  {
    const TFacts::TUpdating updating(*facts_);
    facts_->Add(fact);
  }
  rete_->ProcessToken(MakeRef<TKBToken>(taAdd, fact));
}

// The network goes first, so that the nodes see the fact as it was.
void TInferenceEngine::RemoveFactFromModule(int index, const IFact& fact, TModule* module) {
  RequireObject(fact, "fact");
  RequireFocus();
  if (module != nullptr) module->FocusModule();
  TFacts& facts = *facts_;
  rete_->ProcessToken(MakeRef<TKBToken>(taRemove, fact));
  const TFacts::TUpdating updating(facts);
  // A handler may have moved the fact, or taken it out already.
  const bool inPlace = index >= 0 && index < facts.GetCount() && facts.Get(index) == fact;
  if (inPlace) {
    facts.Delete(index);
  } else {
    facts.Remove(fact);
  }
}

void TInferenceEngine::Retract(int32_t id) {
  const int index = GetFacts().FindFact(id);
  if (index >= 0) RetractFact(index);
}

void TInferenceEngine::Retract(const IFact& fact) {
  RequireObject(fact, "fact");
  const int index = GetFacts().FindFact(*fact);
  if (index >= 0) RetractFact(index);
}

void TInferenceEngine::Retract(std::string_view text) {
  const IFact fact = ParseFact(text);
  globalContext_->Resolve(fact);
  Retract(fact);
}

void TInferenceEngine::RetractFact(int index) {
  const IFact fact = GetFacts().Get(index);
  if (OnRetraction) {
    OnRetraction(*this, fact);
    // The handler may have retracted the fact itself, or made other changes.
    if (index >= facts_->GetCount() || facts_->Get(index) != fact) index = facts_->IndexOf(fact.Get());
    if (index < 0) return;
  }
  RemoveFactFromModule(index, fact, nullptr);
  const IFactTemplate& factTemplate = fact->GetTemplate();
  const IModule home = currentModule_;
  std::vector<IModule> modules;
  for (int i = 0; i < factTemplate->GetImportModuleCount(); ++i)
    modules.emplace_back(factTemplate->GetImportModule(i));
  for (const IModule& module : modules) {
    if (module == home) continue;
    const TFocusScope focus(*this, module.Get());
    RemoveFactFromModule(-1, fact, nullptr);
  }
  if (IsWatched(cwFact)) PrintOut(" <== " + fact->GetToIDString() + std::string(kLineEnd));
  ProcessPendingFacts();
}

void TInferenceEngine::RetractFact(const IFact& fact) { RetractFact(GetFacts().IndexOf(fact.Get())); }

void TInferenceEngine::RetractFacts() {
  if (rete_ != nullptr) rete_->ProcessToken(MakeRef<TKBToken>());
  if (OnClearFacts) OnClearFacts(*this);
}

void TInferenceEngine::AddPendingFact(const IFact& fact, bool assertIt) {
  RequireObject(fact, "fact");
  if (!fact->GetTemplate()) throw EKBException(TKBMessage::FactTemplateMissing);
  RequireOwnTemplate(*fact);
  RequireFocus();
  factsPending_->emplace_back(assertIt, fact);
}

IFact TInferenceEngine::GetFactPending(int index) const {
  RequireFocus();
  CheckListIndex(index, static_cast<int>(factsPending_->size()));
  return (*factsPending_)[static_cast<size_t>(index)].second;
}

void TInferenceEngine::ProcessPendingFacts() {
  while (factsPending_ != nullptr && !factsPending_->empty()) {
    const auto [assertIt, fact] = factsPending_->front();
    factsPending_->pop_front();
    if (assertIt) {
      Assert(fact);
    } else {
      Retract(fact);
    }
  }
}

// Unlike Retract of a fact, the very object goes.
void TInferenceEngine::BeginFactModify(const IFact& fact) {
  RequireObject(fact, "fact");
  const int index = GetFacts().IndexOf(fact.Get());
  modifyingFact_ = true;
  try {
    if (index >= 0) {
      RetractFact(index);
    } else {
      Retract(fact);
    }
  } catch (...) {
    modifyingFact_ = false;
    throw;
  }
}

int32_t TInferenceEngine::EndFactModify(const IFact& fact) {
  int32_t id = -1;
  TDelayedError error;
  error.Run([&] { id = Assert(fact); });
  modifyingFact_ = false;
  error.Rethrow();
  return id;
}

int32_t TInferenceEngine::UpdateDependentFact(const IFact& /*oldFact*/, const IFact& newFact) {
  return Assert(newFact);
}

std::unique_ptr<TFacts> TInferenceEngine::GetFacts(bool duplicates) const {
  auto result = std::make_unique<TFacts>(nullptr, nullptr);
  for (int i = 0; i < modules_->GetCount(); ++i) {
    for (const IFact& fact : modules_->Get(i)->GetFacts()->Snapshot()) {
      // A shared fact stands in the list of an earlier module too.
      bool seen = false;
      for (int k = 0; k < i && !duplicates && !seen; ++k)
        seen = modules_->Get(k)->GetFacts()->IndexOf(fact.Get()) >= 0;
      if (!seen) result->Add(fact);
    }
  }
  return result;
}

}  // namespace kb
