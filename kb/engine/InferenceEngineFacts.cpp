// Facts: asserting, retracting, pending facts.
#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/KBConsts.h"

namespace kb {

// A fact goes to the modules that share its template. The current one comes first if it is among them; if
// not, an action has moved the focus, and the first of them takes its place.
int32_t TInferenceEngine::Assert(const IFact& fact, bool unconditional) {
  if (!fact || !fact->GetTemplate()) throw EKBException(TKBMessage::FactTemplateMissing);
  RequireFocus();
  RequireOwnTemplate(*fact);
  const IFact asserted = fact;
  const TFreeHold hold(*this);
  AdoptTemplate(*asserted);
  if (IsAtHome(*asserted)) return AssertHere(asserted, unconditional);
  const TFocusScope focus(*this, asserted->GetTemplate()->GetImportModule(0));
  return AssertHere(asserted, unconditional);
}

int32_t TInferenceEngine::Assert(const IFact& fact, TFuzzyInferenceMethod method, bool unconditional) {
  const TValueScope scope(fuzzyInference_, method);
  return Assert(fact, unconditional);
}

bool TInferenceEngine::IsAtHome(const TFact& fact) const {
  const TFactTemplate& factTemplate = *fact.GetTemplate();
  return !factTemplate.IsShared() || factTemplate.IndexOfImportModule(currentModule_.Get()) >= 0;
}

// A call may still hold a fact of a template that has been replaced or removed since. The fact goes over to
// the template of that name, if that has its slots; a template that is gone comes back.
void TInferenceEngine::AdoptTemplate(TFact& fact) {
  const IFactTemplate former = fact.GetTemplate();
  if (former->IsShared() || former->GetEngine() != this) return;
  const IFactTemplate present = FindFactTemplate(former->GetTemplateName());
  if (!present) {
    former->SetModule(currentModule_.Get());
    factTemplates_->Add(former);
    return;
  }
  for (const TKBText& name : fact.GetSlotNames()) (void)present->GetSlot(name);
  fact.SetTemplate(present);
}

int32_t TInferenceEngine::AssertHere(const IFact& fact, bool unconditional) {
  CheckStack();  // a fact may bring goals, and a goal others
  const bool isFuzzy = fact->GetTemplate()->IsFuzzy();
  const uint32_t hash = factDuplication_ ? 0 : TFacts::CacheHashOf(*fact);
  if (isFuzzy) {
    if (!PrepareFuzzyFact(fact, unconditional)) return -1;
  } else if (!factDuplication_ && facts_->FindDuplicate(*fact, hash) != nullptr) {
    return -1;
  }
  // A fact that stands already, duplicates being allowed or a value changed in place, keeps its id, and a copy comes
  // beside it.
  const IFact asserted = facts_->GetFactByID(fact->GetID()) == fact ? fact->Clone() : fact;
  asserted->SetCacheHash(hash);
  const int32_t id = NewFactId();
  asserted->SetID(id);
  const IModule home = currentModule_;
  AddFactToModule(asserted, nullptr);
  const TModuleList others = OtherModules(*asserted->GetTemplate(), home);
  for (const IModule& module : others) {
    if (module->GetAgenda() == nullptr) continue;
    const TFocusScope focus(*this, module.Get());
    AddFactToModule(asserted, nullptr);
  }
  if (!others.empty() && home->GetAgenda() != nullptr) home->FocusModule();
  if (IsWatched(cwFact)) PrintOut(" ==> " + asserted->GetToIDString() + std::string(kLineEnd));
  ProcessPendingFacts(others);
  if (OnAssertion) OnAssertion(*this, asserted);
  return id;
}

// A fact that another engine holds would change its id there.
void TInferenceEngine::RequireOwnTemplate(const TFact& fact) const {
  const IFactTemplate& factTemplate = fact.GetTemplate();
  if (factTemplate->GetEngine() == nullptr || factTemplate->GetEngine() == this) return;
  throw EKBException(TKBMessage::UnknownFactTemplate, {factTemplate->GetTemplateName().ToString()});
}

// The modules besides `home` in which a fact of the template stands. Usually none.
TInferenceEngine::TModuleList TInferenceEngine::OtherModules(const TFactTemplate& factTemplate, const IModule& home) {
  TModuleList modules;
  for (int i = 0; i < factTemplate.GetImportModuleCount(); ++i) {
    TModule* module = factTemplate.GetImportModule(i);
    if (module != home.Get()) modules.emplace_back(module);
  }
  return modules;
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

IFact TInferenceEngine::FindFact(int32_t id) const {
  if (facts_ != nullptr) {
    if (IFact fact = facts_->GetFactByID(id)) return fact;
  }
  for (int i = 0; i < modules_->GetCount(); ++i) {
    if (IFact fact = modules_->Get(i)->GetFacts()->GetFactByID(id)) return fact;
  }
  return nullptr;
}

void TInferenceEngine::Retract(int32_t id) {
  RequireFocus();
  if (const int index = facts_->FindFact(id); index >= 0) return RetractFact(index);
  if (const IFact fact = FindFact(id)) RetractFact(fact);
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
  const TFreeHold hold(*this);
  if (OnRetraction) {
    OnRetraction(*this, fact);
    // The handler may have retracted the fact itself, or made other changes.
    if (index >= facts_->GetCount() || facts_->Get(index) != fact) index = facts_->IndexOf(fact.Get());
    if (index < 0) return;
  }
  const IModule home = currentModule_;
  RemoveFactFromModule(index, fact, nullptr);
  const TModuleList others = OtherModules(*fact->GetTemplate(), home);
  for (const IModule& module : others) {
    if (module->GetAgenda() == nullptr) continue;
    const TFocusScope focus(*this, module.Get());
    RemoveFactFromModule(-1, fact, nullptr);
  }
  if (!others.empty() && home->GetAgenda() != nullptr) home->FocusModule();
  if (IsWatched(cwFact)) PrintOut(" <== " + fact->GetToIDString() + std::string(kLineEnd));
  ProcessPendingFacts(others);
}

void TInferenceEngine::RetractFact(const IFact& fact) {
  const int index = GetFacts().IndexOf(fact.Get());
  if (index >= 0 || !fact || IsAtHome(*fact)) return RetractFact(index);
  // An action has moved the focus away from the fact.
  const TFocusScope focus(*this, fact->GetTemplate()->GetImportModule(0));
  RetractFact(facts_->IndexOf(fact.Get()));
}

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

// Goals that a pass through another module asked for are asserted there.
void TInferenceEngine::ProcessPendingFacts(const TModuleList& others) {
  ProcessPendingFacts();
  for (const IModule& module : others) {
    if (module->GetAgenda() == nullptr || module->GetFactsPending().empty()) continue;
    const TFocusScope focus(*this, module.Get());
    ProcessPendingFacts();
  }
}

// Unlike Retract of a fact, the very object goes.
void TInferenceEngine::BeginFactModify(const IFact& fact) {
  RequireObject(fact, "fact");
  const int index = GetFacts().IndexOf(fact.Get());
  modifyingFact_ = true;
  try {
    if (index >= 0 || !IsAtHome(*fact)) {
      RetractFact(fact);
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
      for (int k = 0; k < i && !duplicates && !seen; ++k) seen = modules_->Get(k)->GetFacts()->IndexOf(fact.Get()) >= 0;
      if (!seen) result->Add(fact);
    }
  }
  return result;
}

}  // namespace kb
