// The registries of constructs: named collections that know their engine and module, report additions and
// removals to the engine and apply DuplicateConstructs. Those of a module share nothing with the engine but a
// back reference, which the module clears before they go.
//
// Templates and types may stand in the tables of several modules (see KBModule.h). What is done to one of
// them through any of these tables, a removal, a replacement or a new name, is done in all of them; what
// becomes of the facts and rules on it is the engine's work (InferenceEngineDependencies.cpp).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/Table.h"
#include "kb/common/TextStream.h"
#include "kb/functions/KBPackages.h"
#include "kb/platform/Component.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBModule.h"
#include "kb/values/KBTypes.h"
#include "kb/values/ValueHashTable.h"

namespace kb {

/// The rules of a module. Compiles a rule when it is added.
class TRules final : public TQDStringHashTable<TRule*> {
 public:
  TRules(TInferenceEngine* engine, TModule* module) noexcept : module_(module), engine_(engine) {}
  ~TRules() override;
  /// Stores the rule under its name; a rule of that name is dealt with by DuplicateConstructs. A failure to
  /// compile leaves the table unchanged.
  void Add(TRule& rule);
  using TQDStringHashTable<TRule*>::Remove;
  /// Removes the entry only if it holds that rule.
  bool Remove(std::string_view name, const TRule* rule);
  [[nodiscard]] TRule* FindRule(std::string_view name) const;
  /// Takes the rule out of the table and the network and leaves it alive; false when it is not there.
  bool Release(TRule& rule);
  /// Forgets the entry and enters it under another name; the network is not touched.
  void Rekey(std::string_view oldName, std::string_view newName);
  void Clear() override;
  /// Sorted by text, or in table order.
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] bool GetSorted() const noexcept { return sorted_; }
  void SetSorted(bool value) noexcept { sorted_ = value; }
  void ClearEngine() noexcept { engine_ = nullptr; }
  /// Empties the table, then adds copies of the rules of another one, which may belong to another engine, in
  /// its order and with their fired marks.
  void Assign(const TRules& source);

 protected:
  void DoAdd(std::string_view key, TRule* const& value) override;
  void DoSetValue(std::string_view key, TRule* const& value) override;
  void DoRemove(const std::string& key) override;

 private:
  using TQDStringHashTable<TRule*>::Put;  // the key is the name: Add
  void PutBack(std::string_view name, TRule& old);
  bool sorted_ = true;
  TModule* module_;
  TInferenceEngine* engine_;
};

/// What the tables of templates and of types have in common: constructs of their own module and imported ones.
template <class T>
class TSharedTable : public TQDStringHashTable<Ref<T>> {
 public:
  TSharedTable(TInferenceEngine* engine, TModule* module) noexcept : module_(module), engine_(engine) {}
  [[nodiscard]] TModule* GetModule() const noexcept { return module_; }
  void ClearEngine() noexcept { engine_ = nullptr; }
  /// At home in the table's own module.
  [[nodiscard]] bool IsLocal(const T& construct) const noexcept { return construct.GetModule() == module_; }
  [[nodiscard]] int GetLocalsCount() const noexcept {
    int count = 0;
    for (int i = 0; i < this->GetCount(); ++i) count += IsLocal(*this->GetValue(i)) ? 1 : 0;
    return count;
  }
  [[nodiscard]] int GetImportCount() const noexcept { return this->GetCount() - GetLocalsCount(); }
  /// The very construct stands in the table.
  [[nodiscard]] bool Holds(std::string_view name, const T* construct) const {
    const Ref<T>* found = this->Find(name);
    return found != nullptr && *found == construct;
  }
  /// Forgets the entry and enters the construct under another name.
  void Rekey(std::string_view oldName, std::string_view newName) {
    const Ref<T>* found = this->Find(oldName);
    if (found == nullptr) return;
    const Ref<T> construct = *found;
    this->RawRemove(std::string(oldName));
    this->RawAdd(newName, construct);
  }
  /// Takes the entry out and nothing else.
  void RemoveEntry(std::string_view name) {
    const Ref<T>* found = this->Find(name);
    if (found == nullptr) return;
    const Ref<T> construct = *found;
    construct->RemoveImportModule(module_);
    this->RawRemove(std::string(name));
  }

 protected:
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  /// The names of the local constructs, or of the others.
  [[nodiscard]] std::vector<std::string> NamesOf(TConstructScope scope) const {
    std::vector<std::string> names;
    for (int i = 0; i < this->GetCount(); ++i) {
      if (IsLocal(*this->GetValue(i)) == (scope == csLocal)) names.push_back(this->GetKey(i).ToString());
    }
    return names;
  }

 private:
  TModule* module_;
  TInferenceEngine* engine_;
};

/// The templates of a module, its own and the imported ones.
class TFactTemplates final : public TSharedTable<TFactTemplate> {
 public:
  using TSharedTable::TSharedTable;
  /// A template without slots gets the multislot "__Data". In a system of several modules "Fact Template,
  /// "%s", depends on non-imported Defined Type: "%s"".
  void Add(const IFactTemplate& factTemplate);
  /// Removes with all that depends on it, in every module that shares it. `removed` is null when there was none.
  void Remove(std::string_view name, IFactTemplate& removed);
  /// The new template in place of the old one in every module that shares that; facts and rules that fit a template
  /// of the same name come back, those of another name are gone. `oldTemplate` may be null: then this is Add. What
  /// already bears the new name is dealt with by DuplicateConstructs. `result` is the new template.
  void Replace(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate, IFactTemplate& result);
  /// The new template in place of the old one in this table, with both events; facts and rules are not looked at.
  void Exchange(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate);
  [[nodiscard]] TFactTemplate* FindTemplate(std::string_view name) const;
  /// Empties the table with all that depends on its templates.
  void Clear() override;
  /// Removes the local or the imported ones, as Remove does.
  void Clear(TConstructScope scope);
  /// Merges by name: what the source lacks goes, what differs is replaced by a copy, what is new is copied.
  /// The second form leaves imported templates of both tables alone. The source may belong to another engine.
  void Assign(const TFactTemplates& source);
  void AssignLocal(const TFactTemplates& source);
  /// Each text behind a line end, parents before their children. "Fact templates inheritance structure
  /// corrupted".
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] std::string LocalsToString() const;

 protected:
  void DoAdd(std::string_view key, const IFactTemplate& value) override;
  void DoSetValue(std::string_view key, const IFactTemplate& value) override;
  void DoRemove(const std::string& key) override;

 private:
  using TSharedTable<TFactTemplate>::Put;  // the key is the name: Add
  void Merge(const TFactTemplates& source, bool localsOnly);
};

/// The defined types of a module, its own and the imported ones.
class TKBDefinedTypes final : public TSharedTable<TKBDefinedType> {
 public:
  using TSharedTable::TSharedTable;
  void Add(const IKBDefinedType& type);
  /// Removes with the templates that use it, in every module that shares it.
  void Remove(std::string_view name, IKBDefinedType& removed);
  /// As for templates: templates that use the old type go over to a new one of the same name, with what still
  /// fits of their facts; with another name they go.
  void Replace(const IKBDefinedType& oldType, const IKBDefinedType& newType, IKBDefinedType& result);
  /// The new type in place of the old one in this table, with both events.
  void Exchange(const IKBDefinedType& oldType, const IKBDefinedType& newType);
  [[nodiscard]] TKBDefinedType* FindType(std::string_view name) const;
  /// First named type of the template's slots that this registry lacks, or null.
  [[nodiscard]] TKBDefinedType* FindUnsharedType(const TFactTemplate& factTemplate) const;
  void Clear() override;
  void Clear(TConstructScope scope);
  void Assign(const TKBDefinedTypes& source);
  void AssignLocal(const TKBDefinedTypes& source);
  /// "Defined types inheritance structure corrupted".
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] std::string LocalsToString() const;

 protected:
  void DoAdd(std::string_view key, const IKBDefinedType& value) override;
  void DoSetValue(std::string_view key, const IKBDefinedType& value) override;
  void DoRemove(const std::string& key) override;

 private:
  using TSharedTable<TKBDefinedType>::Put;  // the key is the name: Add
  void Merge(const TKBDefinedTypes& source, bool localsOnly);
};

/// The fact sets of a module, in order of definition. Does not own them.
class TFactSets {
 public:
  TFactSets(TInferenceEngine* engine, TModule* module) noexcept : module_(module), engine_(engine) {}
  ~TFactSets();
  /// A set of the same name leaves its engine first; a set that is there already gives its index.
  int Add(TFactSet& factSet);
  [[nodiscard]] int IndexOf(const TFactSet* factSet) const noexcept;
  [[nodiscard]] int IndexOf(std::string_view name) const noexcept;
  bool Remove(TFactSet& factSet);
  /// Sets that the engine owns are freed, others leave it.
  void Clear();
  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(items_.size()); }
  [[nodiscard]] TFactSet& Get(int index) const;
  /// Empties the list, then adds copies of the sets of another one.
  void Assign(const TFactSets& source);
  [[nodiscard]] std::string ToString() const;
  void ClearEngine() noexcept { engine_ = nullptr; }

 private:
  std::vector<TFactSet*> items_;
  TModule* module_;
  TInferenceEngine* engine_;
};

/// A list of modules. The engine's own list turns additions and removals into AddModule and RemoveModule; any
/// other, such as the focus stack, is a plain list.
class TModules {
 public:
  explicit TModules(TInferenceEngine* engine) noexcept : engine_(engine) {}
  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(items_.size()); }
  [[nodiscard]] bool IsEmpty() const noexcept { return items_.empty(); }
  [[nodiscard]] const IModule& Get(int index) const;
  [[nodiscard]] int IndexOf(const TModule* module) const noexcept;
  /// Exact comparison; -1 if absent.
  [[nodiscard]] int IndexOf(std::string_view name) const noexcept;
  /// "No such module with name=%s exists".
  [[nodiscard]] const IModule& GetModule(std::string_view name) const;
  int Add(const IModule& module);
  void Insert(int index, const IModule& module);
  void Delete(int index);
  int Remove(const TModule* module);
  /// The engine's own list removes every module with all that it holds, the main one too: the engine then has
  /// nothing to work on until a main module is added.
  void Clear();
  [[nodiscard]] int CountOf(std::string_view name) const noexcept;
  [[nodiscard]] std::string ToNamesString(std::string_view separator) const;
  /// The texts of the modules, each behind a line end.
  [[nodiscard]] std::string ToString() const;
  void SetEnforceImportOrder(bool value) noexcept { enforceImportOrder_ = value; }
  /// "Invalid module dependency.  Module "%s" imports module "%s" which is later in the module list", for a
  /// module that is to stand at `index`.
  void CheckImports(const TModule& module, int index) const;

  /// The modules of another engine, one by one, in place of the present ones.
  void Assign(const TModules& source);
  /// Merges module by module: definitions and defined types, templates from kbcDefTemplate on, and what
  /// `construct` names: fact sets, facts or rules. Modules that the source lacks stay.
  void Assign(const TModules& source, TInferenceEngineConstruct construct);

 private:
  [[nodiscard]] bool ForwardsTo(const TModule* module) const noexcept;
  void MergeModule(const TModule& theirs, TInferenceEngineConstruct construct);
  std::vector<IModule> items_;
  TInferenceEngine* engine_;
  bool enforceImportOrder_ = false;
};

/// The functions of an engine.
class TUserFunctions final : public TQDStringHashTable<Ref<IUserFunction>> {
 public:
  explicit TUserFunctions(TInferenceEngine* engine) noexcept : engine_(engine) {}
  ~TUserFunctions() override;
  void Add(const Ref<IUserFunction>& function);
  /// `removed` is null when there was none of that name.
  void Remove(std::string_view name, Ref<IUserFunction>& removed);
  /// Removes the entry only if it holds that function.
  void RemoveFunction(const Ref<IUserFunction>& function);
  void Clear() override;
  /// Empties the table, then takes in the functions of another one: built-in and host functions as the same
  /// objects, those of the language as copies, in the order of GetOrder. False when a copy failed and
  /// `lenient` let that pass.
  bool Assign(const TUserFunctions& source, bool lenient);
  bool AssignInterpretedFunctions(std::vector<IInterpretedFunction> functions, bool lenient);
  /// The functions of the language.
  [[nodiscard]] std::vector<IInterpretedFunction> GetInterpretedFunctions() const;
  [[nodiscard]] int GetNumInterpreted() const noexcept { return numInterpreted_; }
  [[nodiscard]] std::string GetNamesToString() const;
  [[nodiscard]] std::string ToString() const;

 protected:
  /// "Function names do not match: %s and %s".
  void DoAdd(std::string_view key, const Ref<IUserFunction>& value) override;
  void DoSetValue(std::string_view key, const Ref<IUserFunction>& value) override;
  void DoRemove(const std::string& key) override;

 private:
  /// "Missing function", "Missing name", "Function names do not match: %s and %s".
  static void CheckName(std::string_view key, const Ref<IUserFunction>& function);
  TInferenceEngine* engine_;
  int numInterpreted_ = 0;
};

/// Free-standing named values of the host and of the storage functions.
class TEngineVariables : public TValueHashTable {
 public:
  explicit TEngineVariables(TInferenceEngine* engine) noexcept : engine_(engine) {}
  /// The source's values, made for this engine; the change event fires once, at the end.
  void Assign(const TValueHashTable& source) override;
  /// Each variable as the language writes it, with its line end.
  [[nodiscard]] std::string ToString() const override;

 protected:
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }

 private:
  TInferenceEngine* engine_;
};

/// Definitions of the global variables; a new or changed one gets its value in the engine's context at once.
class TGlobalVariables final : public TEngineVariables {
 public:
  using TEngineVariables::TEngineVariables;
  /// Empties the table, then the engine's context with all its bindings.
  void Clear() override;
  /// The definitions of another table of globals and the present values of its engine's context; no call is
  /// run. The definitions of any other table are put in one by one.
  void Assign(const TValueHashTable& source) override;

 protected:
  void DoAdd(std::string_view key, const IKBValue& value) override;
  void DoSetValue(std::string_view key, const IKBValue& value) override;
};

/// Named text streams. Owns them unless FreeStream is off.
class TIOStreams final : public TQDStringHashTable<TGTextStream*> {
 public:
  explicit TIOStreams(TInferenceEngine* engine) noexcept : engine_(engine) {}
  ~TIOStreams() override { Clear(); }
  /// A name in use is dealt with by DuplicateConstructs: "Duplicate streams defined with same name: "%s"".
  void Add(std::string_view name, std::unique_ptr<TGTextStream> stream);
  /// The stream, or null.
  [[nodiscard]] TGTextStream* FindStream(std::string_view name) const;
  /// "Invalid stream name: %s" for an unknown name.
  void Remove(std::string_view name);
  /// Frees every stream, whatever FreeStream says.
  void Clear() override;
  [[nodiscard]] bool GetFreeStream() const noexcept { return freeStream_; }
  void SetFreeStream(bool value) noexcept { freeStream_ = value; }

 protected:
  void DoSetValue(std::string_view key, TGTextStream* const& value) override;
  void DoRemove(const std::string& key) override;

 private:
  bool freeStream_ = true;
  TInferenceEngine* engine_;
};

}  // namespace kb
