#include "kb/language/KBRule.h"

#include <algorithm>
#include <iterator>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBTransfer.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/matching/KBToken.h"
#include "kb/platform/ComponentStream.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/LosslessText.h"
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

// What an anonymous variable of a negated pattern is called: "_2__blank_7". A printed rule shows such names.
bool IsPrivateBlank(std::string_view name) {
  if (!name.starts_with('_')) return false;
  name.remove_prefix(std::min(name.find_first_not_of("0123456789", 1), name.size()));
  return name.starts_with('_') && name.substr(1).starts_with(SBlankPrefix);
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
  if (!name.empty()) SetRuleName(name);
}

TRule::~TRule() {
  OnFire = nullptr;
  OnChange = nullptr;
  TellRemoval();
  if (auto* owner = dynamic_cast<TInferenceEngine*>(GetOwner())) owner->ForgetConstruct(*this);
  if (engine_ == nullptr || engine_->IsDestroying()) return;
  // What a handler of the removal raises must not pass a destructor.
  TDelayedError error;
  error.Run([this] { engine_->ForgetRule(*this); });
}

void TRule::Notification(TComponent& component, TOperation operation) {
  TComponent::Notification(component, operation);
  if (operation == opRemove && &component == engine_) engine_ = nullptr;
}

// ---- Properties

void TRule::SetRuleName(std::string_view name) {
  if (name_ == name) return;
  if (name.empty()) throw EKBException(TKBMessage::MissingName);
  CheckConstructName(name);
  if (engine_ != nullptr) {
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
  TellChange();
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
  TDelayedError error;
  if (registered) error.Run([&] { engine->ForgetRule(*this); });
  const std::string old = std::exchange(module_, std::string(name));
  if (!registered) return;
  try {
    engine->RegisterRule(*this);
  } catch (...) {
    module_ = old;
    error.Run([&] { engine->RegisterRule(*this); });
    throw;
  }
  error.Rethrow();
}

void TRule::SetEngine(TInferenceEngine* engine) {
  if (engine_ == engine) return;
  TInferenceEngine* const old = engine_;
  const bool registered = old != nullptr && old->IsRegistered(*this);
  TDelayedError error;
  if (registered) error.Run([&] { old->ForgetRule(*this); });
  AttachEngine(engine);
  if (engine_ == nullptr) return error.Rethrow();
  id_ = engine_->NewRuleId();
  try {
    engine_->RegisterRule(*this);
  } catch (...) {
    AttachEngine(old);
    if (registered) error.Run([&] { old->RegisterRule(*this); });
    throw;
  }
  error.Rethrow();
}

// A rule that the engine does not own asks to be told of its end.
void TRule::AttachEngine(TInferenceEngine* engine) {
  if (engine_ == engine) return;
  if (engine_ != nullptr && GetOwner() != engine_) engine_->RemoveFreeNotification(*this);
  engine_ = engine;
  if (engine_ != nullptr && GetOwner() != engine_) engine_->FreeNotification(*this);
}

void TRule::SetSalience(const IKBValue& value) {
  RequireObject(value, "salience");
  IKBValue old = std::exchange(salienceValue_, value->Clone());
  try {
    EvaluateSalience();
  } catch (...) {
    salienceValue_ = std::move(old);
    throw;
  }
  TellChange();
}

void TRule::SetSalienceInteger(int32_t value) {
  salience_ = value;
  salienceValue_ = MakeInteger(value);
  TellChange();
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
  TellChange();
}

void TRule::SetEnabled(bool value) {
  if (enabled_ == value) return;
  enabled_ = value;
  TellChange();
}

void TRule::SetAutoFocus(bool value) {
  if (autoFocus_ == value) return;
  autoFocus_ = value;
  TellChange();
}

// ---- Patterns and bindings

int TRule::IndexOfPattern(const TFactTemplate* factTemplate) const noexcept {
  for (size_t i = 0; i < patterns_.size(); ++i) {
    if (patterns_[i]->GetFactTemplate() == factTemplate) return static_cast<int>(i);
  }
  return -1;
}

TKBPattern& TRule::AddPattern(std::unique_ptr<TKBPattern> pattern) {
  RequireObject(pattern, "pattern");
  if (engine_ == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  if (!pattern->GetFactTemplate()) throw EKBException(TKBMessage::FactTemplateMissing);
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
  const bool needsInitial =
      pattern->GetNegatedCount() > 0 || pattern->IsTest() || pattern->GetFactTemplate()->IsBackwardChaining();
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
      } else if (test->GetSlotTestType() == sttNotEquals && !(pattern.IsNegated() && IsPrivateBlank(name.View()))) {
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

// A negated pattern behind a goal is named after the wanted template and stays on that of the goal.
void TRule::TemplateRenamed(const TFactTemplate& factTemplate) {
  for (size_t i = 0; i < patterns_.size(); ++i) {
    const bool wanted = i > 0 && patterns_[i - 1]->IsGoal();
    if (patterns_[i]->GetFactTemplate() == &factTemplate && !wanted) patterns_[i]->TemplateRenamed();
  }
}

void TRule::SetPatterns(const TRule& source) {
  std::vector<std::unique_ptr<TKBPattern>> clones;
  for (size_t i = 0; i < source.patterns_.size(); ++i) {
    if (i > 0 && source.patterns_[i - 1]->IsGoal()) continue;
    clones.push_back(source.patterns_[i]->Clone(engine_));
  }
  auto patterns = std::exchange(patterns_, {});
  auto bindings = std::exchange(bindings_, {});
  BeginUpdate();
  try {
    for (auto& clone : clones) AddPattern(std::move(clone));
  } catch (...) {
    patterns_ = std::move(patterns);
    bindings_ = std::move(bindings);
    --updates_;
    throw;
  }
  std::move(patterns.begin(), patterns.end(), std::back_inserter(retired_));
  EndUpdate();
}

void TRule::ClearPatterns() {
  bindings_.clear();
  std::move(patterns_.begin(), patterns_.end(), std::back_inserter(retired_));
  patterns_.clear();
  Change();
}

void TRule::AddAction(const IFunCall& action) {
  RequireObject(action, "action");
  actions_.push_back(action);
  Change();
}

void TRule::ClearActions() { SetActions({}); }

void TRule::SetActions(std::vector<IFunCall> actions) {
  for (const IFunCall& action : actions) RequireObject(action, "action");
  actions_ = std::move(actions);
  Change();
}

void TRule::DeleteAction(int index) {
  CheckListIndex(index, GetActionCount());
  actions_.erase(actions_.begin() + index);
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

// ---- Firing

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

namespace {

// The values of a firing must not outlive it in the rule.
class TBoundValues {
 public:
  explicit TBoundValues(const std::vector<std::unique_ptr<TBinding>>& bindings) noexcept : bindings_(bindings) {}
  TBoundValues(const TBoundValues&) = delete;
  TBoundValues& operator=(const TBoundValues&) = delete;
  ~TBoundValues() {
    for (const auto& binding : bindings_) binding->SetValue(nullptr);
  }

 private:
  const std::vector<std::unique_ptr<TBinding>>& bindings_;
};

}  // namespace

void TRule::Fire(TKBToken& token) {
  if (engine_ == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  const IReteToken guard(&token);
  TInferenceEngine& engine = *engine_;
  const TInferenceEngine::TFreeHold hold(engine);
  TKBContext context(&engine.GetGlobalContext(), &engine);
  const TBoundValues values(bindings_);
  Prepare(token, context);
  fired_ = true;
  if (OnFire) OnFire(*this, context);
  for (size_t i = 0; i < actions_.size() && !context.IsReturning(); ++i) {
    const IFunCall action = actions_[i];
    (void)action->Execute(context);
  }
  if (context.IsReturning() && context.GetReturnValue() == FCPopFocus) engine.PopFocus();
  context.ClearReturnValue();
}

// ---- Change and copies

void TRule::EndUpdate() {
  if (updates_ > 0 && --updates_ == 0) Change();
}

void TRule::Change() {
  if (updates_ > 0) return;
  if (engine_ == nullptr || IsDestroying()) return TellChange();
  const TInferenceEngine::TFreeHold hold(*engine_);  // a handler may remove the rule
  engine_->RuleChange(*this);
  retired_.clear();
  TellChange();
}

void TRule::TellChange() {
  if (updates_ == 0 && OnChange) OnChange(*this);
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
  if (other == this) return;
  if (engine_ == nullptr) throw EKBException(TKBMessage::UndefinedEngine);
  // What comes from another engine or module is bound to what bears its names in this one.
  const bool moves = other->engine_ != engine_ || other->module_ != module_;
  const TTransfer transfer(*engine_, TTransfer::tlCurrentModule);
  const TKBName oldName = name_;
  SetRuleName(other->name_);
  IModule previous;
  FocusModule(false, previous);
  std::vector<IFunCall> actions;
  IKBValue salience;
  BeginUpdate();
  try {
    for (const IFunCall& action : other->actions_) actions.push_back(moves ? transfer.Call(*action) : action->Clone());
    salience = moves ? transfer.Value(other->salienceValue_) : other->salienceValue_->Clone();
    SetPatterns(*other);
  } catch (...) {
    --updates_;
    if (previous) previous->FocusModule();
    TDelayedError error;
    error.Run([&] { SetRuleName(oldName); });
    throw;
  }
  if (previous) previous->FocusModule();
  autoFocus_ = other->autoFocus_;
  enabled_ = other->enabled_;
  comment_ = other->comment_;
  oneShot_ = other->oneShot_;
  actions_ = std::move(actions);
  salienceValue_ = std::move(salience);
  salience_ = other->salience_;
  EndUpdate();
}

// ---- Component streams

void TRule::DefineProperties(TFiler& filer) {
  TComponent::DefineProperties(filer);
  filer.Reference("Engine", engine_ == GetOwner() ? nullptr : engine_,
                  [this](TComponent* component) { AttachEngine(dynamic_cast<TInferenceEngine*>(component)); });
  filer.Text("Module", module_, [this](const std::string& text) { module_ = text; });
  const bool hasText = engine_ != nullptr && (!patterns_.empty() || !actions_.empty());
  filer.Text("RuleName", hasText ? std::string() : name_, [this](const std::string& text) { SetRuleName(text); });
  filer.Text("Comment", hasText ? std::string() : comment_, [this](const std::string& text) { comment_ = text; });
  const auto write = [this] {
    const TLosslessText lossless;
    return TStreamValue(ToString());
  };
  filer.Property("Text", hasText, write, [this](const TStreamValue& value) { storedText_ = value.AsText(); });
}

void TRule::Loaded() {
  TComponent::Loaded();
  if (engine_ == nullptr) return;
  if (engine_->IsLoading()) return engine_->Reload(*this);
  Reload();
}

void TRule::Reload() {
  if (engine_ == nullptr || storedText_.empty()) return;
  const std::string text = std::exchange(storedText_, {});
  TInferenceEngine::TFocusScope focus(*engine_, nullptr);
  const std::unique_ptr<TRule> parsed(engine_->ParseRule(text));
  module_ = parsed->module_;
  Assign(*parsed);
  if (!engine_->IsRegistered(*this)) engine_->RegisterRule(*this);
}

std::string TRule::ToString() const {
  if (engine_ != nullptr) return engine_->PrettyPrint(*this);
  return PrettyPrint(*this, true);
}

}  // namespace kb
