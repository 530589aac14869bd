// The registries of constructs: named collections that know their engine and module, report additions and
// removals to the engine and apply DuplicateConstructs. Those of a module share nothing with the engine but a
// back reference, which the module clears before they go.
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
  /// Adds clones of the rules of another table.
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

/// The templates of a module, its own and the imported ones.
class TFactTemplates final : public TQDStringHashTable<IFactTemplate> {
 public:
  TFactTemplates(TInferenceEngine* engine, TModule* module) noexcept : module_(module), engine_(engine) {}
  ~TFactTemplates() override;
  /// A template without slots gets the multislot "__Data".
  void Add(const IFactTemplate& factTemplate);
  /// Removes with all that depends on it, in every module that shares it. `removed` is null when there was
  /// none.
  void Remove(std::string_view name, IFactTemplate& removed);
  /// The new template in place of the old one, with both events; facts and rules are not looked at.
  void Exchange(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate);
  /// Takes the entry out and nothing else.
  void RemoveEntry(std::string_view name);
  [[nodiscard]] TFactTemplate* FindTemplate(std::string_view name) const;
  /// Forgets the entry and enters the template under another name.
  void Rekey(std::string_view oldName, std::string_view newName);
  void Clear() override;
  [[nodiscard]] int GetImportCount() const noexcept { return importCount_; }
  [[nodiscard]] int GetLocalsCount() const noexcept { return GetCount() - importCount_; }
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] TModule* GetModule() const noexcept { return module_; }
  void ClearEngine() noexcept { engine_ = nullptr; }

 protected:
  void DoAdd(std::string_view key, const IFactTemplate& value) override;
  void DoSetValue(std::string_view key, const IFactTemplate& value) override;
  void DoRemove(const std::string& key) override;

 private:
  using TQDStringHashTable<IFactTemplate>::Put;  // the key is the name: Add
  TModule* module_;
  int importCount_ = 0;
  TInferenceEngine* engine_;
};

/// The defined types of a module.
class TKBDefinedTypes final : public TQDStringHashTable<IKBDefinedType> {
 public:
  TKBDefinedTypes(TInferenceEngine* engine, TModule* module) noexcept : module_(module), engine_(engine) {}
  ~TKBDefinedTypes() override;
  void Add(const IKBDefinedType& type);
  void Remove(std::string_view name, IKBDefinedType& removed);
  [[nodiscard]] TKBDefinedType* FindType(std::string_view name) const;
  /// Forgets the entry and enters the type under another name.
  void Rekey(std::string_view oldName, std::string_view newName);
  /// First named type of the template's slots that this registry lacks, or null.
  [[nodiscard]] TKBDefinedType* FindUnsharedType(const TFactTemplate& factTemplate) const;
  void Clear() override;
  [[nodiscard]] int GetLocalsCount() const noexcept { return GetCount() - importCount_; }
  [[nodiscard]] std::string ToString() const;
  void ClearEngine() noexcept { engine_ = nullptr; }

 protected:
  void DoAdd(std::string_view key, const IKBDefinedType& value) override;
  void DoSetValue(std::string_view key, const IKBDefinedType& value) override;
  void DoRemove(const std::string& key) override;

 private:
  using TQDStringHashTable<IKBDefinedType>::Put;  // the key is the name: Add
  TModule* module_;
  int importCount_ = 0;
  TInferenceEngine* engine_;
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
  void Clear();
  [[nodiscard]] std::string ToNamesString(std::string_view separator) const;
  void SetEnforceImportOrder(bool value) noexcept { enforceImportOrder_ = value; }

 private:
  [[nodiscard]] bool ForwardsTo(const TModule* module) const noexcept;
  void CheckImports(const TModule& module) const;
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
