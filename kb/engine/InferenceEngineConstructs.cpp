// Constructs: functions, rules, templates and types, their names and their events.
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"

namespace kb {

// --- Templates and types --------------------------------------------------------------------------------------------

TFactTemplate* TInferenceEngine::FindFactTemplate(std::string_view name) const {
  return factTemplates_ == nullptr ? nullptr : factTemplates_->FindTemplate(name);
}

TKBDefinedType* TInferenceEngine::FindDefinedType(std::string_view name) const {
  return definedTypes_ == nullptr ? nullptr : definedTypes_->FindType(name);
}

IFactTemplate TInferenceEngine::CreateFactTemplate(std::string_view name) {
  if (TFactTemplate* found = FindFactTemplate(name)) return found;
  IFactTemplate result = MakeRef<TFactTemplate>(this, name, SImpliedComment, IFactTemplate());
  factTemplates_->Add(result);
  return result;
}

void TInferenceEngine::RenameFactTemplate(TFactTemplate& factTemplate, std::string_view oldName,
                                          std::string_view newName) {
  if (oldName == newName || factTemplates_ == nullptr || !factTemplates_->ContainsKey(oldName)) return;
  if (factTemplates_->ContainsKey(newName)) throw EKBException(TKBMessage::DuplicateTemplates, {std::string(newName)});
  if (factTemplates_->FindTemplate(oldName) != &factTemplate) return;
  updatingHT_ = true;
  factTemplates_->Rekey(oldName, newName);
  updatingHT_ = false;
}

void TInferenceEngine::RenameDefinedType(TKBDefinedType& type, std::string_view oldName, std::string_view newName) {
  if (oldName == newName || definedTypes_ == nullptr || !definedTypes_->ContainsKey(oldName)) return;
  if (definedTypes_->ContainsKey(newName)) throw EKBException(TKBMessage::DuplicateTypes, {std::string(newName)});
  if (definedTypes_->FindType(oldName) != &type) return;
  updatingHT_ = true;
  definedTypes_->Rekey(oldName, newName);
  updatingHT_ = false;
}

void TInferenceEngine::RenameModule(std::string_view oldName, std::string_view newName) {
  if (oldName == newName) return;
  const int index = modules_->IndexOf(oldName);
  if (index < 0) return;
  if (modules_->IndexOf(newName) >= 0) throw EKBException(TKBMessage::DuplicateModules, {std::string(newName)});
  modules_->Get(index)->SetName(newName);
}

void TInferenceEngine::AddFactTemplate(const IFactTemplate& factTemplate) {
  if (OnNewFactTemplate) OnNewFactTemplate(*this, factTemplate);
}

void TInferenceEngine::RemoveFactTemplate(const IFactTemplate& factTemplate) {
  if (OnRemoveFactTemplate) OnRemoveFactTemplate(*this, factTemplate);
}

void TInferenceEngine::AddDefinedType(const IKBDefinedType& type) {
  if (OnAddDefinedType) OnAddDefinedType(*this, type);
}

void TInferenceEngine::RemoveDefinedType(const IKBDefinedType& type) {
  if (OnRemoveDefinedType) OnRemoveDefinedType(*this, type);
}

void TInferenceEngine::ClearRules() {
  if (OnClearRules) OnClearRules(*this);
}

void TInferenceEngine::ClearFactTemplates() {
  if (OnClearFactTemplates) OnClearFactTemplates(*this);
}

void TInferenceEngine::ClearDefinedTypes() {
  if (OnClearDefinedTypes) OnClearDefinedTypes(*this);
}

void TInferenceEngine::ClearModules() {
  if (OnClearModules) OnClearModules(*this);
}

// --- Rules ----------------------------------------------------------------------------------------------------------

TRules* TInferenceEngine::RulesOf(const TRule& rule) const {
  if (modules_ == nullptr) return nullptr;
  const int index = modules_->IndexOf(rule.GetModule().empty() ? SMainModule : std::string_view(rule.GetModule()));
  return index < 0 ? nullptr : modules_->Get(index)->GetRules();
}

bool TInferenceEngine::IsRegistered(const TRule& rule) const {
  const TRules* rules = RulesOf(rule);
  return rules != nullptr && rules->FindRule(rule.GetRuleName()) == &rule;
}

void TInferenceEngine::RegisterRule(TRule& rule) {
  IModule previous;
  rule.FocusModule(true, previous);
  const TFocusScope focus(*this, nullptr);
  try {
    rules_->Add(rule);
  } catch (...) {
    if (previous) previous->FocusModule();
    throw;
  }
  if (previous) previous->FocusModule();
}

void TInferenceEngine::ForgetRule(TRule& rule) {
  if (TRules* rules = RulesOf(rule)) rules->Release(rule);
  std::erase(deferredRules_, &rule);
}

void TInferenceEngine::AddRule(TRule& rule) {
  if (OnAddRule) OnAddRule(*this, rule);
}

void TInferenceEngine::RemoveRule(TRule& rule) {
  if (OnRemoveRule) OnRemoveRule(*this, rule);
  const int index = modules_->IndexOf(rule.GetModule().empty() ? SMainModule : std::string_view(rule.GetModule()));
  DropRule(rule, index < 0 ? rete_ : modules_->Get(index)->GetRete());
}

void TInferenceEngine::DropRule(TRule& rule, TReteNetwork* network) {
  if (network != nullptr) network->RemoveRule(rule);
  rule.AttachEngine(nullptr);
  if (rule.GetOwner() == this && !rule.IsDestroying()) FreeRule(rule);
}

// A rule may go while it fires, or while another one does whose action removed it: the firing still reads it.
void TInferenceEngine::FreeRule(TRule& rule) {
  if (firing_.empty()) {
    delete &rule;
    return;
  }
  if (std::find(deferredRules_.begin(), deferredRules_.end(), &rule) == deferredRules_.end()) {
    deferredRules_.push_back(&rule);
  }
}

void TInferenceEngine::RuleChange(TRule& rule) {
  TRules* rules = RulesOf(rule);
  if (rules == nullptr || rules->FindRule(rule.GetRuleName()) != &rule) return;
  const int index = modules_->IndexOf(rule.GetModule().empty() ? SMainModule : std::string_view(rule.GetModule()));
  const TFocusScope focus(*this, modules_->Get(index).Get());
  rete_->RemoveRule(rule);
  rete_->AddRule(rule);
  ProcessPendingFacts();
}

void TInferenceEngine::RenameRule(std::string_view oldName, std::string_view newName) {
  if (oldName == newName || !rules_->ContainsKey(oldName)) return;
  if (rules_->ContainsKey(newName)) throw EKBException(TKBMessage::DuplicateRules, {std::string(newName)});
  TRule* rule = rules_->FindRule(oldName);
  updatingHT_ = true;
  rules_->Rekey(oldName, newName);
  updatingHT_ = false;
  rule->SetRuleName(newName);
}

// --- Functions ------------------------------------------------------------------------------------------------------

void TInferenceEngine::AddUserFunction(const Ref<IUserFunction>& function) {
  if (userFunctions_ != nullptr) userFunctions_->Add(function);
}

void TInferenceEngine::RemoveUserFunction(const Ref<IUserFunction>& function) {
  if (userFunctions_ != nullptr) userFunctions_->RemoveFunction(function);
}

bool TInferenceEngine::ContainsUserFunction(std::string_view name) const { return userFunctions_->ContainsKey(name); }

bool TInferenceEngine::ContainsUserFunction(std::string_view name, Ref<IUserFunction>& function) const {
  const Ref<IUserFunction>* found = userFunctions_->Find(name);
  function = found == nullptr ? nullptr : *found;
  return found != nullptr;
}

std::vector<std::string> TInferenceEngine::GetUserFunctions() const { return userFunctions_->GetKeys(); }

Ref<IUserFunction> TInferenceEngine::GetUserFunction(std::string_view name) const { return userFunctions_->Get(name); }

void TInferenceEngine::SetUserFunction(std::string_view name, const Ref<IUserFunction>& function) {
  userFunctions_->Put(name, function);
}

void TInferenceEngine::AddFunction(const Ref<IUserFunction>& function) {
  if (OnAddUserFunction) OnAddUserFunction(*this, function);
}

void TInferenceEngine::RemoveFunction(const Ref<IUserFunction>& function) {
  if (OnRemoveUserFunction) OnRemoveUserFunction(*this, function);
}

Ref<IUserFunction> TInferenceEngine::RegisterFunction(std::string_view name, TFunctionCallable body, int minArguments,
                                                      int maxArguments) {
  Ref<IUserFunction> function = MakeRef<TCallableFunction>(std::move(body));
  function->SetFunctionName(name);
  function->SetMaxArgumentCount(maxArguments);
  function->SetMinArgumentCount(minArguments);
  function->AddReasoner(this);
  return function;
}

}  // namespace kb
