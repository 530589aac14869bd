// The deffacts construct: a named list of facts that every reset asserts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/common/DataStringList.h"
#include "kb/platform/Component.h"
#include "kb/values/Fact.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TFactSets;

/// The entries of a fact set: the text of a fact each, with the parsed fact as datum or none.
class TFactSetFacts : public TDataStringList<IFact> {
 public:
  /// Another text makes the fact void.
  void Put(int index, std::string_view line) override;
};

/// A component that holds facts as texts first and as parsed facts second: it can be filled before its engine
/// and their templates exist. The text of an entry always stands; the fact is a cache that is cleared
/// whenever the engine changes. All that parses or asserts does so with the set's own module current. A bad
/// index raises EListError.
class TFactSet : public TComponent {
 public:
  explicit TFactSet(TComponent* owner);
  /// `module` is known before the set joins the engine.
  TFactSet(TComponent* owner, std::string_view name, std::string_view module);
  ~TFactSet() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  void SetComment(std::string_view comment) { comment_ = comment; }
  [[nodiscard]] const TKBName& GetFactSetName() const noexcept { return name_; }
  /// "Missing name" for an empty one.
  void SetFactSetName(std::string_view name);
  /// Module name; empty means the main module.
  [[nodiscard]] const std::string& GetModule() const noexcept { return module_; }
  /// Moves the set to another module and parses its entries again there.
  void SetModule(std::string_view name);
  /// Called by the engine when a template has got its present name: the texts of its facts follow.
  void TemplateRenamed(const TFactTemplate& factTemplate);
  /// Called by the module that the set stands in when that gets another name.
  void ModuleRenamed(std::string_view name) { module_ = name; }
  [[nodiscard]] TComponent* GetEngine() const noexcept { return engine_; }
  /// Joins an engine (entries are parsed) or, with null, leaves it.
  void SetEngine(TComponent* engine);
  /// Joins or leaves without parsing and without adding to the list of the module.
  void SetEngineNoParse(TComponent* engine);

  /// The entries themselves. A line that a host puts in is parsed when its fact is asked for.
  [[nodiscard]] TFactSetFacts& GetFacts() noexcept { return facts_; }
  [[nodiscard]] const TFactSetFacts& GetFacts() const noexcept { return facts_; }
  [[nodiscard]] int GetFactCount() const noexcept { return facts_.GetCount(); }
  [[nodiscard]] const std::string& GetFactText(int index) const { return facts_.Get(index); }
  /// The parsed fact, parsed on demand; null without an engine.
  [[nodiscard]] IFact GetFact(int index);
  /// The parsed fact as it stands, or null; parses nothing.
  [[nodiscard]] const IFact& PeekFact(int index) const { return facts_.GetData(index); }
  /// Writes the fact and leaves the text alone.
  void SetFact(int index, const IFact& fact) { facts_.PutData(index, fact); }
  /// Drops the parsed fact; the text is read again when the fact is asked for, and gives the same values.
  void Unparse(int index);
  virtual int AddFact(const IFact& fact);
  /// By identity of the fact, -1 if absent.
  [[nodiscard]] int IndexOf(const TFact* fact) const noexcept;
  int Remove(const TFact* fact);
  /// Replaces all entries by these texts; with an engine each is parsed, and a line that does not parse raises.
  void SetFacts(const TStrings& texts);
  void SetFacts(const std::vector<std::string>& texts);

  /// Makes the set's module current; `previous` receives the module that was, if the focus moved. The caller
  /// gives it the focus back. Without `force` an unknown module is passed over.
  void FocusModule(bool force, IModule& previous);
  /// Asserts clones of the facts, resolved afresh. An entry that does not parse is passed over. Ends when
  /// what the facts call takes the set out of its engine.
  virtual void Reset();
  /// Joins the set to its module's list if needed, then Reset.
  virtual void Reload();

  /// Takes over the source's state; its facts are printed and read anew for this set's engine. When that
  /// fails, for a fact or for want of the module, the set stays as it was.
  void Assign(const TPersistent& source) override;
  /// A set like this one under `owner`, joined to it when it is an engine. There it takes the place of a set
  /// of its name in its module, which the engine frees if it owns it.
  [[nodiscard]] TFactSet* Clone(TComponent* owner) const;
  [[nodiscard]] std::string ToString() const;
  void DefineProperties(TFiler& filer) override;
  void Loaded() override;
  void Notification(TComponent& component, TOperation operation) override;

 private:
  class TModuleScope;

  void JoinOwner();
  void FocusNamed(std::string_view module, bool force, IModule& previous);
  [[nodiscard]] bool IsIn(const TInferenceEngine& engine) const noexcept { return inferenceEngine_ == &engine; }
  void StoreEngine(TComponent* engine);
  void ChangeEngine(TComponent* engine, bool force);
  [[nodiscard]] TFactSets* ListIn(TInferenceEngine& engine) const;
  void ParseEntry(int index);
  void ParseEntries();
  void ClearParsed();
  void CopyEntries(const TFactSet& source, TFactSetFacts& target);

  std::string comment_;
  TComponent* engine_ = nullptr;
  TInferenceEngine* inferenceEngine_ = nullptr;  // engine_ when it is one
  TKBName name_ = "FactSet";
  TFactSetFacts facts_;
  std::string module_;
};

}  // namespace kb
