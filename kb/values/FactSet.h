// The deffacts construct: a named list of facts that every reset asserts.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kb/platform/Component.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TFactSets;

/// A component that holds facts as texts first and as parsed facts second: it can be filled before its engine and
/// their templates exist. The text of an entry always stands; the fact is a cache that is cleared whenever the engine
/// changes. All that parses or asserts does so with the set's own module current.
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
  void SetFactSetName(std::string_view name) { name_ = name; }
  /// Module name; empty means the main module.
  [[nodiscard]] const std::string& GetModule() const noexcept { return module_; }
  /// Moves the set to another module and parses its entries again there.
  void SetModule(std::string_view name);
  [[nodiscard]] TComponent* GetEngine() const noexcept { return engine_; }
  /// Joins an engine (entries are parsed) or, with null, leaves it.
  void SetEngine(TComponent* engine);
  /// Joins or leaves without parsing and without adding to the list of the module.
  void SetEngineNoParse(TComponent* engine);

  [[nodiscard]] int GetFactCount() const noexcept { return static_cast<int>(entries_.size()); }
  [[nodiscard]] const std::string& GetFactText(int index) const;
  /// The parsed fact, parsed on demand; null without an engine.
  [[nodiscard]] IFact GetFact(int index);
  /// The parsed fact as it stands, or null; parses nothing.
  [[nodiscard]] const IFact& PeekFact(int index) const;
  /// Writes the fact and leaves the text alone.
  void SetFact(int index, const IFact& fact);
  virtual int AddFact(const IFact& fact);
  /// By identity of the fact, -1 if absent.
  [[nodiscard]] int IndexOf(const TFact* fact) const noexcept;
  int Remove(const TFact* fact);
  /// Replaces all entries by these texts; with an engine each is parsed, and a line that does not parse raises.
  void SetFacts(const std::vector<std::string>& texts);

  /// Makes the set's module current; `previous` receives the module that was, if the focus moved. The caller gives it
  /// the focus back. Without `force` an unknown module is passed over.
  void FocusModule(bool force, IModule& previous);
  /// Asserts clones of the facts, resolved afresh. An entry that does not parse is passed over.
  virtual void Reset();
  /// Joins the set to its module's list if needed, then Reset.
  virtual void Reload();

  void Assign(const TPersistent& source) override;
  [[nodiscard]] TFactSet* Clone(TComponent* owner) const;
  [[nodiscard]] std::string ToString() const;
  void Loaded() override;
  void Notification(TComponent& component, TOperation operation) override;

 private:
  struct Entry {
    std::string text;
    IFact fact;
  };
  [[nodiscard]] TInferenceEngine* Engine() const noexcept { return inferenceEngine_; }
  void StoreEngine(TComponent* engine);
  void ChangeEngine(TComponent* engine, bool force);
  [[nodiscard]] TFactSets* ListIn(TInferenceEngine& engine) const;
  void ParseEntry(size_t index);
  void CheckIndex(int index) const;

  std::string comment_;
  TComponent* engine_ = nullptr;
  TInferenceEngine* inferenceEngine_ = nullptr;  // engine_ when it is one
  TKBName name_ = "FactSet";
  std::vector<Entry> entries_;
  std::string module_;
};

}  // namespace kb
