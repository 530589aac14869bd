#include "kb/engine/KBRegistries.h"

#include <algorithm>
#include <unordered_map>

#include "kb/common/Graph.h"
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/FactSet.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModule.h"

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

// Texts of constructs with a parent behind those without one, parents first.
template <class Table, class Parent, class Text>
std::string InheritanceOrder(const Table& table, TKBMessage error, const Parent& parentOf,
                             const Text& textOf) {
  struct Node : TGLinkedGraphNode {
    explicit Node(int i) : index(i) {}
    int index;
  };
  std::string text;
  TGGraph graph;
  std::unordered_map<const void*, Node*> nodes;
  for (int i = 0; i < table.GetCount(); ++i) {
    if (parentOf(*table.GetValue(i)) == nullptr) {
      text += textOf(*table.GetValue(i));
    } else {
      nodes[table.GetValue(i).Get()] = static_cast<Node*>(&graph.AddNode(std::make_unique<Node>(i)));
    }
  }
  for (const auto& [construct, node] : nodes) {
    const auto parent = nodes.find(parentOf(*table.GetValue(node->index)));
    if (parent != nodes.end()) parent->second->AddEdge(std::make_unique<TGGraphEdge>(*parent->second, *node));
  }
  const auto order = graph.TopologicalOrder();
  if (static_cast<int>(order.size()) != graph.GetNodeCount()) throw EKBException(error);
  for (const TGLinkedGraphNode* node : order)
    text += textOf(*table.GetValue(static_cast<const Node*>(node)->index));
  return text;
}

}  // namespace

// --- Rules
// ----------------------------------------------------------------------------------------------------------

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
  value->AttachEngine(engine_);
  module_->GetRete()->AddRule(*value);
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

void TRules::Assign(const TRules& source) {
  for (int i = 0; i < source.GetCount(); ++i) {
    if (engine_ == nullptr) return;
    auto rule = std::make_unique<TRule>(engine_);
    rule->BeginUpdate();
    rule->Assign(*source.GetValue(i));
    Add(*rule);
    rule.release()->EndUpdate();  // the engine owns it
  }
}

// --- Templates
// ------------------------------------------------------------------------------------------------------

TFactTemplates::~TFactTemplates() = default;

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
  if (value->GetSlotCount() == 0) value->AddMultiSlot(SDefaultSlotName, FCNilList);
  if (engine_ != nullptr && engine_->GetModules().GetCount() > 1) {
    if (const TKBDefinedType* type = engine_->GetDefinedTypes().FindUnsharedType(*value)) {
      throw EKBException(TKBMessage::NonImportedType, {value->GetTemplateName().ToString(), type->GetName()});
    }
  }
  value->AddImportModule(module_);
  RawAdd(key, value);
  if (value->GetModule() != module_) ++importCount_;
  if (engine_ != nullptr) engine_->AddFactTemplate(value);
}

void TFactTemplates::DoSetValue(std::string_view key, const IFactTemplate& value) {
  const IFactTemplate old = Get(key);
  if (old == value) return;
  if (!Replaces(engine_, TKBMessage::DuplicateTemplates, key)) return;
  if (value->GetSlotCount() == 0) value->AddMultiSlot(SDefaultSlotName, FCNilList);
  if (engine_ == nullptr) {
    RawSet(key, value);
    return;
  }
  engine_->ReplaceTemplate(old, value);
}

void TFactTemplates::DoRemove(const std::string& key) {
  const IFactTemplate factTemplate = Get(key);
  if (engine_ != nullptr) {
    engine_->RemoveFactTemplate(factTemplate);
    engine_->RemoveDependencies(factTemplate);
  }
  RemoveEntry(key);
}

void TFactTemplates::Remove(std::string_view name, IFactTemplate& removed) {
  removed = FindTemplate(name);
  if (removed) DoRemove(std::string(name));
}

void TFactTemplates::Exchange(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate) {
  if (engine_ != nullptr) engine_->RemoveFactTemplate(oldTemplate);
  if (FindTemplate(oldTemplate->GetTemplateName()) == oldTemplate.Get())
    RemoveEntry(oldTemplate->GetTemplateName());
  Add(newTemplate);
}

void TFactTemplates::RemoveEntry(std::string_view name) {
  const IFactTemplate factTemplate = FindTemplate(name);
  if (!factTemplate) return;
  factTemplate->RemoveImportModule(module_);
  if (factTemplate->GetModule() != module_) --importCount_;
  RawRemove(std::string(name));
}

void TFactTemplates::Rekey(std::string_view oldName, std::string_view newName) {
  const IFactTemplate factTemplate = FindTemplate(oldName);
  if (!factTemplate) return;
  RawRemove(std::string(oldName));
  RawAdd(newName, factTemplate);
}

void TFactTemplates::Clear() {
  if (IsEmpty()) return;
  if (engine_ != nullptr) engine_->RemoveDependencies();
  for (int i = 0; i < GetCount(); ++i) GetValue(i)->RemoveImportModule(module_);
  TQDStringHashTable<IFactTemplate>::Clear();
  importCount_ = 0;
  if (engine_ != nullptr) engine_->ClearFactTemplates();
}

std::string TFactTemplates::ToString() const {
  return InheritanceOrder(
      *this, TKBMessage::TemplatesCorrupted, [](const TFactTemplate& t) { return t.GetParent().Get(); },
      [](const TFactTemplate& t) { return std::string(kLineEnd) + t.ToString(); });
}

// --- Defined types
// --------------------------------------------------------------------------------------------------

TKBDefinedTypes::~TKBDefinedTypes() = default;

void TKBDefinedTypes::Add(const IKBDefinedType& type) {
  RequireObject(type, "defined type");
  if (type->GetName().empty()) throw EKBException(TKBMessage::MissingName);
  Put(type->GetName(), type);
}

TKBDefinedType* TKBDefinedTypes::FindType(std::string_view name) const {
  const IKBDefinedType* found = Find(name);
  return found == nullptr ? nullptr : found->Get();
}

void TKBDefinedTypes::Rekey(std::string_view oldName, std::string_view newName) {
  const IKBDefinedType type = FindType(oldName);
  if (!type) return;
  RawRemove(std::string(oldName));
  RawAdd(newName, type);
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
  if (engine_ != nullptr && value->GetReasoner() != engine_) value->SetReasoner(engine_);
  value->AddImportModule(module_);
  RawAdd(key, value);
  if (value->GetModule() != module_) ++importCount_;
  if (engine_ != nullptr) engine_->AddDefinedType(value);
}

void TKBDefinedTypes::DoSetValue(std::string_view key, const IKBDefinedType& value) {
  const IKBDefinedType old = Get(key);
  if (old == value) return;
  if (!Replaces(engine_, TKBMessage::DuplicateTypes, key)) return;
  if (engine_ != nullptr && value->GetReasoner() != engine_) value->SetReasoner(engine_);
  value->AddImportModule(module_);
  old->RemoveImportModule(module_);
  if (engine_ != nullptr) engine_->RemoveDefinedType(old);
  RawSet(key, value);
  if (engine_ != nullptr) {
    engine_->AddDefinedType(value);
    engine_->ReplaceDefinedType(old, value);
  }
}

void TKBDefinedTypes::DoRemove(const std::string& key) {
  const IKBDefinedType type = Get(key);
  if (engine_ != nullptr) {
    engine_->RemoveDefinedType(type);
    engine_->RemoveDependencies(type);
  }
  type->RemoveImportModule(module_);
  if (type->GetModule() != module_) --importCount_;
  RawRemove(key);
}

void TKBDefinedTypes::Remove(std::string_view name, IKBDefinedType& removed) {
  removed = FindType(name);
  if (removed) DoRemove(std::string(name));
}

void TKBDefinedTypes::Clear() {
  if (IsEmpty()) return;
  if (engine_ != nullptr) engine_->RemoveTypeDependencies();
  for (int i = 0; i < GetCount(); ++i) {
    GetValue(i)->RemoveImportModule(module_);
    GetValue(i)->SetReasoner(nullptr);
  }
  TQDStringHashTable<IKBDefinedType>::Clear();
  importCount_ = 0;
  if (engine_ != nullptr) engine_->ClearDefinedTypes();
}

std::string TKBDefinedTypes::ToString() const {
  return InheritanceOrder(
      *this, TKBMessage::TypesCorrupted, [](const TKBDefinedType& t) { return t.GetAncestor().Get(); },
      [](const TKBDefinedType& t) { return std::string(kLineEnd) + t.ToString(); });
}

// --- Fact sets
// ------------------------------------------------------------------------------------------------------

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

// --- Modules
// --------------------------------------------------------------------------------------------------------

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

// Changes of the engine's own list are requests to the engine, unless the engine itself is at work on the
// module.
bool TModules::ForwardsTo(const TModule* module) const noexcept {
  return engine_ != nullptr && engine_->modules_.get() == this && engine_->moduleOp_ != module;
}

void TModules::CheckImports(const TModule& module) const {
  if (!enforceImportOrder_) return;
  const int own = IndexOf(&module);
  for (int i = 0; i < module.GetImportModuleCount(); ++i) {
    const std::string& name = module.GetImportModule(i)->GetModuleName();
    if (IndexOf(name) > own)
      throw EKBException(TKBMessage::InvalidModuleDependency, {module.GetName(), name});
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
  items_.insert(items_.begin() + index, module);
  try {
    CheckImports(*module);
  } catch (...) {
    items_.erase(items_.begin() + index);
    throw;
  }
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

std::string TModules::ToNamesString(std::string_view separator) const {
  std::string text;
  for (size_t i = 0; i < items_.size(); ++i) {
    if (i > 0) text += separator;
    text += items_[i]->GetName();
  }
  return text;
}

}  // namespace kb
