// The inference engine: the one object that a host program creates.
//
// A short tour:
//
//   kb::TInferenceEngine engine;
//   engine.OnPrintOut = [](kb::TInferenceEngine&, std::string_view, std::string_view text) { std::cout << text; };
//   engine.Parse("(deftemplate reading (slot value))"
//                "(defrule hot (reading (value ?v&:(> ?v 30))) => (printout t \"hot: \" ?v crlf))", true);
//   engine.Reset();
//   engine.Assert("(reading (value 35))");
//   int fired = engine.Run();
//
// Knowledge comes in as text (Parse and its relatives) or as objects; facts are asserted and retracted; Run
// fires the rules that match, highest salience first, until the agenda is empty, a limit is reached or
// something halts it. All work happens on the caller's thread, from a call into the engine; only Lock may be
// called from a second thread while Run works. Operations raise descendants of EException, mostly
// EKBException with a message identifier. A null handle where an object is needed raises "Missing %s", an
// empty name "Missing name", a bad index EListError, a module that the engine does not hold "No such module
// with name=%s exists"; nothing has changed then. Handlers and functions may call back into the engine; what
// they raise goes on to the caller, and the engine stays consistent.
//
// The engine owns everything made through it: modules, rules and fact sets that the parser made, packages,
// streams. The fields that GetFacts, GetRules and the like show are those of the module in focus.
//
// The implementation is split by theme: InferenceEngine.cpp (life, settings), ...Copy.cpp, ...Modules.cpp,
// ...Facts.cpp, ...Fuzzy.cpp, ...Constructs.cpp, ...Dependencies.cpp, ...Parsing.cpp, ...Persistence.cpp,
// ...Streaming.cpp, ...Output.cpp, ...Run.cpp.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "kb/engine/KBFactList.h"
#include "kb/engine/KBRegistries.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBClipsParser.h"
#include "kb/language/KBRule.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/matching/ActivationAgenda.h"
#include "kb/platform/Component.h"
#include "kb/platform/Encoding.h"
#include "kb/values/FactSet.h"
#include "kb/values/KBModule.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TReteNetwork;

/// Makes the parser of an engine, and the tokenizer over a source, in place of the built-in ones.
using TParserFactory = std::function<std::unique_ptr<TKBParser>(TInferenceEngine&)>;
using TTokenizerFactory =
    std::function<std::unique_ptr<TKBTokenizerStream>(TInferenceEngine&, std::istream&, const TEncoding*)>;

class TInferenceEngine : public TComponent,
                         public IReasoner,
                         public ISingletonsParser,
                         public IFuzzyParser,
                         public TWeakTarget<TInferenceEngine> {
 public:
  // ---- Life

  /// An engine with the main module, all packages and the fact (Initial-Fact) with id 0. `owner` may be null.
  explicit TInferenceEngine(TComponent* owner = nullptr);
  /// Fires no event. Rules, fact sets and functions that others own live on without an engine.
  ~TInferenceEngine() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// Back to empty: facts, rules, templates, modules but the main one, functions of the language, storage, streams.
  /// Built-in and host functions and the globals stay. (Initial-Fact) comes back with the next Reset.
  virtual void Clear();
  /// One module back to empty.
  virtual void Clear(const IModule& module);
  /// The whole engine from a text: Clear, the text with its calls executed, Reset.
  virtual void SetExpertSystem(std::string_view text);
  virtual void ClearFacts(const IModule& module);
  /// Start of a run: focus on the main module, facts cleared, fact sets asserted, (Initial-Fact), globals restored.
  virtual void Reset();
  virtual void Reset(const IModule& module);

  /// Makes this engine a copy of another one, which goes on where its source stands: settings, parser,
  /// functions (built-in and host functions are shared), globals and stored values, modules with all that
  /// they hold, facts under their ids, agendas, focus. What was here before is cleared; events and streams
  /// stay this engine's. Nothing that is done to one of the two later reaches the other.
  void Assign(const TPersistent& source) override;

  /// Enters the one critical section of the engine; Run holds it around each firing. Reentrant.
  void Lock();
  /// "The engine is not locked by this thread".
  void Unlock();

  // ---- Settings

  [[nodiscard]] TSearchStrategy GetStrategy() const noexcept { return strategy_; }
  /// Another value rebuilds the agenda: every activation goes through AddActivation again, as a clone.
  virtual void SetStrategy(TSearchStrategy value);
  [[nodiscard]] TSalience GetEvalSalience() const noexcept { return evalSalience_; }
  void SetEvalSalience(TSalience value) noexcept { evalSalience_ = value; }
  [[nodiscard]] TFunctionPackages GetPackages() const noexcept { return packages_; }
  /// Another value frees all packages that the engine owns and makes those of the set.
  void SetPackages(TFunctionPackages value);
  [[nodiscard]] TTypeChecks GetTypeChecks() const noexcept { return typeChecks_; }
  void SetTypeChecks(TTypeChecks value);
  [[nodiscard]] TDuplicateConstructs GetDuplicateConstructs() const noexcept { return duplicateConstructs_; }
  void SetDuplicateConstructs(TDuplicateConstructs value) noexcept { duplicateConstructs_ = value; }
  [[nodiscard]] TErrorHandling GetParserErrorHandling() const noexcept { return parserErrorHandling_; }
  void SetParserErrorHandling(TErrorHandling value);
  [[nodiscard]] int GetParserMaxErrors() const noexcept { return parserMaxErrors_; }
  void SetParserMaxErrors(int value);
  /// True: equal facts may coexist.
  [[nodiscard]] bool GetFactDuplication() const noexcept { return factDuplication_; }
  void SetFactDuplication(bool value);
  [[nodiscard]] bool GetFuzzyAutoTerms() const noexcept { return fuzzyAutoTerms_; }
  void SetFuzzyAutoTerms(bool value) noexcept { fuzzyAutoTerms_ = value; }
  [[nodiscard]] TFuzzyCorrelationMethod GetFuzzyCorrelationMethod() const noexcept { return fuzzyCorrelation_; }
  void SetFuzzyCorrelationMethod(TFuzzyCorrelationMethod value) noexcept { fuzzyCorrelation_ = value; }
  [[nodiscard]] TFuzzyInferenceMethod GetFuzzyInferenceMethod() const noexcept { return fuzzyInference_; }
  void SetFuzzyInferenceMethod(TFuzzyInferenceMethod value) noexcept { fuzzyInference_ = value; }
  [[nodiscard]] float GetFuzzyEqualsThreshold() const noexcept { return fuzzyEqualsThreshold_; }
  /// Clamped to 0 to 1, NaN to 0, and passed on to the variables of all fuzzy types.
  void SetFuzzyEqualsThreshold(float value);
  [[nodiscard]] float GetMinActivationStrength() const noexcept { return minActivationStrength_; }
  /// Clamped to 0 to 1 and passed on to the current network.
  void SetMinActivationStrength(float value);
  [[nodiscard]] bool GetResetGlobals() const noexcept { return resetGlobals_; }
  void SetResetGlobals(bool value) noexcept { resetGlobals_ = value; }
  [[nodiscard]] int32_t GetSymbolIndex() const noexcept { return symbolIndex_; }
  /// Never moves the index back: a smaller or equal value raises it by one.
  void SetSymbolIndex(int32_t value) noexcept;
  [[nodiscard]] TConstructWatches GetWatch() const noexcept { return watch_; }
  void SetWatch(TConstructWatches value) noexcept { watch_ = value; }
  [[nodiscard]] float GetVersion() const noexcept { return version_; }

  // ---- Text in
  //
  // Each takes a text and an encoding (null: UTF-8) and gives the parser its former stream back in all cases, so
  // that it may be called from inside a parse or a rule action. Errors are EKBParseException.

  /// Reads a text of constructs and calls; calls are run when `execute` is set, and their values printed.
  virtual void Parse(std::string_view text, bool execute, const TEncoding* encoding = nullptr);
  /// A value of the given type from a text.
  [[nodiscard]] virtual IKBValue Parse(std::string_view text, TKBType type, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual TParsedType ParseConstructType(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IKBDefinedType ParseDefinedType(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IFact ParseFact(std::string_view text, const TEncoding* encoding = nullptr);
  virtual std::string ParseFactSlot(const IFact& fact, std::string_view text, const TEncoding* encoding = nullptr);
  /// The set is owned by the engine as component, and not registered.
  [[nodiscard]] virtual TFactSet* ParseFactSet(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IFunCall ParseFunCall(std::string_view text, const TEncoding* encoding = nullptr);
  /// The module part; `name` receives the name part.
  virtual std::string ParseFullName(std::string_view text, std::string& name, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IFactTemplate ParseFactTemplate(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IFactSlot ParseFactTemplateSlot(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IInterpretedFunction ParseFunction(std::string_view text, const TEncoding* encoding = nullptr);
  virtual void ParseGlobalVariables(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IKBValue ParseVariable(std::string_view text, std::string& name,
                                               const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IValueVector ParseList(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IKBValue ParseNExecuteFunCall(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IModule ParseModule(std::string_view text, const TEncoding* encoding = nullptr);
  /// The rule is owned by the engine as component, and not registered.
  [[nodiscard]] virtual TRule* ParseRule(std::string_view text, const TEncoding* encoding = nullptr);
  virtual void ParseRuleActions(TRule& rule, std::string_view text, TRuleVariables& variables,
                                const TEncoding* encoding = nullptr);
  virtual void ParseRulePatterns(TRule& rule, std::string_view text, TRuleVariables& variables,
                                 const TEncoding* encoding = nullptr);
  [[nodiscard]] ISingletonsVector ParseSingletons(std::string_view text) override;
  [[nodiscard]] virtual IKBValue ParseValue(std::string_view text, const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IKBValue ParseValue(std::string_view text, const IFactSlot& slot,
                                            const TEncoding* encoding = nullptr);
  [[nodiscard]] virtual IKBValue ParseValue(std::string_view text, TKBTypes types, const IKBDefinedType& type,
                                            const TEncoding* encoding = nullptr);
  /// Each line of the stream is parsed and executed; functions that read take the following lines.
  virtual bool Batch(std::istream& stream, const TEncoding* encoding = nullptr);
  bool Batch(const std::string& fileName, const TEncoding* encoding = nullptr);

  // ---- Loading and saving
  //
  // Knowledge is saved as a text of the language that reads back exactly: numbers with all their digits, texts
  // escaped, whatever refers to whatever. A load parses its whole stream, which may hold any constructs, with calls
  // executed; the name says only what is cleared first. A load that fails leaves what had been read by then; the
  // parser goes on with its former stream. A save to a file replaces the file as a whole: when it fails, the old file
  // stays. Encodings: null is UTF-8; a mark at the start of a stream decides. A file that cannot be opened or written
  // raises EStreamError. Cost: linear in the text.

  /// Nothing is cleared first.
  virtual void LoadFromStream(std::istream& stream, const TEncoding* encoding = nullptr);
  void LoadFromFile(const std::string& fileName, const TEncoding* encoding = nullptr);
  /// Writes GetExpertSystem(false).
  virtual void SaveToStream(std::ostream& stream, const TEncoding* encoding = nullptr);
  void SaveToFile(const std::string& fileName, const TEncoding* encoding = nullptr);
  /// The whole engine as a text: head, fact duplication, globals, functions, modules, focus stack. With `bodyOnly` the
  /// modules, which then hold the functions, and the focus stack.
  [[nodiscard]] virtual std::string GetExpertSystem(bool bodyOnly);
  [[nodiscard]] std::string GetExpertSystem() { return GetExpertSystem(false); }
  /// All modules. A load clears them all; a main module that the stream does not bring is made anew.
  virtual void LoadModules(std::istream& stream, const TEncoding* encoding = nullptr);
  void LoadModules(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void SaveModules(std::ostream& stream, const TEncoding* encoding = nullptr);
  void SaveModules(const std::string& fileName, const TEncoding* encoding = nullptr);
  /// The defined types of the current module; a load clears them first, as the next two do.
  virtual void LoadDefinedTypes(std::istream& stream, const TEncoding* encoding = nullptr);
  void LoadDefinedTypes(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void SaveDefinedTypes(std::ostream& stream, const TEncoding* encoding = nullptr);
  void SaveDefinedTypes(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void LoadFactTemplates(std::istream& stream, const TEncoding* encoding = nullptr);
  void LoadFactTemplates(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void SaveFactTemplates(std::ostream& stream, const TEncoding* encoding = nullptr);
  void SaveFactTemplates(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void LoadRules(std::istream& stream, const TEncoding* encoding = nullptr);
  void LoadRules(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void SaveRules(std::ostream& stream, const TEncoding* encoding = nullptr);
  void SaveRules(const std::string& fileName, const TEncoding* encoding = nullptr);
  /// The facts of the current module, without ids. A load clears nothing and asserts a text of facts.
  virtual void LoadFacts(std::istream& stream, const TEncoding* encoding = nullptr);
  void LoadFacts(const std::string& fileName, const TEncoding* encoding = nullptr);
  virtual void SaveFacts(std::ostream& stream, const TEncoding* encoding = nullptr);
  void SaveFacts(const std::string& fileName, const TEncoding* encoding = nullptr);
  /// Only the facts whose template has that name.
  virtual void SaveFacts(std::ostream& stream, std::string_view templateName, const TEncoding* encoding = nullptr);
  void SaveFacts(const std::string& fileName, std::string_view templateName, const TEncoding* encoding = nullptr);

  // ---- Component streams, see kb/platform/ComponentStream.h
  //
  // An engine stores its settings, the text of its modules and functions, and its globals; of what it owns, the
  // packages and function components of the host. Rules and fact sets of other owners are stored by those, and come
  // back in place of their likes in the text.

  void DefineProperties(TFiler& filer) override;
  [[nodiscard]] std::vector<TComponent*> GetStreamedChildren() const override;
  /// All components of the stream have their properties: the texts are parsed, then the rules and fact sets that
  /// asked for it by Reload come in.
  void Loaded() override;
  /// Called by rules and fact sets that are read before the engine is complete.
  void Reload(TComponent& component);

  // ---- Facts

  /// Asserts a fact; gives its id, or -1 when an equal one exists (unless FactDuplication). The network pass
  /// is complete before pending facts run, and those before OnAssertion. "Fact Template is missing".
  /// A fact of a fuzzy template is never refused: while a rule fires, the strength of its activation limits the fuzzy
  /// values (FuzzyCorrelation), and an equal fact is merged into it (FuzzyOperation; with `unconditional` the
  /// intersection) and retracted.
  virtual int32_t Assert(const IFact& fact, bool unconditional = false);
  /// The same with a way of merging for this call.
  int32_t Assert(const IFact& fact, TFuzzyInferenceMethod method, bool unconditional);
  /// Parses the text of one fact, resolves it and asserts it.
  int32_t Assert(std::string_view text);
  /// The fact of that id: in the current module, or else in any; null if absent.
  [[nodiscard]] IFact FindFact(int32_t id) const;
  /// An unknown id or fact is no error.
  void Retract(int32_t id);
  void Retract(const IFact& fact);
  void Retract(std::string_view text);
  /// By index in GetFacts(); raises EListError for a bad one.
  virtual void RetractFact(int index);
  void RetractFact(const IFact& fact);
  /// Sends the clear token through the network; called when the list has been emptied.
  virtual void RetractFacts();
  virtual void AddPendingFact(const IFact& fact, bool assertIt);
  [[nodiscard]] IFact GetFactPending(int index) const;
  virtual void ProcessPendingFacts();
  void AddFactToModule(const IFact& fact, TModule* module);
  void RemoveFactFromModule(int index, const IFact& fact, TModule* module);
  virtual void BeginFactModify(const IFact& fact);
  virtual int32_t EndFactModify(const IFact& fact);
  virtual int32_t UpdateDependentFact(const IFact& oldFact, const IFact& newFact);
  [[nodiscard]] bool IsModifyingFact() const noexcept { return modifyingFact_; }
  /// All facts of all modules; without `duplicates` one that modules share appears once.
  [[nodiscard]] virtual std::unique_ptr<TFacts> GetFacts(bool duplicates) const;
  [[nodiscard]] int32_t NewFactId() noexcept { return Advance(factIdCounter_); }
  [[nodiscard]] int32_t NewRuleId() noexcept { return Advance(ruleIdCounter_); }
  [[nodiscard]] int32_t GetFactIdCounter() const noexcept { return factIdCounter_; }
  void SetFactIdCounter(int32_t value) noexcept { factIdCounter_ = value; }
  void SetRuleIdCounter(int32_t value) noexcept { ruleIdCounter_ = value; }

  // ---- Fuzzy values
  //
  // Facts and values that are changed here get sets of their own; what stands elsewhere keeps its set.

  /// The value, list or text as fuzzy value of the variable; see TFuzzyExpression. `context` may be null: what needs
  /// one then comes back as it was written.
  [[nodiscard]] IKBValue EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, const IKBValue& value,
                                             TKBContext* context);
  [[nodiscard]] IKBValue EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, const TValueVector& list,
                                             TKBContext* context);
  [[nodiscard]] IKBValue EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                             TKBContext* context);
  double EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text, Ref<IFuzzySet>& set) override;
  [[nodiscard]] Ref<IFuzzySet> EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text) override;
  /// Parses the text and evaluates it in the global context.
  [[nodiscard]] Ref<IFuzzySet> ParseFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                                    const TEncoding* encoding = nullptr);
  /// "(term name expression)"; the set is not added to the variable.
  [[nodiscard]] Ref<IFuzzySet> ParseFuzzySet(const Ref<IFuzzyVariable>& variable, std::string_view text) override;
  [[nodiscard]] virtual Ref<IFuzzySet> ParseFuzzySet(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                                     const TEncoding* encoding);
  /// The body of a fuzzy deftype.
  [[nodiscard]] Ref<IFuzzyVariable> ParseFuzzyVariable(std::string_view text) override;
  [[nodiscard]] virtual Ref<IFuzzyVariable> ParseFuzzyVariable(std::string_view text, const TEncoding* encoding);
  /// The terms low, medium and high over the universe, unless the variable has terms of these names.
  virtual void AddDefaultFuzzyTerms(const Ref<IFuzzyVariable>& variable);
  /// Limits (minimum) or scales (product) the fuzzy values of the fact by the strength; nothing for 1.
  /// OnFuzzyCorrelation may take the step over. "Fact is not a fuzzy fact".
  virtual void FuzzyCorrelation(const IFact& fact, float strength);
  /// For hosts: OnFuzzyInference, which may take the step over, then the union of `other` into `fact`.
  virtual void FuzzyInference(const IFact& fact, const IFact& other);
  /// Merges the fuzzy values of `other` into those of `fact`, in the way of FuzzyInferenceMethod. Values of different
  /// types and lists of different lengths stay as they are. "Cannot union two facts with different fact templates:
  /// %s and %s", "Fact is not a fuzzy fact".
  virtual void FuzzyOperation(const IFact& fact, const IFact& other, bool isUnion);
  /// The merged value, or the value itself where it stays.
  [[nodiscard]] virtual IKBValue FuzzyUnion(const IKBValue& value, const IKBValue& other, TFuzzyOperation operation);
  [[nodiscard]] virtual IKBValue FuzzyIntersection(const IKBValue& value, const IKBValue& other,
                                                   TFuzzyOperation operation);
  /// Prints one line of a plot: PrintOut of the line without a line end, one call for each. A host whose output is a
  /// stream of text overrides it and adds the line end.
  virtual void PrintLine(std::string_view outId, std::string_view line) { PrintOut(outId, line); }
  /// Prints a text plot of the sets, line by line; see PlotFuzzySets.
  void PlotFuzzySet(std::string_view outId, const IKBValue& value, double low, double high,
                    std::string_view characters);
  void PlotFuzzySet(std::string_view outId, const TValueVector& values, double low, double high,
                    std::string_view characters);

  // ---- Running

  /// Fires rules until the agenda of every focused module is empty, `maxRules` have fired, or something halts
  /// the run. Gives the number fired. An exception of an action passes through; the engine stays consistent.
  int32_t Run(int32_t maxRules = 2147483647);
  void SetHalt(bool value) noexcept { halt_ = value; }
  [[nodiscard]] bool GetHalt() const noexcept { return halt_; }
  [[nodiscard]] bool IsRunning() const noexcept { return isRunning_; }
  /// Puts a module on top of the focus stack; nothing when it is there.
  virtual void PushFocus(const IModule& module);
  /// "No such module with name=%s exists".
  void PushFocus(std::string_view name);
  /// The popped module, or null; popping the last one halts.
  virtual IModule PopFocus();
  [[nodiscard]] virtual IModule PeekFocus() const;
  virtual void AddActivation(const Ref<TActivation>& activation);
  virtual void RemoveActivation(int index);
  virtual void RemoveActivation(TActivation& activation);
  virtual void RuleFired(TActivation& activation);
  [[nodiscard]] Ref<TActivation> GetActivation(int index) const { return GetAgenda().GetActivation(index); }
  virtual void SetActivation(int index, const Ref<TActivation>& activation);
  [[nodiscard]] int GetAgendaCount() const noexcept { return agenda_ == nullptr ? 0 : agenda_->GetCount(); }
  /// Index at which a new activation of this salience goes, -1 for the end. Logarithmic.
  [[nodiscard]] virtual int SearchSalience(int32_t salience) const;
  [[nodiscard]] TActivation* GetCurrentAgendaItem() const noexcept { return currentAgendaItem_.Get(); }
  [[nodiscard]] int32_t GetStatNumRulesFired() const noexcept { return statRulesFired_; }
  /// Start of the run in seconds of the clock; with cwStatistics, after the run, its length in seconds.
  [[nodiscard]] double GetStatRunTime() const noexcept { return statRunTime_; }
  [[nodiscard]] int32_t GetStatMaxActivations() const noexcept { return statMaxActivations_; }
  [[nodiscard]] float GetStatMeanActivations() const noexcept { return static_cast<float>(statMeanActivations_); }
  [[nodiscard]] float GetStatMeanFacts() const noexcept { return static_cast<float>(statMeanFacts_); }
  [[nodiscard]] int32_t GetStatMaxFacts() const noexcept { return statMaxFacts_; }

  // ---- Constructs

  /// By name in the current module; null if absent.
  [[nodiscard]] TFactTemplate* FindFactTemplate(std::string_view name) const;
  [[nodiscard]] TKBDefinedType* FindDefinedType(std::string_view name) const;
  [[nodiscard]] IModule FindModule(std::string_view name) const;
  /// The template of that name in the current module, made with the comment "(Implied)" when there is none.
  virtual IFactTemplate CreateFactTemplate(std::string_view name);
  /// Registers a C++ callable under a name of the language. The counts are checked before each call. Neither
  /// the name nor the callable may be empty.
  Ref<IUserFunction> RegisterFunction(std::string_view name, TFunctionCallable body, int minArguments = 0,
                                      int maxArguments = kUnlimitedArguments);
  /// Adds the module, a main one in front, with its objects, works off its imports and gives its index; a
  /// module of that name goes first. One that is there already stays as it is. "Invalid module
  /// dependency...", before anything changes; what an import raises leaves the module in the list with the
  /// imports before it.
  virtual int AddModule(const IModule& module);
  /// Removes the module with all that it holds, and what others have of it with the facts and rules on that.
  /// The first module becomes the current one.
  virtual void RemoveModule(const IModule& module);
  /// Part of TModule: the module's pattern and table take in the initial-fact template that all modules
  /// share; the second also takes in the fact.
  void ShareInitialTemplate(TModule& module);
  void ShareInitialFact(TModule& module);
  /// Part of TFactTemplates: a template that is gone is made anew where rules and partial matches start from it.
  void RestoreBuiltIns(const TFactTemplate& removed);
  /// Part of TModule: takes objects of a module over until nothing is at work with them.
  void Retire(TModuleObjects objects);
  /// A rule has changed: compiles it anew, if it is registered.
  virtual void RuleChange(TRule& rule);
  /// Takes the rule out of its network; called by the registry. Frees it when the engine owns it.
  virtual void RemoveRule(TRule& rule);
  /// Enters the rule in the rules of its own module; takes it out again without freeing it; whether it is there.
  void RegisterRule(TRule& rule);
  void ForgetRule(TRule& rule);
  [[nodiscard]] bool IsRegistered(const TRule& rule) const;
  /// Takes a rule that left its registry out of the network too; frees it when the engine owns it.
  void DropRule(TRule& rule, TReteNetwork* network);
  /// Frees a rule or fact set that the engine owns, once nothing is at work that may still read it.
  void FreeConstruct(TComponent& construct);
  /// A construct goes away by itself: nothing is left to free.
  void ForgetConstruct(TComponent& construct) noexcept { std::erase(deferred_, &construct); }
  /// A construct is entered under its new name in every module that shares it; the rules and fact sets that
  /// name it follow. "Fact Template Name already exists: "%s"" and the like, before anything changes.
  void RenameDefinedType(TKBDefinedType& type, std::string_view oldName, std::string_view newName) override;
  void RenameFactTemplate(TFactTemplate& factTemplate, std::string_view oldName, std::string_view newName) override;
  /// Called by a template when it has its new name: rules and texts follow.
  void TemplateRenamed(const TFactTemplate& factTemplate, std::string_view oldName);
  void RenameModule(std::string_view oldName, std::string_view newName) override;
  void RenameRule(std::string_view oldName, std::string_view newName) override;
  // Removal and replacement of what others depend on. The registries call these; a host removes and replaces
  // through the registries.
  /// The template leaves every module that shares it, with its facts (a retraction each), its pending facts
  /// and the rules that match it; fact sets keep the texts.
  virtual void RemoveDependencies(const IFactTemplate& factTemplate);
  /// The type leaves every module that shares it, with the templates that use it.
  virtual void RemoveDependencies(const IKBDefinedType& type);
  /// The same for one module.
  virtual void RemoveDependencies(const IModule& module, const IFactTemplate& factTemplate);
  virtual void RemoveDependencies(const IModule& module, const IKBDefinedType& type);
  /// What depends on a template, as text, in the order in which it stood.
  struct TDependent {
    std::string text;
    IFact fact;  // null for a rule
  };
  using TDependents = std::vector<TDependent>;
  /// In the current module: what depends on the template goes, rules whose actions use it too, and is
  /// recorded for UpdateDependencies.
  virtual void RemoveDependencies(const IFactTemplate& factTemplate, TDependents& dependents);
  /// The templates of the current module are about to be cleared: facts, rules and network are, and what is
  /// at home here leaves the other modules.
  virtual void RemoveDependencies();
  /// The same for defined types.
  virtual void RemoveTypeDependencies();
  /// In every module that shares the old template. Of the same name: facts and rules are read back as far as
  /// they fit the new one. Of another: they are gone. "Fact Template, "%s", depends on non-imported Defined
  /// Type: "%s"", before anything changes.
  virtual void ReplaceTemplate(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate);
  /// In every module that shares the old type. Of the same name: templates that use it go over to the new
  /// one, by ReplaceTemplate. Of another: they are gone.
  virtual void ReplaceDefinedType(const IKBDefinedType& oldType, const IKBDefinedType& newType);
  virtual void ReplaceTypesInFactTemplates(const IKBDefinedType& oldType, const IKBDefinedType& newType);
  /// Reads back what RemoveDependencies recorded, in the current module; what no longer fits is dropped
  /// without a word.
  virtual void UpdateDependencies(const TDependents& dependents);
  [[nodiscard]] bool IsUpdatingHT() const noexcept { return updatingHT_; }
  void SetUpdatingHT(bool value) noexcept { updatingHT_ = value; }

  // Functions, as a reasoner.
  void AddUserFunction(const Ref<IUserFunction>& function) override;
  void RemoveUserFunction(const Ref<IUserFunction>& function) override;
  [[nodiscard]] bool ContainsUserFunction(std::string_view name) const override;
  [[nodiscard]] bool ContainsUserFunction(std::string_view name, Ref<IUserFunction>& function) const override;
  [[nodiscard]] std::vector<std::string> GetUserFunctions() const override;
  [[nodiscard]] Ref<IUserFunction> GetUserFunction(std::string_view name) const override;
  void SetUserFunction(std::string_view name, const Ref<IUserFunction>& function) override;
  [[nodiscard]] const TUserFunctions& GetUserFunctionTable() const noexcept { return *userFunctions_; }
  [[nodiscard]] TUserFunctions& GetUserFunctionTable() noexcept { return *userFunctions_; }

  // What the registries call; each does nothing but fire its event.
  virtual void AddRule(TRule& rule);
  virtual void AddFactTemplate(const IFactTemplate& factTemplate);
  virtual void RemoveFactTemplate(const IFactTemplate& factTemplate);
  virtual void AddDefinedType(const IKBDefinedType& type);
  virtual void RemoveDefinedType(const IKBDefinedType& type);
  virtual void AddFunction(const Ref<IUserFunction>& function);
  virtual void RemoveFunction(const Ref<IUserFunction>& function);
  virtual void ClearRules();
  virtual void ClearFactTemplates();
  virtual void ClearDefinedTypes();
  virtual void ClearModules();

  // The registries of the current module and of the engine. Those of the module raise "No such module with
  // name=%s exists" when the last module has been removed.
  [[nodiscard]] TFacts& GetFacts() const { return OfModule(facts_); }
  [[nodiscard]] TRules& GetRules() const { return OfModule(rules_); }
  [[nodiscard]] TFactTemplates& GetFactTemplates() const { return OfModule(factTemplates_); }
  [[nodiscard]] TFactSets& GetFactSets() const { return OfModule(factSets_); }
  [[nodiscard]] TKBDefinedTypes& GetDefinedTypes() const { return OfModule(definedTypes_); }
  [[nodiscard]] TReteNetwork& GetRete() const { return OfModule(rete_); }
  [[nodiscard]] TKBAgenda& GetAgenda() const { return OfModule(agenda_); }
  [[nodiscard]] TModules& GetModules() const noexcept { return *modules_; }
  [[nodiscard]] TModules& GetFocusStack() const noexcept { return *focusStack_; }
  [[nodiscard]] TGlobalVariables& GetGlobalVariables() const noexcept { return *globalVariables_; }
  [[nodiscard]] TEngineVariables& GetStorage() const noexcept { return *storage_; }
  [[nodiscard]] TIOStreams& GetIOStreams() const noexcept { return *ioStreams_; }
  [[nodiscard]] TKBContext& GetGlobalContext() const noexcept { return *globalContext_; }
  [[nodiscard]] TKBParser& GetParser() const noexcept { return *parser_; }
  [[nodiscard]] const IFact& GetNullFact() const noexcept { return nullFact_; }
  /// The pattern on the initial fact, from which a rule matches that has nothing else to match from. Made
  /// anew when its template has been removed.
  [[nodiscard]] TKBPattern* GetInitialFactPattern();
  [[nodiscard]] const IModule& GetCurrentModule() const override;
  /// Focuses the module and fires OnChangeCurrentModule; nothing when it is current.
  void SetCurrentModule(const IModule& module);
  /// Part of TModule::FocusModule: shows the module's objects in the fields. No event.
  void ShowModule(TModule& module) noexcept;
  virtual void DoChangeCurrentModule();
  virtual void ResetGlobalVariable(std::string_view name, const IKBValue& value);
  [[nodiscard]] std::string GenerateSymbol(std::string_view prefix);

  /// Replaces the parser by one that the factory makes; null, and a factory that gives null, change nothing.
  /// "The parser is at work" while it parses.
  void SetParserFactory(TParserFactory factory);
  /// Texts that are parsed from now on go through the tokenizers of the factory; null changes nothing. The
  /// stream that the factory gets for a text lives only for its call.
  void SetTokenizerFactory(TTokenizerFactory factory);
  /// A tokenizer over a text, or over a stream that outlives it.
  [[nodiscard]] virtual std::unique_ptr<TKBTokenizerStream> NewTokenizer(std::string_view text,
                                                                         const TEncoding* encoding);
  [[nodiscard]] virtual std::unique_ptr<TKBTokenizerStream> NewTokenizer(std::istream& stream,
                                                                         const TEncoding* encoding);
  /// A tokenizer over a file. With tmRead it reads the file by and by, but a factory's gets all of it at once; any
  /// other mode gives the built-in tokenizer. EStreamError when the file cannot be opened.
  [[nodiscard]] virtual std::unique_ptr<TKBTokenizerStream> NewTokenizer(const std::filesystem::path& path,
                                                                         TTextFileMode mode, const TEncoding* encoding);

  // ---- Text out

  /// Routes a text: "t" and "" go to the capture or OnPrintOut, other names to their stream.
  virtual void PrintOut(std::string_view outId, std::string_view text);
  void PrintOut(std::string_view text) { PrintOut(std::string_view(), text); }
  [[nodiscard]] virtual std::string ReadLine(std::string_view inId);
  [[nodiscard]] virtual IStreamToken ReadToken(std::string_view inId);
  /// The standard channel goes to `stream` from now on; the engine owns it. A capture that runs is closed first.
  virtual bool StartCapture(std::unique_ptr<std::ostream> stream, const TEncoding* encoding = nullptr);
  /// Creates the file, replacing one that exists.
  bool StartCapture(const std::string& fileName, const TEncoding* encoding = nullptr);
  bool StopCapture();
  /// True when this kind is watched and OnPrintOut is assigned.
  [[nodiscard]] bool IsWatched(TConstructWatch watch) const noexcept { return watch_.Has(watch) && OnPrintOut; }

  [[nodiscard]] std::string PrettyPrint(const TFunctionCall& call) override;
  [[nodiscard]] std::string PrettyPrint(const TFact& fact) override;
  [[nodiscard]] std::string PrettyPrint(const IUserFunction& function) override;
  [[nodiscard]] std::string PrettyPrint(const TInterpretedFunction& function) override;
  [[nodiscard]] std::string PrettyPrint(const TKBDefinedType& type) override;
  [[nodiscard]] std::string PrettyPrint(const TFactTemplate& factTemplate) override;
  [[nodiscard]] std::string PrettyPrint(const TModule& module) override;
  [[nodiscard]] virtual std::string PrettyPrint(const TRule& rule);
  [[nodiscard]] virtual std::string PrettyPrint(const TKBPattern& pattern);
  [[nodiscard]] virtual std::string PrettyPrint(const TFactSet& factSet);
  [[nodiscard]] virtual std::string PrettyPrint(const TFactSlot& slot);
  [[nodiscard]] virtual std::string PrettyPrint(std::string_view name, const IKBValue& value);
  /// The defglobal of all global variables.
  [[nodiscard]] virtual std::string PrettyPrintGlobalVariables();
  [[nodiscard]] std::string PrettyPrintSingletons(const TSingletonsVector& singletons) override;
  [[nodiscard]] std::string PrettyPrint(const IFuzzySet& set) override;
  [[nodiscard]] std::string PrettyPrint(const IFuzzyVariable& variable) override;

  // ---- Events
  // Each is tested for being assigned; an unassigned event costs nothing. None fires during destruction.

  using TNotifyEvent = std::function<void(TInferenceEngine&)>;
  using TAgendaEvent = std::function<void(TInferenceEngine&, int index, TActivation& activation)>;
  using TFactEvent = std::function<void(TInferenceEngine&, const IFact& fact)>;
  using TRuleEvent = std::function<void(TInferenceEngine&, TRule& rule)>;
  using TTemplateEvent = std::function<void(TInferenceEngine&, const IFactTemplate& factTemplate)>;
  using TTypeEvent = std::function<void(TInferenceEngine&, const IKBDefinedType& type)>;
  using TFunctionEvent = std::function<void(TInferenceEngine&, const Ref<IUserFunction>& function)>;
  using TModuleEvent = std::function<void(TInferenceEngine&, const IModule& module)>;

  TAgendaEvent OnAddActivation;
  TAgendaEvent OnRemoveActivation;
  TFactEvent OnAssertion;
  TFactEvent OnRetraction;
  TNotifyEvent OnClearFacts;
  TRuleEvent OnRuleFired;
  TNotifyEvent OnStartInference;
  std::function<void(TInferenceEngine&, int32_t rulesFired)> OnEndInference;
  TRuleEvent OnAddRule;
  TRuleEvent OnRemoveRule;
  TNotifyEvent OnClearRules;
  TTemplateEvent OnNewFactTemplate;
  TTemplateEvent OnRemoveFactTemplate;
  TNotifyEvent OnClearFactTemplates;
  TTypeEvent OnAddDefinedType;
  TTypeEvent OnRemoveDefinedType;
  TNotifyEvent OnClearDefinedTypes;
  TFunctionEvent OnAddUserFunction;
  TFunctionEvent OnRemoveUserFunction;
  TModuleEvent OnAddModule;
  TModuleEvent OnRemoveModule;
  TModuleEvent OnClearModule;
  TNotifyEvent OnClearModules;
  TNotifyEvent OnChangeCurrentModule;
  TModuleEvent OnPushFocus;
  TModuleEvent OnPopFocus;
  TNotifyEvent OnClear;
  TNotifyEvent OnReset;
  TNotifyEvent OnAddDefaultPackages;
  std::function<void(TInferenceEngine&, std::string_view outId, std::string_view text)> OnPrintOut;
  std::function<void(TInferenceEngine&, std::string_view inId, std::string& text)> OnReadLine;
  std::function<void(TInferenceEngine&, std::string_view inId, IStreamToken& token)> OnReadToken;
  /// A handler that sets `done` has done the step itself.
  std::function<void(TInferenceEngine&, const IFact& fact, float strength, bool& done)> OnFuzzyCorrelation;
  std::function<void(TInferenceEngine&, const IFact& fact1, const IFact& fact2, bool& done)> OnFuzzyInference;
  // The parse events (OnParse, OnParseRule, ...) are members of the parser: GetParser().OnParse.

  void Notification(TComponent& component, TOperation operation) override;

  /// While one exists, rules, fact sets and modules' objects that the engine frees stay in memory: what is at
  /// work may still read them.
  class TFreeHold {
   public:
    explicit TFreeHold(TInferenceEngine& engine) noexcept : engine_(engine) { ++engine_.holds_; }
    TFreeHold(const TFreeHold&) = delete;
    TFreeHold& operator=(const TFreeHold&) = delete;
    ~TFreeHold() {
      if (--engine_.holds_ > 0) return;
      if (!engine_.deferred_.empty() || !engine_.retired_.empty()) engine_.FreeDeferred();
    }

   private:
    TInferenceEngine& engine_;
  };
  class TFocusScope;  // another module in focus for the time of a call; see EngineScopes.h

 protected:
  virtual void AddDefaultPackages();
  virtual void BeginInference();
  virtual void EndInference();

 private:
  friend class TModule;  // releases modules and shows their objects

  class TStreamScope;  // the parser on another stream for the time of a call
  class TFiringScope;  // one firing: current item, deferred frees
  class TLockScope;    // the engine locked
  class TModuleCopier;
  using TModuleList = std::vector<IModule>;
  using TTemplatePairs = std::vector<std::pair<IFactTemplate, IFactTemplate>>;

  template <class F>
  auto WithText(std::string_view text, const TEncoding* encoding, F&& parse);
  template <class First>
  void LoadAfter(std::istream& stream, const TEncoding* encoding, const First& first);
  struct TStreamed {
    std::string moduleText;
    std::vector<std::string> variables;  // all of these: texts of constructs
    std::vector<std::string> types;
    std::vector<std::string> templates;
    std::vector<std::string> rules;
    std::vector<std::string> factSets;
    std::vector<std::string> facts;
    std::vector<TComponent*> reload;
  };
  void DefineSettings(TFiler& filer);
  void DefineKnowledge(TFiler& filer);
  [[nodiscard]] TStreamed& Streamed();
  void LoadOldForms(const TStreamed& streamed);
  bool LoadVariable(const std::string& text, bool lenient);
  void AddMainModule();
  void AssignParser(const TInferenceEngine& source);
  void CopyKnowledge(const TInferenceEngine& source);
  void AssignSettings(const TInferenceEngine& source);
  void AssignFocus(const TInferenceEngine& source);
  void AssertInitialFact();
  void ClearEvents() noexcept;
  void FireAgenda(int32_t maxRules);
  [[nodiscard]] int NextToFire() const;
  void FireEntry(int index);
  void Discard(TActivation& activation) noexcept;
  void RebuildAgenda();
  [[nodiscard]] Ref<TActivation> EntryForRebuild(const Ref<TActivation>& activation);
  void FollowFocus();
  void CountStatistics();
  void PrintStatistics();
  void RemoveTemplateFacts(const TFactTemplate& factTemplate, TDependents* dependents);
  void RemoveTemplateRules(const TFactTemplate& factTemplate, TDependents* dependents);
  template <class Table, class Remove>
  void LeaveShared(const Table& table, const Remove& remove);
  void CheckTypesVisible(const TFactTemplate& factTemplate, const TModuleList& modules) const;
  void SupplantTemplate(const IFactTemplate& oldTemplate, const IFactTemplate& newTemplate, const TModuleList& modules);
  void RelinkDescendants(const TKBDefinedType& oldType, const IKBDefinedType& newType);
  void RefreshBuiltIns(const TFactTemplate& oldTemplate, const IFactTemplate& newTemplate);
  [[nodiscard]] TTemplatePairs TemplatesWithType(const TKBDefinedType& oldType, const IKBDefinedType& newType);
  void ReplaceIn(const IFactTemplate& former, const IFactTemplate& replaced);
  int32_t AssertHere(const IFact& asserted, bool unconditional);
  bool PrepareFuzzyFact(const IFact& fact, bool unconditional);
  [[nodiscard]] IKBValue MergeFuzzy(const IKBValue& value, const IKBValue& other, bool isUnion,
                                    TFuzzyOperation operation) const;
  [[nodiscard]] bool IsAtHome(const TFact& fact) const;
  void AdoptTemplate(TFact& fact);
  [[nodiscard]] static TModuleList OtherModules(const TFactTemplate& factTemplate, const IModule& home);
  void ProcessPendingFacts(const TModuleList& others);
  [[nodiscard]] IFactTemplate FindInitialTemplate() const;
  void SettleInitialTemplate();
  void ShowNoModule() noexcept;
  [[nodiscard]] TModule* ModuleOf(const TRule& rule) const;
  [[nodiscard]] TRules* RulesOf(const TRule& rule) const;
  void FreeDeferred();
  /// The module must be one of this engine's: "Missing module", "No such module with name=%s exists".
  void RequireModule(const IModule& module) const;
  void RequireOwnTemplate(const TFact& fact) const;
  void RequireFocus() const { static_cast<void>(GetFacts()); }
  [[noreturn]] static void RaiseNoMainModule();
  template <class T>
  [[nodiscard]] static T& OfModule(T* object) {
    if (object == nullptr) RaiseNoMainModule();
    return *object;
  }
  /// The counter's value; the counter goes on, and behind the last number to the first.
  static int32_t Advance(int32_t& counter) noexcept {
    const int32_t value = counter;
    counter = static_cast<int32_t>(static_cast<uint32_t>(value) + 1);
    return value;
  }

  std::recursive_mutex lock_;
  std::atomic<std::thread::id> lockOwner_{};
  int lockDepth_ = 0;  // read and written by the thread that holds the lock
  std::unique_ptr<TUserFunctions> userFunctions_;
  bool updatingHT_ = false;
  int32_t factIdCounter_ = 0;
  int32_t ruleIdCounter_ = 0;
  TSearchStrategy strategy_ = ssDepthFirst;
  std::unique_ptr<TKBContext> globalContext_;
  TSalience evalSalience_ = sActivate;
  bool halt_ = false;
  std::unique_ptr<TEngineVariables> storage_;
  int32_t symbolIndex_ = 0;
  bool resetGlobals_ = true;
  std::unique_ptr<TGlobalVariables> globalVariables_;
  std::unique_ptr<TKBParser> parser_;
  std::unique_ptr<TIOStreams> ioStreams_;
  Ref<TActivation> currentAgendaItem_;
  TConstructWatches watch_;
  float version_ = 6.0F;
  TFunctionPackages packages_;
  bool factDuplication_ = false;
  int32_t statRulesFired_ = 0;
  double statRunTime_ = 0;
  int32_t statMaxActivations_ = 0;
  double statMeanActivations_ = 0;  // sums during a run
  double statMeanFacts_ = 0;
  int32_t statMaxFacts_ = 0;
  bool isRunning_ = false;
  TTypeChecks typeChecks_;
  TDuplicateConstructs duplicateConstructs_ = dcOverwrite;
  int parserMaxErrors_ = 10;
  TErrorHandling parserErrorHandling_ = ehRaiseImmediate;
  std::unique_ptr<std::ostream> outputStream_;
  TKBTokenizerStream* inputStream_ = nullptr;  // the batch that runs; owned by Batch
  bool modifyingFact_ = false;
  TFuzzyInferenceMethod fuzzyInference_ = fimMinMax;
  TFuzzyCorrelationMethod fuzzyCorrelation_ = fcmMinimum;
  bool fuzzyAutoTerms_ = true;
  float fuzzyEqualsThreshold_ = 0.01F;
  float minActivationStrength_ = 0.0F;
  TTokenizerFactory tokenizerFactory_;
  TParserFactory parserFactory_;
  std::unique_ptr<TModules> modules_;
  std::unique_ptr<TModules> focusStack_;
  const TModule* moduleOp_ = nullptr;       // the module inside AddModule or RemoveModule
  const TModule* leavingModule_ = nullptr;  // the module that RemoveModule clears
  friend class TModules;

  // Objects of the current module.
  TKBAgenda* agenda_ = nullptr;
  TKBDefinedTypes* definedTypes_ = nullptr;
  TFacts* facts_ = nullptr;
  TFactSets* factSets_ = nullptr;
  TFactTemplates* factTemplates_ = nullptr;
  TReteNetwork* rete_ = nullptr;
  TRules* rules_ = nullptr;
  TFactsPending* factsPending_ = nullptr;
  IFact nullFact_;
  TKBPattern* initialFactPattern_ = nullptr;
  IModule currentModule_;

  std::vector<const TActivation*> firing_;  // activations that fire now, several when an action runs the engine
  std::vector<TComponent*> deferred_;       // rules and fact sets to be freed with the last hold
  std::vector<TModuleObjects> retired_;     // what removed modules held, likewise
  std::unique_ptr<TStreamed> streamed_;     // what was read of a component stream, until Loaded
  int holds_ = 0;
  int parses_ = 0;  // texts that the parser is reading
};

}  // namespace kb
