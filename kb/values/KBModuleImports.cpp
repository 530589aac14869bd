// What modules share: export and import records.
#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBModule.h"

namespace kb {
namespace {

// Constructs that the engine makes in every module for itself. An import that took them would only collide.
[[nodiscard]] bool IsBuiltIn(std::string_view name) noexcept {
  return name == SInitialFactPattern || name == SNullFact || name == STestCE;
}

[[nodiscard]] bool Offers(TSharedConstructs mode, const std::vector<std::string>& names, std::string_view name) {
  if (mode != mieCustom) return mode == mieAll;
  return std::any_of(names.begin(), names.end(), [name](const std::string& n) { return SameText(n, name); });
}

// A list drives its mode.
void FollowList(const std::vector<std::string>& names, TSharedConstructs& mode) {
  if (!names.empty()) {
    mode = mieCustom;
  } else if (mode == mieCustom) {
    mode = mieNone;
  }
}

void StoreMode(TSharedConstructs value, TSharedConstructs& mode, std::vector<std::string>& names) {
  if (mode == value) return;
  mode = value;
  if (mode != mieCustom) names.clear();
}

template <class Table>
void ForgetModule(const Table& table, const TModule& owner, const TModule& home, TSharedConstructs mode,
                  const std::vector<std::string>& names) {
  for (int i = 0; i < table.GetCount(); ++i) {
    const auto& construct = table.GetValue(i);
    if (construct->GetModule() == &home && Offers(mode, names, table.GetKey(i).View())) {
      construct->RemoveImportModule(&owner);
    }
  }
}

}  // namespace

const TClassInfo& TModuleImportExport::StaticClass() noexcept {
  static const TClassInfo info{"TModuleImportExport", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TModuleImportExport::TModuleImportExport(TModule* owner, std::string_view moduleName)
    : moduleName_(moduleName), owner_(owner) {}

void TModuleImportExport::SetDefinedTypesShared(TSharedConstructs mode) { StoreMode(mode, typesShared_, types_); }

void TModuleImportExport::SetFactTemplatesShared(TSharedConstructs mode) {
  StoreMode(mode, templatesShared_, templates_);
}

void TModuleImportExport::SetDefinedTypes(std::vector<std::string> names) {
  types_ = std::move(names);
  FollowList(types_, typesShared_);
}

void TModuleImportExport::SetFactTemplates(std::vector<std::string> names) {
  templates_ = std::move(names);
  FollowList(templates_, templatesShared_);
}

IModule TModuleImportExport::GetModule() const {
  TInferenceEngine* engine = owner_ == nullptr ? nullptr : owner_->GetOwner();
  return engine == nullptr ? IModule() : engine->GetModules().GetModule(moduleName_);
}

// The constructs are picked before the first one is added: an addition may replace others in the source.
template <class Table>
void TModuleImportExport::ImportFrom(const Table& source, Table& target, const TModule& home, TSharedConstructs wanted,
                                     const std::vector<std::string>& names, TSharedConstructs offered,
                                     const std::vector<std::string>& offeredNames) const {
  using TConstruct = std::decay_t<decltype(source.GetValue(0))>;
  std::vector<TConstruct> constructs;
  const auto pick = [&](const TConstruct& construct, std::string_view name) {
    if (construct->GetModule() != &home || IsBuiltIn(name) || !Offers(offered, offeredNames, name)) return;
    constructs.push_back(construct);
  };
  if (wanted == mieAll) {
    for (int i = 0; i < source.GetCount(); ++i) pick(source.GetValue(i), source.GetKey(i).View());
  } else if (wanted == mieCustom) {
    for (const std::string& name : names) {
      if (const TConstruct* found = source.Find(name)) pick(*found, name);
    }
  }
  for (const TConstruct& construct : constructs) target.Add(construct);
}

void TModuleImportExport::ImportConstructs() {
  const IModule source = GetModule();
  if (!source || source->GetAgenda() == nullptr) return;
  TInferenceEngine& engine = *owner_->GetOwner();
  const TInferenceEngine::TFreeHold hold(engine);
  const TInferenceEngine::TFocusScope focus(engine, owner_);
  const TModuleImportExport& exports = *source->GetExportItems();
  ImportFrom(*source->GetDefinedTypes(), engine.GetDefinedTypes(), *source, typesShared_, types_, exports.typesShared_,
             exports.types_);
  try {
    ImportFrom(*source->GetFactTemplates(), engine.GetFactTemplates(), *source, templatesShared_, templates_,
               exports.templatesShared_, exports.templates_);
  } catch (...) {
    // The templates in front of the one that was refused are here, and so are their facts.
    ImportFacts(*source);
    throw;
  }
  if (templatesShared_ != mieNone) ImportFacts(*source);
}

void TModuleImportExport::ImportFacts(TModule& source) const {
  TInferenceEngine& engine = *owner_->GetOwner();
  for (const IFact& fact : source.GetFacts()->Snapshot()) {
    const IFactTemplate& factTemplate = fact->GetTemplate();
    if (factTemplate->GetModule() != &source || factTemplate->IndexOfImportModule(owner_) < 0) continue;
    if (engine.GetFacts().IndexOf(fact.Get()) < 0) engine.AddFactToModule(fact, nullptr);
  }
}

void TModuleImportExport::Release() {
  TInferenceEngine* engine = owner_ == nullptr ? nullptr : owner_->GetOwner();
  const IModule source = engine == nullptr ? IModule() : engine->FindModule(moduleName_);
  if (!source || source->GetAgenda() == nullptr) return;
  ForgetModule(*source->GetDefinedTypes(), *owner_, *source, typesShared_, types_);
  ForgetModule(*source->GetFactTemplates(), *owner_, *source, templatesShared_, templates_);
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

}  // namespace kb
