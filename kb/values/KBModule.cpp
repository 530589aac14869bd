// Modules: life, names, focus, copies and text. What they share: KBModuleImports.cpp.
//
// Tested in tests/engine/ModulesTest.cpp and tests/programs.
#include "kb/values/KBModule.h"

#include <algorithm>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/LosslessText.h"

namespace kb {

TModuleObjects::TModuleObjects() noexcept = default;
TModuleObjects::TModuleObjects(TModuleObjects&& other) noexcept = default;
TModuleObjects& TModuleObjects::operator=(TModuleObjects&& other) noexcept = default;
TModuleObjects::~TModuleObjects() = default;

const TClassInfo& TModule::StaticClass() noexcept {
  static const TClassInfo info{"TModule", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

/// Hears of the end of the engine, which a module that no list holds may outlive.
class TModule::TNexus final : public TComponent {
 public:
  TNexus(TModule& module, TInferenceEngine& engine) : TComponent(nullptr), module_(module) {
    engine.FreeNotification(*this);
  }
  void Notification(TComponent& component, TOperation operation) override {
    TComponent::Notification(component, operation);
    if (operation == opRemove) module_.ClearOwner();
  }

 private:
  TModule& module_;
};

TModule::TModule(TInferenceEngine* owner, bool isMain)
    : isMain_(isMain), exports_(MakeRef<TModuleImportExport>(this, "")), owner_(owner) {
  if (owner_ != nullptr) nexus_ = std::make_unique<TNexus>(*this, *owner_);
}

TModule::~TModule() {
  Release();
  exports_->SetOwnerModule(nullptr);
  for (const IModuleImport& record : imports_) record->SetOwnerModule(nullptr);
  LoseReferences();
}

// ---- Names

// The engine compares names of the list, in which this module stands with the new one already.
void TModule::SetName(std::string_view name) {
  if (name_ == name) return;
  if ((name == SMainModule) != isMain_) throw EKBException(TKBMessage::ReservedModuleName);
  CheckConstructName(name);
  const std::string newName(name);
  const std::string oldName = std::exchange(name_, newName);
  try {
    if (owner_ != nullptr) owner_->RenameModule(oldName, newName);
  } catch (...) {
    name_ = oldName;
    throw;
  }
  StoreName(newName);
  if (owner_ == nullptr || owner_->GetModules().IndexOf(this) < 0) return;
  const TModules& modules = owner_->GetModules();
  for (int i = 0; i < modules.GetCount(); ++i) {
    const int index = modules.Get(i)->IndexOfImport(oldName);
    if (index >= 0) modules.Get(i)->GetImportModule(index)->SetModuleName(newName);
  }
}

// Rules and fact sets name their module.
void TModule::StoreName(std::string_view name) {
  name_ = name;
  if (objects_.rules == nullptr) return;
  for (int i = 0; i < objects_.rules->GetCount(); ++i) objects_.rules->GetValue(i)->ModuleRenamed(name_);
  for (int i = 0; i < objects_.factSets->GetCount(); ++i) objects_.factSets->Get(i).ModuleRenamed(name_);
}

// ---- Imports

int TModule::AddImport(const IModuleImport& record) {
  record->SetOwnerModule(this);
  imports_.push_back(record);
  return GetImportModuleCount() - 1;
}

IModuleImport TModule::AddImport(std::string_view moduleName) { return MakeRef<TModuleImportExport>(this, moduleName); }

void TModule::ClearImports() {
  while (!imports_.empty()) DeleteImport(GetImportModuleCount() - 1);
}

void TModule::DeleteImport(int index) {
  const IModuleImport record = GetImportModule(index);
  record->SetOwnerModule(nullptr);
  imports_.erase(imports_.begin() + index);
}

int TModule::RemoveImport(const TModuleImportExport* record) {
  const int index = IndexOfImport(record);
  if (index >= 0) DeleteImport(index);
  return index;
}

int TModule::RemoveImport(std::string_view moduleName) {
  const int index = IndexOfImport(moduleName);
  if (index >= 0) DeleteImport(index);
  return index;
}

const IModuleImport& TModule::GetImportModule(int index) const {
  CheckListIndex(index, GetImportModuleCount());
  return imports_[static_cast<size_t>(index)];
}

int TModule::IndexOfImport(const TModuleImportExport* record) const noexcept {
  const auto found = std::find(imports_.begin(), imports_.end(), record);
  return found == imports_.end() ? -1 : static_cast<int>(found - imports_.begin());
}

int TModule::IndexOfImport(std::string_view moduleName) const noexcept {
  for (size_t i = 0; i < imports_.size(); ++i) {
    if (imports_[i]->GetModuleName() == moduleName) return static_cast<int>(i);
  }
  return -1;
}

void TModule::ImportConstructs() {
  if (owner_ == nullptr) return;
  const TInferenceEngine::TFocusScope focus(*owner_, this);
  const std::vector<IModuleImport> imports = imports_;
  for (const IModuleImport& record : imports) record->ImportConstructs();
}

// ---- Life

void TModule::Prepare() {
  Release();
  Initialize();
}

void TModule::Initialize() {
  if (owner_ == nullptr) return;
  objects_.agenda = std::make_unique<TKBAgenda>(owner_, this);
  objects_.definedTypes = std::make_unique<TKBDefinedTypes>(owner_, this);
  objects_.facts = std::make_unique<TFacts>(owner_, this);
  objects_.factSets = std::make_unique<TFactSets>(owner_, this);
  objects_.factTemplates = std::make_unique<TFactTemplates>(owner_, this);
  objects_.rete = std::make_unique<TReteNetwork>(owner_, this);
  objects_.rules = std::make_unique<TRules>(owner_, this);
  objects_.facts->SetCacheHashCodes(!owner_->GetFactDuplication());
  objects_.rete->SetMinActivationStrength(owner_->GetMinActivationStrength());
  if (isMain_) name_ = SMainModule;
  const IModule previous = owner_->GetCurrentModule();
  FocusModule();
  nullFact_ = MakeRef<TFact>(owner_->CreateFactTemplate(SNullFact));
  owner_->ShareInitialFact(*this);
  FocusModule();
  if (previous) previous->FocusModule();
}

void TModule::FocusModule() {
  if (owner_ == nullptr) return;
  if (objects_.agenda == nullptr) {
    Initialize();
    if (objects_.agenda == nullptr) return;
  }
  owner_->ShowModule(*this);
}

void TModule::ImportEngine() {
  if (owner_ == nullptr) return;
  nullFact_ = owner_->GetNullFact();
}

void TModule::SetInitialFactPattern(std::unique_ptr<TKBPattern> pattern) {
  objects_.initialFactPattern = std::move(pattern);
}

namespace {

// The constructs of a registry that goes away stand in one module less.
template <class Table>
void Abandon(const Table& table, TModule& module) {
  for (int i = 0; i < table.GetCount(); ++i) table.GetValue(i)->RemoveImportModule(&module);
}

}  // namespace

// The objects no longer know the engine while they go, so that nothing calls it.
void TModule::Release() {
  if (objects_.agenda == nullptr) return;
  for (const IModuleImport& record : imports_) record->Release();
  objects_.agenda->ClearEngine();
  objects_.definedTypes->ClearEngine();
  objects_.facts->ClearEngine();
  objects_.factSets->ClearEngine();
  objects_.factTemplates->ClearEngine();
  objects_.rete->ClearEngine();
  objects_.rules->ClearEngine();
  Abandon(*objects_.factTemplates, *this);
  Abandon(*objects_.definedTypes, *this);
  factsPending_.clear();
  nullFact_ = nullptr;
  objects_.agenda->Clear();
  objects_.rete->Clear();
  TModuleObjects objects = std::exchange(objects_, TModuleObjects());
  if (owner_ != nullptr) owner_->Retire(std::move(objects));
}

// ---- Copies

void TModule::AssignModuleDefinition(const TModule& source) {
  if (&source == this) return;
  ClearImports();
  StoreName(source.name_);
  comment_ = source.comment_;
  exports_->Assign(*source.exports_);
  for (const IModuleImport& record : source.imports_) {
    const IModuleImport copy = AddImport(record->GetModuleName());
    copy->Assign(*record);
    AddImport(copy);
  }
}

void TModule::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TModule*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  if (other == this || owner_ == nullptr || other->objects_.agenda == nullptr) return;
  const IModule self(this);
  const TInferenceEngine::TFocusScope focus(*owner_, this);
  owner_->Clear(self);
  AssignModuleDefinition(*other);
  ImportConstructs();
  AssignConstructs(*other);
}

void TModule::AssignConstructs(const TModule& source) {
  objects_.definedTypes->AssignLocal(*source.objects_.definedTypes);
  objects_.factTemplates->AssignLocal(*source.objects_.factTemplates);
  nullFact_ = MakeRef<TFact>(owner_->CreateFactTemplate(SNullFact));
  owner_->ShareInitialFact(*this);
  FocusModule();
  objects_.factSets->Assign(*source.objects_.factSets);
  objects_.facts->AddLocals(*source.objects_.facts);
  objects_.rules->Assign(*source.objects_.rules);
}

// ---- Text

std::string TModule::ToString() const { return owner_ != nullptr ? owner_->PrettyPrint(*this) : PrettyPrint(*this); }

namespace {

constexpr std::string_view kStars = "; *************************";

class TModuleText {
 public:
  explicit TModuleText(bool comments) : comments_(comments) {}

  void AddLine(std::string_view line) { text_.append(line).append(kLineEnd); }
  void AddCount(std::string_view head, int count) { AddLine(std::string(head) + IntegerToString(count)); }
  /// A section behind its head; nothing for an empty text.
  void AddSection(std::string_view head, std::string_view text) {
    if (text.empty()) return;
    StartLine();
    if (comments_) {
      AddLine(kStars);
      AddLine(head);
    }
    Add(text);
  }
  void Add(std::string_view text) { text_ += text; }
  /// Lines without a head; nothing for an empty text.
  void AddLines(std::string_view text) {
    if (text.empty()) return;
    StartLine();
    AddLine(text);
  }
  [[nodiscard]] std::string Take() {
    StartLine();
    return std::move(text_);
  }

 private:
  void StartLine() {
    if (!text_.empty() && !text_.ends_with(kLineEnd)) text_ += kLineEnd;
  }
  bool comments_;
  std::string text_;
};

// The line ends in front of the texts of a table are the section's own.
std::string_view WithoutLeadingEnd(std::string_view text) {
  if (text.starts_with(kLineEnd)) text.remove_prefix(kLineEnd.size());
  return text;
}

std::string FactsText(const TFacts& facts, bool all) {
  const std::string text = all ? facts.ToString() : facts.LocalsToString(false);
  return text.empty() ? text : "(assert" + std::string(kLineEnd) + text + ")";
}

// A chain of marked parents leads to another module.
bool InheritsMark(const TFactTemplate& factTemplate) {
  const TFactTemplate* parent = factTemplate.GetParent().Get();
  while (parent != nullptr && parent->IsBackwardChaining() && parent->GetModule() == factTemplate.GetModule()) {
    parent = parent->GetParent().Get();
  }
  return parent != nullptr && parent->IsBackwardChaining();
}

// The calls that mark templates for backward chaining. Templates of goals are marked with those that they are for.
std::string BackwardChainingText(const TFactTemplates& templates, bool all) {
  std::string text;
  for (int i = 0; i < templates.GetCount(); ++i) {
    const TFactTemplate& factTemplate = *templates.GetValue(i);
    const std::string_view name = factTemplate.GetTemplateName().View();
    if (!factTemplate.IsBackwardChaining() || (!all && !templates.IsLocal(factTemplate))) continue;
    // A mark that comes from a template of another module comes from there again.
    if (InheritsMark(factTemplate) &&
        templates.FindTemplate(std::string(SBackChainPrefix) + std::string(name)) == nullptr)
      continue;
    const bool goal = name.starts_with(SBackChainPrefix);
    const TFactTemplate* wanted = goal ? templates.FindTemplate(name.substr(SBackChainPrefix.size())) : nullptr;
    if (wanted == nullptr || !wanted->IsBackwardChaining()) text.append(" ").append(name);
  }
  return text.empty() ? text : "(do-backward-chaining" + text + ")";
}

}  // namespace

std::string TModule::GetExpertSystem(bool comments, bool all) const {
  return GetExpertSystem(comments, all, std::string_view());
}

std::string TModule::GetExpertSystem(bool comments, bool all, std::string_view definitions) const {
  const TLosslessText lossless;
  if (objects_.agenda == nullptr) return ToString();
  const TModuleObjects& own = objects_;
  TModuleText text(comments);
  if (comments) {
    const auto count = [all](const auto& table) { return all ? table.GetCount() : table.GetLocalsCount(); };
    text.AddLine("");
    text.AddLine(kStars);
    text.AddLine("; Module:                     " + name_);
    text.AddCount("; Number of Defined Types:    ", count(*own.definedTypes));
    text.AddCount("; Number of Fact Templates:   ", count(*own.factTemplates));
    text.AddCount("; Number of Rules:            ", own.rules->GetCount());
    text.AddCount("; Number of Fact Sets:        ", own.factSets->GetCount());
    text.AddCount("; Number of Facts:            ", count(*own.facts));
    text.AddLine("");
  }
  text.Add(ToString());
  const auto tableText = [all](const auto& table) { return all ? table.ToString() : table.LocalsToString(); };
  text.AddSection("; Defined Types ", WithoutLeadingEnd(tableText(*own.definedTypes)));
  text.AddSection("; Fact Templates ", WithoutLeadingEnd(tableText(*own.factTemplates)));
  text.AddLines(BackwardChainingText(*own.factTemplates, all));
  text.AddLines(definitions);
  text.AddSection("; Rules ", own.rules->ToString());
  text.AddSection("; Fact Sets ", WithoutLeadingEnd(own.factSets->ToString()));
  text.AddSection("; Facts ", FactsText(*own.facts, all));
  return text.Take();
}

}  // namespace kb
