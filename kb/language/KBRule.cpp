#include "kb/language/KBRule.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/matching/KBToken.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

using TSubstitution = std::vector<std::pair<TKBText, TKBText>>;

// Renames variables in a call and in the calls nested in it.
void SubstFunCall(TFunctionCall& call, const TSubstitution& names) {
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    const IKBValue argument = call.GetArgument(i);
    if (!argument) continue;
    if (TFunctionCall* nested = argument->FunCallOrNull()) {
      SubstFunCall(*nested, names);
      continue;
    }
    if (!KBVariableTypes.Has(argument->GetDType())) continue;
    for (const auto& [oldName, newName] : names) {
      if (argument->TextView() == oldName.View()) {
        call.SetArgument(i, MakeRef<TKBValue>(newName, argument->GetDType()));
      }
    }
  }
}

}  // namespace

const TClassInfo& TRule::StaticClass() noexcept {
  static const TClassInfo info{"TRule", &TComponent::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* { return new TRule(owner); }};
  return info;
}

TRule::TRule(TComponent* owner)
    : TComponent(owner), salienceValue_(MakeInteger(0)), engine_(dynamic_cast<TInferenceEngine*>(owner)) {
  if (engine_ != nullptr) id_ = engine_->NewRuleId();
  name_ = "Rule_" + std::to_string(id_);
}

TRule::TRule(TComponent* owner, std::string_view name, std::string_view module) : TRule(owner) {
  module_ = module;
  SetRuleName(name);
}

TRule::~TRule() {
  OnFire = nullptr;
  OnChange = nullptr;
  TellRemoval();
  if (engine_ != nullptr && !engine_->IsDestroying()) engine_->ForgetRule(*this);
}

void TRule::Notification(TComponent& component, TOperation operation) {
  TComponent::Notification(component, operation);
  if (operation == opRemove && &component == engine_) engine_ = nullptr;
}

// --- Properties -----------------------------------------------------------------------------------------------------

void TRule::SetRuleName(std::string_view name) {
  if (name_ == name) return;
  CheckConstructName(name);
  if (engine_ != nullptr && !IsUpdating()) {
    IModule previous;
    FocusModule(false, previous);
    try {
      if (engine_->GetRules().FindRule(name_) == this) engine_->RenameRule(name_, name);
    } catch (...) {
      if (previous) previous->FocusModule();
      throw;
    }
    if (previous) previous->FocusModule();
  }
  name_ = name;
}

void TRule::SetComment(std::string_view comment) {
  if (comment_ == comment) return;
  comment_ = comment;
}

void TRule::SetModule(std::string_view name) {
  if (module_ == name) return;
  TInferenceEngine* engine = engine_;
  if (engine == nullptr) {
    module_ = name;
    return;
  }
  if (!name.empty() && name != SMainModule) (void)engine->GetModules().GetModule(name);
  const bool registered = engine->IsRegistered(*this);
  if (registered) engine->ForgetRule(*this);
  module_ = name;
  engine_ = engine;
  if (registered) engine->RegisterRule(*this);
}

void TRule::SetEngine(TInferenceEngine* engine) {
  if (engine_ == engine) return;
  if (engine_ != nullptr) engine_->ForgetRule(*this);
  engine_ = engine;
  if (engine_ == nullptr) return;
  id_ = engine_->NewRuleId();
  engine_->RegisterRule(*this);
}

void TRule::SetSalience(const IKBValue& value) {
  salienceValue_ = value->Clone();
  EvaluateSalience();
  Change();
}

void TRule::SetSalienceInteger(int32_t value) {
  salience_ = value;
  salienceValue_ = MakeInteger(value);
}

int32_t TRule::EvaluateSalience() {
  if (engine_ == nullptr || salienceValue_->Is(dtInteger)) {
    if (salienceValue_->Is(dtInteger)) salience_ = salienceValue_->GetAsInteger();
    return salience_;
  }
  TKBContext context(&engine_->GetGlobalContext(), engine_);
  salience_ = salienceValue_->Resolve(&context)->GetAsInteger();
  return salience_;
}

void TRule::SetOneShot(bool value) {
  if (oneShot_ == value) return;
  oneShot_ = value;
  Change();
}

void TRule::SetAutoFocus(bool value) {
  if (autoFocus_ == value) return;
  autoFocus_ = value;
  Change();
}

// --- Patterns and bindings ------------------------------------------------------------------------------------------

int TRule::IndexOfPattern(const TFactTemplate* factTemplate) const noexcept {
  for (size_t i = 0; i < patterns_.size(); ++i) {
    if (patterns_[i]->GetFactTemplate() == factTemplate) return static_cast<int>(i);
  }
  return -1;
}

TKBPattern& TRule::AddPattern(std::unique_ptr<TKBPattern> pattern) {
  if (engine_ == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  TKBPattern& result = *pattern;
  const size_t patterns = patterns_.size();
  const size_t bindings = bindings_.size();
  BeginUpdate();
  try {
    patterns_.push_back(std::move(pattern));
    AnalysePattern(patterns_.size() - 1);
  } catch (...) {
    patterns_.resize(patterns);
    bindings_.resize(bindings);
    --updates_;
    throw;
  }
  EndUpdate();
  return result;
}

// Tests take no place in a token.
int TRule::FactPosition(size_t index) const noexcept {
  int position = 0;
  for (size_t i = 0; i < index; ++i) {
    if (!patterns_[i]->IsTest()) ++position;
  }
  return position;
}

int TRule::GetLastFactPosition() const noexcept {
  int position = -1;
  for (const auto& pattern : patterns_) {
    if (!pattern->IsTest()) ++position;
  }
  return std::max(position, 0);
}

void TRule::AnalysePattern(size_t index) {
  TKBPattern* pattern = patterns_[index].get();
  pattern->BeginUpdate();
  pattern->SetOwner(this);
  // What begins with a negation, a test or a goal matches from the initial fact.
  const bool needsInitial = pattern->GetNegatedCount() > 0 || pattern->IsTest() ||
                            (pattern->GetFactTemplate() && pattern->GetFactTemplate()->IsBackwardChaining());
  if (patterns_.size() == 1 && needsInitial && engine_->GetInitialFactPattern() != nullptr) {
    patterns_.insert(patterns_.begin(), engine_->GetInitialFactPattern()->Clone(engine_));
    AnalysePattern(0);
    ++index;
  }
  const int position = FactPosition(index);
  if (pattern->IsGoal() && pattern->GetBoundName().empty()) pattern->SetBoundName(engine_->GenerateSymbol(SFactPrefix));
  if (!pattern->GetBoundName().empty()) AddBinding(pattern->GetBoundName(), position, SPatternBinding, NoSubIndex);
  BindVariables(*pattern, position);
  pattern->FixTests();
  pattern->EndUpdate();
  if (pattern->IsGoal()) AppendGoalNegation(*pattern);
}

void TRule::BindVariables(TKBPattern& pattern, int position) {
  TSubstitution renamed;
  for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
    for (const auto& test : pattern.GetSlotTests(slot)) {
      if (!test->IsVariable()) continue;
      TKBText name = test->GetSlotValue()->GetAsString();
      if (IndexOfBinding(name) >= 0) continue;
      if (pattern.IsNegated() && name.View().starts_with(SBlankPrefix)) {
        // Anonymous variables of a negated pattern stay private to it.
        const TKBText fresh = "_" + std::to_string(patterns_.size()) + "_" + name.ToString();
        renamed.emplace_back(name, fresh);
        test->SetSlotValue(MakeRef<TKBValue>(fresh, test->GetSlotValue()->GetDType()));
        name = fresh;
      } else if (test->GetSlotTestType() == sttNotEquals) {
        throw EKBException(TKBMessage::FirstUseNegated, {name.ToString()});
      }
      AddBinding(name, position, pattern.GetSlotName(slot), test->GetMultiSlotSubIndex());
    }
  }
  if (renamed.empty()) return;
  for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
    for (const auto& test : pattern.GetSlotTests(slot)) {
      if (TFunctionCall* call = test->GetSlotValue()->FunCallOrNull()) SubstFunCall(*call, renamed);
    }
  }
}

// A goal is pursued while the wanted fact does not exist.
void TRule::AppendGoalNegation(const TKBPattern& goal) {
  const std::string name = goal.GetName().substr(SBackChainPrefix.size(), 255);
  auto negation = std::make_unique<TKBPattern>(this, goal, name, 1);
  patterns_.push_back(std::move(negation));
  AnalysePattern(patterns_.size() - 1);
}

void TRule::SetPatterns(const TRule& source) {
  BeginUpdate();
  try {
    ClearPatterns();
    for (size_t i = 0; i < source.patterns_.size(); ++i) {
      if (i > 0 && source.patterns_[i - 1]->IsGoal()) continue;
      AddPattern(source.patterns_[i]->Clone(engine_));
    }
  } catch (...) {
    --updates_;
    throw;
  }
  EndUpdate();
}

void TRule::ClearPatterns() {
  bindings_.clear();
  patterns_.clear();
  Change();
}

void TRule::AddAction(const IFunCall& action) {
  actions_.push_back(action);
  Change();
}

void TRule::DeleteAction(int index) {
  if (index < 0 || index >= GetActionCount()) {
    throw EListError("List index out of bounds (" + std::to_string(index) + ")");
  }
  actions_.erase(actions_.begin() + index);
  Change();
}

void TRule::ClearActions() {
  actions_.clear();
  Change();
}

TBinding& TRule::AddBinding(std::string_view name, int factIndex, std::string_view slotName, int subIndex) {
  auto binding = std::make_unique<TBinding>(TKBText(name), factIndex, TKBText(slotName), subIndex);
  for (const auto& present : bindings_) {
    if (present->GetName() == binding->GetName() && present->TBindingInfo::Equals(*binding)) return *present;
  }
  bindings_.push_back(std::move(binding));
  return *bindings_.back();
}

int TRule::IndexOfBinding(const TKBText& name) const noexcept {
  for (size_t i = 0; i < bindings_.size(); ++i) {
    if (bindings_[i]->GetName() == name) return static_cast<int>(i);
  }
  return -1;
}

TBinding* TRule::GetBindingByName(const TKBText& name) const noexcept {
  const int index = IndexOfBinding(name);
  return index < 0 ? nullptr : bindings_[static_cast<size_t>(index)].get();
}

// --- Firing ---------------------------------------------------------------------------------------------------------

IKBValue TRule::BindingValue(const TBinding& binding, TKBToken& token) const {
  const TFact* fact = token.Facts(binding.GetFactIndex());
  if (fact == nullptr || fact->GetTemplate()->GetTemplateName() == SNullFact) return nullptr;
  if (binding.IsPatternBinding()) return MakeFactId(fact->GetID());
  TKBValue* value = fact->FindValue(binding.SlotRef());
  if (value == nullptr || binding.GetSubIndex() == NoSubIndex) return value;
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr || binding.GetSubIndex() >= list->GetValueCount()) return nullptr;
  return list->Get(binding.GetSubIndex());
}

void TRule::Prepare(TKBToken& token, TKBContext& context) {
  for (const auto& binding : bindings_) {
    if (binding->IsLocalBinding()) continue;
    const IKBValue value = BindingValue(*binding, token);
    if (!value) continue;
    binding->SetValue(value);
    context.AddLocalBinding(binding->GetName(), value);
  }
  context.AddLocalBinding(TKBText(SRuleBinding), MakeString(name_));
}

void TRule::Fire(TKBToken& token) {
  if (engine_ == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  const IReteToken guard(&token);
  TInferenceEngine& engine = *engine_;
  TKBContext context(&engine.GetGlobalContext(), &engine);
  Prepare(token, context);
  fired_ = true;
  if (OnFire) OnFire(*this, context);
  for (size_t i = 0; i < actions_.size() && !context.IsReturning(); ++i) {
    const IFunCall action = actions_[i];
    (void)action->Execute(context);
  }
  if (context.IsReturning() && context.GetReturnValue() == FCPopFocus) engine.PopFocus();
  context.ClearReturnValue();
  // The values of this firing must not outlive it in the rule.
  for (const auto& binding : bindings_) binding->SetValue(nullptr);
}

// --- Change and copies ----------------------------------------------------------------------------------------------

void TRule::EndUpdate() {
  if (updates_ > 0 && --updates_ == 0) Change();
}

void TRule::Change() {
  if (updates_ > 0) return;
  if (engine_ != nullptr && !IsDestroying()) engine_->RuleChange(*this);
  if (OnChange) OnChange(*this);
}

void TRule::FocusModule(bool force, IModule& previous) {
  previous = nullptr;
  if (engine_ == nullptr) return;
  const std::string_view name = module_.empty() ? SMainModule : std::string_view(module_);
  if (engine_->GetCurrentModule() && engine_->GetCurrentModule()->GetName() == name) return;
  if (!force && engine_->GetModules().IndexOf(name) < 0) return;
  const IModule module = engine_->GetModules().GetModule(name);
  previous = engine_->GetCurrentModule();
  module->FocusModule();
}

void TRule::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TRule*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  if (engine_ == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  if (other->engine_ != engine_) {
    const std::unique_ptr<TRule> parsed(engine_->ParseRule(other->ToString()));
    Assign(*parsed);
    return;
  }
  BeginUpdate();
  try {
    SetRuleName(other->name_);
    autoFocus_ = other->autoFocus_;
    enabled_ = other->enabled_;
    comment_ = other->comment_;
    oneShot_ = other->oneShot_;
    SetPatterns(*other);
    actions_.clear();
    for (const IFunCall& action : other->actions_) actions_.push_back(action->Clone());
    salienceValue_ = other->salienceValue_->Clone();
    salience_ = other->salience_;
  } catch (...) {
    --updates_;
    throw;
  }
  EndUpdate();
}

std::string TRule::ToString() const {
  if (engine_ != nullptr) return engine_->PrettyPrint(*this);
  return PrettyPrint(*this, true);
}

}  // namespace kb
