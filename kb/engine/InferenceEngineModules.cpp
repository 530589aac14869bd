// Modules: adding, removing, renaming, focus, and the initial fact that all of them share.
#include <algorithm>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"

namespace kb {

// ---- Focus

// Not in the header: a shared library must hold the one definition that calls through IReasoner reach.
const IModule& TInferenceEngine::GetCurrentModule() const { return currentModule_; }

void TInferenceEngine::ShowModule(TModule& module) noexcept {
  agenda_ = module.GetAgenda();
  definedTypes_ = module.GetDefinedTypes();
  facts_ = module.GetFacts();
  factSets_ = module.GetFactSets();
  factTemplates_ = module.GetFactTemplates();
  rete_ = module.GetRete();
  rules_ = module.GetRules();
  factsPending_ = &module.GetFactsPending();
  nullFact_ = module.GetNullFact();
  initialFactPattern_ = module.GetInitialFactPattern();
  currentModule_ = &module;
}

void TInferenceEngine::ShowNoModule() noexcept {
  agenda_ = nullptr;
  definedTypes_ = nullptr;
  facts_ = nullptr;
  factSets_ = nullptr;
  factTemplates_ = nullptr;
  rete_ = nullptr;
  rules_ = nullptr;
  factsPending_ = nullptr;
  nullFact_ = nullptr;
  initialFactPattern_ = nullptr;
  currentModule_ = nullptr;
}

void TInferenceEngine::SetCurrentModule(const IModule& module) {
  if (module == currentModule_) return;
  const IModule target = module;
  if (target) {
    RequireModule(target);
    target->FocusModule();
  } else {
    currentModule_ = nullptr;
  }
  DoChangeCurrentModule();
}

void TInferenceEngine::DoChangeCurrentModule() {
  if (OnChangeCurrentModule) OnChangeCurrentModule(*this);
}

IModule TInferenceEngine::FindModule(std::string_view name) const {
  const int index = modules_->IndexOf(name);
  return index < 0 ? IModule() : modules_->Get(index);
}

// ---- Adding, removing, renaming

// Whether the module may stand where it would come to stand is known before the one that it replaces is gone.
int TInferenceEngine::AddModule(const IModule& module) {
  RequireObject(module, "module");
  const IModule target = module;
  if (target->GetOwner() != this) throw EKBException(TKBMessage::NoSuchModule, {target->GetName()});
  if (!target->IsMain() && target->GetName().empty()) throw EKBException(TKBMessage::MissingName);
  if (const int present = modules_->IndexOf(target.Get()); present >= 0) return present;
  const std::string name(target->IsMain() ? SMainModule : std::string_view(target->GetName()));
  modules_->CheckImports(*target, target->IsMain() ? 0 : modules_->GetCount());
  const TFreeHold hold(*this);
  if (const int same = modules_->IndexOf(name); same >= 0) RemoveModule(IModule(modules_->Get(same)));
  {
    const TValueScope<const TModule*> working(moduleOp_, target.Get());
    modules_->Insert(target->IsMain() ? 0 : modules_->GetCount(), target);
  }
  target->Prepare();
  target->ImportConstructs();
  if (OnAddModule) OnAddModule(*this, target);
  return modules_->IndexOf(target.Get());
}

void TInferenceEngine::RemoveModule(const IModule& module) {
  RequireObject(module, "module");
  if (moduleOp_ == module.Get()) return;
  const IModule target = module;
  if (modules_->IndexOf(target.Get()) < 0) return;
  const TFreeHold hold(*this);
  if (OnRemoveModule) OnRemoveModule(*this, target);
  {
    const TValueScope<const TModule*> leaving(leavingModule_, target.Get());
    Clear(target);
  }
  target->Release();
  for (int i = focusStack_->GetCount() - 1; i >= 0; --i) {
    if (focusStack_->Get(i) == target) focusStack_->Delete(i);
  }
  {
    const TValueScope<const TModule*> working(moduleOp_, target.Get());
    modules_->Remove(target.Get());
  }
  if (modules_->IsEmpty()) return ShowNoModule();
  SettleInitialTemplate();
  if (currentModule_ == target) currentModule_ = nullptr;
  SetCurrentModule(modules_->Get(0));
}

// A module asks for its new name when it bears it already; a host asks for it by the old one.
void TInferenceEngine::RenameModule(std::string_view oldName, std::string_view newName) {
  if (oldName == newName) return;
  const int index = modules_->IndexOf(oldName);
  const int bearers = modules_->CountOf(newName);
  if (bearers > (index >= 0 ? 0 : 1)) throw EKBException(TKBMessage::DuplicateModules, {std::string(newName)});
  if (index >= 0) modules_->Get(index)->SetName(newName);
}

// ---- Modules that go while the engine works

void TInferenceEngine::Retire(TModuleObjects objects) {
  if (holds_ > 0) retired_.push_back(std::move(objects));
}

// ---- The initial fact
//
// One template, at home in the first module, stands in the tables of all of them, so that the one initial
// fact reaches every network: a rule that begins with a negation or a test, or has no pattern, matches from
// it in any module.

IFactTemplate TInferenceEngine::FindInitialTemplate() const {
  for (int i = 0; i < modules_->GetCount(); ++i) {
    const TFactTemplates* templates = modules_->Get(i)->GetFactTemplates();
    TFactTemplate* found = templates == nullptr ? nullptr : templates->FindTemplate(SInitialFactPattern);
    if (found != nullptr) return found;
  }
  return nullptr;
}

// The home of the template may have gone.
void TInferenceEngine::SettleInitialTemplate() {
  const IFactTemplate shared = FindInitialTemplate();
  if (shared && modules_->IndexOf(shared->GetModule()) < 0) shared->SetModule(modules_->Get(0).Get());
}

void TInferenceEngine::ShareInitialTemplate(TModule& module) {
  const TFocusScope focus(*this, &module);
  IFactTemplate shared = FindInitialTemplate();
  if (!shared) shared = CreateFactTemplate(SInitialFactPattern);
  if (factTemplates_->FindTemplate(SInitialFactPattern) != shared.Get()) factTemplates_->Add(shared);
  SettleInitialTemplate();
  if (initialFactPattern_ != nullptr && initialFactPattern_->GetFactTemplate() == shared) return;
  module.SetInitialFactPattern(std::make_unique<TKBPattern>(this, shared));
  initialFactPattern_ = module.GetInitialFactPattern();
}

void TInferenceEngine::RestoreBuiltIns(const TFactTemplate& removed) {
  if (IsDestroying()) return;
  for (int i = 0; i < modules_->GetCount(); ++i) {
    TModule& module = *modules_->Get(i);
    if (module.GetAgenda() == nullptr || leavingModule_ == &module) continue;
    const TFocusScope focus(*this, &module);
    const TKBPattern* pattern = module.GetInitialFactPattern();
    if (pattern != nullptr && pattern->GetFactTemplate() == &removed) ShareInitialTemplate(module);
    if (nullFact_ && nullFact_->GetTemplate() == &removed) nullFact_->SetTemplate(CreateFactTemplate(SNullFact));
  }
}

TKBPattern* TInferenceEngine::GetInitialFactPattern() {
  if (initialFactPattern_ == nullptr || factTemplates_ == nullptr) return nullptr;
  const IFactTemplate& factTemplate = initialFactPattern_->GetFactTemplate();
  if (!factTemplates_->Holds(SInitialFactPattern, factTemplate.Get())) ShareInitialTemplate(*currentModule_);
  return initialFactPattern_;
}

void TInferenceEngine::ShareInitialFact(TModule& module) {
  ShareInitialTemplate(module);
  const TFocusScope focus(*this, &module);
  const IFactTemplate shared = initialFactPattern_->GetFactTemplate();
  for (int i = 0; i < modules_->GetCount(); ++i) {
    const TFacts* facts = modules_->Get(i)->GetFacts();
    if (facts == nullptr || facts == facts_) continue;
    for (const IFact& fact : facts->Snapshot()) {
      if (fact->GetTemplate() == shared && facts_->IndexOf(fact.Get()) < 0) AddFactToModule(fact, nullptr);
    }
  }
}

}  // namespace kb
