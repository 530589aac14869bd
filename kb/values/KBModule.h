// Modules: partitions of a knowledge base.
//
// A module owns eight objects: agenda, defined types, facts, fact sets, templates, network, rules and pending
// facts. The engine works on one module at a time; its fields of those names show the module in focus, and
// FocusModule is a copy of pointers.
//
// Templates and defined types are shared by object: an import enters the exporter's own constructs into the
// tables of the importer, and a fact of a shared template stands in the fact lists of all modules that share
// it. What a module imported itself it does not pass on. Imports are worked off when a module is added to its
// engine, so whatever is to be shared is defined before the module that imports it.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kb/platform/Component.h"
#include "kb/platform/Object.h"
#include "kb/values/Fact.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TKBAgenda;
class TKBDefinedTypes;
class TFacts;
class TFactSets;
class TFactTemplates;
class TReteNetwork;
class TRules;

/// Facts that wait for the end of the network pass that runs: true to assert, false to retract; first in,
/// first out.
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
  /// The module that the record names has another name now.
  void SetModuleName(std::string_view name) { moduleName_ = name; }
  [[nodiscard]] TModule* GetOwnerModule() const noexcept { return owner_; }
  /// The module that holds the record; without one it imports nothing.
  void SetOwnerModule(TModule* owner) noexcept { owner_ = owner; }
  /// The module that is imported from; null without an engine. "No such module with name=%s exists".
  [[nodiscard]] IModule GetModule() const;

  /// Enters what this record asks for and the other module offers into the owner's tables, types before
  /// templates, then the facts of the shared templates. Only constructs at home in the other module pass; a
  /// name that it does not offer is passed over. Names of the two lists are compared without regard to case,
  /// those of a table exactly. A name that is taken is decided by DuplicateConstructs. Nothing without an
  /// engine; else raises as GetModule does, and "Fact Template, "%s", depends on non-imported Defined Type:
  /// "%s"".
  void ImportConstructs();
  /// The other module's constructs that this record names forget the owner. An unknown module is passed over.
  void Release();
  /// Modes, lists and the module's name; the owner stays.
  void Assign(const TPersistent& source) override;
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

 private:
  template <class Table>
  void ImportFrom(const Table& source, Table& target, const TModule& home, TSharedConstructs wanted,
                  const std::vector<std::string>& names, TSharedConstructs offered,
                  const std::vector<std::string>& offeredNames) const;
  void ImportFacts(TModule& source) const;

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

/// The eight objects of a module but the pending facts, once it has let go of them.
struct TModuleObjects {
  TModuleObjects() noexcept;
  TModuleObjects(TModuleObjects&& other) noexcept;
  TModuleObjects& operator=(TModuleObjects&& other) noexcept;
  ~TModuleObjects();
  // They go in the reverse order: what holds others goes first.
  std::unique_ptr<TKBDefinedTypes> definedTypes;
  std::unique_ptr<TFactTemplates> factTemplates;
  std::unique_ptr<TFacts> facts;
  std::unique_ptr<TFactSets> factSets;
  std::unique_ptr<TRules> rules;
  std::unique_ptr<TReteNetwork> rete;
  std::unique_ptr<TKBAgenda> agenda;
  std::unique_ptr<TKBPattern> initialFactPattern;
};

/// A module. Reference-counted; the engine's list of modules holds it. Modules are compared by identity and
/// not cloned.
class TModule : public TPersistent, public RefCounted, public TWeakTarget<TModule> {
 public:
  /// `isMain` never changes; a main module is named "MAIN".
  TModule(TInferenceEngine* owner, bool isMain);
  ~TModule() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] bool IsMain() const noexcept { return isMain_; }
  [[nodiscard]] const std::string& GetName() const noexcept { return name_; }
  /// "Module "MAIN" is reserved name and cannot be used for any other module"; name check; the engine's
  /// rename. On an exception the old name stays.
  void SetName(std::string_view name);
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  void SetComment(std::string_view comment) { comment_ = comment; }
  [[nodiscard]] TInferenceEngine* GetOwner() const noexcept { return owner_; }
  /// The engine goes away: the module works no more.
  void ClearOwner() noexcept { owner_ = nullptr; }

  [[nodiscard]] const IModuleExport& GetExportItems() const noexcept { return exports_; }
  /// Appends the record, which is this module's from now on; gives its index.
  int AddImport(const IModuleImport& record);
  /// Only makes a record, which the caller adds.
  [[nodiscard]] IModuleImport AddImport(std::string_view moduleName);
  void ClearImports();
  /// Raises EListError for a bad index.
  void DeleteImport(int index);
  /// The former index, or -1.
  int RemoveImport(const TModuleImportExport* record);
  int RemoveImport(std::string_view moduleName);
  [[nodiscard]] int GetImportModuleCount() const noexcept { return static_cast<int>(imports_.size()); }
  [[nodiscard]] const IModuleImport& GetImportModule(int index) const;
  [[nodiscard]] int IndexOfImport(const TModuleImportExport* record) const noexcept;
  /// By the record's module name, case-sensitive; -1 if absent.
  [[nodiscard]] int IndexOfImport(std::string_view moduleName) const noexcept;
  /// Works off the imports in order, with this module in focus. The records before one that raises have taken
  /// effect; the focus is put back in any case.
  void ImportConstructs();

  /// Makes the eight objects (after releasing older ones).
  void Prepare();
  /// Lets go of the eight objects, which no longer know the engine. They are freed at once, or, when the
  /// engine is in the middle of something, when that has ended.
  void Release();
  /// Shows this module's objects in the engine's fields. Constant. Makes the objects at the first focus.
  void FocusModule();
  /// Takes over null fact and initial pattern from the engine's fields.
  void ImportEngine();

  /// Name, comment, exports and imports of the other module; no constructs. The name is stored as it is.
  void AssignModuleDefinition(const TModule& source);
  /// The definition and all constructs of the other module, which may belong to another engine: this module
  /// is cleared, imports what it imports here, and gets copies of the source's own types and templates, its
  /// fact sets, facts and rules. Needs an engine.
  void Assign(const TPersistent& source) override;

  [[nodiscard]] TKBAgenda* GetAgenda() const noexcept { return objects_.agenda.get(); }
  [[nodiscard]] TKBDefinedTypes* GetDefinedTypes() const noexcept { return objects_.definedTypes.get(); }
  [[nodiscard]] TFacts* GetFacts() const noexcept { return objects_.facts.get(); }
  [[nodiscard]] TFactSets* GetFactSets() const noexcept { return objects_.factSets.get(); }
  [[nodiscard]] TFactTemplates* GetFactTemplates() const noexcept { return objects_.factTemplates.get(); }
  [[nodiscard]] TReteNetwork* GetRete() const noexcept { return objects_.rete.get(); }
  [[nodiscard]] TRules* GetRules() const noexcept { return objects_.rules.get(); }
  [[nodiscard]] TFactsPending& GetFactsPending() noexcept { return factsPending_; }
  [[nodiscard]] const IFact& GetNullFact() const noexcept { return nullFact_; }
  [[nodiscard]] TKBPattern* GetInitialFactPattern() const noexcept { return objects_.initialFactPattern.get(); }
  void SetInitialFactPattern(std::unique_ptr<TKBPattern> pattern);

  /// The defmodule construct.
  [[nodiscard]] std::string ToString() const;
  /// The whole module as text that reads back: definition, types, templates, rules, fact sets and an assert
  /// of the facts. `comments` puts heads before the sections, `all` takes in imported constructs.
  [[nodiscard]] std::string GetExpertSystem(bool comments, bool all) const;
  /// The same with a text of definitions behind the templates, which it may name.
  [[nodiscard]] std::string GetExpertSystem(bool comments, bool all, std::string_view definitions) const;
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t tag) noexcept { tag_ = tag; }

 private:
  class TNexus;
  void Initialize();
  void StoreName(std::string_view name);
  void AssignConstructs(const TModule& source);

  std::string name_;
  std::string comment_;
  bool isMain_;
  std::vector<IModuleImport> imports_;
  IModuleExport exports_;
  intptr_t tag_ = 0;
  TModuleObjects objects_;
  TFactsPending factsPending_;
  IFact nullFact_;
  TInferenceEngine* owner_;
  std::unique_ptr<TComponent> nexus_;  // clears the owner when the engine goes first
};

}  // namespace kb
