// Constructs: functions, rules, templates and types, their names and their events.
#include <algorithm>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModuleConstruct.h"

namespace kb {

// ---- Templates and types

TFactTemplate* TInferenceEngine::FindFactTemplate(std::string_view name) const {
  return factTemplates_ == nullptr ? nullptr : factTemplates_->FindTemplate(name);
}

TKBDefinedType* TInferenceEngine::FindDefinedType(std::string_view name) const {
  return definedTypes_ == nullptr ? nullptr : definedTypes_->FindType(name);
}

IFactTemplate TInferenceEngine::CreateFactTemplate(std::string_view name) {
  RequireFocus();
  if (name.empty()) throw EKBException(TKBMessage::MissingName);
  if (TFactTemplate* found = FindFactTemplate(name)) return found;
  IFactTemplate result = MakeRef<TFactTemplate>(this, name, SImpliedComment, IFactTemplate());
  factTemplates_->Add(result);
  return result;
}

namespace {

// Enters the construct under another name in all tables that hold it, unless one of them has the name.
template <class T, class TableOf>
void RekeyEverywhere(const T& construct, std::string_view oldName, std::string_view newName, TKBMessage error,
                     const TableOf& tableOf) {
  std::vector<TModule*> modules;
  for (int i = 0; i < construct.GetImportModuleCount(); ++i) {
    TModule* module = construct.GetImportModule(i);
    if (tableOf(*module)->Holds(oldName, &construct)) modules.push_back(module);
  }
  for (TModule* module : modules) {
    if (tableOf(*module)->ContainsKey(newName)) throw EKBException(error, {std::string(newName)});
  }
  for (TModule* module : modules) tableOf(*module)->Rekey(oldName, newName);
}

}  // namespace

void TInferenceEngine::RenameFactTemplate(TFactTemplate& factTemplate, std::string_view oldName,
                                          std::string_view newName) {
  if (oldName == newName) return;
  const TValueScope<bool> updating(updatingHT_, true);
  RekeyEverywhere(factTemplate, oldName, newName, TKBMessage::DuplicateTemplates,
                  [](TModule& module) { return module.GetFactTemplates(); });
}

void TInferenceEngine::TemplateRenamed(const TFactTemplate& factTemplate, std::string_view oldName) {
  for (int i = 0; i < factTemplate.GetImportModuleCount(); ++i) {
    TModule& module = *factTemplate.GetImportModule(i);
    module.GetRete()->RenameTemplate(oldName, factTemplate.GetTemplateName());
    for (int k = 0; k < module.GetRules()->GetCount(); ++k)
      module.GetRules()->GetValue(k)->TemplateRenamed(factTemplate);
    for (int k = 0; k < module.GetFactSets()->GetCount(); ++k)
      module.GetFactSets()->Get(k).TemplateRenamed(factTemplate);
  }
}

void TInferenceEngine::RenameDefinedType(TKBDefinedType& type, std::string_view oldName, std::string_view newName) {
  if (oldName == newName) return;
  const TValueScope<bool> updating(updatingHT_, true);
  RekeyEverywhere(type, oldName, newName, TKBMessage::DuplicateTypes,
                  [](TModule& module) { return module.GetDefinedTypes(); });
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

// ---- Rules

TModule* TInferenceEngine::ModuleOf(const TRule& rule) const {
  if (modules_ == nullptr) return nullptr;
  const int index = modules_->IndexOf(rule.GetModule().empty() ? SMainModule : std::string_view(rule.GetModule()));
  return index < 0 ? nullptr : modules_->Get(index).Get();
}

TRules* TInferenceEngine::RulesOf(const TRule& rule) const {
  const TModule* module = ModuleOf(rule);
  return module == nullptr ? nullptr : module->GetRules();
}

bool TInferenceEngine::IsRegistered(const TRule& rule) const {
  const TRules* rules = RulesOf(rule);
  return rules != nullptr && rules->FindRule(rule.GetRuleName()) == &rule;
}

void TInferenceEngine::RegisterRule(TRule& rule) {
  TModule* module = ModuleOf(rule);
  if (module == nullptr) throw EKBException(TKBMessage::NoSuchModule, {rule.GetModule()});
  const TFocusScope focus(*this, module);
  rules_->Add(rule);
}

void TInferenceEngine::ForgetRule(TRule& rule) {
  if (TRules* rules = RulesOf(rule)) rules->Release(rule);
}

void TInferenceEngine::AddRule(TRule& rule) {
  if (OnAddRule) OnAddRule(*this, rule);
}

void TInferenceEngine::RemoveRule(TRule& rule) {
  const TModule* module = ModuleOf(rule);
  TDelayedError error;
  error.Run([&] {
    if (OnRemoveRule) OnRemoveRule(*this, rule);
  });
  // The rule has left its registry: a handler that raises does not keep it in the network.
  DropRule(rule, module == nullptr ? rete_ : module->GetRete());
  error.Rethrow();
}

void TInferenceEngine::DropRule(TRule& rule, TReteNetwork* network) {
  if (network != nullptr) network->RemoveRule(rule);
  rule.AttachEngine(nullptr);
  if (rule.GetOwner() == this && !rule.IsDestroying()) FreeConstruct(rule);
}

// A rule may go while it fires, or while another one does whose action removed it: the firing still reads it.
// So do the parser that has just made it, and a reset that goes through the fact sets.
void TInferenceEngine::FreeConstruct(TComponent& construct) {
  if (holds_ == 0) {
    delete &construct;
    return;
  }
  if (std::find(deferred_.begin(), deferred_.end(), &construct) == deferred_.end()) deferred_.push_back(&construct);
}

void TInferenceEngine::FreeDeferred() {
  while (!deferred_.empty()) {
    TComponent* construct = deferred_.front();
    deferred_.erase(deferred_.begin());
    delete construct;
  }
  std::vector<TModuleObjects> objects;
  objects.swap(retired_);
}

void TInferenceEngine::RuleChange(TRule& rule) {
  TRules* rules = RulesOf(rule);
  if (rules == nullptr || rules->FindRule(rule.GetRuleName()) != &rule) return;
  const TFocusScope focus(*this, ModuleOf(rule));
  rete_->RemoveRule(rule);
  rete_->AddRule(rule);
  ProcessPendingFacts();
}

void TInferenceEngine::RenameRule(std::string_view oldName, std::string_view newName) {
  if (oldName == newName || !GetRules().ContainsKey(oldName)) return;
  CheckConstructName(newName);
  if (newName.empty()) throw EKBException(TKBMessage::MissingName);
  if (rules_->ContainsKey(newName)) throw EKBException(TKBMessage::DuplicateRules, {std::string(newName)});
  TRule* rule = rules_->FindRule(oldName);
  const TValueScope<bool> updating(updatingHT_, true);
  rules_->Rekey(oldName, newName);
  rule->SetRuleName(newName);
}

// ---- Functions

void TInferenceEngine::AddUserFunction(const Ref<IUserFunction>& function) {
  if (userFunctions_ != nullptr) userFunctions_->Add(function);
}

void TInferenceEngine::RemoveUserFunction(const Ref<IUserFunction>& function) {
  RequireObject(function, "function");
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
  if (name.empty()) throw EKBException(TKBMessage::MissingName);
  RequireObject(body, "function body");
  Ref<IUserFunction> function = MakeRef<TCallableFunction>(std::move(body));
  function->SetFunctionName(name);
  function->SetMaxArgumentCount(maxArguments);
  function->SetMinArgumentCount(minArguments);
  function->AddReasoner(this);
  return function;
}

}  // namespace kb
