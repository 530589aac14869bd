// Rules and their patterns.
//
// Adding a pattern to a rule runs the binding analysis: which slot of which pattern gives each variable,
// hidden patterns, private names for anonymous variables, and or-constraints rewritten into calls. The parser
// and a host that builds rules by hand meet the same code; the network compiler takes the result unchanged.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kb/language/KBPatternTest.h"
#include "kb/platform/Component.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBTypes.h"

namespace kb {

/// One conditional element of a rule.
class TKBPattern : public TPersistent {
 public:
  /// A pattern named as its template, with an empty test list for each slot of the template. `owner` is the
  /// rule or the engine; it may be null.
  TKBPattern(TComponent* owner, const IFactTemplate& factTemplate);
  TKBPattern(TComponent* owner, const IFactTemplate& factTemplate, std::string_view name, int negatedCount);
  /// Copies the tests of `source`; anonymous variables get new names.
  TKBPattern(TComponent* owner, const TKBPattern& source, std::string_view name, int negatedCount);
  ~TKBPattern() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] bool GetUnique() const noexcept { return unique_; }
  virtual void SetUnique(bool value);
  [[nodiscard]] bool GetExplicit() const noexcept { return explicit_; }
  virtual void SetExplicit(bool value);
  [[nodiscard]] const IFactTemplate& GetFactTemplate() const noexcept { return template_; }
  /// not adds 1, exists adds 2.
  [[nodiscard]] int GetNegatedCount() const noexcept { return negatedCount_; }
  virtual void SetNegatedCount(int value);
  [[nodiscard]] bool IsNegated() const noexcept { return negatedCount_ % 2 != 0; }
  [[nodiscard]] const TKBName& GetBoundName() const noexcept { return boundName_; }
  /// "Cannot bind a negated pattern to a variable" for a negated test element.
  virtual void SetBoundName(std::string_view name);
  [[nodiscard]] const TKBName& GetName() const noexcept { return name_; }
  virtual void SetName(std::string_view name);
  /// The template has got its present name; the pattern bears it too. The network is not touched.
  void TemplateRenamed();
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  void SetComment(std::string_view comment) { comment_ = comment; }
  [[nodiscard]] bool IsTest() const noexcept { return name_ == STestCE; }
  [[nodiscard]] bool IsGoal() const noexcept { return name_.starts_with(SBackChainPrefix); }

  // Slots stand in the order of their names, without regard to case. A bad index raises EListError.
  [[nodiscard]] int GetSlotCount() const noexcept { return static_cast<int>(slots_.size()); }
  [[nodiscard]] const TKBText& GetSlotName(int slot) const { return SlotAt(slot).name; }
  [[nodiscard]] int GetSlotTestCount(int slot) const { return static_cast<int>(GetSlotTests(slot).size()); }
  [[nodiscard]] const TKBPatternMatchTest& GetSlotTest(int slot, int test) const;
  [[nodiscard]] TKBPatternMatchTest& GetSlotTest(int slot, int test);
  [[nodiscard]] const TSlotTests& GetSlotTests(int slot) const { return SlotAt(slot).tests; }
  /// Number of fields written in a multislot, -1 when not set.
  [[nodiscard]] int GetSlotLength(int slot) const { return SlotAt(slot).length; }
  virtual void SetSlotLength(std::string_view slotName, int length);
  /// -1 if absent.
  [[nodiscard]] int IndexOfSlotName(std::string_view name) const noexcept;
  /// "Fact Template is missing", "No such slot name: "%s"". A registered rule is compiled anew; one that
  /// cannot be with the new test is left without it.
  virtual TKBPatternMatchTest& AddTest(std::string_view slotName, const IKBValue& value, int subIndex = NoSubIndex,
                                       bool negated = false, bool conjunction = true);
  virtual TKBPatternMatchTest& AddTest(std::string_view slotName, std::unique_ptr<TKBPatternMatchTest> test);
  /// Rewrites the or-constraints of each slot into a variable and a call of `or`. "Rule missing for pattern".
  virtual void FixTests();

  void BeginUpdate() noexcept { ++updates_; }
  void EndUpdate();
  /// A test of the pattern changed; called by the tests.
  virtual void TestChange();
  std::function<void(TKBPattern&)> OnChange;

  [[nodiscard]] TComponent* GetOwner() const noexcept { return owner_; }
  virtual void SetOwner(TComponent* owner) { owner_ = owner; }
  [[nodiscard]] TRule* GetRule() const noexcept;
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept;

  void Assign(const TPersistent& source) override;
  /// A copy for `engine`, whose module in focus it is made for: a template of another engine or module is
  /// found there by name, or made when the engine is another one.
  [[nodiscard]] virtual std::unique_ptr<TKBPattern> Clone(TInferenceEngine* engine) const;
  [[nodiscard]] std::string ToString() const;

 protected:
  virtual void Change();

 private:
  struct Slot {
    TKBText name;
    TSlotTests tests;
    int length = -1;
  };
  [[nodiscard]] const Slot& SlotAt(int slot) const {
    CheckListIndex(slot, GetSlotCount());
    return slots_[static_cast<size_t>(slot)];
  }
  void InitializeClass();
  void MoveValues(TInferenceEngine& engine);
  [[nodiscard]] Slot& FindSlot(std::string_view name);
  [[nodiscard]] TSlotTests FixSlot(Slot& slot);
  void FixRun(const Slot& slot, size_t begin, size_t end, TSlotTests& result);
  void KeepBound(const Slot& slot, size_t begin, size_t end, TSlotTests& result) const;

  bool unique_ = false;
  bool explicit_ = false;
  IFactTemplate template_;
  int negatedCount_ = 0;
  TKBName boundName_;
  TKBName name_;
  std::vector<Slot> slots_;
  int updates_ = 0;
  TComponent* owner_;
  std::string comment_;
};

using TRuleFireEvent = std::function<void(TRule& rule, TKBContext& context)>;

/// A rule. A component: the engine owns the rules that the parser made, a host its own. A rule is built
/// between BeginUpdate and EndUpdate, whose change tells the engine.
///
/// Patterns and actions are what is compiled: a change of them compiles a registered rule anew, which
/// withdraws its activations and makes those of the facts that stand now. Comment, salience, one shot,
/// auto-focus and enabled take effect without that: activations that wait on the agenda stay where they are,
/// and only OnChange fires.
class TRule : public TComponent {
 public:
  /// An owner that is an engine becomes the rule's engine, without registration.
  explicit TRule(TComponent* owner);
  TRule(TComponent* owner, std::string_view name, std::string_view module);
  ~TRule() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] int32_t GetId() const noexcept { return id_; }
  [[nodiscard]] const TKBName& GetRuleName() const noexcept { return name_; }
  /// ""%s" contains unexpected character: "%s"", "Missing name"; a registered rule is renamed in its registry.
  virtual void SetRuleName(std::string_view name);
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  void SetComment(std::string_view comment);
  /// Module name; empty means MAIN.
  [[nodiscard]] const std::string& GetModule() const noexcept { return module_; }
  /// A registered rule moves to the rules of that module. On an exception it stays where it was.
  void SetModule(std::string_view name);
  /// Called by the engine when a template has got its present name.
  void TemplateRenamed(const TFactTemplate& factTemplate);
  /// Called by the module that the rule stands in when that gets another name.
  void ModuleRenamed(std::string_view name) { module_ = name; }
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  /// Leaves the old engine's rules and joins the new engine's, with a new id. On an exception it stays where
  /// it was.
  virtual void SetEngine(TInferenceEngine* engine);
  /// Called by the registry when it takes or drops the rule; registers nothing.
  void AttachEngine(TInferenceEngine* engine);

  [[nodiscard]] int32_t GetSalience() const noexcept { return salience_; }
  [[nodiscard]] const IKBValue& GetSalienceValue() const noexcept { return salienceValue_; }
  /// Stores the value and evaluates it at once; one that gives no integer changes nothing and raises.
  virtual void SetSalience(const IKBValue& value);
  /// Stores the integer and puts it in place of the expression.
  void SetSalienceInteger(int32_t value);
  /// Works the salience out anew, stores the integer, keeps the expression.
  virtual int32_t EvaluateSalience();
  [[nodiscard]] bool GetOneShot() const noexcept { return oneShot_; }
  void SetOneShot(bool value);
  [[nodiscard]] bool GetEnabled() const noexcept { return enabled_; }
  /// Without recompiling: an enabled rule activates for what matches from now on.
  void SetEnabled(bool value);
  [[nodiscard]] bool GetAutoFocus() const noexcept { return autoFocus_; }
  void SetAutoFocus(bool value);
  /// True from the first firing to the next Reset.
  [[nodiscard]] bool HasFired() const noexcept { return fired_; }
  /// For copies that go on where their source stands.
  void SetFired(bool value) noexcept { fired_ = value; }

  [[nodiscard]] int GetPatternCount() const noexcept { return static_cast<int>(patterns_.size()); }
  /// Raises EListError for a bad index, as GetAction and GetBinding do.
  [[nodiscard]] TKBPattern& GetPattern(int index) const {
    CheckListIndex(index, GetPatternCount());
    return *patterns_[static_cast<size_t>(index)];
  }
  /// First pattern on that template, or -1.
  [[nodiscard]] int IndexOfPattern(const TFactTemplate* factTemplate) const noexcept;
  /// Appends the pattern and runs the analysis. "Unknown/Undefined Inference Engine", "Fact Template is
  /// missing", "First Use of Variable is negated, variable name is %s"; the pattern is then not in the rule.
  TKBPattern& AddPattern(std::unique_ptr<TKBPattern> pattern);
  /// Replaces the patterns by clones; the negated pattern behind a goal pattern is made anew, not copied. On
  /// an exception of the analysis the rule keeps its patterns.
  void SetPatterns(const TRule& source);
  void ClearPatterns();
  [[nodiscard]] int GetActionCount() const noexcept { return static_cast<int>(actions_.size()); }
  [[nodiscard]] const IFunCall& GetAction(int index) const {
    CheckListIndex(index, GetActionCount());
    return actions_[static_cast<size_t>(index)];
  }
  void AddAction(const IFunCall& action);
  void DeleteAction(int index);
  void SetActions(std::vector<IFunCall> actions);
  void ClearActions();

  /// Position in the token of the last pattern that takes one.
  [[nodiscard]] int GetLastFactPosition() const noexcept;
  virtual TBinding& AddBinding(std::string_view name, int factIndex, std::string_view slotName, int subIndex);
  [[nodiscard]] int GetBindingCount() const noexcept { return static_cast<int>(bindings_.size()); }
  [[nodiscard]] TBinding& GetBinding(int index) const {
    CheckListIndex(index, GetBindingCount());
    return *bindings_[static_cast<size_t>(index)];
  }
  [[nodiscard]] int IndexOfBinding(const TKBText& name) const noexcept;
  [[nodiscard]] TBinding* GetBindingByName(const TKBText& name) const noexcept;

  /// Puts the values of all bindings, and the rule's name, into `context`.
  virtual void Prepare(TKBToken& token, TKBContext& context);
  /// Runs the actions for a token; "Unknown/Undefined Inference Engine".
  virtual void Fire(TKBToken& token);
  /// Clears the fired mark.
  virtual void Reset() { fired_ = false; }
  TRuleFireEvent OnFire;
  std::function<void(TRule&)> OnChange;

  virtual void BeginUpdate() noexcept { ++updates_; }
  virtual void EndUpdate();
  [[nodiscard]] bool IsUpdating() const noexcept { return updates_ > 0; }
  /// Tells the engine, which compiles the rule anew, and OnChange; nothing inside an update.
  virtual void Change();

  /// Makes the rule's module current; `previous` receives the module that was, if the focus moved.
  void FocusModule(bool force, IModule& previous);
  /// A copy of all but module, id and fired mark, for the engine and module of this rule; a registered rule
  /// is renamed in its registry. On an exception of the copying nothing has changed. "Unknown/Undefined
  /// Inference Engine".
  void Assign(const TPersistent& source) override;
  [[nodiscard]] std::string ToString() const;
  void Notification(TComponent& component, TOperation operation) override;
  void DefineProperties(TFiler& filer) override;
  /// Takes the rule's text to its engine, at once or, while that is being read itself, when it is complete.
  void Loaded() override;
  /// Becomes what the text says that was read from a component stream, and joins the rules of its module in place of
  /// one of its name. Without a text or engine nothing happens.
  virtual void Reload();

  /// What the compiler did for this rule, in short marks.
  [[nodiscard]] const std::string& GetCompileTrace() const noexcept { return compileTrace_; }
  void SetCompileTrace(std::string trace) { compileTrace_ = std::move(trace); }
  void AppendCompileTrace(std::string_view mark) { compileTrace_ += mark; }

 protected:
  /// The analysis for the pattern at `index`, which has just been inserted.
  virtual void AnalysePattern(size_t index);

 private:
  /// A property changed that is not compiled.
  void TellChange();
  void BindVariables(TKBPattern& pattern, int position);
  void AppendGoalNegation(const TKBPattern& goal);
  [[nodiscard]] int FactPosition(size_t index) const noexcept;
  [[nodiscard]] IKBValue BindingValue(const TBinding& binding, TKBToken& token) const;

  int32_t id_ = 0;
  int32_t salience_ = 0;
  std::string comment_;
  TKBName name_;
  IKBValue salienceValue_;
  std::vector<IFunCall> actions_;
  std::vector<std::unique_ptr<TKBPattern>> patterns_;
  std::vector<std::unique_ptr<TKBPattern>> retired_;  // replaced ones, which the network may read until the change
  std::vector<std::unique_ptr<TBinding>> bindings_;
  TInferenceEngine* engine_ = nullptr;
  int updates_ = 0;
  bool oneShot_ = false;
  bool fired_ = false;
  bool enabled_ = true;
  bool autoFocus_ = false;
  std::string module_;
  std::string compileTrace_;
  std::string storedText_;  // from a component stream, until Reload
};

}  // namespace kb
