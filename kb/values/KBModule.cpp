#include "kb/values/KBModule.h"

#include "kb/engine/InferenceEngine.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModuleConstruct.h"

namespace kb {

// --- Imports and exports
// --------------------------------------------------------------------------------------------

const TClassInfo& TModuleImportExport::StaticClass() noexcept {
  static const TClassInfo info{"TModuleImportExport", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TModuleImportExport::TModuleImportExport(TModule* owner, std::string_view moduleName)
    : moduleName_(moduleName), owner_(owner) {}

void TModuleImportExport::SetDefinedTypesShared(TSharedConstructs mode) {
  if (typesShared_ == mode) return;
  typesShared_ = mode;
  if (mode != mieCustom) types_.clear();
}

void TModuleImportExport::SetFactTemplatesShared(TSharedConstructs mode) {
  if (templatesShared_ == mode) return;
  templatesShared_ = mode;
  if (mode != mieCustom) templates_.clear();
}

void TModuleImportExport::SetDefinedTypes(std::vector<std::string> names) {
  types_ = std::move(names);
  if (!types_.empty()) {
    typesShared_ = mieCustom;
  } else if (typesShared_ == mieCustom) {
    typesShared_ = mieNone;
  }
}

void TModuleImportExport::SetFactTemplates(std::vector<std::string> names) {
  templates_ = std::move(names);
  if (!templates_.empty()) {
    templatesShared_ = mieCustom;
  } else if (templatesShared_ == mieCustom) {
    templatesShared_ = mieNone;
  }
}

void TModuleImportExport::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TModuleImportExport*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  typesShared_ = other->typesShared_;
  templatesShared_ = other->templatesShared_;
  types_ = other->types_;
  templates_ = other->templates_;
  moduleName_ = other->moduleName_;
}

// --- Module
// ---------------------------------------------------------------------------------------------------------

const TClassInfo& TModule::StaticClass() noexcept {
  static const TClassInfo info{"TModule", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TModule::TModule(TInferenceEngine* owner, bool isMain)
    : isMain_(isMain), exports_(MakeRef<TModuleImportExport>(this, "")), owner_(owner) {}

TModule::~TModule() {
  if (agenda_ != nullptr) Release();
}

void TModule::SetName(std::string_view name) {
  if (name_ == name) return;
  if ((name == SMainModule) != isMain_) throw EKBException(TKBMessage::ReservedModuleName);
  CheckConstructName(name);
  const std::string oldName = name_;
  // A module that no list holds yet has no name to be renamed from.
  if (owner_ != nullptr && !oldName.empty() && owner_->GetModules().IndexOf(this) >= 0) {
    if (owner_->GetModules().IndexOf(name) >= 0) {
      throw EKBException(TKBMessage::DuplicateModules, {std::string(name)});
    }
  }
  name_ = name;
}

int TModule::AddImport(const IModuleImport& record) {
  imports_.push_back(record);
  return GetImportModuleCount() - 1;
}

IModuleImport TModule::AddImport(std::string_view moduleName) {
  return MakeRef<TModuleImportExport>(this, moduleName);
}

const IModuleImport& TModule::GetImportModule(int index) const {
  CheckListIndex(index, GetImportModuleCount());
  return imports_[static_cast<size_t>(index)];
}

int TModule::IndexOfImport(std::string_view moduleName) const noexcept {
  for (size_t i = 0; i < imports_.size(); ++i) {
    if (imports_[i]->GetModuleName() == moduleName) return static_cast<int>(i);
  }
  return -1;
}

void TModule::Prepare() {
  if (agenda_ != nullptr) Release();
  Initialize();
}

void TModule::Initialize() {
  if (owner_ == nullptr) return;
  agenda_ = std::make_unique<TKBAgenda>(owner_, this);
  definedTypes_ = std::make_unique<TKBDefinedTypes>(owner_, this);
  facts_ = std::make_unique<TFacts>(owner_, this);
  factSets_ = std::make_unique<TFactSets>(owner_, this);
  factTemplates_ = std::make_unique<TFactTemplates>(owner_, this);
  rete_ = std::make_unique<TReteNetwork>(owner_, this);
  rules_ = std::make_unique<TRules>(owner_, this);
  facts_->SetCacheHashCodes(!owner_->GetFactDuplication());
  rete_->SetMinActivationStrength(owner_->GetMinActivationStrength());
  const IModule previous = owner_->GetCurrentModule();
  FocusModule();
  nullFact_ = MakeRef<TFact>(owner_->CreateFactTemplate(SNullFact));
  if (isMain_) name_ = SMainModule;
  initialFactPattern_ = std::make_unique<TKBPattern>(owner_, owner_->CreateFactTemplate(SInitialFactPattern));
  FocusModule();
  if (previous) previous->FocusModule();
}

void TModule::FocusModule() {
  if (owner_ == nullptr) return;
  if (agenda_ == nullptr) {
    Initialize();
    if (agenda_ == nullptr) return;
  }
  owner_->ShowModule(*this);
}

void TModule::ImportEngine() {
  if (owner_ == nullptr) return;
  nullFact_ = owner_->GetNullFact();
}

void TModule::SetInitialFactPattern(std::unique_ptr<TKBPattern> pattern) {
  initialFactPattern_ = std::move(pattern);
}

// The objects no longer know the engine while they go, so that nothing calls it.
void TModule::Release() {
  if (agenda_ == nullptr) return;
  agenda_->ClearEngine();
  definedTypes_->ClearEngine();
  facts_->ClearEngine();
  factSets_->ClearEngine();
  factTemplates_->ClearEngine();
  rete_->ClearEngine();
  rules_->ClearEngine();
  for (int i = 0; i < factTemplates_->GetCount(); ++i) {
    const IFactTemplate& factTemplate = factTemplates_->GetValue(i);
    factTemplate->RemoveImportModule(this);
    if (factTemplate->GetModule() == this) factTemplate->SetModule(nullptr);
  }
  for (int i = 0; i < definedTypes_->GetCount(); ++i) {
    const IKBDefinedType& type = definedTypes_->GetValue(i);
    type->RemoveImportModule(this);
    if (type->GetModule() == this) type->SetModule(nullptr);
  }
  factsPending_.clear();
  nullFact_ = nullptr;
  agenda_->Clear();
  rete_->Clear();
  initialFactPattern_.reset();
  agenda_.reset();
  rete_.reset();
  rules_.reset();
  factSets_.reset();
  facts_.reset();
  factTemplates_.reset();
  definedTypes_.reset();
}

std::string TModule::ToString() const {
  return owner_ != nullptr ? owner_->PrettyPrint(*this) : PrettyPrint(*this);
}

}  // namespace kb
