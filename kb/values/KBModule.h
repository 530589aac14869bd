// Modules: partitions of a knowledge base.
//
// A module owns eight objects: agenda, defined types, facts, fact sets, templates, network, rules and pending facts.
// The engine works on one module at a time; its fields of those names show the module in focus, and FocusModule is a
// copy of pointers.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kb/platform/Object.h"
#include "kb/values/Fact.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TKBAgenda;
class TKBDefinedTypes;
class TFacts;
class TFactSets;
class TFactTemplates;
class TReteNetwork;
class TRules;

/// Facts that wait for the end of the network pass that runs: true to assert, false to retract; first in, first out.
using TFactsPending = std::deque<std::pair<bool, IFact>>;

/// What a module exports, or what it imports from another one.
class TModuleImportExport : public TPersistent, public RefCounted {
 public:
  /// `moduleName` is empty for the export record of a module.
  TModuleImportExport(TModule* owner, std::string_view moduleName);
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TSharedConstructs GetDefinedTypesShared() const noexcept { return typesShared_; }
  /// mieNone and mieAll clear the list.
  void SetDefinedTypesShared(TSharedConstructs mode);
  [[nodiscard]] const std::vector<std::string>& GetDefinedTypes() const noexcept { return types_; }
  /// Names turn the mode to mieCustom; an emptied list turns mieCustom to mieNone.
  void SetDefinedTypes(std::vector<std::string> names);
  [[nodiscard]] TSharedConstructs GetFactTemplatesShared() const noexcept { return templatesShared_; }
  void SetFactTemplatesShared(TSharedConstructs mode);
  [[nodiscard]] const std::vector<std::string>& GetFactTemplates() const noexcept { return templates_; }
  void SetFactTemplates(std::vector<std::string> names);
  [[nodiscard]] const std::string& GetModuleName() const noexcept { return moduleName_; }
  [[nodiscard]] TModule* GetOwnerModule() const noexcept { return owner_; }
  void Assign(const TPersistent& source) override;
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

 private:
  TSharedConstructs typesShared_ = mieNone;
  TSharedConstructs templatesShared_ = mieNone;
  std::vector<std::string> types_;
  std::vector<std::string> templates_;
  std::string moduleName_;
  TModule* owner_;
  intptr_t tag_ = 0;
};
using IModuleImport = Ref<TModuleImportExport>;
using IModuleExport = Ref<TModuleImportExport>;

/// A module. Reference-counted; the engine's list of modules holds it.
class TModule : public TPersistent, public RefCounted {
 public:
  /// `isMain` never changes; a main module is named "MAIN".
  TModule(TInferenceEngine* owner, bool isMain);
  ~TModule() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] bool IsMain() const noexcept { return isMain_; }
  [[nodiscard]] const std::string& GetName() const noexcept { return name_; }
  /// "Module "MAIN" is reserved name and cannot be used for any other module"; name check; the engine's rename. On an
  /// exception the old name stays.
  void SetName(std::string_view name);
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  void SetComment(std::string_view comment) { comment_ = comment; }
  [[nodiscard]] TInferenceEngine* GetOwner() const noexcept { return owner_; }
  /// The engine goes away: the module works no more.
  void ClearOwner() noexcept { owner_ = nullptr; }

  [[nodiscard]] const IModuleExport& GetExportItems() const noexcept { return exports_; }
  /// Appends the record; gives its index.
  int AddImport(const IModuleImport& record);
  /// Only makes a record, which the caller adds.
  [[nodiscard]] IModuleImport AddImport(std::string_view moduleName);
  [[nodiscard]] int GetImportModuleCount() const noexcept { return static_cast<int>(imports_.size()); }
  [[nodiscard]] const IModuleImport& GetImportModule(int index) const;
  /// By the record's module name, case-sensitive; -1 if absent.
  [[nodiscard]] int IndexOfImport(std::string_view moduleName) const noexcept;

  /// Makes the eight objects (after releasing older ones).
  void Prepare();
  /// Frees the eight objects; they no longer know the engine while they go.
  void Release();
  /// Shows this module's objects in the engine's fields. Constant. Makes the objects at the first focus.
  void FocusModule();
  /// Takes over null fact and initial pattern from the engine's fields.
  void ImportEngine();

  [[nodiscard]] TKBAgenda* GetAgenda() const noexcept { return agenda_.get(); }
  [[nodiscard]] TKBDefinedTypes* GetDefinedTypes() const noexcept { return definedTypes_.get(); }
  [[nodiscard]] TFacts* GetFacts() const noexcept { return facts_.get(); }
  [[nodiscard]] TFactSets* GetFactSets() const noexcept { return factSets_.get(); }
  [[nodiscard]] TFactTemplates* GetFactTemplates() const noexcept { return factTemplates_.get(); }
  [[nodiscard]] TReteNetwork* GetRete() const noexcept { return rete_.get(); }
  [[nodiscard]] TRules* GetRules() const noexcept { return rules_.get(); }
  [[nodiscard]] TFactsPending& GetFactsPending() noexcept { return factsPending_; }
  [[nodiscard]] const IFact& GetNullFact() const noexcept { return nullFact_; }
  [[nodiscard]] TKBPattern* GetInitialFactPattern() const noexcept { return initialFactPattern_.get(); }
  void SetNullFact(const IFact& fact) { nullFact_ = fact; }
  void SetInitialFactPattern(std::unique_ptr<TKBPattern> pattern);

  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

 private:
  void Initialize();

  std::string name_;
  std::string comment_;
  bool isMain_;
  std::vector<IModuleImport> imports_;
  IModuleExport exports_;
  intptr_t tag_ = 0;
  std::unique_ptr<TKBAgenda> agenda_;
  std::unique_ptr<TKBDefinedTypes> definedTypes_;
  std::unique_ptr<TFacts> facts_;
  std::unique_ptr<TFactSets> factSets_;
  std::unique_ptr<TFactTemplates> factTemplates_;
  std::unique_ptr<TReteNetwork> rete_;
  std::unique_ptr<TRules> rules_;
  TFactsPending factsPending_;
  IFact nullFact_;
  TInferenceEngine* owner_;
  std::unique_ptr<TKBPattern> initialFactPattern_;
};

}  // namespace kb
