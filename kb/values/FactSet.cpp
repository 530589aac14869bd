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
#include "kb/language/PrettyPrinter.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/Fact.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBModule.h"

namespace kb {
namespace {

/// The set's module current for the time of a scope.
class TModuleScope {
 public:
  TModuleScope(TFactSet& set, bool force) { set.FocusModule(force, previous_); }
  TModuleScope(const TModuleScope&) = delete;
  TModuleScope& operator=(const TModuleScope&) = delete;
  ~TModuleScope() {
    if (previous_) previous_->FocusModule();
  }

 private:
  IModule previous_;
};

}  // namespace

TFactSet::TFactSet(TComponent* owner) : TFactSet(owner, {}, {}) {}

TFactSet::TFactSet(TComponent* owner, std::string_view name, std::string_view module)
    : TComponent(owner), module_(module) {
  if (!name.empty()) name_ = name;
  if (auto* engine = dynamic_cast<TInferenceEngine*>(owner)) {
    SetEngine(engine);
  } else if (owner != nullptr && IsDesigning()) {
    SetEngine(FindComponentType<TInferenceEngine>(*owner));
  }
}

TFactSet::~TFactSet() {
  // Without force: the module of the set may be gone already.
  ChangeEngine(nullptr, false);
}

const TClassInfo& TFactSet::StaticClass() noexcept {
  static const TClassInfo info{"TFactSet", &TComponent::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* {
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

void TFactSet::CheckIndex(int index) const { CheckListIndex(index, GetFactCount()); }

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
  for (Entry& entry : entries_) entry.fact = nullptr;
  if (inferenceEngine_ == nullptr || inferenceEngine_->IsLoading() || IsLoading()) return;
  std::optional<TModuleScope> scope;
  try {
    scope.emplace(*this, true);
  } catch (...) {
    StoreEngine(nullptr);
    throw;
  }
  inferenceEngine_->GetFactSets().Add(*this);
  for (size_t i = 0; !IsDesigning() && i < entries_.size(); ++i) ParseEntry(i);
}

void TFactSet::FocusModule(bool force, IModule& previous) {
  previous = nullptr;
  if (inferenceEngine_ == nullptr) return;
  TModules& modules = inferenceEngine_->GetModules();
  if (!force && !module_.empty() && modules.IndexOf(module_) < 0) return;
  const std::string_view name = module_.empty() ? SMainModule : std::string_view(module_);
  const IModule current = inferenceEngine_->GetCurrentModule();
  if (current && current->GetName() == name) return;
  const IModule module = modules.GetModule(name);
  module->FocusModule();
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

// ---- entries

void TFactSet::ParseEntry(size_t index) {
  // Parsing may call the host, which may change the entries.
  const std::string text = entries_[index].text;
  const IFact fact = inferenceEngine_->ParseFact(text + std::string(kLineEnd));
  if (index < entries_.size() && entries_[index].text == text) entries_[index].fact = fact;
}

const std::string& TFactSet::GetFactText(int index) const {
  CheckIndex(index);
  return entries_[static_cast<size_t>(index)].text;
}

IFact TFactSet::GetFact(int index) {
  CheckIndex(index);
  const auto place = static_cast<size_t>(index);
  if (!entries_[place].fact && inferenceEngine_ != nullptr && !inferenceEngine_->IsLoading()) {
    const TModuleScope scope(*this, true);
    ParseEntry(place);
  }
  return PeekFact(index);
}

const IFact& TFactSet::PeekFact(int index) const {
  CheckIndex(index);
  return entries_[static_cast<size_t>(index)].fact;
}

void TFactSet::SetFact(int index, const IFact& fact) {
  CheckIndex(index);
  entries_[static_cast<size_t>(index)].fact = fact;
}

int TFactSet::AddFact(const IFact& fact) {
  entries_.push_back({fact ? fact->ToString() : std::string(), fact});
  return GetFactCount() - 1;
}

int TFactSet::IndexOf(const TFact* fact) const noexcept {
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].fact == fact) return static_cast<int>(i);
  }
  return -1;
}

int TFactSet::Remove(const TFact* fact) {
  const int index = IndexOf(fact);
  if (index >= 0) entries_.erase(entries_.begin() + index);
  return index;
}

void TFactSet::SetFacts(const std::vector<std::string>& texts) {
  std::vector<Entry> entries;
  for (const std::string& text : texts) entries.push_back({text, nullptr});
  entries_ = std::move(entries);
  if (inferenceEngine_ == nullptr || IsLoading()) return;
  const TModuleScope scope(*this, true);
  for (size_t i = 0; i < entries_.size(); ++i) ParseEntry(i);
}

void TFactSet::Reset() {
  if (inferenceEngine_ == nullptr) return;
  TInferenceEngine& engine = *inferenceEngine_;
  const TInferenceEngine::TFreeHold hold(engine);
  const TModuleScope scope(*this, true);
  // By index: what the facts call and fire may change the set, or remove it.
  for (int i = 0; i < GetFactCount() && inferenceEngine_ == &engine; ++i) {
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

void TFactSet::Loaded() {
  TComponent::Loaded();
  if (inferenceEngine_ != nullptr && !inferenceEngine_->IsLoading()) Reload();
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
  comment_ = other->comment_;
  module_ = other->module_;
  name_ = other->name_;
  entries_.clear();
  const TModuleScope scope(*this, true);
  for (const Entry& entry : other->entries_) {
    if (IsDesigning() || (!entry.fact && inferenceEngine_ == nullptr)) {
      entries_.push_back({entry.text, nullptr});
    } else if (inferenceEngine_ != nullptr) {
      AddFact(inferenceEngine_->ParseFact(entry.fact ? entry.fact->ToString() : entry.text));
    } else {
      AddFact(entry.fact->Clone());
    }
  }
}

TFactSet* TFactSet::Clone(TComponent* owner) const {
  auto result = std::make_unique<TFactSet>(owner, name_, module_);
  result->Assign(*this);
  return result.release();
}

std::string TFactSet::ToString() const {
  return inferenceEngine_ != nullptr ? inferenceEngine_->PrettyPrint(*this) : PrettyPrint(*this, false);
}

}  // namespace kb
