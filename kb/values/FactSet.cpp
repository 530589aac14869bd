// Fact sets.
//
// The focus of the engine is engine-wide state: whatever parses or asserts here runs in a TModuleScope, which
// gives the focus back even when an exception passes. Host code may run at any of these points (parse events,
// assertion events, functions), so loops go by index and look at the count again.
//
// Tested in tests/values/FactSetTest.cpp.
#include "kb/values/FactSet.h"

#include <memory>
#include <optional>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBTransfer.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/platform/ComponentStream.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/Fact.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBModule.h"
#include "kb/values/LosslessText.h"

namespace kb {

/// The set's module, or another one, current for the time of a scope.
class TFactSet::TModuleScope {
 public:
  TModuleScope(TFactSet& set, bool force) : TModuleScope(set, force, set.module_) {}
  TModuleScope(TFactSet& set, bool force, std::string_view module) { set.FocusNamed(module, force, previous_); }
  TModuleScope(const TModuleScope&) = delete;
  TModuleScope& operator=(const TModuleScope&) = delete;
  ~TModuleScope() {
    // A module that went meanwhile has no objects to show.
    if (previous_ && previous_->GetAgenda() != nullptr) previous_->FocusModule();
  }

 private:
  IModule previous_;
};

void TFactSetFacts::Put(int index, std::string_view line) {
  Update([&] {
    TDataStringList<IFact>::Put(index, line);
    PutData(index, nullptr);
  });
}

TFactSet::TFactSet(TComponent* owner) : TFactSet(owner, {}, {}) {}

TFactSet::TFactSet(TComponent* owner, std::string_view name, std::string_view module)
    : TComponent(owner), module_(module) {
  if (!name.empty()) name_ = name;
  JoinOwner();
}

TFactSet::~TFactSet() {
  // Without force: the module of the set may be gone already.
  ChangeEngine(nullptr, false);
}

void TFactSet::JoinOwner() {
  TComponent* owner = GetOwner();
  if (auto* engine = dynamic_cast<TInferenceEngine*>(owner)) {
    SetEngine(engine);
  } else if (owner != nullptr && IsDesigning()) {
    SetEngine(FindComponentType<TInferenceEngine>(*owner));
  }
}

const TClassInfo& TFactSet::StaticClass() noexcept {
  static const TClassInfo info{"TFactSet", &TComponent::StaticClass(), nullptr, [](TComponent* owner) -> TComponent* {
                                 return std::make_unique<TFactSet>(owner).release();  // the owner has it
                               }};
  return info;
}

/// The list of the set's own module, or null.
TFactSets* TFactSet::ListIn(TInferenceEngine& engine) const {
  const TModules& modules = engine.GetModules();
  const int index = modules.IndexOf(module_.empty() ? SMainModule : std::string_view(module_));
  return index >= 0 ? modules.Get(index)->GetFactSets() : nullptr;
}

// ---- engine and module

void TFactSet::StoreEngine(TComponent* engine) {
  if (engine_ != nullptr) engine_->RemoveFreeNotification(*this);
  engine_ = engine;
  inferenceEngine_ = dynamic_cast<TInferenceEngine*>(engine);
  if (engine_ != nullptr) engine_->FreeNotification(*this);
}

void TFactSet::SetEngineNoParse(TComponent* engine) { ChangeEngine(engine, !IsDestroying()); }

/// `force`: an engine without the module of the set raises an exception.
void TFactSet::ChangeEngine(TComponent* engine, bool force) {
  if (engine == engine_) return;
  // Null when the engine is so far gone that only its base is left; its lists are gone then, too.
  auto* former = dynamic_cast<TInferenceEngine*>(engine_);
  if (former != nullptr && !IsLoading()) {
    // An engine that is going away focuses nothing any more.
    std::optional<TModuleScope> scope;
    if (!former->IsDestroying()) scope.emplace(*this, force);
    TFactSets* list = former->IsDestroying() ? ListIn(*former) : &former->GetFactSets();
    // The list tells the set to leave, which it does already.
    TComponent* held = std::exchange(engine_, nullptr);
    inferenceEngine_ = nullptr;
    if (list != nullptr) list->Remove(*this);
    engine_ = held;
    inferenceEngine_ = former;
  }
  StoreEngine(engine);
}

void TFactSet::SetEngine(TComponent* engine) {
  if (engine == engine_) return;
  SetEngineNoParse(engine);
  ClearParsed();
  if (inferenceEngine_ == nullptr || inferenceEngine_->IsLoading() || IsLoading()) return;
  std::optional<TModuleScope> scope;
  try {
    scope.emplace(*this, true);
  } catch (...) {
    StoreEngine(nullptr);
    throw;
  }
  inferenceEngine_->GetFactSets().Add(*this);
  if (!IsDesigning()) ParseEntries();
}

void TFactSet::FocusModule(bool force, IModule& previous) { FocusNamed(module_, force, previous); }

void TFactSet::FocusNamed(std::string_view module, bool force, IModule& previous) {
  previous = nullptr;
  if (inferenceEngine_ == nullptr) return;
  TModules& modules = inferenceEngine_->GetModules();
  if (!force && !module.empty() && modules.IndexOf(module) < 0) return;
  const std::string_view name = module.empty() ? SMainModule : module;
  const IModule current = inferenceEngine_->GetCurrentModule();
  if (current && current->GetName() == name) return;
  const IModule target = modules.GetModule(name);
  target->FocusModule();
  previous = current;
}

void TFactSet::SetModule(std::string_view name) {
  if (module_ == name) return;
  if (IsLoading() || engine_ == nullptr) {
    module_ = name;
    return;
  }
  const TModuleScope scope(*this, true);
  if (inferenceEngine_ != nullptr && !name.empty() && name != SMainModule) {
    [[maybe_unused]] const IModule& module = inferenceEngine_->GetModules().GetModule(name);
  }
  TComponent* engine = engine_;
  SetEngine(nullptr);
  module_ = name;
  SetEngine(engine);
}

void TFactSet::SetFactSetName(std::string_view name) {
  if (name.empty()) throw EKBException(TKBMessage::MissingName);
  name_ = name;
}

// ---- entries

void TFactSet::ParseEntry(int index) {
  // Parsing may call the host, which may change the entries.
  const std::string text = facts_.Get(index);
  const IFact fact = inferenceEngine_->ParseFact(text + std::string(kLineEnd));
  if (index < GetFactCount() && facts_.Get(index) == text) facts_.PutData(index, fact);
}

void TFactSet::ParseEntries() {
  for (int i = 0; i < GetFactCount(); ++i) ParseEntry(i);
}

// The text stands for the fact from now on, so all that the fact holds must come back from it.
void TFactSet::Unparse(int index) {
  const IFact fact = PeekFact(index);
  if (!fact) return;
  if (GetFactText(index) == fact->ToString()) {
    const TLosslessText lossless;
    facts_.Put(index, fact->ToString());
  }
  facts_.PutData(index, nullptr);
}

void TFactSet::ClearParsed() {
  for (int i = 0; i < GetFactCount(); ++i) {
    if (IsDestroying()) {
      facts_.PutData(i, nullptr);
    } else {
      Unparse(i);
    }
  }
}

IFact TFactSet::GetFact(int index) {
  if (!PeekFact(index) && inferenceEngine_ != nullptr && !inferenceEngine_->IsLoading()) {
    const TModuleScope scope(*this, true);
    ParseEntry(index);
  }
  return PeekFact(index);
}

int TFactSet::AddFact(const IFact& fact) {
  RequireObject(fact, "fact");
  return facts_.AddData(fact->ToString(), fact);
}

void TFactSet::TemplateRenamed(const TFactTemplate& factTemplate) {
  for (int i = 0; i < GetFactCount(); ++i) {
    const IFact fact = PeekFact(i);
    if (!fact || fact->GetTemplate() != &factTemplate) continue;
    facts_.Put(i, fact->ToString());
    facts_.PutData(i, fact);
  }
}

int TFactSet::IndexOf(const TFact* fact) const noexcept {
  for (int i = 0; i < GetFactCount(); ++i) {
    if (PeekFact(i) == fact) return i;
  }
  return -1;
}

int TFactSet::Remove(const TFact* fact) {
  const int index = IndexOf(fact);
  if (index >= 0) facts_.Delete(index);
  return index;
}

void TFactSet::SetFacts(const TStrings& texts) {
  facts_.Assign(texts);
  ClearParsed();
  if (inferenceEngine_ == nullptr || IsLoading()) return;
  const TModuleScope scope(*this, true);
  ParseEntries();
}

void TFactSet::SetFacts(const std::vector<std::string>& texts) {
  TStringList list;
  for (const std::string& text : texts) list.Add(text);
  SetFacts(list);
}

void TFactSet::Reset() {
  if (inferenceEngine_ == nullptr) return;
  TInferenceEngine& engine = *inferenceEngine_;
  const TInferenceEngine::TFreeHold hold(engine);
  const TModuleScope scope(*this, true);
  // By index: what the facts call and fire may change the set, or remove it.
  for (int i = 0; IsIn(engine) && i < GetFactCount(); ++i) {
    IFact fact;
    try {
      if (const IFact kept = GetFact(i)) fact = kept->Clone();
    } catch (const EKBException&) {
      // One entry that no longer parses does not keep the others out.
      continue;
    }
    if (!fact) continue;
    engine.GetGlobalContext().Resolve(fact);
    engine.Assert(fact);
  }
}

void TFactSet::Reload() {
  if (inferenceEngine_ != nullptr) {
    const TModuleScope scope(*this, true);
    if (inferenceEngine_->GetFactSets().IndexOf(this) < 0) inferenceEngine_->GetFactSets().Add(*this);
  }
  Reset();
}

// ---- component

void TFactSet::DefineProperties(TFiler& filer) {
  TComponent::DefineProperties(filer);
  filer.Text("Comment", comment_, [this](const std::string& text) { comment_ = text; });
  filer.Text("FactSetName", name_, [this](const std::string& text) { SetFactSetName(text); });
  filer.Text("Module", module_, [this](const std::string& text) { SetModule(text); });
  const auto write = [this] {
    const TLosslessText lossless;
    std::vector<std::string> texts;
    for (int i = 0; i < GetFactCount(); ++i) texts.push_back(PeekFact(i) ? PeekFact(i)->ToString() : GetFactText(i));
    return TStreamValue::OfTexts(texts);
  };
  filer.Property("Facts", GetFactCount() > 0, write, [this](const TStreamValue& value) { SetFacts(value.AsTexts()); });
  filer.Reference("Engine", engine_ == GetOwner() ? nullptr : engine_,
                  [this](TComponent* component) { SetEngine(component); });
}

void TFactSet::Loaded() {
  TComponent::Loaded();
  if (inferenceEngine_ == nullptr) return;
  if (inferenceEngine_->IsLoading()) return inferenceEngine_->Reload(*this);
  Reload();
}

void TFactSet::Notification(TComponent& component, TOperation operation) {
  TComponent::Notification(component, operation);
  if (operation == opRemove && &component == engine_) SetEngine(nullptr);
}

void TFactSet::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TFactSet*>(&source);
  if (other == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  if (other == this) return;
  TFactSetFacts facts;
  {
    const TModuleScope scope(*this, true, other->module_);
    CopyEntries(*other, facts);
  }
  facts_.Clear();
  // The name first: it counts in the list of the module that the set moves to.
  name_ = other->name_;
  comment_ = other->comment_;
  SetModule(other->module_);
  facts_.Assign(facts);
}

/// The entries of `source` as this set's engine has them, in the module in focus.
void TFactSet::CopyEntries(const TFactSet& source, TFactSetFacts& target) {
  for (int i = 0; i < source.GetFactCount(); ++i) {
    const IFact& fact = source.PeekFact(i);
    if (IsDesigning() || (!fact && inferenceEngine_ == nullptr)) {
      target.AddData(source.GetFactText(i), nullptr);
    } else if (inferenceEngine_ != nullptr) {
      const IFact copy = fact ? TTransfer(*inferenceEngine_, TTransfer::tlCurrentModule).Fact(*fact)
                              : inferenceEngine_->ParseFact(source.GetFactText(i));
      target.AddData(copy->ToString(), copy);
    } else {
      target.AddData(fact->ToString(), fact->Clone());
    }
  }
}

TFactSet* TFactSet::Clone(TComponent* owner) const {
  // It joins when it is complete: joining may take this set out of the engine, and end it.
  auto result = std::make_unique<TFactSet>(nullptr, name_, module_);
  result->Assign(*this);
  if (owner != nullptr) owner->InsertComponent(*result);
  result->JoinOwner();
  return result.release();
}

std::string TFactSet::ToString() const {
  return inferenceEngine_ != nullptr ? inferenceEngine_->PrettyPrint(*this) : PrettyPrint(*this, false);
}

}  // namespace kb
