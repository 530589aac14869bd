#include "kb/engine/KBRegistries.h"

#include <algorithm>
#include <unordered_map>

#include "kb/common/Graph.h"
#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/FactSet.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModule.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/LosslessText.h"

namespace kb {
namespace {

// What a registry does with a second construct of a name: true to replace, false to keep the old one.
bool Replaces(const TInferenceEngine* engine, TKBMessage error, std::string_view name) {
  switch (engine == nullptr ? dcOverwrite : engine->GetDuplicateConstructs()) {
    case dcIgnore:
      return false;
    case dcError:
      throw EKBException(error, {std::string(name)});
    default:
      return true;
  }
}

struct TInheritanceNode : TGLinkedGraphNode {
  explicit TInheritanceNode(int i) : index(i) {}
  int index;
};

// The entries of the table at `indices`, parents before their children, otherwise in this order; empty when
// the links hold a cycle. `parentOf` gives the index of an entry's parent, or -1.
template <class Parent>
std::vector<int> ParentsFirst(const std::vector<int>& indices, const Parent& parentOf) {
  TGGraph graph;
  std::unordered_map<int, TInheritanceNode*> nodes;
  for (const int index : indices) {
    nodes[index] = static_cast<TInheritanceNode*>(&graph.AddNode(std::make_unique<TInheritanceNode>(index)));
  }
  for (const int index : indices) {
    const auto parent = nodes.find(parentOf(index));
    if (parent == nodes.end()) continue;
    parent->second->AddEdge(std::make_unique<TGGraphEdge>(*parent->second, *nodes[index]));
  }
  std::vector<int> order;
  for (const TGLinkedGraphNode* node : graph.TopologicalOrder()) {
    order.push_back(static_cast<const TInheritanceNode*>(node)->index);
  }
  return order.size() == indices.size() ? order : std::vector<int>();
}

// Texts of constructs with a parent behind those without one, parents first, each behind a line end. A parent that
// has been replaced since counts by its name, as it will when the text is read, unless that leads in a circle.
template <class Table, class Parent, class Name>
std::string InheritanceOrder(const Table& table, TKBMessage error, bool localsOnly, const Parent& parentOf,
                             const Name& nameOf) {
  std::string text;
  const auto add = [&](int index) { text += std::string(kLineEnd) + table.GetValue(index)->ToString(); };
  std::unordered_map<const void*, int> places;
  std::unordered_map<std::string, int> names;
  std::vector<int> children;
  for (int i = 0; i < table.GetCount(); ++i) {
    const auto& construct = table.GetValue(i);
    if (localsOnly && !table.IsLocal(*construct)) continue;
    if (TLosslessText::IsOn() && !IsConstructName(table.GetKey(i))) continue;
    places[construct.Get()] = i;
    names[table.GetKey(i).ToString()] = i;
    if (parentOf(*construct) == nullptr) {
      add(i);
    } else {
      children.push_back(i);
    }
  }
  const auto byIdentity = [&](int index) {
    const auto found = places.find(parentOf(*table.GetValue(index)));
    return found == places.end() ? -1 : found->second;
  };
  const auto byName = [&](int index) {
    const auto found = names.find(std::string(nameOf(*parentOf(*table.GetValue(index)))));
    return found == names.end() || found->second == index ? -1 : found->second;
  };
  std::vector<int> order = ParentsFirst(children, byName);
  if (order.empty()) order = ParentsFirst(children, byIdentity);
  if (order.empty() && !children.empty()) throw EKBException(error);
  for (const int index : order) add(index);
  return text;
}

}  // namespace

// ---- Rules

TRules::~TRules() = default;

void TRules::Add(TRule& rule) { Put(rule.GetRuleName(), &rule); }

TRule* TRules::FindRule(std::string_view name) const {
  TRule* const* found = Find(name);
  return found == nullptr ? nullptr : *found;
}

bool TRules::Remove(std::string_view name, const TRule* rule) {
  if (FindRule(name) != rule || rule == nullptr) return false;
  return TQDStringHashTable<TRule*>::Remove(name);
}

bool TRules::Release(TRule& rule) {
  if (FindRule(rule.GetRuleName()) != &rule) return false;
  RawRemove(rule.GetRuleName());
  if (engine_ == nullptr) return true;
  TDelayedError error;
  error.Run([&] {
    if (engine_->OnRemoveRule) engine_->OnRemoveRule(*engine_, rule);
  });
  if (module_->GetRete() != nullptr) module_->GetRete()->RemoveRule(rule);
  error.Rethrow();
  return true;
}

void TRules::Rekey(std::string_view oldName, std::string_view newName) {
  TRule* rule = FindRule(oldName);
  if (rule == nullptr) return;
  RawAdd(newName, rule);
  RawRemove(std::string(oldName));
}

// Compiling first leaves the table as it was when the rule cannot be compiled.
void TRules::DoAdd(std::string_view key, TRule* const& value) {
  if (engine_ == nullptr) return RawAdd(key, value);
  const TInferenceEngine::TFreeHold hold(*engine_);
  const TInferenceEngine::TFocusScope focus(*engine_, module_);
  value->AttachEngine(engine_);
  module_->GetRete()->AddRule(*value);
  // A test that ran while the rule was primed may have removed the module.
  if (engine_ == nullptr) throw EKBException(TKBMessage::NoSuchModule, {value->GetModule()});
  RawAdd(key, value);
  if (engine_->IsWatched(cwCompilation)) engine_->PrintOut(value->GetCompileTrace() + std::string(kLineEnd));
  engine_->AddRule(*value);
  engine_->ProcessPendingFacts();  // goals that the rule asked for while the standing facts ran through it
}

void TRules::DoSetValue(std::string_view key, TRule* const& value) {
  TRule* const old = FindRule(key);
  if (old == value) return;
  if (!Replaces(engine_, TKBMessage::DuplicateRules, key)) return;
  if (engine_ == nullptr) return RawSet(key, value);
  const TInferenceEngine::TFreeHold hold(*engine_);  // the old rule lives until the new one stands
  const std::string name(key);
  const uint64_t order = OrderOf(name);
  try {
    DoRemove(name);
    DoAdd(name, value);
  } catch (...) {
    const TPlaceScope place(*this, name, order);
    if (!ContainsKey(name)) PutBack(name, *old);
    throw;
  }
}

// The rule in whose place another one could not come.
void TRules::PutBack(std::string_view name, TRule& old) {
  engine_->ForgetConstruct(old);
  try {
    DoAdd(name, &old);
  } catch (...) {
    // The first exception is the one to tell. A rule that is not back leaves the engine.
    if (!ContainsKey(name)) engine_->DropRule(old, nullptr);
  }
}

void TRules::DoRemove(const std::string& key) {
  TRule* rule = FindRule(key);
  RawRemove(key);
  if (rule == nullptr || engine_ == nullptr) return;
  engine_->RemoveRule(*rule);
}

void TRules::Clear() {
  std::vector<TRule*> rules;
  for (int i = 0; i < GetCount(); ++i) rules.push_back(GetValue(i));
  if (engine_ != nullptr) engine_->SetRuleIdCounter(0);
  TQDStringHashTable<TRule*>::Clear();
  for (TRule* rule : rules) {
    if (engine_ != nullptr) engine_->DropRule(*rule, module_->GetRete());
  }
  if (engine_ != nullptr) engine_->ClearRules();
}

std::string TRules::ToString() const {
  std::vector<std::string> texts;
  for (int i = 0; i < GetCount(); ++i) texts.push_back(GetValue(i)->ToString());
  if (sorted_) {
    std::stable_sort(texts.begin(), texts.end(),
                     [](const std::string& a, const std::string& b) { return CompareText(a, b) < 0; });
  }
  std::string result;
  for (const std::string& text : texts) result += text + std::string(kLineEnd);
  return result;
}

// ---- Templates

namespace {

void GiveDataSlot(TFactTemplate& factTemplate) {
  if (factTemplate.GetSlotCount() == 0) factTemplate.AddMultiSlot(SDefaultSlotName, FCNilList);
}

std::string TemplatesText(const TFactTemplates& table, bool locals) {
  return InheritanceOrder(
      table, TKBMessage::TemplatesCorrupted, locals, [](const TFactTemplate& t) { return t.GetParent().Get(); },
      [](const TFactTemplate& t) { return t.GetTemplateName().View(); });
}

}  // namespace

void TFactTemplates::Add(const IFactTemplate& factTemplate) {
  RequireObject(factTemplate, "fact template");
  if (factTemplate->GetTemplateName().Empty()) throw EKBException(TKBMessage::MissingName);
  Put(factTemplate->GetTemplateName(), factTemplate);
}

TFactTemplate* TFactTemplates::FindTemplate(std::string_view name) const {
  const IFactTemplate* found = Find(name);
  return found == nullptr ? nullptr : found->Get();
}

void TFactTemplates::DoAdd(std::string_view key, const IFactTemplate& value) {
  const IFactTemplate factTemplate = value;
  GiveDataSlot(*factTemplate);
  TInferenceEngine* engine = GetEngine();
  if (engine != nullptr && engine->GetModules().GetCount() > 1) {
    if (const TKBDefinedType* type = GetModule()->GetDefinedTypes()->FindUnsharedType(*factTemplate)) {
      throw EKBException(TKBMessage::NonImportedType, {factTemplate->GetTemplateName().ToString(), type->GetName()});
    }
  }
  factTemplate->AddImportModule(GetModule());
  RawAdd(key, factTemplate);
  if (engine != nullptr) engine->AddFactTemplate(factTemplate);
}

void TFactTemplates::DoSetValue(std::string_view key, const IFactTemplate& value) {
  const IFactTemplate old = Get(key);
  if (old == value) return;
  if (!Replaces(GetEngine(), TKBMessage::DuplicateTemplates, key)) return;
  IFactTemplate result;
  Replace(old, value, result);
}

void TFactTemplates::Replace(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate,
                             IFactTemplate& result) {
  const IFactTemplate oldOne = oldTemplate;
  const IFactTemplate newOne = newTemplate;
  result = newOne;
  if (oldOne == newOne) return;
  const TKBText& name = newOne->GetTemplateName();
  const IFactTemplate present = FindTemplate(name);
  if (present && present != oldOne && present != newOne &&
      !Replaces(GetEngine(), TKBMessage::DuplicateTemplates, name)) {
    result = present;
    return;
  }
  GiveDataSlot(*newOne);
  if (!oldOne) return Add(newOne);
  if (GetEngine() == nullptr) return Exchange(oldOne, newOne);
  GetEngine()->ReplaceTemplate(oldOne, newOne);
}

void TFactTemplates::DoRemove(const std::string& key) {
  const IFactTemplate factTemplate = Get(key);
  if (TInferenceEngine* engine = GetEngine()) {
    engine->RemoveFactTemplate(factTemplate);
    engine->RemoveDependencies(factTemplate);
  }
  if (Holds(key, factTemplate.Get())) RemoveEntry(key);
  if (GetEngine() != nullptr) GetEngine()->RestoreBuiltIns(*factTemplate);
}

void TFactTemplates::Remove(std::string_view name, IFactTemplate& removed) {
  removed = FindTemplate(name);
  if (removed) DoRemove(std::string(name));
}

void TFactTemplates::Exchange(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate) {
  const IFactTemplate newOne = newTemplate;
  const std::string oldName = oldTemplate->GetTemplateName().ToString();
  if (GetEngine() != nullptr) GetEngine()->RemoveFactTemplate(oldTemplate);
  if (Holds(oldName, oldTemplate.Get())) RemoveEntry(oldName);
  Add(newOne);
}

void TFactTemplates::Clear() {
  if (IsEmpty()) return;
  if (GetEngine() != nullptr) GetEngine()->RemoveDependencies();
  for (int i = 0; i < GetCount(); ++i) GetValue(i)->RemoveImportModule(GetModule());
  TSharedTable::Clear();
  if (GetEngine() != nullptr) GetEngine()->ClearFactTemplates();
}

void TFactTemplates::Clear(TConstructScope scope) {
  for (const std::string& name : NamesOf(scope)) {
    IFactTemplate removed;
    Remove(name, removed);
  }
}

std::string TFactTemplates::ToString() const { return TemplatesText(*this, false); }

std::string TFactTemplates::LocalsToString() const { return TemplatesText(*this, true); }

// ---- Defined types

void TKBDefinedTypes::Add(const IKBDefinedType& type) {
  RequireObject(type, "defined type");
  if (type->GetName().empty()) throw EKBException(TKBMessage::MissingName);
  Put(type->GetName(), type);
}

TKBDefinedType* TKBDefinedTypes::FindType(std::string_view name) const {
  const IKBDefinedType* found = Find(name);
  return found == nullptr ? nullptr : found->Get();
}

TKBDefinedType* TKBDefinedTypes::FindUnsharedType(const TFactTemplate& factTemplate) const {
  for (int i = 0; i < factTemplate.GetSlotCount(); ++i) {
    TKBDefinedType* type = factTemplate.GetSlotAt(i)->GetExtendedTypeInfo().Get();
    // A type without a name of its own needs not be visible.
    if (type == nullptr || type->GetImplicit()) continue;
    if (!ContainsKey(type->GetName())) return type;
  }
  return nullptr;
}

void TKBDefinedTypes::DoAdd(std::string_view key, const IKBDefinedType& value) {
  const IKBDefinedType type = value;
  TInferenceEngine* engine = GetEngine();
  if (engine != nullptr && type->GetReasoner() != engine) type->SetReasoner(engine);
  if (const Ref<IFuzzyVariable>& variable = type->GetFuzzyType(); variable && engine != nullptr) {
    variable->SetThreshold(static_cast<double>(engine->GetFuzzyEqualsThreshold()));
    if (engine->GetFuzzyAutoTerms()) engine->AddDefaultFuzzyTerms(variable);
  }
  type->AddImportModule(GetModule());
  RawAdd(key, type);
  if (engine != nullptr) engine->AddDefinedType(type);
}

void TKBDefinedTypes::DoSetValue(std::string_view key, const IKBDefinedType& value) {
  const IKBDefinedType old = Get(key);
  if (old == value) return;
  if (!Replaces(GetEngine(), TKBMessage::DuplicateTypes, key)) return;
  IKBDefinedType result;
  Replace(old, value, result);
}

void TKBDefinedTypes::Replace(const IKBDefinedType& oldType, const IKBDefinedType& newType, IKBDefinedType& result) {
  const IKBDefinedType oldOne = oldType;
  const IKBDefinedType newOne = newType;
  result = newOne;
  if (oldOne == newOne) return;
  const IKBDefinedType present = FindType(newOne->GetName());
  if (present && present != oldOne && present != newOne &&
      !Replaces(GetEngine(), TKBMessage::DuplicateTypes, newOne->GetName())) {
    result = present;
    return;
  }
  if (!oldOne) return Add(newOne);
  if (GetEngine() == nullptr) return Exchange(oldOne, newOne);
  GetEngine()->ReplaceDefinedType(oldOne, newOne);
}

void TKBDefinedTypes::Exchange(const IKBDefinedType& oldType, const IKBDefinedType& newType) {
  const IKBDefinedType newOne = newType;
  const std::string oldName = oldType->GetName();
  if (GetEngine() != nullptr) GetEngine()->RemoveDefinedType(oldType);
  if (Holds(oldName, oldType.Get())) RemoveEntry(oldName);
  Add(newOne);
}

void TKBDefinedTypes::DoRemove(const std::string& key) {
  const IKBDefinedType type = Get(key);
  type->SetReasoner(nullptr);
  if (TInferenceEngine* engine = GetEngine()) {
    engine->RemoveDefinedType(type);
    engine->RemoveDependencies(type);
  }
  if (Holds(key, type.Get())) RemoveEntry(key);
}

void TKBDefinedTypes::Remove(std::string_view name, IKBDefinedType& removed) {
  removed = FindType(name);
  if (removed) DoRemove(std::string(name));
}

// A type that is at home elsewhere goes on there.
void TKBDefinedTypes::Clear() {
  if (IsEmpty()) return;
  if (GetEngine() != nullptr) GetEngine()->RemoveTypeDependencies();
  for (int i = 0; i < GetCount(); ++i) {
    GetValue(i)->RemoveImportModule(GetModule());
    if (!GetValue(i)->IsShared()) GetValue(i)->SetReasoner(nullptr);
  }
  TSharedTable::Clear();
  if (GetEngine() != nullptr) GetEngine()->ClearDefinedTypes();
}

void TKBDefinedTypes::Clear(TConstructScope scope) {
  for (const std::string& name : NamesOf(scope)) {
    IKBDefinedType removed;
    Remove(name, removed);
  }
}

namespace {

std::string TypesText(const TKBDefinedTypes& table, bool locals) {
  return InheritanceOrder(
      table, TKBMessage::TypesCorrupted, locals, [](const TKBDefinedType& t) { return t.GetAncestor().Get(); },
      [](const TKBDefinedType& t) { return std::string_view(t.GetName()); });
}

}  // namespace

std::string TKBDefinedTypes::ToString() const { return TypesText(*this, false); }

std::string TKBDefinedTypes::LocalsToString() const { return TypesText(*this, true); }

// ---- Fact sets

TFactSets::~TFactSets() = default;

TFactSet& TFactSets::Get(int index) const {
  CheckListIndex(index, GetCount());
  return *items_[static_cast<size_t>(index)];
}

int TFactSets::IndexOf(const TFactSet* factSet) const noexcept {
  const auto found = std::find(items_.begin(), items_.end(), factSet);
  return found == items_.end() ? -1 : static_cast<int>(found - items_.begin());
}

int TFactSets::IndexOf(std::string_view name) const noexcept {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i]->GetFactSetName() == name) return static_cast<int>(i);
  }
  return -1;
}

int TFactSets::Add(TFactSet& factSet) {
  if (const int present = IndexOf(&factSet); present >= 0) return present;
  if (const int same = IndexOf(factSet.GetFactSetName()); same >= 0) {
    TFactSet& old = Get(same);
    old.SetEngine(nullptr);
    std::erase(items_, &old);
    if (engine_ != nullptr && old.GetOwner() == engine_) engine_->FreeConstruct(old);
  }
  items_.push_back(&factSet);
  if (engine_ != nullptr && factSet.GetEngine() != engine_) factSet.SetEngineNoParse(engine_);
  return IndexOf(&factSet);
}

bool TFactSets::Remove(TFactSet& factSet) {
  if (std::erase(items_, &factSet) == 0) return false;
  if (factSet.GetEngine() == engine_) factSet.SetEngine(nullptr);
  return true;
}

void TFactSets::Clear() {
  std::vector<TFactSet*> old;
  old.swap(items_);
  for (TFactSet* factSet : old) {
    const bool owned = engine_ != nullptr && factSet->GetOwner() == engine_;
    factSet->SetEngine(nullptr);
    if (owned) engine_->FreeConstruct(*factSet);
  }
}

std::string TFactSets::ToString() const {
  std::string text;
  for (const TFactSet* factSet : items_) text += std::string(kLineEnd) + factSet->ToString();
  return text;
}

// ---- Modules

const IModule& TModules::Get(int index) const {
  CheckListIndex(index, GetCount());
  return items_[static_cast<size_t>(index)];
}

int TModules::IndexOf(const TModule* module) const noexcept {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i] == module) return static_cast<int>(i);
  }
  return -1;
}

int TModules::IndexOf(std::string_view name) const noexcept {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i]->GetName() == name) return static_cast<int>(i);
  }
  return -1;
}

const IModule& TModules::GetModule(std::string_view name) const {
  const int index = IndexOf(name);
  if (index < 0) throw EKBException(TKBMessage::NoSuchModule, {std::string(name)});
  return items_[static_cast<size_t>(index)];
}

// Changes of the engine's own list are requests to the engine, unless the engine itself is at work on the module.
bool TModules::ForwardsTo(const TModule* module) const noexcept {
  return engine_ != nullptr && engine_->modules_.get() == this && engine_->moduleOp_ != module;
}

void TModules::CheckImports(const TModule& module, int index) const {
  if (!enforceImportOrder_) return;
  const std::string own(module.IsMain() ? SMainModule : std::string_view(module.GetName()));
  for (int i = 0; i < module.GetImportModuleCount(); ++i) {
    const std::string& name = module.GetImportModule(i)->GetModuleName();
    // One that takes the place of a module of its name cannot import what goes with that.
    if (name == own || IndexOf(name) >= index) {
      throw EKBException(TKBMessage::InvalidModuleDependency, {own, name});
    }
  }
}

int TModules::Add(const IModule& module) {
  if (ForwardsTo(module.Get())) return engine_->AddModule(module);
  Insert(GetCount(), module);
  return GetCount() - 1;
}

void TModules::Insert(int index, const IModule& module) {
  RequireObject(module, "module");
  if (ForwardsTo(module.Get())) {
    engine_->AddModule(module);
    return;
  }
  CheckListIndex(index, GetCount() + 1);
  CheckImports(*module, index);
  items_.insert(items_.begin() + index, module);
}

void TModules::Delete(int index) {
  const IModule module = Get(index);
  if (ForwardsTo(module.Get())) {
    engine_->RemoveModule(module);
    return;
  }
  items_.erase(items_.begin() + index);
}

int TModules::Remove(const TModule* module) {
  const int index = IndexOf(module);
  if (index >= 0) Delete(index);
  return index;
}

void TModules::Clear() {
  if (engine_ == nullptr || engine_->modules_.get() != this) {
    items_.clear();
    return;
  }
  while (!items_.empty()) engine_->RemoveModule(IModule(items_.back()));
  engine_->ClearModules();
}

int TModules::CountOf(std::string_view name) const noexcept {
  return static_cast<int>(
      std::count_if(items_.begin(), items_.end(), [name](const IModule& m) { return m->GetName() == name; }));
}

std::string TModules::ToString() const {
  std::string text;
  for (const IModule& module : items_) text += std::string(kLineEnd) + module->ToString();
  return text;
}

std::string TModules::ToNamesString(std::string_view separator) const {
  std::string text;
  for (size_t i = 0; i < items_.size(); ++i) {
    if (i > 0) text += separator;
    text += items_[i]->GetName();
  }
  return text;
}

}  // namespace kb
